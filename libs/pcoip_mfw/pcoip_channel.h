#pragma once

#include "lib/mfw/common/corestring.h"
#include "lib/mfw/common/coresync.h"
#include "lib/mfw/common/linuxSupport.h"
#include "libs/pcoip_mfw/CallbackGate.h"
#include "libs/pcoip_mfw/PcoipHostTable.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

class pcoip_channel;
class pcoip_mfw;

/// Releases a channel in place of deleting it.
struct ChannelReleased {
   void operator()(pcoip_channel *channel) const;
};
/// One reference on a channel.
using ChannelRef = std::unique_ptr<pcoip_channel, ChannelReleased>;

/// One virtual channel: a reliable handle of the host, on a lossy channel a second one, read buffers, and a state.
///
/// Two kinds of thread drive it. channelThread opens the channel at the host, waits for word that it is open, and reads
/// reliable datagrams until it is closed; for a lossy channel it starts channelThread2, which reads the others. One
/// such run serves the channel at a time: the next one waits until the threads of the former have gone, so that nobody
/// reads another's buffer or handle.
///
/// | State        | Entered by                      | Left by                                              |
/// |--------------|---------------------------------|------------------------------------------------------|
/// | Closed 2     | construction; Close from Open   | Start of the endpoint: OpenPending                   |
/// | OpenPending 0| Start; a successful openChannel | event 0: Open. Close leaves the state and the handle |
/// |              |                                 | goes; the run ends                                   |
/// | Open 1       | event 0                         | Close while started: Closed. Stop leaves the state   |
///
/// Owner: its endpoint holds the first reference, each thread one. The last Release deletes it, so that the buffers
/// outlive the readers. Threads: any thread, all methods. Locks: mLock guards changes of state and handles, and is held
/// during the host's open, close and events; it comes before mfwEndpointsLock. ChannelState, GotData and GotDataLossy
/// are called without it, ChannelEvent with it. Life cycle: constructed -> (Start -> run -> Stop)* of the endpoint ->
/// the endpoint goes, and callbacks with it -> the last thread ends.
class pcoip_channel final : public CORE::coreref {
public:
   enum State : int32_t { OpenPending = 0, Open = 1, Closed = 2 };
   /// What the host tells by ChannelCallback; every other number but 4 and 9 is the application's.
   enum Event : uint32_t { Opened = 0, OpenRejected = 1, ClosePending = 2, ChannelClosed = 3, HostError = 5 };

   pcoip_channel(pcoip_mfw &owner, const char *name, uint32_t priority, uint32_t openParam);
   ~pcoip_channel() noexcept(false) override;

   int64_t Release() override;

   // ---- Called by the host, and as bodies of threads ----

   /// The callback of pcoip_vchan_open; `userData` is the channel. A late event for a channel that is gone by now finds
   /// nothing and does nothing.
   static void ChannelCallback(void *userData, uint32_t handle, uint32_t event, const void *data);
   /// Bodies of "vchanRecvThread" and "vchanRecvThread2". The argument is the channel, with one reference for them.
   static void channelThread(void *channel);
   static void channelThread2(void *channel);

   // ---- Called by the endpoint, and from within ----

   /// Opens it at the host. False, logged, when the host refuses.
   [[nodiscard]] bool openChannel() MAVR_REQUIRES(mLock);
   /// Closes it at the host and, when it was open and is started, says so by ChannelState(session, 0), for which the
   /// lock is let go. Wakes a run that waits for the opening. May be called at any time; later calls only wake.
   void Close() MAVR_REQUIRES(mLock);
   void CloseLocked();

   /// Sends in chunks of at most the maximal size, which a receiver sees as datagrams. `lossy` on a channel without the
   /// second handle goes the reliable way. False: the host dropped a lossy chunk (not logged), or failed (logged, and
   /// the channel is closed). True for nothing.
   [[nodiscard]] bool Send(const void *data, uint32_t size, bool lossy);

   /// How many channels exist in this process.
   [[nodiscard]] static size_t CountLive();

   [[nodiscard]] const char *Name() const { return mName.Text(); }
   /// The name as logs show it.
   [[nodiscard]] const char *ShownName() const { return mShownName.Text(); }
   [[nodiscard]] uint32_t Session() const { return mSession; }
   [[nodiscard]] uint32_t Priority() const { return mPriority; }
   [[nodiscard]] int32_t CurrentState() const { return mState.load(std::memory_order_acquire); }
   [[nodiscard]] bool IsStarted() const { return mStarted.load(std::memory_order_acquire); }
   [[nodiscard]] bool IsLossy() const { return mLossy.load(std::memory_order_relaxed); }
   /// For the next opening.
   void SetLossy(bool lossy) { mLossy.store(lossy, std::memory_order_relaxed); }

private:
   friend class pcoip_mfw; // starts and stops it, under mLock

