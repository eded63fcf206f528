#include "libs/pcoip_mfw/ChannelTestKit.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace kit {

// ---- WatchedThreads -------------------------------------------------------------------------------------------------

namespace {

WatchedThreads *gWatched = nullptr;
ObedientHost *gHost = nullptr;
constexpr size_t kMostWaiting = 1000;

} // namespace

struct WatchedThreads::Begun {
   WatchedThreads *watched;
   platforms::ThreadStart start;
   void *argument;
   int number;
};

WatchedThreads::WatchedThreads()
    : mFormer(CORE::coreBeginThread.load()) {
   assert(gWatched == nullptr);
   gWatched = this;
   CORE::coreBeginThread.store(&Begin);
}

WatchedThreads::~WatchedThreads() {
   LetGo();
   AwaitNone();
   CORE::coreBeginThread.store(mFormer);
   gWatched = nullptr;
}

HANDLE WatchedThreads::Begin(void *security, uint32_t stack, platforms::ThreadStart start, void *argument,
                             uint32_t flags, uint32_t *outId) {
   WatchedThreads &watched = *gWatched;
   std::unique_ptr<Begun> begun;
   {
      const std::lock_guard<std::mutex> hold(watched.mLock);
      if (watched.mFailing > 0) {
         --watched.mFailing;
         errno = EAGAIN;
         return nullptr;
      }
      begun = std::make_unique<Begun>(Begun{&watched, start, argument, watched.mStarted++});
      ++watched.mAlive;
      watched.mChanged.notify_all();
   }
   return watched.mFormer(security, stack, &Main, begun.release(), flags, outId);
}

uint32_t WatchedThreads::Main(void *begunThread) {
   const std::unique_ptr<Begun> begun(static_cast<Begun *>(begunThread));
   WatchedThreads &watched = *begun->watched;
   {
      std::unique_lock<std::mutex> hold(watched.mLock);
      watched.mChanged.wait(hold, [&] { return begun->number < watched.mHeldFrom; });
   }
   const uint32_t result = begun->start(begun->argument);
   const std::lock_guard<std::mutex> hold(watched.mLock);
   --watched.mAlive;
   watched.mChanged.notify_all();
   return result;
}

void WatchedThreads::FailNext(int count) {
   const std::lock_guard<std::mutex> hold(mLock);
   mFailing = count;
}

void WatchedThreads::HoldFrom(int first) {
   const std::lock_guard<std::mutex> hold(mLock);
   mHeldFrom = first;
}

void WatchedThreads::LetGo() {
   const std::lock_guard<std::mutex> hold(mLock);
   mHeldFrom = INT32_MAX;
   mChanged.notify_all();
}

void WatchedThreads::AwaitStarted(int count) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mStarted >= count; });
}

void WatchedThreads::AwaitAtMost(int alive) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mAlive <= alive; });
}

int WatchedThreads::Started() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mStarted;
}

// ---- ObedientHost: its table ----------------------------------------------------------------------------------------

