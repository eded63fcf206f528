#pragma once

#include "lib/mfw/common/threadWrapper.h"
#include "libs/pcoip_mfw/PcoipHostTable.h"
#include "libs/pcoip_mfw/mfwSession.h"
#include "libs/pcoip_mfw/pcoip_mfw.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// What tests of channels share: a host that does as it is told, the threads of channels under watch, and an endpoint
/// that keeps what it is told.
namespace kit {

/// Watches the threads of runnables for its lifetime. Owner: the test, one at a time.
class WatchedThreads {
public:
   WatchedThreads();
   ~WatchedThreads();
   WatchedThreads(const WatchedThreads &) = delete;
   WatchedThreads &operator=(const WatchedThreads &) = delete;

   /// The next `count` threads can't be made.
   void FailNext(int count);
   /// Threads with numbers from `first` on (0 is the first one ever) wait at their begin until LetGo.
   void HoldFrom(int first);
   void LetGo();

   void AwaitStarted(int count); ///< that many have been made so far
   void AwaitAtMost(int alive);  ///< returns when no more are alive
   void AwaitNone() { AwaitAtMost(0); }
   [[nodiscard]] int Started() const;

private:
   struct Begun;
   static HANDLE Begin(void *security, uint32_t stack, platforms::ThreadStart start, void *argument, uint32_t flags,
                       uint32_t *outId);
   static uint32_t Main(void *begun);

   mutable std::mutex mLock;
   std::condition_variable mChanged;
   int mStarted = 0;
   int mAlive = 0;
   int mFailing = 0;
   int mHeldFrom = INT32_MAX;
   const CORE::BeginThread mFormer;
};

/// A host that does as it is told and writes down what it is asked. In force for its lifetime, one at a time; Init of
/// the session is left to the test (Load). Threads: any.
class ObedientHost {
public:
   static constexpr int32_t kClosedResult = -17;
   static constexpr int32_t kWrongWayResult = -18; ///< the operation is for handles of the other kind

   struct Opened {
      std::string name; // all 32 bytes
      uint32_t mode;
      uint32_t priority;
      uint32_t openParam;
      void *userData;
      PcoipChannelCallback callback;
      uint32_t handle;
   };
   struct ClosedCall {
      uint32_t handle;
      uint32_t started;
      uint32_t last;
   };
   struct Sent {
      uint32_t handle;
      std::string data;
      uint32_t timeout;
      bool lossy;
   };

   ObedientHost();
   ~ObedientHost();
   ObedientHost(const ObedientHost &) = delete;
   ObedientHost &operator=(const ObedientHost &) = delete;

   [[nodiscard]] static const PcoipHostTable &Table();
   /// mfw::Init with this host, as agent or client.
   bool Load(bool server, uint64_t *context = nullptr);

   // ---- What it will answer. Set before the call comes, or under no threads ----
   int32_t registerResult = 0;
   int32_t connectionState = 0;
   int32_t openResult = 0;
   int32_t uchanResult = 0;
   int32_t maxResult = 0;
   int32_t maxLossyResult = 0;
   uint32_t maxDatagram = 1200;
   uint32_t maxLossyDatagram = 1000;
   uint32_t context = 77;
   std::function<void(uint32_t handle)> onClose;
   std::function<int32_t(const Sent &)> onSend; ///< without it every send succeeds

   // ---- What it does ----
   void Session(uint32_t state);
   void RemoteOpen(const std::string &name, uint32_t flags);
   void Connect(uint32_t event, const void *data);
   /// An event for the channel opened last, or for a given one.
   void Tell(uint32_t event, const void *data = nullptr);
   void TellFor(const Opened &opened, uint32_t handle, uint32_t event, const void *data);
   /// Waits until `count` channels have been opened, tells that the last one is open, and waits until its reliable
   /// handle, and with `lossy` the other, is being read.
   void OpenFully(size_t count, bool lossy = false);
   /// Puts datagrams into a handle's queue, all at once; the size told to the reader may be another than the data's.
   /// Nothing for a handle that is closed, or that has a thousand waiting.
   void Arrive(uint32_t handle, const std::vector<std::string> &datagrams, int64_t toldSize = -1);
   void FailReceive(uint32_t handle, int32_t result);