   struct Freed {
      void operator()(uint8_t *buffer) const { std::free(buffer); }
   };
   using ReadBuffer = std::unique_ptr<uint8_t, Freed>;
   struct ClosedHandle {
      void operator()(HANDLE handle) const { CloseHandle(handle); }
   };
   using OpenEvent = std::unique_ptr<platforms::WindowsHandle, ClosedHandle>;

   enum class Which { Reliable, Lossy };
   enum class Opening { Done, Failed, NotNeeded };
   struct Source; // what one reader reads, and where to
   struct Way;    // how one send goes
   class RunPlace;

   static ChannelRef FindLive(void *userData);

   void Run();
   [[nodiscard]] Opening OpenForRun(std::optional<RunPlace> &place);
   [[nodiscard]] bool EnterRun() MAVR_REQUIRES(mLock);
   [[nodiscard]] bool PrepareReading();
   [[nodiscard]] bool MakeReadBuffer(ReadBuffer &buffer, uint32_t maxDatagram, uint32_t capacity) const
      MAVR_REQUIRES(mLock);
   [[nodiscard]] bool StartLossyReader();
   void CloseUnwanted();

   void RecvLoop(Which which);
   [[nodiscard]] Source SourceOf(Which which) const;
   [[nodiscard]] bool ReadBatch(const Source &source);
   [[nodiscard]] bool Receive(const Source &source, uint8_t *to, uint32_t &outSize);
   [[nodiscard]] bool ReceiveFailed(int32_t result, uint32_t size, uint32_t most);

   [[nodiscard]] Way WayOf(bool lossy) const;
   [[nodiscard]] bool SendFailed(int32_t result, bool lossy, uint32_t reliableHandle);

   void OnEvent(uint32_t handle, uint32_t event, const void *data);
   [[nodiscard]] bool Accepts(uint32_t handle) const MAVR_REQUIRES(mLock);
   [[nodiscard]] bool OnOpened(const void *data) MAVR_REQUIRES(mLock);
   [[nodiscard]] bool AskSizes() MAVR_REQUIRES(mLock);
   void TellState(uint32_t state);
   void TellEvent(uint32_t event);

   std::atomic<pcoip_mfw *> mOwner; // the endpoint; mfwDummy when that is gone
   CORE::corestring mName;
   std::atomic<uint32_t> mChannelHandle{kPcoipNoHandle};
   std::atomic<uint32_t> mUchanHandle{kPcoipNoHandle};
   const uint32_t mSession = 0; // required: its top four bits are 0; nothing gives the others a meaning
   std::atomic<uint32_t> mSendTimeout{0};
   const OpenEvent mOpenEvent; // required: nothing resets it
   std::atomic<uint32_t> mMaxDgram{0};
   std::atomic<uint32_t> mMaxUdgram{0};
   uint32_t mInbufCapacity = 0;  // the run's
   uint32_t mInbufCapacity2 = 0; // the run's
   ReadBuffer mReadBuffer;       // the run's
   ReadBuffer mReadBuffer2;      // the run's
   CORE::corecritsec mLock;
   std::atomic<int32_t> mState{Closed};
   const uint32_t mPriority;
   std::atomic<bool> mStarted{false};
   std::atomic<bool> mLossy{false};
   uint32_t mRecvHeader MAVR_GUARDED_BY(mLock) = 0;
   uint32_t mRecvTrailer MAVR_GUARDED_BY(mLock) = 0;
   const uint32_t mOpenParam;
   std::atomic<uint32_t> mCapability{0};

   const CORE::corestring mShownName;
   CallbackGate mCallbacks;
   bool mOpenedLossy = false;            // how the run opened it; written under mLock before its readers start
   uint32_t mRunHeader = 0;              // mRecvHeader as it was when the run's buffers were made
   std::atomic<uint32_t> mRunThreads{0}; // threads of the run that serves the channel
   uint32_t mClosingHandle MAVR_GUARDED_BY(mLock) = kPcoipNoHandle; // the host is being told to close it
   bool mRunWaits MAVR_GUARDED_BY(mLock) = false;                   // the next run is waiting for its turn
};
