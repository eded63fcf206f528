#pragma once

#include "pcoip_host/PcoipHost.h"
#include "pcoip_host/simulated/HostWeather.h"
#include "pcoip_host/simulated/PluginThreads.h"
#include "pcoip_host/simulated/SeededDraw.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A host in one process that does one thing at a time, drawn from a seed: answers openings, delivers datagrams,
/// closes, and, as its weather has it, loses, repeats, reorders, rejects, fails and lies.
///
///     SimulatedHost host(seed, HostWeather::Storm());
///     mfw::Init(&host.table(), &context);
///     host.connect();
///     while (...) { host.step(); host.settle(); }
///
/// The other side answers each reliable datagram with the same bytes, each lossy one too, and speaks by itself now and
/// then. Between two steps, settle waits until every thread of the plugin sleeps or has ended, so that a seed means one
/// course of events: what a step or a call does is drawn from the seed and the call's own place (channel, opening,
/// how many such calls before), not from the order in which threads come.
/// Owner: the test or program; the process has one at a time. Threads: step, settle, connect, disconnect, openByName
/// and the tallies on one thread, on which callbacks come; the table's operations any thread. Locks: one, held during
/// no callback. Life cycle: constructed -> the plugin is loaded -> steps -> endpoints gone, settle -> destroyed.
class SimulatedHost final : public PcoipHost {
public:
   SimulatedHost(uint64_t seed, const HostWeather &weather);
   ~SimulatedHost() override;

   [[nodiscard]] const PcoipHostTable &table() const override;
   [[nodiscard]] bool connect() override;
   void disconnect() override;
   [[nodiscard]] bool connected() const override;
   [[nodiscard]] bool openByName(const char *name, bool lossy) override;

   /// One thing of what could happen next. False when there is nothing.
   bool step();
   /// Waits until nothing moves.
   void settle();
   [[nodiscard]] uint32_t threadsAlive() const { return mThreads.Alive(); }

   /// What one opening of a channel has seen.
   struct Tally {
      std::vector<std::string> taken;    ///< datagrams of reliable sends that succeeded
      std::vector<std::string> received; ///< datagrams that reliable receives returned, without the empty and the lies
      uint32_t lossyTaken = 0;
      uint32_t lossyReceived = 0;
      bool open = false; ///< nobody has closed it
   };
   /// By name, and number of the opening from 0.
   using Opening = std::pair<std::string, uint32_t>;
   [[nodiscard]] std::map<Opening, Tally> tallies() const;
   /// Whether a channel of that name, which is cut at 31 characters, is open: the host has said so, and nobody has
   /// closed it since.
   [[nodiscard]] bool holdsOpen(std::string_view name) const;
   /// Whether there is a channel that the plugin should have closed and has not: a send or a receive failed, a receive
   /// lied about its size, or the host said that the channel is over.
   [[nodiscard]] bool holdsFailed() const;

private:
   friend struct SimulatedOperations;
   enum class Phase { Asked, Open, Closed };

   struct Pipe {
      std::deque<std::string> onTheWay; // from the other side
      std::deque<std::string> waiting;  // to be received
      uint32_t readers = 0;
      uint32_t calls = 0; // receives that had a datagram
   };
   struct Channel {
      std::string name;
      uint32_t number;
      uint32_t handle;
      uint32_t lossyHandle;
      bool lossy;
      PcoipChannelCallback callback;
      void *userData;
      Phase phase = Phase::Asked;
      bool failed = false;
      Pipe reliable;
      Pipe unreliable;
      uint32_t maxDatagram = 0;
      uint32_t sends = 0;
      uint32_t spoken = 0;
      Tally tally;
   };
   using Channels = std::map<Opening, std::unique_ptr<Channel>>; // in an order that no thread decides
   struct Choice;

   void CollectFor(Channel &channel, std::vector<Choice> &choices);
   void Answer(Channel &channel);
   void Tell(Channel &channel, uint32_t handle, uint32_t event);
   void TellSession(uint32_t state);
   void Speak(Channel &channel);
   void Travel(Pipe &pipe, bool lossy);
   void Noise();
   [[nodiscard]] uint32_t WrongHandle(const Channel &channel);
   [[nodiscard]] SeededDraw DrawFor(const Channel &channel, std::string_view call, uint32_t number) const;
   [[nodiscard]] Channel *Find(uint32_t handle, bool lossy); ///< null when closed; under the lock
   [[nodiscard]] bool AtRest() const;

   int32_t Open(const char *name, uint32_t mode, PcoipChannelCallback callback, void *userData, uint32_t *outHandle);
   void Close(uint32_t handle);
   int32_t Send(uint32_t handle, const void *data, uint32_t size, bool lossy);
   int32_t Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, bool lossy);
   int32_t Pending(uint32_t handle, uint32_t *outCount, bool lossy);
   int32_t AnswerSize(std::string_view call, uint32_t *outSize);
   int32_t AnswerLossyHandle(uint32_t handle, uint32_t *outLossyHandle);
   bool KnowsLossy(uint32_t lossyHandle);

   const uint64_t mSeed;
   const HostWeather mWeather;
   PluginThreads mThreads;
   SeededDraw mDraw; // of steps
   uint32_t mSteps = 0;
   PcoipConnectCallback mConnectCallback = nullptr;
   std::atomic<uint32_t> mSession{0};
   const uint32_t mMaxDatagram;
   uint32_t mSizeQuestions = 0;

   mutable std::mutex mLock; // guards what follows
   std::condition_variable mChanged;
   Channels mChannels;
   std::map<std::string, uint32_t> mOpenCalls;
   uint32_t mNextHandle = 1;
};
