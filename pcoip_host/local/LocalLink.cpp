#include "pcoip_host/local/LocalLink.h"

#include <cerrno>
#include <utility>

namespace pcoip_host {

void LocalLink::End() {
   mHasEnded = true;
   mKept.clear();
   mPassed.clear();
}

void LocalLink::Post(const LocalMessage &message, std::vector<Descriptor> passed) {
   if (mHasEnded) {
      return;
   }
   if (mKept.size() >= kMostKept) {
      End();
      return;
   }
   mKept.push_back({message.Pack(), 0, std::move(passed)});
   Flush();
}

void LocalLink::Flush() {
   while (!mKept.empty()) {
      Kept &next = mKept.front();
      const Bytes rest{next.record.data() + next.sent, next.record.size() - next.sent};
      const ptrdiff_t sent = SendSome(mSocket, rest, {nullptr, 0}, &next.passed);
      if (sent < 0) {
         if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS && errno != ETOOMANYREFS) {
            mKept.clear(); // what the other side said before it went can still be read
         }
         return;
      }
      next.passed.clear();
      next.sent += static_cast<size_t>(sent);
      if (next.sent == next.record.size()) {
         mKept.pop_front();
      }
   }
}

std::optional<LocalLink::Received> LocalLink::Read() {
   while (!mHasEnded) {
      const ptrdiff_t got =
         ReceivePassed(mSocket, mIncoming.data() + mIncomingSize, mIncoming.size() - mIncomingSize, &mPassed);
      if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
         return std::nullopt;
      }
      if (got <= 0) {
         End();
         break;
      }
      mIncomingSize += static_cast<size_t>(got);
      if (mIncomingSize < mIncoming.size()) {
         continue;
      }
      mIncomingSize = 0;
      if (auto message = LocalMessage::Unpack(mIncoming)) {
         return Received{std::move(*message), std::exchange(mPassed, {})};
      }
      End();
   }
   return std::nullopt;
}

} // namespace pcoip_host
