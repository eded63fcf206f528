// What a local host does on its own thread: messages of the other side in, events for the plugin out.

#include "pcoip_host/local/LocalHost.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"
#include "osal/Threads.h"

#include <poll.h>

#include <algorithm>
#include <utility>

namespace pcoip_host {
namespace {

constexpr int kDrainLookMs = 10;

constexpr uint32_t kEventOpened = 0; // of a channel's callback
constexpr uint32_t kEventRejected = 1;
constexpr uint32_t kEventClosed = 3;
constexpr uint32_t kEventState = 0; // of the connect callback
constexpr uint32_t kEventRemoteOpen = 1;

using Role = LocalRendezvous::Role;
using Kind = LocalMessage::Kind;

uint64_t NowNs() {
   return osal::Clock::current().monotonicNs();
}

} // namespace

// ---- The host's thread ----------------------------------------------------------------------------------------------

void LocalHost::Run() {
   osal::setThreadName("PcoipLocalHost");
   while (!MayStop()) {
      AwaitWork();
      ReadMessages();
      FlushPipes();
      RaiseEvents();
   }
}

bool LocalHost::MayStop() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mIsStopping && (mLingering.empty() || mHasDisconnected || NowNs() >= mStopBy);
}

void LocalHost::AwaitWork() {
   std::vector<pollfd> waits;
   std::vector<PipeRef> parked; // kept alive as long as poll uses their descriptors
   int timeout = -1;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      waits.push_back({mWake.second.Get(), POLLIN, 0});
      if (!mLink.HasEnded()) {
         waits.push_back({mLink.Socket().Get(), static_cast<short>(mLink.HasKept() ? POLLIN | POLLOUT : POLLIN), 0});
      }
      parked = PipesWithParked();
      const bool isDraining =
         std::any_of(mChannels.begin(), mChannels.end(), [](const auto &item) { return item.second.endsBy != 0; });
      timeout = isDraining || !mLingering.empty() ? kDrainLookMs : -1;
   }
   for (const PipeRef &pipe : parked) {
      waits.push_back({pipe->Socket().Get(), POLLOUT, 0});
   }
   poll(waits.data(), static_cast<nfds_t>(waits.size()), timeout);
   char bytes[64];
   while (ReceiveSome(mWake.second, bytes, sizeof bytes, Waiting::kNo) > 0) {
   }
}

void LocalHost::ReadMessages() {
   const std::lock_guard<std::mutex> hold(mLock);
   mLink.Flush();
   if (mIsStopping) {
      return; // its channels are gone
   }
   while (auto received = mLink.Read()) {
      Handle(std::move(*received));
   }
   if (mLink.HasEnded() && !mHasDisconnected) {
      Disconnect();
   }
}

void LocalHost::Handle(LocalLink::Received received) {
   const LocalMessage &message = received.message;
   LocalRendezvous::Actions actions;
   const bool isFirst = !mHeardHello;
   if (isFirst != (message.kind == Kind::kHello)) {
      mLink.End();
      return;
   }
   switch (message.kind) {
   case Kind::kHello:
      if (message.size == 0 || message.lossySize == 0) {
         mLink.End();
         return;
      }
      mLargest = std::min(mLargest, message.size);
      mLargestLossy = std::min(mLargestLossy, message.lossySize);
      mHeardHello = true;
      break;
   case Kind::kOpen:
      if (message.name.empty() || message.channel == 0) {
         mLink.End();
         return;
      }
      mRendezvous.OnOpen(message.channel, message.name, (message.flags & LocalMessage::kLossy) != 0, &actions);
      break;
   case Kind::kJoin:
      Adopt(&received, &actions);
      break;
   case Kind::kClose:
      mRendezvous.OnClose(message.channel, message.other, &actions);
      break;
   case Kind::kReject:
      mRendezvous.OnReject(message.channel, &actions);
      break;
   case Kind::kAsk:
      if (!message.name.empty()) {
         mRendezvous.OnAsk(message.name, (message.flags & LocalMessage::kLossy) != 0, &actions);
      }
      break;
   }
   Do(std::move(actions));
}

