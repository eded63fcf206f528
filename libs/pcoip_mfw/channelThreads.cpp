// The threads of a channel: one run from its opening to its close, and the loops that read datagrams.

#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/common/threadWrapper.h"
#include "libs/pcoip_mfw/CallbackBorder.h"
#include "libs/pcoip_mfw/ChannelRules.h"
#include "libs/pcoip_mfw/ScopedUnlock.h"
#include "libs/pcoip_mfw/mfwSession.h"
#include "libs/pcoip_mfw/pcoip_channel.h"
#include "libs/pcoip_mfw/pcoip_mfw.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"
#include "osal/WaitWord.h"

#include <new>
#include <optional>

using CORE::corelogger;

// One thread's place in the run that serves a channel, from the moment it has been counted: whatever ends the thread,
// the next run gets its turn.
class pcoip_channel::RunPlace {
public:
   explicit RunPlace(pcoip_channel &channel)
       : mChannel(channel) {}
   RunPlace(const RunPlace &) = delete;
   RunPlace &operator=(const RunPlace &) = delete;
   ~RunPlace() {
      mChannel.mRunThreads.fetch_sub(1);
      osal::waitword::wakeAll(mChannel.mRunThreads);
   }

private:
   pcoip_channel &mChannel;
};

// ---- One run --------------------------------------------------------------------------------------------------------

void pcoip_channel::channelThread(void *channel) {
   const ChannelRef self(static_cast<pcoip_channel *>(channel));
   corelogger::LogDebug("channelThread START for channel %s", self->ShownName());
   self->Run();
   corelogger::LogDebug("channelThread STOP for channel %s", self->ShownName());
}

void pcoip_channel::Run() {
   std::optional<RunPlace> place;
   const Opening opening = OpenForRun(place);
   if (opening == Opening::NotNeeded) {
      return;
   }
   if (opening == Opening::Failed) {
      corelogger::LogError("openChannel FAILED for channel %s", ShownName());
      return;
   }
   corelogger::LogDebug("Waiting for event notif. Channel %s", ShownName());
   WaitForSingleObject(mOpenEvent.get(), INFINITE);
   corelogger::LogDebug("Event notif received. Channel %s", ShownName());
   osal::schedulePoint();
   if (!IsStarted() || CurrentState() != Open) {
      corelogger::LogDebug("Channel not started or opened. Exiting. Channel %s", ShownName());
      CloseUnwanted();
      return;
   }
   osal::schedulePoint();
   if (!PrepareReading()) {
      return;
   }
   corelogger::LogDebug("channelThread remote connected channel: %s, lossy=%s, sendTimeout=%u", Name(),
                        TruthText(mOpenedLossy), mSendTimeout.load());
   if (!mOpenedLossy || StartLossyReader()) {
      RecvLoop(Which::Reliable);
   }
}

pcoip_channel::Opening pcoip_channel::OpenForRun(std::optional<RunPlace> &place) {
   const CORE::coresync hold(mLock);
   if (!EnterRun()) {
      return Opening::NotNeeded;
   }
   place.emplace(*this);
   if (mChannelHandle.load() != kPcoipNoHandle) {
      Close(); // opened by a run that ended without reading: the host would keep that one for ever
   }
   if (!openChannel()) {
      Close();
      return Opening::Failed;
   }
   return Opening::Done;
}

// Counts this thread into the run that serves the channel, once the former run is over. False when a run has it open,
// or another thread waits already: a session that is reported twice is no second channel.
bool pcoip_channel::EnterRun() {
   while (mRunThreads.load() != 0) {
      if (mChannelHandle.load() != kPcoipNoHandle || mRunWaits) {
         return false;
      }
      mRunWaits = true;
      {
         const ScopedUnlock whileWaiting(mLock);
         while (const uint32_t threads = mRunThreads.load()) {
            osal::schedulePoint();
            osal::Clock::current().waitWhile(mRunThreads, threads, osal::Clock::kNoDeadline);
         }
      }
      mRunWaits = false;
   }
   mRunThreads.store(1);
   mInbufCapacity = 0;
   mInbufCapacity2 = 0;
   return true;
}

// A channel that was stopped before the host had it open would stay open there for nobody.
void pcoip_channel::CloseUnwanted() {
   const CORE::coresync hold(mLock);
   if (!IsStarted()) {
      Close();
   }
}

// False, logged, without memory. True without buffers when the channel has been closed meanwhile.
bool pcoip_channel::PrepareReading() {
   const CORE::coresync hold(mLock);
   if (CurrentState() != Open) {
      return true;
   }
   corelogger::LogDebug("Channel opened. Channel %s", ShownName());
   mRunHeader = mRecvHeader;
   mInbufCapacity = ReadBufferCapacity(mMaxDgram.load());
   corelogger::LogDebug("max datagram size %u, inbuf capacity %u", mMaxDgram.load(), mInbufCapacity);
   if (!MakeReadBuffer(mReadBuffer, mMaxDgram.load(), mInbufCapacity)) {
      corelogger::LogError("OutOfMem for read buffer, channel %s", ShownName());
      return false;
   }
   if (mOpenedLossy) {
      corelogger::LogDebug("Channel is lossy. Channel %s", ShownName());
      mInbufCapacity2 = ReadBufferCapacity(mMaxUdgram.load());
      corelogger::LogDebug("max lossy datagram size %u, inbuf capacity %u", mMaxUdgram.load(), mInbufCapacity2);
      if (!MakeReadBuffer(mReadBuffer2, mMaxUdgram.load(), mInbufCapacity2)) {
         corelogger::LogError("OutOfMem for read buffer2, channel %s", ShownName());
         return false;
      }
   }
   return true;
}