struct ObedientOperations {
   static int32_t Register(uint32_t first, PcoipConnectCallback callback, void *third, uint64_t *outContext) {
      if (first != 0 || third != nullptr) {
         return -1;
      }
      const std::lock_guard<std::mutex> hold(gHost->mLock);
      *outContext = gHost->context;
      gHost->mConnectCallback = callback;
      return gHost->registerResult;
   }
   static int32_t Unregister(uint64_t context) {
      const std::lock_guard<std::mutex> hold(gHost->mLock);
      gHost->mUnregistered.push_back(context);
      return 0;
   }
   static int32_t Open(const char *name, uint32_t mode, uint32_t priority, uint32_t openParam,
                       PcoipChannelCallback callback, void *userData, uint32_t *outHandle) {
      const std::lock_guard<std::mutex> hold(gHost->mLock);
      if (gHost->openResult != 0) {
         return gHost->openResult;
      }
      *outHandle = gHost->mNextHandle++;
      gHost->mPipes[*outHandle];
      gHost->mPipes[ObedientHost::LossyHandleOf(*outHandle)];
      gHost->mOpened.push_back(
         {std::string(name, kPcoipNameBytes), mode, priority, openParam, userData, callback, *outHandle});
      gHost->mChanged.notify_all();
      return 0;
   }
   static int32_t Close(uint32_t handle, uint32_t started, uint32_t last) {
      std::function<void(uint32_t)> onClose;
      {
         const std::lock_guard<std::mutex> hold(gHost->mLock);
         gHost->mClosed.push_back({handle, started, last});
         gHost->mPipes[handle].closed = true;
         gHost->mPipes[ObedientHost::LossyHandleOf(handle)].closed = true;
         gHost->mChanged.notify_all();
         onClose = gHost->onClose;
      }
      if (onClose) {
         onClose(handle);
      }
      return 0;
   }
   static int32_t Send(uint32_t handle, const void *data, uint32_t size, uint32_t timeout) {
      return gHost->Send({handle, std::string(static_cast<const char *>(data), size), timeout, false});
   }
   static int32_t SendLossy(uint32_t handle, const void *data, uint32_t size, uint32_t timeout) {
      return gHost->Send({handle, std::string(static_cast<const char *>(data), size), timeout, true});
   }
   static int32_t Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeout) {
      return IsLossy(handle) ? ObedientHost::kWrongWayResult : ReceiveAny(handle, buffer, capacity, outSize, timeout);
   }
   static int32_t ReceiveLossy(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeout) {
      return IsLossy(handle) ? ReceiveAny(handle, buffer, capacity, outSize, timeout) : ObedientHost::kWrongWayResult;
   }
   static int32_t ReceiveAny(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeout) {
      return timeout == kPcoipNoTimeout ? gHost->Receive(handle, buffer, capacity, outSize) : -1;
   }
   static bool IsLossy(uint32_t handle) { return handle >= ObedientHost::kLossyHandles && handle != kPcoipNoHandle; }
   static int32_t Pending(uint32_t handle, uint32_t *outCount) {
      return IsLossy(handle) ? ObedientHost::kWrongWayResult : PendingAny(handle, outCount);
   }
   static int32_t PendingLossy(uint32_t handle, uint32_t *outCount) {
      return IsLossy(handle) ? PendingAny(handle, outCount) : ObedientHost::kWrongWayResult;
   }
   static int32_t PendingAny(uint32_t handle, uint32_t *outCount) {
      const std::lock_guard<std::mutex> hold(gHost->mLock);
      ++gHost->mPendingQueries;
      const auto found = gHost->mPipes.find(handle);
      if (found == gHost->mPipes.end()) {
         return ObedientHost::kClosedResult;
      }
      *outCount = static_cast<uint32_t>(found->second.datagrams.size());
      return 0;
   }
   static int32_t ConnectionState() { return gHost->connectionState; }
   static int32_t MaxDatagram(uint32_t *outSize) {
      *outSize = gHost->maxDatagram;
      return gHost->maxResult;
   }
   static int32_t LossyHandle(uint32_t handle, uint32_t *outHandle) {
      *outHandle = ObedientHost::LossyHandleOf(handle);
      return gHost->uchanResult;
   }
   static int32_t MaxLossyDatagram(uint32_t /*handle*/, uint32_t *outSize) {
      *outSize = gHost->maxLossyDatagram;
      return gHost->maxLossyResult;
   }
};

