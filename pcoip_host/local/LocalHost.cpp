#include "pcoip_host/local/LocalHost.h"

#include "pcoip_host/local/LocalHostTable.h"

#include "osal/Clock.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

namespace pcoip_host {
namespace {

constexpr uint32_t kLossyBit = 0x40000000; // of a handle; channels' numbers stay below
constexpr uint64_t kContext = 1;           // there is one plugin
constexpr uint32_t kReliableMode = 0;
constexpr uint32_t kLossyMode = 2;
constexpr int kRoomOnTheWay = 1 << 20;
constexpr uint64_t kNsPerMs = 1'000'000;

using What = LocalRendezvous::Action::What;
using Kind = LocalMessage::Kind;

uint64_t NowNs() {
   return osal::Clock::current().monotonicNs();
}

uint64_t PatienceEndNs() {
   return NowNs() + LocalHost::kPatienceMs * kNsPerMs;
}

bool IsName(const char *name) {
   return name != nullptr && name[0] != 0 && std::memchr(name, 0, kPcoipNameBytes) != nullptr;
}

bool AreSane(const LocalHostOptions &options) {
   const auto isSize = [](uint32_t size) {
      return size > 0 && size <= LocalHost::kMostDatagram;
   };
   return isSize(options.largestDatagram) && isSize(options.largestLossyDatagram);
}

} // namespace

// ---- Life cycle -----------------------------------------------------------------------------------------------------

std::unique_ptr<LocalHost> LocalHost::Create(Descriptor socket, const LocalHostOptions &options) {
   if (!AreSane(options)) {
      errno = EINVAL;
      return nullptr;
   }
   if (!AdoptSocket(socket)) {
      return nullptr;
   }
   auto wake = MakeSocketPair();
   if (!wake) {
      return nullptr;
   }
   const auto place = tables::Claim();
   if (!place) {
      errno = EMFILE;
      return nullptr;
   }
   std::unique_ptr<LocalHost> host(new LocalHost(std::move(socket), std::move(*wake), options, *place));
   try {
      host->mThread = std::thread(&LocalHost::Run, host.get());
   } catch (const std::system_error &error) {
      host.reset();
      errno = error.code().value();
   }
   return host;
}

LocalHost::LocalHost(Descriptor socket, SocketPair wake, const LocalHostOptions &options, size_t slot)
    : mOptions(options)
    , mSlot(slot)
    , mWake(std::move(wake))
    , mLink(std::move(socket))
    , mRendezvous(options.role)
    , mLargest(options.largestDatagram)
    , mLargestLossy(options.largestLossyDatagram) {
   tables::Publish(mSlot, this);
}

LocalHost::~LocalHost() {
   {
      const std::lock_guard<std::mutex> hold(mLock);
      mIsStopping = true;
      mStopBy = PatienceEndNs();
      for (auto &[number, channel] : mChannels) {
         LetGo(channel.reliable);
         LetGo(channel.lossy);
      }
      mChannels.clear();
   }
   Wake();
   if (mThread.joinable()) {
      mThread.join();
   }
   for (const Lingering &left : mLingering) {
      left.pipe->Shutdown();
   }
   tables::Withdraw(mSlot);
}

const PcoipHostTable &LocalHost::table() const {
   return tables::Of(mSlot);
}

bool LocalHost::connect() {
   const std::lock_guard<std::mutex> hold(mLock);
   if (mHasDisconnected) {
      return false;
   }
   if (!std::exchange(mSaidHello, true)) {
      LocalMessage hello;
      hello.kind = Kind::kHello;
      hello.size = mOptions.largestDatagram;
      hello.lossySize = mOptions.largestLossyDatagram;
      mLink.Post(hello);
      Wake();
   }
   return true;
}

void LocalHost::disconnect() {
   const std::lock_guard<std::mutex> hold(mLock);
   if (mHasDisconnected) {
      return;
   }
   shutdown(mLink.Socket().Get(), SHUT_RDWR);
   Disconnect();
   for (auto &[number, channel] : mChannels) {
      channel.endsBy = std::min(channel.endsBy, NowNs());
   }
   Wake();
}

bool LocalHost::connected() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return IsUp();
}

