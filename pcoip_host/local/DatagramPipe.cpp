#include "pcoip_host/local/DatagramPipe.h"

#include "osal/SchedulePoint.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace pcoip_host {
namespace {

constexpr size_t kAheadRoom = 65536;

bool IsFull(int error) {
   return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

uint64_t DeadlineOf(int32_t timeoutMs) {
   return timeoutMs < 0 ? osal::Clock::kNoDeadline
                        : osal::Clock::current().deadlineAfterMs(static_cast<uint32_t>(timeoutMs));
}

} // namespace

DatagramPipe::DatagramPipe(Descriptor socket, uint32_t largest)
    : mSocket(std::move(socket))
    , mLargest(largest)
    , mAhead(std::max(kAheadRoom, 2 * (kPrefixSize + largest))) {}

void DatagramPipe::Shutdown(Ending ending) {
   mIsShut = true;
   osal::schedulePoint();
   shutdown(mSocket.Get(), ending == Ending::kBoth ? SHUT_RDWR : SHUT_RD);
}

// ---- Sending --------------------------------------------------------------------------------------------------------

DatagramPipe::Result DatagramPipe::Send(const void *data, uint32_t size, uint32_t timeoutMs) {
   if (size > mLargest) {
      return Result::kTooLarge;
   }
   const uint64_t deadlineNs = osal::Clock::current().deadlineAfterMs(timeoutMs);
   const TimedTurn::Stay stay(mSendTurn, deadlineNs);
   if (!stay) {
      return Result::kTimedOut;
   }
   if (const Result parked = SendParked(deadlineNs); parked != Result::kDone) {
      return parked == Result::kParked ? Result::kTimedOut : parked;
   }
   const uint8_t prefix[kPrefixSize] = {static_cast<uint8_t>(size >> 24), static_cast<uint8_t>(size >> 16),
                                        static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)};
   return SendRest({prefix, sizeof prefix}, {data, size}, deadlineNs);
}

DatagramPipe::Result DatagramPipe::SendRest(Bytes first, Bytes second, uint64_t deadlineNs) {
   const size_t whole = first.size + second.size;
   while (first.size + second.size > 0) {
      if (mIsShut) {
         return Result::kClosed;
      }
      const ptrdiff_t sent = SendSome(mSocket, first.size > 0 ? first : second, first.size > 0 ? second : Bytes{});
      if (sent >= 0) {
         const size_t ofFirst = std::min(first.size, static_cast<size_t>(sent));
         const size_t ofSecond = static_cast<size_t>(sent) - ofFirst;
         first = {static_cast<const uint8_t *>(first.data) + ofFirst, first.size - ofFirst};
         second = {static_cast<const uint8_t *>(second.data) + ofSecond, second.size - ofSecond};
         continue;
      }
      if (!IsFull(errno)) {
         return Result::kClosed;
      }
      if (!AwaitReady(mSocket, Direction::kWrite, deadlineNs)) {
         if (first.size + second.size == whole) {
            return Result::kTimedOut;
         }
         Park(first, second);
         return Result::kParked;
      }
   }
   return Result::kDone;
}

void DatagramPipe::Park(Bytes first, Bytes second) {
   mParked.resize(first.size + second.size);
   if (first.size > 0) {
      std::memcpy(mParked.data(), first.data, first.size);
   }
   if (second.size > 0) {
      std::memcpy(mParked.data() + first.size, second.data, second.size);
   }
   mHasParked = true;
}

// With the turn.
DatagramPipe::Result DatagramPipe::SendParked(uint64_t deadlineNs) {
   if (!mHasParked) {
      return Result::kDone;
   }
   while (!mParked.empty()) {
      const ptrdiff_t sent = SendSome(mSocket, {mParked.data(), mParked.size()});
      if (sent >= 0) {
         mParked.erase(mParked.begin(), mParked.begin() + sent);
      } else if (!IsFull(errno)) {
         mParked.clear();
         mHasParked = false;
         return Result::kClosed;
      } else if (!AwaitReady(mSocket, Direction::kWrite, deadlineNs)) {
         return Result::kParked;
      }
   }
   mHasParked = false;
   return Result::kDone;
}

