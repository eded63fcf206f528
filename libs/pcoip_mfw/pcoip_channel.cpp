#include "libs/pcoip_mfw/pcoip_channel.h"

#include "lib/mfw/common/corelogger.h"
#include "libs/pcoip_mfw/CallbackBorder.h"
#include "libs/pcoip_mfw/ChannelRules.h"
#include "libs/pcoip_mfw/ScopedUnlock.h"
#include "libs/pcoip_mfw/mfwSession.h"
#include "libs/pcoip_mfw/pcoip_mfw.h"

#include "osal/SchedulePoint.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_set>
#include <utility>

using CORE::corelogger;

namespace {

/// All channels that exist. A host keeps a plain pointer to the channel, and may have an event on its way when the last
/// reference goes. Never destroyed: threads may end while the process does.
struct LiveChannels {
   std::mutex lock; // nothing else is taken under it
   std::unordered_set<const void *> channels;
};

LiveChannels &Live() {
   static auto *const live = new LiveChannels;
   return *live;
}

} // namespace

void ChannelReleased::operator()(pcoip_channel *channel) const {
   channel->Release();
}

pcoip_channel::pcoip_channel(pcoip_mfw &owner, const char *name, uint32_t priority, uint32_t openParam)
    : mOwner(&owner)
    , mName(name)
    , mOpenEvent(CreateEvent(nullptr, true, false, nullptr))
    , mPriority(priority)
    , mOpenParam(openParam)
    , mShownName(RewriteChannelName(mName)) {
   LiveChannels &live = Live();
   {
      const std::lock_guard<std::mutex> hold(live.lock);
      live.channels.insert(this);
   }
   corelogger::LogDebug("add of pcoip_channel %s (0x%p)", Name(), static_cast<void *>(this));
}

pcoip_channel::~pcoip_channel() noexcept(false) {
   corelogger::LogDebug("remove of pcoip_channel %s", ShownName());
   if (mOpenEvent != nullptr) {
      SetEvent(mOpenEvent.get());
   }
}

// Once the last reference is going, nobody finds the channel any more: the count is looked at under the lock under
// which FindLive takes a reference.
int64_t pcoip_channel::Release() {
   LiveChannels &live = Live();
   {
      const std::lock_guard<std::mutex> hold(live.lock);
      if (GetRefCount() > 1) {
         return coreref::Release();
      }
      live.channels.erase(this);
   }
   osal::schedulePoint();
   return coreref::Release();
}

ChannelRef pcoip_channel::FindLive(void *userData) {
   LiveChannels &live = Live();
   const std::lock_guard<std::mutex> hold(live.lock);
   if (live.channels.count(userData) == 0) {
      return nullptr;
   }
   auto *const channel = static_cast<pcoip_channel *>(userData);
   channel->AddRef();
   return ChannelRef(channel);
}

size_t pcoip_channel::CountLive() {
   LiveChannels &live = Live();
   const std::lock_guard<std::mutex> hold(live.lock);
   return live.channels.size();
}

// ---- Open, close, send ----------------------------------------------------------------------------------------------

bool pcoip_channel::openChannel() {
   const auto name = HostName(Name());
   mOpenedLossy = IsLossy();
   const uint32_t mode = mOpenedLossy ? 2 : 0;
   const PcoipHostTable *const host = mfwHost.load(std::memory_order_acquire);
   uint32_t handle = kPcoipNoHandle;
   const int32_t result = host->pcoip_vchan_open(name.data(), mode, PriorityFlags(mPriority, mOpenedLossy), mOpenParam,
                                                 &ChannelCallback, this, &handle);
   mChannelHandle.store(handle);
   if (result != 0) {
      corelogger::LogError("pcoip_vchan_open %s, FAILED, res = %d", Name(), result);
      return false;
   }
   mState.store(OpenPending);
   corelogger::LogDebug("pcoip_vchan_open %s Ok", Name());
   return true;
}