bool LocalHost::openByName(const char *name, bool lossy) {
   const std::lock_guard<std::mutex> hold(mLock);
   if (!IsUp() || !IsName(name)) {
      return false;
   }
   LocalMessage message;
   message.kind = Kind::kAsk;
   message.flags = lossy ? LocalMessage::kLossy : 0;
   message.name = name;
   mLink.Post(message);
   Wake();
   return true;
}

LocalTraffic LocalHost::Traffic() const {
   return {mTraffic.reliable, mTraffic.lossy, mTraffic.lost, mTraffic.refused};
}

void LocalHost::Wake() {
   const char byte = 0;
   // A full socket wakes as well as a byte more would.
   static_cast<void>(SendSome(mWake.first, {&byte, 1}));
}

// ---- What the plugin calls ------------------------------------------------------------------------------------------

int32_t LocalHost::RegisterConnectCallback(PcoipConnectCallback callback, uint64_t *outContext) {
   const std::lock_guard<std::mutex> hold(mLock);
   if (callback == nullptr || outContext == nullptr || mConnectCallback != nullptr) {
      return kBadArgument;
   }
   *outContext = kContext;
   mConnectCallback = callback;
   return 0;
}

int32_t LocalHost::UnregisterConnectCallback(uint64_t context) {
   // One that is under way is waited for, unless it is this very call's caller.
   std::unique_lock<std::mutex> turn(mConnectTurn, std::defer_lock);
   if (std::this_thread::get_id() != mThread.get_id()) {
      turn.lock();
   }
   const std::lock_guard<std::mutex> hold(mLock);
   if (context != kContext || mConnectCallback == nullptr) {
      return kBadArgument;
   }
   mConnectCallback = nullptr;
   mIsAsked = false;
   mToldConnected = false;
   return 0;
}

int32_t LocalHost::ConnectionState() {
   const std::lock_guard<std::mutex> hold(mLock);
   if (mConnectCallback != nullptr && !mIsAsked) {
      mIsAsked = true;
      mToldConnected = IsUp();
      Wake();
   }
   return IsUp() ? 1 : 0;
}

int32_t LocalHost::Open(const char *name, uint32_t mode, uint32_t, PcoipChannelCallback callback, void *userData,
                        uint32_t *outHandle) {
   if (!IsName(name) || callback == nullptr || outHandle == nullptr || (mode != kReliableMode && mode != kLossyMode)) {
      return kBadArgument;
   }
   const std::lock_guard<std::mutex> hold(mLock);
   if (!IsUp() || mIsStopping) {
      return kNotConnected;
   }
   const bool isLossy = mode == kLossyMode;
   LocalRendezvous::Actions actions;
   const auto number = mRendezvous.Open(name, isLossy, &actions);
   if (!number) {
      return kNameInUse;
   }
   const LossPlan plan(mOptions.seed, name, mOptions.lossPerMillion);
   mChannels.emplace(*number, Channel{plan, isLossy, callback, userData, nullptr, nullptr});
   *outHandle = *number;
   Do(std::move(actions));
   Wake();
   return 0;
}

int32_t LocalHost::Close(uint32_t handle) {
   const std::lock_guard<std::mutex> hold(mLock);
   const auto found = mChannels.find(handle);
   if (found == mChannels.end()) {
      return kNoChannel;
   }
   LetGo(found->second.reliable);
   LetGo(found->second.lossy);
   mChannels.erase(found);
   std::erase_if(mEvents, [&](const Event &event) { return event.channel == handle; });
   LocalRendezvous::Actions actions;
   mRendezvous.Close(handle, &actions);
   Do(std::move(actions));
   Wake();
   return 0;
}

// Ends reading at once; what was taken for the other side still goes.
void LocalHost::LetGo(const PipeRef &pipe) {
   if (pipe == nullptr) {
      return;
   }
   const bool hasParked = pipe->HasParked() && !mHasDisconnected;
   pipe->Shutdown(hasParked ? DatagramPipe::Ending::kReading : DatagramPipe::Ending::kBoth);
   if (hasParked) {
      mLingering.push_back({pipe, PatienceEndNs()});
   }
}

