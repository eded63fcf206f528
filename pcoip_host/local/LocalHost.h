#pragma once

#include "libs/pcoip_mfw/PcoipHostTable.h"
#include "pcoip_host/PcoipHost.h"
#include "pcoip_host/local/DatagramPipe.h"
#include "pcoip_host/local/LocalLink.h"
#include "pcoip_host/local/LocalRendezvous.h"
#include "pcoip_host/local/LossPlan.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pcoip_host {

/// Results of a local host's operations, beside 0 and kPcoipDropped.
enum LocalHostError : int32_t {
   kBadArgument = -1,
   kNotConnected = -2,
   kNameInUse = -3, ///< this side has a channel of that name
   kNoChannel = -4, ///< no such handle, or it was closed
   kNotOpen = -5,   ///< the other side has not opened it yet
   kTooLarge = -6,  ///< larger than the largest datagram; or than the room of a receive: the datagram stays
   kTimedOut = -7,
   kClosed = -8, ///< the other side went
};

/// How one side of a local host is to be.
struct LocalHostOptions {
   /// One of the two sides leads; no matter which.
   LocalRendezvous::Role role = LocalRendezvous::Role::kLeading;
   uint32_t largestDatagram = 16384; ///< at most kMostDatagram; the smaller one of both sides counts
   uint32_t largestLossyDatagram = 16384;
   uint32_t lossPerMillion = 0; ///< of the lossy datagrams that this side sends
   uint64_t seed = 1;           ///< which of them get lost
};

/// Datagrams that this side's calls sent. Any moment's numbers.
struct LocalTraffic {
   uint64_t reliable = 0;
   uint64_t lossy = 0;   ///< with those that got lost
   uint64_t lost = 0;    ///< by chance, on their way: the sender was not told
   uint64_t refused = 0; ///< kPcoipDropped, for want of room
};

/// A PCoIP host between two processes of one machine, over one connected socket: a table of operations for the plugin
/// of each side. docs/local-host.md tells the whole of it.
///
/// A channel opens when both sides have opened its name, in any order; the side that comes second is asked for it by
/// event 1 of the connect callback. Reliable datagrams arrive in order and complete, and wait for room when the other
/// side does not read; lossy ones arrive in order as well, but get lost as the options say, and fall when there is no
/// room in time. When the other side closes a channel, event 3 comes once the reader here has had what was sent, or
/// kPatienceMs later; when the other process ends, in whatever way, that is so for every channel, and then the session
/// is told to have gone. It does not come back.
///
/// The session is told to the plugin once: by pcoip_get_connection_state when that is first asked after the
/// registration, or, when there was none then, by an event later. No connect callback comes before that question, so
/// that a plugin can take its time between the two.
///
/// Owner: the program. Threads: the table's operations on any thread, callbacks on a thread of the host's own, which
/// never waits for the other side. No callback of a handle begins after pcoip_vchan_close; one that has begun is not
/// waited for, because whoever closes may hold a lock that the callback wants. Locks: mLock, held for moments; no
/// callback is called under it. Life cycle: Create -> connect -> (disconnect) -> destroyed, when no callback can be
/// under way that waits for this thread; calls under way end then, and later ones fail with kNotConnected.
class LocalHost final : public PcoipHost {
public:
   static constexpr size_t kMostHosts = 4; ///< in one process: a table's functions know their host by their own address
   static constexpr uint32_t kMostDatagram = 1U << 20;
   static constexpr uint32_t kCapability = 1; ///< of every channel, with event 0
   static constexpr uint32_t kPatienceMs = 500;

   /// `socket` is one end of MakeSocketPair, or was inherited. Null, with errno, when it is no socket, there are
   /// kMostHosts already, or the system has no thread or descriptor left.
   [[nodiscard]] static std::unique_ptr<LocalHost> Create(Descriptor socket, const LocalHostOptions &options);
   ~LocalHost() override;

   [[nodiscard]] const PcoipHostTable &table() const override;
   /// Says that this side is ready. The session is up when both have. False once it has ended.
   [[nodiscard]] bool connect() override;
   /// Ends the session for both sides, at once here: what was not read yet is lost.
   void disconnect() override;
   [[nodiscard]] bool connected() const override;
   /// The other side's plugin gets event 1 for the name, unless it has the channel already. False without a session, or
   /// for a name that is none.
   [[nodiscard]] bool openByName(const char *name, bool lossy) override;