bool pcoip_channel::MakeReadBuffer(ReadBuffer &buffer, uint32_t maxDatagram, uint32_t capacity) const {
   buffer.reset(); // the former run's
   if (const auto size = ReadBufferSize(maxDatagram, capacity, mRecvHeader, mRecvTrailer)) {
      buffer.reset(static_cast<uint8_t *>(std::malloc(*size)));
   }
   return buffer != nullptr;
}

bool pcoip_channel::StartLossyReader() {
   AddRef();
   mRunThreads.fetch_add(1); // given back by the thread
   auto *const thread =
      new (std::nothrow) CORE::corerun("vchanRecvThread2", &channelThread2, this, nullptr, nullptr, 3);
   const bool started = thread != nullptr && thread->Start();
   if (thread != nullptr) {
      thread->Release();
   }
   if (!started) {
      corelogger::LogError("ChannelThread2 FAILED to start for channel %s", ShownName());
      mRunThreads.fetch_sub(1);
      Release();
   }
   return started;
}

void pcoip_channel::channelThread2(void *channel) {
   const ChannelRef self(static_cast<pcoip_channel *>(channel));
   const RunPlace place(*self);
   corelogger::LogDebug("channelThread2 START for channel %s", self->ShownName());
   self->RecvLoop(Which::Lossy);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

struct pcoip_channel::Source {
   decltype(PcoipHostTable::pcoip_vchan_recv) receive;
   decltype(PcoipHostTable::pcoip_vchan_pending) askPending;
   const std::atomic<uint32_t> &handle;
   void (pcoip_mfw::*deliver)(uint32_t session, uint8_t *data, uint32_t size);
   uint8_t *buffer;
   uint32_t capacity; // 0: there is no buffer
   uint32_t most;     // bytes of one datagram
   uint32_t header;
};

pcoip_channel::Source pcoip_channel::SourceOf(Which which) const {
   const PcoipHostTable *const host = mfwHost.load(std::memory_order_acquire);
   if (which == Which::Lossy) {
      return {host->pcoip_vchan_urecv,
              host->pcoip_vchan_upending,
              mUchanHandle,
              &pcoip_mfw::GotDataLossy,
              mReadBuffer2.get(),
              mInbufCapacity2,
              mMaxUdgram.load(),
              mRunHeader};
   }
   return {host->pcoip_vchan_recv, host->pcoip_vchan_pending, mChannelHandle, &pcoip_mfw::GotData, mReadBuffer.get(),
           mInbufCapacity,         mMaxDgram.load(),          mRunHeader};
}

void pcoip_channel::RecvLoop(Which which) {
   const Source source = SourceOf(which);
   const bool returned = ReturnsNormally([this, &source] {
      while (source.capacity != 0 && mChannelHandle.load(std::memory_order_acquire) != kPcoipNoHandle &&
             ReadBatch(source)) {
      }
   });
   if (!returned) {
      corelogger::LogError("EXCEPTION in user GotData callback");
      CloseLocked();
   }
}

// In the middle of a batch the channel may be closed already. No handle is none to wait on.
inline bool pcoip_channel::Receive(const Source &source, uint8_t *to, uint32_t &outSize) {
   const uint32_t handle = source.handle.load(std::memory_order_acquire);
   if (handle == kPcoipNoHandle) {
      return false;
   }
   outSize = 0;
   const int32_t result = source.receive(handle, to, source.most, &outSize, kPcoipNoTimeout);
   return result == 0 && outSize <= source.most ? true : ReceiveFailed(result, outSize, source.most);
}

// Waits for one datagram and takes those that wait behind it, up to the capacity: a burst costs one pending query. The
// data handed out begins with the room in front of the datagram. False when the channel is closed now.
bool pcoip_channel::ReadBatch(const Source &source) {
   uint8_t *at = source.buffer;
   uint32_t size = 0;
   if (!Receive(source, at + source.header, size)) {
      return false;
   }
   const CallbackGate::Stay stay(mCallbacks);
   uint32_t pending = 0;
   for (uint32_t taken = 1;; ++taken) {
      if (taken < source.capacity && pending == 0) {
         source.askPending(source.handle.load(std::memory_order_acquire), &pending);
      }
      if (size != 0) {
         osal::schedulePoint();
         (mOwner.load(std::memory_order_acquire)->*source.deliver)(mSession, at, size);
      }
      at += size;
      if (pending == 0 || taken >= source.capacity) {
         return true;
      }
      --pending;
      if (!Receive(source, at + source.header, size)) {
         return false;
      }
   }
}

bool pcoip_channel::ReceiveFailed(int32_t result, uint32_t size, uint32_t most) {
   if (result != 0) {
      corelogger::LogDebug("pcoip_vchan_recv FAILED result %d", result);
   } else {
      corelogger::LogError("pcoip_vchan_recv returned %u bytes where %u fit, channel %s", size, most, ShownName());
   }
   osal::schedulePoint();
   CloseLocked();
   return false;
}
