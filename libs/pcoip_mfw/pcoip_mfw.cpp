#include "libs/pcoip_mfw/pcoip_mfw.h"

#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/messageframework/propertybag.h"
#include "libs/pcoip_mfw/ChannelRules.h"
#include "libs/pcoip_mfw/mfwSession.h"

#include "osal/SchedulePoint.h"

#include <cstring>
#include <new>

using CORE::corelogger;

namespace {

constexpr char kDummyName[] = "__dummy__";

class dummy final : public pcoip_mfw {
public:
   dummy()
       : pcoip_mfw(kDummyName, 1) {}
   void ChannelState(uint32_t /*session*/, uint32_t /*state*/) override {}
   void GotData(uint32_t /*session*/, uint8_t * /*data*/, uint32_t /*size*/) override {}
};

} // namespace

// In memory of its own: it is needed where none can be had, in a destructor.
pcoip_mfw &mfwDummy() {
   alignas(dummy) static unsigned char gMemory[sizeof(dummy)];
   static dummy *const gDummy = new (gMemory) dummy;
   return *gDummy;
}

// ---- Life -----------------------------------------------------------------------------------------------------------

pcoip_mfw::pcoip_mfw(const char *name, uint32_t priority) {
   const char *const given = name != nullptr ? name : "";
   if (std::strcmp(given, kDummyName) == 0) {
      return;
   }
   ChannelRef channel(new pcoip_channel(*this, given, priority, 0));
   corelogger::LogDebug("add of pcoip_mfw %s (0x%p)", given, static_cast<void *>(this));
   mfw::AddEndpoint(*this, *channel);
   mChannel = channel.release();
}

pcoip_mfw::pcoip_mfw(const char *name, uint32_t openParam, uint32_t priority) {
   const char *const given = name != nullptr ? name : "";
   if (std::strcmp(given, kDummyName) == 0) {
      return;
   }
   ChannelRef channel(new pcoip_channel(*this, given, priority, openParam));
   corelogger::LogDebug("add of pcoip_mfw %s (0x%p), pdata (0x%p)", given, static_cast<void *>(this),
                        static_cast<void *>(channel.get()));
   mfw::AddEndpoint(*this, *channel);
   mChannel = channel.release();
}

pcoip_mfw::~pcoip_mfw() {
   EndCallbacks();
   if (mChannel != nullptr) {
      mChannel->Release();
   }
}

// Nobody who walks the list of endpoints may meet one whose channel is going, so it leaves the list first.
void pcoip_mfw::EndCallbacks() {
   if (mChannel == nullptr || mEnded) {
      return;
   }
   corelogger::LogDebug("remove of pcoip_mfw %s", mChannel->Name());
   mfw::RemoveEndpoint(*this);
   {
      const CORE::coresync hold(mChannel->mLock);
      mEnded = true;
      Sleep(0);
      mChannel->mOwner.store(&mfwDummy());
      osal::schedulePoint();
      mChannel->Close();
      pcoip_mfw::Stop();
   }
   osal::schedulePoint();
   mChannel->mCallbacks.AwaitOthers();
}

// ---- Start and stop -------------------------------------------------------------------------------------------------

bool pcoip_mfw::Start(bool lossy, uint32_t sendTimeout) {
   if (mChannel == nullptr) {
      return false;
   }
   pcoip_channel &channel = *mChannel;
   const char *const name = channel.Name();
   corelogger::LogDebug("[%s - Start] start of virtual channel - %s", name, LossyText(lossy));
   const CORE::coresync hold(channel.mLock);
   if (channel.IsStarted()) {
      corelogger::LogDebug("[%s - Start] already started. Exiting", name);
      return true;
   }
   if (mEnded) { // in a callback that the destructor waits for: nobody would close it any more
      corelogger::LogDebug("[%s - Start] endpoint is going. Exiting", name);
      return false;
   }
   if (channel.mOpenEvent == nullptr) {
      corelogger::LogError("[%s - Start] FAILED to create event", name);
      return false;
   }
   channel.mStarted.store(true);
   if (mfwServer.load()) {
      channel.SetLossy(lossy);
      corelogger::LogDebug("[%s - Start] setting lossy flag", name);
   }
   channel.mSendTimeout.store(sendTimeout);
   channel.mState.store(pcoip_channel::OpenPending);
   if (mfwConnected.load() && mfwServer.load()) {
      const auto cut = HostName(name);
      corelogger::LogDebug("[%s - Start] Passing channel details to pcoipRunThread with name: %s", name, cut.data());
      mfw::pcoipRunThread(cut.data(), channel.IsLossy());
   }
   return true;
}