// The sockets of a channel, from the leading side.
void LocalHost::Adopt(LocalLink::Received *received, LocalRendezvous::Actions *actions) {
   std::vector<Descriptor> &sockets = received->passed;
   const auto channel = mChannels.find(received->message.channel);
   const size_t wanted = channel != mChannels.end() && channel->second.isLossy ? 2 : 1;
   if (mOptions.role == Role::kLeading || (channel != mChannels.end() && sockets.size() != wanted)) {
      mLink.End();
      return;
   }
   if (mRendezvous.OnJoin(received->message.channel, received->message.other, actions)) {
      channel->second.reliable = std::make_shared<DatagramPipe>(std::move(sockets[0]), mLargest);
      if (channel->second.isLossy) {
         channel->second.lossy = std::make_shared<DatagramPipe>(std::move(sockets[1]), mLargestLossy);
      }
   }
}

void LocalHost::FlushPipes() {
   std::vector<PipeRef> parked;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      parked = PipesWithParked();
   }
   for (const PipeRef &pipe : parked) {
      static_cast<void>(pipe->FlushParked());
   }
   const std::lock_guard<std::mutex> hold(mLock);
   const uint64_t now = NowNs();
   std::erase_if(mLingering, [&](const Lingering &left) {
      const bool isOver = !left.pipe->HasParked() || mHasDisconnected || now >= left.until;
      if (isOver) {
         left.pipe->Shutdown();
      }
      return isOver;
   });
}

// ---- Events, each called without mLock ------------------------------------------------------------------------------

void LocalHost::RaiseEvents() {
   std::unique_lock<std::mutex> lock(mLock);
   while (!mIsStopping && RaiseOne(lock)) {
   }
}

bool LocalHost::RaiseOne(std::unique_lock<std::mutex> &lock) {
   if (mIsAsked && !mToldConnected && IsUp()) {
      return RaiseConnect(lock, true);
   }
   const auto event = std::find_if(mEvents.begin(), mEvents.end(), [&](const Event &candidate) {
      return candidate.what != Event::What::kAnnounced || mIsAsked;
   });
   if (event == mEvents.end()) {
      return RaiseEnd(lock);
   }
   const Event next = std::move(*event);
   mEvents.erase(event);
   switch (next.what) {
   case Event::What::kOpened:
      CallChannel(lock, next.channel, kEventOpened, &kCapability);
      break;
   case Event::What::kRejected:
      CallChannel(lock, next.channel, kEventRejected, nullptr);
      break;
   case Event::What::kAnnounced: {
      PcoipRemoteOpen request{};
      std::copy_n(next.name.data(), std::min(next.name.size(), kPcoipNameBytes - 1), request.name);
      request.flags = next.lossy ? 1 : 0;
      CallConnect(lock, kEventRemoteOpen, &request);
      break;
   }
   }
   return true;
}

// Channels that the other side has left, then the session.
bool LocalHost::RaiseEnd(std::unique_lock<std::mutex> &lock) {
   bool isDraining = false;
   const uint64_t now = NowNs();
   const auto isDrained = [](const PipeRef &pipe) {
      return pipe == nullptr || pipe->IsDrained();
   };
   for (auto &[number, channel] : mChannels) {
      if (channel.endsBy == 0) {
         continue;
      }
      if (now < channel.endsBy && !(isDrained(channel.reliable) && isDrained(channel.lossy))) {
         isDraining = true;
         continue;
      }
      channel.endsBy = 0;
      for (const PipeRef &pipe : {channel.reliable, channel.lossy}) {
         if (pipe != nullptr) {
            pipe->Shutdown();
         }
      }
      CallChannel(lock, number, kEventClosed, nullptr);
      return true;
   }
   return !isDraining && mHasDisconnected && mToldConnected && RaiseConnect(lock, false);
}

bool LocalHost::RaiseConnect(std::unique_lock<std::mutex> &lock, bool connected) {
   const uint32_t state = connected ? 1 : 0;
   mToldConnected = connected;
   CallConnect(lock, kEventState, &state);
   return true;
}

void LocalHost::CallConnect(std::unique_lock<std::mutex> &lock, uint32_t event, const void *data) {
   lock.unlock();
   {
      const std::lock_guard<std::mutex> turn(mConnectTurn);
      lock.lock();
      const PcoipConnectCallback callback = mConnectCallback;
      lock.unlock();
      if (callback != nullptr) {
         callback(0, 0, event, data);
      }
   }
   lock.lock();
}

void LocalHost::CallChannel(std::unique_lock<std::mutex> &lock, uint32_t number, uint32_t event, const void *data) {
   const auto found = mChannels.find(number);
   if (found == mChannels.end()) {
      return;
   }
   const PcoipChannelCallback callback = found->second.callback;
   void *const userData = found->second.userData;
   lock.unlock();
   osal::schedulePoint();
   callback(userData, number, event, data);
   lock.lock();
}

} // namespace pcoip_host