// A host may call back from within its close, and the owner, who is told without the lock, may open the channel again:
// what belongs to a newer opening is left alone.
void pcoip_channel::Close() {
   uint32_t handle = mChannelHandle.load();
   if (handle != kPcoipNoHandle && handle != mClosingHandle) {
      const uint32_t outer = std::exchange(mClosingHandle, handle);
      mfwHost.load(std::memory_order_acquire)->pcoip_vchan_close(handle, IsStarted() ? 1 : 0, 0);
      mClosingHandle = outer;
   }
   mChannelHandle.compare_exchange_strong(handle, kPcoipNoHandle);
   if (mChannelHandle.load() == kPcoipNoHandle) {
      mUchanHandle.store(kPcoipNoHandle);
      // Required: a channel that was stopped is not told, and its state stays.
      if (CurrentState() == Open && IsStarted()) {
         mState.store(Closed);
         const ScopedUnlock untilTold(mLock);
         osal::schedulePoint();
         TellState(0);
      }
   }
   if (mOpenEvent != nullptr) {
      SetEvent(mOpenEvent.get());
   }
}

void pcoip_channel::CloseLocked() {
   const CORE::coresync hold(mLock);
   Close();
}

// The handles are those of the beginning: what is left of a send does not go to a channel that has been opened
// meanwhile.
struct pcoip_channel::Way {
   decltype(PcoipHostTable::pcoip_vchan_send) send;
   uint32_t handle;
   uint32_t most; // bytes of one datagram
   uint32_t reliableHandle;
   bool lossy;
};

// The lossy handle is asked for, and not only the flag: on the client side the other side may have changed the flag
// since the opening.
inline pcoip_channel::Way pcoip_channel::WayOf(bool lossy) const {
   const PcoipHostTable *const host = mfwHost.load(std::memory_order_acquire);
   const uint32_t reliableHandle = mChannelHandle.load(std::memory_order_acquire);
   if (lossy && IsLossy()) {
      const uint32_t handle = mUchanHandle.load(std::memory_order_acquire);
      if (handle != kPcoipNoHandle) {
         return {host->pcoip_vchan_usend, handle, mMaxUdgram.load(std::memory_order_relaxed), reliableHandle, true};
      }
   }
   return {host->pcoip_vchan_send, reliableHandle, mMaxDgram.load(std::memory_order_relaxed), reliableHandle, false};
}

bool pcoip_channel::Send(const void *data, uint32_t size, bool lossy) {
   const Way way = WayOf(lossy);
   const uint32_t timeout = mSendTimeout.load(std::memory_order_relaxed);
   if (size == 0) {
      return true;
   }
   const auto *at = static_cast<const uint8_t *>(data);
   for (const uint32_t most = std::max(way.most, 1U); size > most; size -= most, at += most) {
      if (const int32_t result = way.send(way.handle, at, most, timeout); result != 0) {
         return SendFailed(result, way.lossy, way.reliableHandle);
      }
   }
   const int32_t result = way.send(way.handle, at, size, timeout);
   return result == 0 || SendFailed(result, way.lossy, way.reliableHandle);
}

// A channel that has been opened again meanwhile has nothing to do with this failure.
bool pcoip_channel::SendFailed(int32_t result, bool lossy, uint32_t reliableHandle) {
   if (lossy && result == kPcoipDropped) {
      return false;
   }
   corelogger::LogError("pcoip send datagram ERROR=%d", result);
   osal::schedulePoint();
   const CORE::coresync hold(mLock);
   if (mChannelHandle.load() == reliableHandle) {
      Close();
   }
   return false;
}

// ---- Events of the host ---------------------------------------------------------------------------------------------

void pcoip_channel::ChannelCallback(void *userData, uint32_t handle, uint32_t event, const void *data) {
   const ChannelRef channel = FindLive(userData);
   if (channel == nullptr) {
      corelogger::LogTrace("pcoip CB bad userData");
      return;
   }
   channel->OnEvent(handle, event, data);
}