DatagramPipe::Result DatagramPipe::FlushParked() {
   const TimedTurn::Stay stay(mSendTurn, 0);
   if (!stay) {
      return HasParked() ? Result::kParked : Result::kDone; // a sender is at it
   }
   return SendParked(osal::Clock::current().monotonicNs());
}

// ---- Receiving ------------------------------------------------------------------------------------------------------

uint32_t DatagramPipe::SizeAt(size_t position) const {
   const uint8_t *const bytes = mAhead.data() + position;
   return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | uint32_t{bytes[3]};
}

bool DatagramPipe::TakeBuffered(void *buffer, uint32_t capacity, uint32_t *outSize, Result *result) {
   if (Buffered() < kPrefixSize) {
      return false;
   }
   const uint32_t size = SizeAt(mBegin);
   if (size > mLargest) {
      mHasEnded = true; // whoever sends that does not speak this protocol
      mEnd = mBegin;
      return false;
   }
   if (Buffered() < kPrefixSize + size) {
      return false;
   }
   *outSize = size;
   if (size > capacity) {
      *result = Result::kTooLarge;
      return true;
   }
   if (size > 0) {
      std::memcpy(buffer, mAhead.data() + mBegin + kPrefixSize, size);
   }
   mBegin += kPrefixSize + size;
   *result = Result::kDone;
   return true;
}

// False when nothing came: not yet, or never any more.
bool DatagramPipe::Fill(Waiting waiting) {
   if (mHasEnded) {
      return false;
   }
   if (mBegin == mEnd) {
      mBegin = mEnd = 0;
   } else if (mAhead.size() - mEnd < kPrefixSize + mLargest) {
      std::memmove(mAhead.data(), mAhead.data() + mBegin, Buffered());
      mEnd = Buffered();
      mBegin = 0;
   }
   if (mEnd == mAhead.size()) {
      return false;
   }
   const ptrdiff_t got = ReceiveSome(mSocket, mAhead.data() + mEnd, mAhead.size() - mEnd, waiting);
   if (got > 0) {
      mEnd += static_cast<size_t>(got);
      return true;
   }
   mHasEnded = got == 0 || !IsFull(errno);
   return false;
}

DatagramPipe::Result DatagramPipe::Receive(void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeoutMs) {
   const uint64_t deadlineNs = DeadlineOf(timeoutMs);
   const TimedTurn::Stay stay(mReceiveTurn, deadlineNs);
   if (!stay) {
      return Result::kTimedOut;
   }
   const Waiting waiting = timeoutMs < 0 ? Waiting::kYes : Waiting::kNo;
   for (;;) {
      osal::schedulePoint();
      if (mIsShut) {
         return Result::kClosed;
      }
      Result result = Result::kDone;
      if (TakeBuffered(buffer, capacity, outSize, &result)) {
         return result;
      }
      if (!Fill(waiting)) {
         if (mHasEnded) {
            return Result::kClosed;
         }
         if (!AwaitReady(mSocket, Direction::kRead, deadlineNs)) {
            return Result::kTimedOut;
         }
      }
   }
}

uint32_t DatagramPipe::CountBuffered() const {
   uint32_t count = 0;
   for (size_t at = mBegin; mEnd - at >= kPrefixSize; ++count) {
      const size_t next = at + kPrefixSize + SizeAt(at);
      if (next > mEnd) {
         break;
      }
      at = next;
   }
   return count;
}

uint32_t DatagramPipe::Pending() {
   const TimedTurn::Stay stay(mReceiveTurn, 0);
   if (!stay || mIsShut) {
      return 0;
   }
   static_cast<void>(Fill(Waiting::kNo));
   return CountBuffered();
}

bool DatagramPipe::IsDrained() {
   const TimedTurn::Stay stay(mReceiveTurn, 0);
   if (!stay) {
      return false; // a reader is inside: its own call tells it of the end
   }
   static_cast<void>(Fill(Waiting::kNo));
   return mIsShut || CountBuffered() == 0;
}

} // namespace pcoip_host