   [[nodiscard]] LocalTraffic Traffic() const;

   // ---- The operations of the table, which see ----
   int32_t RegisterConnectCallback(PcoipConnectCallback callback, uint64_t *outContext);
   int32_t UnregisterConnectCallback(uint64_t context);
   int32_t Open(const char *name, uint32_t mode, uint32_t priority, PcoipChannelCallback callback, void *userData,
                uint32_t *outHandle);
   int32_t Close(uint32_t handle);
   int32_t Send(uint32_t handle, const void *data, uint32_t size, uint32_t timeoutMs);
   int32_t SendLossy(uint32_t lossyHandle, const void *data, uint32_t size, uint32_t timeoutMs);
   int32_t Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeoutMs);
   int32_t Pending(uint32_t handle, uint32_t *outCount);
   int32_t ConnectionState();
   int32_t LargestDatagram(uint32_t *outSize);
   int32_t LossyHandle(uint32_t handle, uint32_t *outLossyHandle);
   int32_t LargestLossyDatagram(uint32_t lossyHandle, uint32_t *outSize);

private:
   using PipeRef = std::shared_ptr<DatagramPipe>;

   struct Channel {
      LossPlan plan;
      bool isLossy;
      PcoipChannelCallback callback;
      void *userData;
      PipeRef reliable; // null until it is open
      PipeRef lossy;
      uint64_t lossySent = 0;
      uint64_t endsBy = 0; // event 3 is due: when drained, or at this time; 0 when it is not
   };
   struct Event {
      enum class What { kOpened, kRejected, kAnnounced };
      What what;
      uint32_t channel;
      std::string name;
      bool lossy;
   };
   struct Lingering {
      PipeRef pipe;
      uint64_t until;
   };

   LocalHost(Descriptor socket, SocketPair wake, const LocalHostOptions &options, size_t slot);

   // The host's thread.
   void Run();
   void AwaitWork();
   void ReadMessages();
   void Handle(LocalLink::Received received);
   void FlushPipes();
   void RaiseEvents();
   bool RaiseOne(std::unique_lock<std::mutex> &lock);
   bool RaiseEnd(std::unique_lock<std::mutex> &lock);
   bool RaiseConnect(std::unique_lock<std::mutex> &lock, bool connected);
   void CallConnect(std::unique_lock<std::mutex> &lock, uint32_t event, const void *data);
   void CallChannel(std::unique_lock<std::mutex> &lock, uint32_t number, uint32_t event, const void *data);
   [[nodiscard]] bool MayStop() const;

   // With mLock.
   void Do(LocalRendezvous::Actions actions);
   void Join(const LocalRendezvous::Action &action, LocalRendezvous::Actions *more);
   [[nodiscard]] bool IsUp() const { return mSaidHello && mHeardHello && !mHasDisconnected; }
   void Disconnect();
   void Adopt(LocalLink::Received *received, LocalRendezvous::Actions *actions);
   void LetGo(const PipeRef &pipe);
   [[nodiscard]] std::vector<PipeRef> PipesWithParked() const;

   void Wake();
   int32_t Locate(uint32_t handle, PipeRef *pipe);

   const LocalHostOptions mOptions;
   const size_t mSlot;
   const SocketPair mWake;

   mutable std::mutex mLock; // guards what follows
   LocalLink mLink;
   LocalRendezvous mRendezvous;
   std::map<uint32_t, Channel> mChannels;
   std::deque<Event> mEvents;
   std::vector<Lingering> mLingering; // closed here, and not yet out as a whole
   PcoipConnectCallback mConnectCallback = nullptr;
   bool mIsAsked = false; // for the session's state, since the registration
   bool mToldConnected = false;
   bool mSaidHello = false;
   bool mHeardHello = false;
   bool mHasDisconnected = false;
   bool mIsStopping = false;
   uint64_t mStopBy = 0;
   uint32_t mLargest;
   uint32_t mLargestLossy;

   struct {
      std::atomic<uint64_t> reliable{0}, lossy{0}, lost{0}, refused{0};
   } mTraffic;
   std::mutex mConnectTurn; // held during a connect callback
   std::thread mThread;
};

} // namespace pcoip_host