const PcoipHostTable &ObedientHost::Table() {
   static const PcoipHostTable table = [] {
      PcoipHostTable filled{};
      filled.pcoip_register_connect_callback = &ObedientOperations::Register;
      filled.pcoip_unregister_connect_callback = &ObedientOperations::Unregister;
      filled.pcoip_vchan_open = &ObedientOperations::Open;
      filled.pcoip_vchan_close = &ObedientOperations::Close;
      filled.pcoip_vchan_send = &ObedientOperations::Send;
      filled.pcoip_vchan_recv = &ObedientOperations::Receive;
      filled.pcoip_vchan_pending = &ObedientOperations::Pending;
      filled.pcoip_get_connection_state = &ObedientOperations::ConnectionState;
      filled.pcoip_vchan_get_max_dgram_size = &ObedientOperations::MaxDatagram;
      filled.pcoip_vchan_get_uchan_handle = &ObedientOperations::LossyHandle;
      filled.pcoip_vchan_get_max_udgram_size = &ObedientOperations::MaxLossyDatagram;
      filled.pcoip_vchan_usend = &ObedientOperations::SendLossy;
      filled.pcoip_vchan_urecv = &ObedientOperations::ReceiveLossy;
      filled.pcoip_vchan_upending = &ObedientOperations::PendingLossy;
      return filled;
   }();
   return table;
}

// ---- ObedientHost: what it does -------------------------------------------------------------------------------------

ObedientHost::ObedientHost() {
   assert(gHost == nullptr);
   gHost = this;
}

ObedientHost::~ObedientHost() {
   mfwHost.store(nullptr);
   mfwServer.store(false);
   mfwConnected.store(false);
   gHost = nullptr;
}

bool ObedientHost::Load(bool server, uint64_t *outContext) {
   mfwServer.store(server);
   return mfw::Init(&Table(), outContext);
}

void ObedientHost::Connect(uint32_t event, const void *data) {
   PcoipConnectCallback callback = nullptr;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      callback = mConnectCallback;
   }
   callback(1, 2, event, data);
}

void ObedientHost::Session(uint32_t state) {
   Connect(0, &state);
}

void ObedientHost::RemoteOpen(const std::string &name, uint32_t flags) {
   PcoipRemoteOpen request{};
   std::copy_n(name.begin(), std::min(name.size(), sizeof request.name), request.name);
   request.flags = flags;
   Connect(1, &request);
}

void ObedientHost::Tell(uint32_t event, const void *data) {
   Opened last;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      last = mOpened.back();
   }
   TellFor(last, last.handle, event, data);
}

void ObedientHost::TellFor(const Opened &opened, uint32_t handle, uint32_t event, const void *data) {
   opened.callback(opened.userData, handle, event, data);
}

void ObedientHost::OpenFully(size_t count, bool lossy) {
   const Opened last = AwaitOpened(count);
   TellFor(last, last.handle, pcoip_channel::Opened, nullptr);
   AwaitReader(last.handle);
   if (lossy) {
      AwaitReader(LossyHandleOf(last.handle));
   }
}

void ObedientHost::Arrive(uint32_t handle, const std::vector<std::string> &datagrams, int64_t toldSize) {
   const std::lock_guard<std::mutex> hold(mLock);
   Pipe &pipe = mPipes[handle];
   if (pipe.closed || pipe.datagrams.size() > kMostWaiting) {
      return;
   }
   for (const std::string &datagram : datagrams) {
      pipe.datagrams.push_back({datagram, toldSize});
   }
   mChanged.notify_all();
}

void ObedientHost::FailReceive(uint32_t handle, int32_t result) {
   const std::lock_guard<std::mutex> hold(mLock);
   mPipes[handle].failure = result;
   mChanged.notify_all();
}

int32_t ObedientHost::Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize) {
   std::unique_lock<std::mutex> hold(mLock);
   mCapacities.push_back(capacity);
   mReadHandles.insert(handle);
   const auto found = mPipes.find(handle);
   if (found == mPipes.end()) {
      return kClosedResult;
   }
   Pipe &pipe = found->second;
   ++pipe.readers;
   mChanged.notify_all();
   mChanged.wait(hold, [&] { return pipe.closed || pipe.failure != 0 || !pipe.datagrams.empty(); });
   --pipe.readers;
   if (pipe.closed) {
      return kClosedResult;
   }
   if (pipe.failure != 0) {
      return pipe.failure;
   }
   const Datagram datagram = std::move(pipe.datagrams.front());
   pipe.datagrams.pop_front();
   std::memcpy(buffer, datagram.data.data(), std::min<size_t>(capacity, datagram.data.size()));
   *outSize =
      static_cast<uint32_t>(datagram.toldSize >= 0 ? datagram.toldSize : static_cast<int64_t>(datagram.data.size()));
   return 0;
}