void pcoip_mfw::Stop() {
   if (mChannel == nullptr) {
      return;
   }
   const CORE::coresync hold(mChannel->mLock);
   if (mChannel->IsStarted()) {
      corelogger::LogDebug("stop of virtual channel %s", mChannel->ShownName());
      mChannel->mStarted.store(false);
      mChannel->Close();
   }
}

// ---- Data -----------------------------------------------------------------------------------------------------------

void pcoip_mfw::GotDataLossy(uint32_t /*session*/, uint8_t * /*data*/, uint32_t /*size*/) {}

void pcoip_mfw::ChannelEvent(uint32_t /*session*/, uint32_t /*code*/) {}

inline bool pcoip_mfw::SendAs(uint32_t session, const void *data, uint32_t size, bool lossy) {
   if (mChannel == nullptr) {
      return false;
   }
   const int32_t state = mChannel->CurrentState();
   const bool fits = state == pcoip_channel::Open && session == mChannel->Session();
   return fits && (data != nullptr || size == 0) ? mChannel->Send(data, size, lossy)
                                                 : SendRefused(state, session, size);
}

bool pcoip_mfw::SendData(uint32_t session, const void *data, uint32_t size) {
   return SendAs(session, data, size, false);
}

bool pcoip_mfw::SendDataLossy(uint32_t session, const void *data, uint32_t size) {
   return SendAs(session, data, size, true);
}

// The state is the one that was looked at: the channel's may be another by now, and the reason then a wrong one.
bool pcoip_mfw::SendRefused(int32_t state, uint32_t session, uint32_t size) const {
   if (state != pcoip_channel::Open) {
      corelogger::LogDebug("states: pending=%u, open=%u, closed=%u", uint32_t{pcoip_channel::OpenPending},
                           uint32_t{pcoip_channel::Open}, uint32_t{pcoip_channel::Closed});
      corelogger::LogDebug("SendData called in bad state, state=%u (0x%p)", static_cast<uint32_t>(state),
                           static_cast<const void *>(this));
   } else if (session != mChannel->Session()) {
      corelogger::LogDebug("SendData called for invalid session, got=%u, expected=%u", session, mChannel->Session());
   } else {
      corelogger::LogError("SendData called without data, size=%u (0x%p)", size, static_cast<const void *>(this));
   }
   return false;
}

void pcoip_mfw::SetGotDataOptions(uint32_t recvHeader, uint32_t recvTrailer) {
   if (mChannel == nullptr) {
      return;
   }
   const CORE::coresync hold(mChannel->mLock);
   if (mChannel->IsStarted()) {
      corelogger::LogError("pcoip_mfw::SetGotDataOptions called after channel start, channel = %s", mChannel->Name());
      return;
   }
   mChannel->mRecvHeader = recvHeader;
   mChannel->mRecvTrailer = recvTrailer;
   corelogger::LogDebug("pcoip_mfw::SetGotDataOptions called for %s, recvHeader = %u, recvTrailer = %u",
                        mChannel->Name(), recvHeader, recvTrailer);
}

// ---- What there is to know ------------------------------------------------------------------------------------------

void pcoip_mfw::GetChannelsInfo(CORE::PropertyBag &out) {
   mfw::ForEachChannel([&out](const pcoip_channel &channel) {
      CORE::PropertyBag info;
      info.Set("name", channel.Name());
      info.Set("type", "InProc");
      info.Set("started", TruthText(channel.IsStarted()));
      info.Set("state", StateText(channel.CurrentState()));
      info.Set("prio", PriorityText(channel.Priority()));
      info.Set("lossy", TruthText(channel.IsLossy()));
      out.AddBag(channel.Name(), info, false);
   });
}

uint32_t pcoip_mfw::GetMaxDatagramSize(bool lossy) const {
   if (mChannel == nullptr) {
      return 0;
   }
   return lossy && mChannel->IsLossy() ? mChannel->mMaxUdgram.load() : mChannel->mMaxDgram.load();
}

bool pcoip_mfw::IsStarted() const {
   return mChannel != nullptr && mChannel->IsStarted();
}

uint32_t pcoip_mfw::GetCapability() const {
   return mChannel != nullptr ? mChannel->mCapability.load() : 0;
}