// The pipe behind either handle of an open channel.
int32_t LocalHost::Locate(uint32_t handle, PipeRef *pipe) {
   const std::lock_guard<std::mutex> hold(mLock);
   const auto found = mChannels.find(handle & ~kLossyBit);
   if (found == mChannels.end() || ((handle & kLossyBit) != 0 && !found->second.isLossy)) {
      return kNoChannel;
   }
   *pipe = (handle & kLossyBit) != 0 ? found->second.lossy : found->second.reliable;
   return *pipe != nullptr ? 0 : int32_t{kNotOpen};
}

namespace {

int32_t ToResult(DatagramPipe::Result result) {
   switch (result) {
   case DatagramPipe::Result::kDone:
   case DatagramPipe::Result::kParked:
      return 0;
   case DatagramPipe::Result::kTimedOut:
      return kTimedOut;
   case DatagramPipe::Result::kTooLarge:
      return kTooLarge;
   case DatagramPipe::Result::kClosed:
      break;
   }
   return kClosed;
}

} // namespace

int32_t LocalHost::Send(uint32_t handle, const void *data, uint32_t size, uint32_t timeoutMs) {
   PipeRef pipe;
   if (data == nullptr && size > 0) {
      return kBadArgument;
   }
   if ((handle & kLossyBit) != 0) {
      return kNoChannel;
   }
   if (const int32_t found = Locate(handle, &pipe); found != 0) {
      return found;
   }
   const DatagramPipe::Result result = pipe->Send(data, size, timeoutMs);
   if (result == DatagramPipe::Result::kParked) {
      Wake();
   }
   if (ToResult(result) == 0) {
      mTraffic.reliable.fetch_add(1);
   }
   return ToResult(result);
}

int32_t LocalHost::SendLossy(uint32_t lossyHandle, const void *data, uint32_t size, uint32_t timeoutMs) {
   PipeRef pipe;
   if (data == nullptr && size > 0) {
      return kBadArgument;
   }
   if ((lossyHandle & kLossyBit) == 0) {
      return kNoChannel;
   }
   if (const int32_t found = Locate(lossyHandle, &pipe); found != 0) {
      return found;
   }
   bool isLost = false;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      if (size > mLargestLossy) {
         return kTooLarge;
      }
      const auto channel = mChannels.find(lossyHandle & ~kLossyBit);
      isLost = channel != mChannels.end() && channel->second.plan.IsLost(channel->second.lossySent++);
   }
   mTraffic.lossy.fetch_add(1);
   if (isLost) {
      mTraffic.lost.fetch_add(1);
      return 0;
   }
   const DatagramPipe::Result result = pipe->Send(data, size, timeoutMs);
   if (result == DatagramPipe::Result::kParked) {
      Wake();
   } else if (result == DatagramPipe::Result::kTimedOut) {
      mTraffic.refused.fetch_add(1);
      return kPcoipDropped;
   }
   return ToResult(result);
}

int32_t LocalHost::Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeoutMs) {
   PipeRef pipe;
   if (outSize == nullptr || (buffer == nullptr && capacity > 0)) {
      return kBadArgument;
   }
   if (const int32_t found = Locate(handle, &pipe); found != 0) {
      return found;
   }
   return ToResult(pipe->Receive(buffer, capacity, outSize, timeoutMs));
}

int32_t LocalHost::Pending(uint32_t handle, uint32_t *outCount) {
   PipeRef pipe;
   if (outCount == nullptr) {
      return kBadArgument;
   }
   *outCount = 0;
   if (const int32_t found = Locate(handle, &pipe); found != 0) {
      return found;
   }
   *outCount = pipe->Pending();
   return 0;
}

int32_t LocalHost::LargestDatagram(uint32_t *outSize) {
   const std::lock_guard<std::mutex> hold(mLock);
   if (outSize == nullptr) {
      return kBadArgument;
   }
   *outSize = mLargest;
   return mHeardHello ? 0 : int32_t{kNotConnected};
}

int32_t LocalHost::LossyHandle(uint32_t handle, uint32_t *outLossyHandle) {
   const std::lock_guard<std::mutex> hold(mLock);
   const auto found = mChannels.find(handle);
   if (outLossyHandle == nullptr) {
      return kBadArgument;
   }
   if (found == mChannels.end() || !found->second.isLossy) {
      return kNoChannel;
   }
   if (found->second.lossy == nullptr) {
      return kNotOpen;
   }
   *outLossyHandle = handle | kLossyBit;
   return 0;
}