void pcoip_channel::OnEvent(uint32_t handle, uint32_t event, const void *data) {
   bool opened = false;
   {
      const CORE::coresync hold(mLock);
      if (!Accepts(handle)) {
         return;
      }
      switch (event) {
      case Opened:
         opened = OnOpened(data);
         break;
      case OpenRejected:
         corelogger::LogDebug("CB channel %s open reject", ShownName());
         Close();
         break;
      case ClosePending:
         corelogger::LogDebug("CB channel %s close pending", ShownName());
         Close();
         break;
      case ChannelClosed:
         corelogger::LogDebug("CB channel %s closed", ShownName());
         Close();
         break;
      case HostError:
         corelogger::LogDebug("CB ERROR DETECTED");
         break;
      case 4:
      case 9:
         break;
      default:
         TellEvent(event);
      }
   }
   osal::schedulePoint();
   if (opened) {
      TellState(1);
   }
}

// Each reason is said: a stopped channel has no handle left, so its late events have both. Nothing opens or closes
// without a handle.
bool pcoip_channel::Accepts(uint32_t handle) const {
   const bool started = IsStarted();
   const bool known = handle == mChannelHandle.load() && (handle != kPcoipNoHandle || !started);
   if (!known) {
      corelogger::LogTrace("pcoip CB bad channelHandle");
   }
   if (!started) {
      corelogger::LogTrace("ChannelCallback for stopped channel");
   }
   return known && started;
}

// Whether it has just become open.
bool pcoip_channel::OnOpened(const void *data) {
   if (data != nullptr) {
      uint32_t capability = 0;
      std::memcpy(&capability, data, sizeof capability);
      mCapability.store(capability);
   }
   corelogger::LogDebug("CB channel %s opened with capability %d", ShownName(),
                        static_cast<int32_t>(mCapability.load()));
   if (CurrentState() == Open) {
      return false;
   }
   if (!AskSizes()) {
      Close();
      return false;
   }
   mState.store(Open);
   SetEvent(mOpenEvent.get());
   return true;
}

bool pcoip_channel::AskSizes() {
   const PcoipHostTable *const host = mfwHost.load(std::memory_order_acquire);
   uint32_t size = 0;
   if (mOpenedLossy) {
      uint32_t lossyHandle = kPcoipNoHandle;
      if (const int32_t result = host->pcoip_vchan_get_uchan_handle(mChannelHandle.load(), &lossyHandle); result != 0) {
         corelogger::LogError("pcoip_vchan_get_uchan_handle FAILED: %d", result);
         return false;
      }
      mUchanHandle.store(lossyHandle);
      if (const int32_t result = host->pcoip_vchan_get_max_udgram_size(lossyHandle, &size); result != 0 || size == 0) {
         corelogger::LogError("pcoip_vchan_get_max_udgram_size FAILED: %d", result);
         return false;
      }
      mMaxUdgram.store(size);
      size = 0;
   }
   if (const int32_t result = host->pcoip_vchan_get_max_dgram_size(&size); result != 0 || size == 0) {
      corelogger::LogError("pcoip_vchan_get_max_dgram_size FAILED: %d", result);
      return false;
   }
   mMaxDgram.store(size);
   return true;
}

void pcoip_channel::TellState(uint32_t state) {
   const CallbackGate::Stay stay(mCallbacks);
   if (!ReturnsNormally([&] { mOwner.load()->ChannelState(mSession, state); })) {
      corelogger::LogError("EXCEPTION in user ChannelState callback");
   }
}

// No exception of an application reaches the host.
void pcoip_channel::TellEvent(uint32_t event) {
   const CallbackGate::Stay stay(mCallbacks);
   if (!ReturnsNormally([&] { mOwner.load()->ChannelEvent(mSession, event); })) {
      corelogger::LogError("EXCEPTION in user ChannelEvent callback");
   }
}