   // ---- What has happened ----
   Opened AwaitOpened(size_t count);
   [[nodiscard]] std::optional<Opened> LastOpened() const;
   void AwaitReader(uint32_t handle); ///< a thread is waiting for a datagram of it
   [[nodiscard]] std::vector<Opened> AllOpened() const;
   [[nodiscard]] std::vector<ClosedCall> AllClosed() const;
   [[nodiscard]] std::vector<Sent> AllSent() const;
   [[nodiscard]] int PendingQueries() const;
   [[nodiscard]] bool WasRead(uint32_t handle) const;
   [[nodiscard]] std::vector<uint32_t> Capacities() const; ///< of all receives
   [[nodiscard]] std::vector<uint64_t> Unregistered() const;
   [[nodiscard]] size_t StillOpen() const; ///< handles that nobody has closed
   [[nodiscard]] static uint32_t LossyHandleOf(uint32_t handle) { return handle + kLossyHandles; }

private:
   friend struct ObedientOperations;
   static constexpr uint32_t kLossyHandles = 0x10000; // from here on
   struct Datagram {
      std::string data;
      int64_t toldSize;
   };
   struct Pipe {
      std::deque<Datagram> datagrams;
      int32_t failure = 0;
      int readers = 0;
      bool closed = false;
   };

   int32_t Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize);
   int32_t Send(const Sent &sent);

   mutable std::mutex mLock;
   std::condition_variable mChanged;
   PcoipConnectCallback mConnectCallback = nullptr;
   std::vector<Opened> mOpened;
   std::vector<ClosedCall> mClosed;
   std::vector<Sent> mSent;
   std::vector<uint32_t> mCapacities;
   std::vector<uint64_t> mUnregistered;
   std::map<uint32_t, Pipe> mPipes;
   std::set<uint32_t> mReadHandles;
   int mPendingQueries = 0;
   uint32_t mNextHandle = 100;
};

/// Keeps what it is told, and does what the test has put into its hooks. The hooks run on the calling thread.
class KeepingEndpoint final : public pcoip_mfw {
public:
   explicit KeepingEndpoint(const char *name, uint32_t priority = 1)
       : pcoip_mfw(name, priority) {}
   KeepingEndpoint(const char *name, uint32_t openParam, uint32_t priority)
       : pcoip_mfw(name, openParam, priority) {}
   ~KeepingEndpoint() override { EndCallbacks(); }

   void ChannelState(uint32_t session, uint32_t state) override;
   void GotData(uint32_t session, uint8_t *data, uint32_t size) override;
   void GotDataLossy(uint32_t session, uint8_t *data, uint32_t size) override;
   void ChannelEvent(uint32_t session, uint32_t code) override;

   void AwaitStates(const std::vector<uint32_t> &states);
   void AwaitData(size_t count);
   void AwaitLossy(size_t count);
   [[nodiscard]] std::vector<uint32_t> States() const;
   [[nodiscard]] std::vector<std::string> Data() const; ///< without the room in front
   [[nodiscard]] std::vector<std::string> Lossy() const;
   [[nodiscard]] std::vector<uint32_t> Events() const;

   uint32_t header = 0; ///< the room in front that was asked for
   std::function<void(uint32_t state)> onState;
   std::function<void(uint8_t *data, uint32_t size)> onData;
   std::function<void(uint8_t *data, uint32_t size)> onLossy;
   std::function<void(uint32_t code)> onEvent;

private:
   mutable std::mutex mLock;
   std::condition_variable mChanged;
   std::vector<uint32_t> mStates;
   std::vector<std::string> mData;
   std::vector<std::string> mLossy;
   std::vector<uint32_t> mEvents;
};

} // namespace kit