int32_t LocalHost::LargestLossyDatagram(uint32_t lossyHandle, uint32_t *outSize) {
   PipeRef pipe;
   if (outSize == nullptr) {
      return kBadArgument;
   }
   if ((lossyHandle & kLossyBit) == 0) {
      return kNoChannel;
   }
   if (const int32_t found = Locate(lossyHandle, &pipe); found != 0) {
      return found;
   }
   const std::lock_guard<std::mutex> hold(mLock);
   *outSize = mLargestLossy;
   return 0;
}

// ---- What follows from a change, with mLock -------------------------------------------------------------------------

void LocalHost::Do(LocalRendezvous::Actions actions) {
   for (size_t at = 0; at < actions.size(); ++at) { // grows on the way
      const LocalRendezvous::Action action = actions[at];
      const auto post = [&](Kind kind, uint32_t channel, uint32_t other) {
         LocalMessage message;
         message.kind = kind;
         message.channel = channel;
         message.other = other;
         message.flags = action.lossy ? LocalMessage::kLossy : 0;
         message.name = action.name;
         mLink.Post(message);
      };
      switch (action.what) {
      case What::kSendOpen:
         post(Kind::kOpen, action.channel, 0);
         break;
      case What::kSendClose:
         post(Kind::kClose, action.other, action.other == 0 ? action.channel : 0);
         break;
      case What::kSendReject:
         post(Kind::kReject, action.other, 0);
         break;
      case What::kJoin:
         Join(action, &actions);
         break;
      case What::kRaiseOpened:
         mEvents.push_back({Event::What::kOpened, action.channel, {}, false});
         break;
      case What::kRaiseRejected:
         mEvents.push_back({Event::What::kRejected, action.channel, {}, false});
         break;
      case What::kRaiseEnded:
         mChannels.at(action.channel).endsBy = PatienceEndNs();
         break;
      case What::kAnnounce:
         mEvents.push_back({Event::What::kAnnounced, 0, action.name, action.lossy});
         break;
      }
   }
}

void LocalHost::Join(const LocalRendezvous::Action &action, LocalRendezvous::Actions *more) {
   auto reliable = MakeSocketPair();
   auto lossy = action.lossy ? MakeSocketPair() : std::nullopt;
   if (!reliable || (action.lossy && !lossy)) {
      mRendezvous.OnJoinFailed(action.channel, more);
      return;
   }
   Channel &channel = mChannels.at(action.channel);
   std::vector<Descriptor> theirs;
   const auto lay = [&](SocketPair &pair, uint32_t largest) {
      AskForRoom(pair.first, kRoomOnTheWay);
      AskForRoom(pair.second, kRoomOnTheWay);
      theirs.push_back(std::move(pair.second));
      return std::make_shared<DatagramPipe>(std::move(pair.first), largest);
   };
   channel.reliable = lay(*reliable, mLargest);
   if (lossy) {
      channel.lossy = lay(*lossy, mLargestLossy);
   }
   LocalMessage message;
   message.kind = Kind::kJoin;
   message.channel = action.other;
   message.other = action.channel;
   mLink.Post(message, std::move(theirs));
   mEvents.push_back({Event::What::kOpened, action.channel, {}, false});
}

void LocalHost::Disconnect() {
   mHasDisconnected = true;
   mLink.End();
   std::erase_if(mEvents, [](const Event &event) { return event.what == Event::What::kAnnounced; });
   LocalRendezvous::Actions actions;
   mRendezvous.Disconnect(&actions);
   Do(std::move(actions));
}

std::vector<LocalHost::PipeRef> LocalHost::PipesWithParked() const {
   std::vector<PipeRef> pipes;
   const auto look = [&](const PipeRef &pipe) {
      if (pipe != nullptr && pipe->HasParked()) {
         pipes.push_back(pipe);
      }
   };
   for (const auto &[number, channel] : mChannels) {
      look(channel.reliable);
      look(channel.lossy);
   }
   for (const Lingering &left : mLingering) {
      look(left.pipe);
   }
   return pipes;
}

} // namespace pcoip_host