int32_t ObedientHost::Send(const Sent &sent) {
   std::function<int32_t(const Sent &)> decide;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      mSent.push_back(sent);
      decide = onSend;
   }
   return decide ? decide(sent) : 0;
}

// ---- ObedientHost: what has happened --------------------------------------------------------------------------------

ObedientHost::Opened ObedientHost::AwaitOpened(size_t count) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mOpened.size() >= count; });
   return mOpened[count - 1];
}

std::optional<ObedientHost::Opened> ObedientHost::LastOpened() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mOpened.empty() ? std::nullopt : std::optional<Opened>(mOpened.back());
}

void ObedientHost::AwaitReader(uint32_t handle) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mPipes[handle].readers > 0 && mPipes[handle].datagrams.empty(); });
}

bool ObedientHost::WasRead(uint32_t handle) const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mReadHandles.count(handle) != 0;
}

std::vector<ObedientHost::Opened> ObedientHost::AllOpened() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mOpened;
}

std::vector<ObedientHost::ClosedCall> ObedientHost::AllClosed() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mClosed;
}

std::vector<ObedientHost::Sent> ObedientHost::AllSent() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mSent;
}

int ObedientHost::PendingQueries() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mPendingQueries;
}

std::vector<uint32_t> ObedientHost::Capacities() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mCapacities;
}

std::vector<uint64_t> ObedientHost::Unregistered() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mUnregistered;
}

size_t ObedientHost::StillOpen() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return static_cast<size_t>(std::count_if(mOpened.begin(), mOpened.end(),
                                            [this](const Opened &opened) { return !mPipes.at(opened.handle).closed; }));
}

// ---- KeepingEndpoint ------------------------------------------------------------------------------------------------

void KeepingEndpoint::ChannelState(uint32_t session, uint32_t state) {
   assert(session == 0);
   (void)session;
   if (onState) {
      onState(state);
   }
   const std::lock_guard<std::mutex> hold(mLock);
   mStates.push_back(state);
   mChanged.notify_all();
}

void KeepingEndpoint::GotData(uint32_t /*session*/, uint8_t *data, uint32_t size) {
   if (onData) {
      onData(data, size);
   }
   const std::lock_guard<std::mutex> hold(mLock);
   mData.emplace_back(reinterpret_cast<const char *>(data) + header, size);
   mChanged.notify_all();
}

void KeepingEndpoint::GotDataLossy(uint32_t session, uint8_t *data, uint32_t size) {
   pcoip_mfw::GotDataLossy(session, data, size);
   if (onLossy) {
      onLossy(data, size);
   }
   const std::lock_guard<std::mutex> hold(mLock);
   mLossy.emplace_back(reinterpret_cast<const char *>(data) + header, size);
   mChanged.notify_all();
}

void KeepingEndpoint::ChannelEvent(uint32_t session, uint32_t code) {
   pcoip_mfw::ChannelEvent(session, code);
   if (onEvent) {
      onEvent(code);
   }
   const std::lock_guard<std::mutex> hold(mLock);
   mEvents.push_back(code);
}

void KeepingEndpoint::AwaitStates(const std::vector<uint32_t> &states) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mStates == states; });
}

void KeepingEndpoint::AwaitData(size_t count) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mData.size() >= count; });
}

void KeepingEndpoint::AwaitLossy(size_t count) {
   std::unique_lock<std::mutex> hold(mLock);
   mChanged.wait(hold, [&] { return mLossy.size() >= count; });
}

std::vector<uint32_t> KeepingEndpoint::States() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mStates;
}

std::vector<std::string> KeepingEndpoint::Data() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mData;
}

std::vector<std::string> KeepingEndpoint::Lossy() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mLossy;
}

std::vector<uint32_t> KeepingEndpoint::Events() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mEvents;
}

} // namespace kit
