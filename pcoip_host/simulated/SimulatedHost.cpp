#include "pcoip_host/simulated/SimulatedHost.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

namespace {

constexpr int32_t kFailed = -1001; // every failure that is the host's own
constexpr uint32_t kConnected = 1;
constexpr std::array<uint32_t, 4> kDatagramSizes{64, 1200, 16384, 40000};
constexpr size_t kMostOnTheWay = 64; // the other side answers no faster

constexpr std::chrono::seconds kPatience{100};

SimulatedHost *gHost = nullptr;

} // namespace

// ---- The table ------------------------------------------------------------------------------------------------------

struct SimulatedOperations {
   static int32_t Register(uint32_t /*first*/, PcoipConnectCallback callback, void * /*third*/, uint64_t *outContext) {
      gHost->mConnectCallback = callback;
      *outContext = gHost->mSeed | 1;
      return 0;
   }
   static int32_t Unregister(uint64_t /*context*/) {
      gHost->mConnectCallback = nullptr;
      return 0;
   }
   static int32_t Open(const char *name, uint32_t mode, uint32_t /*priority*/, uint32_t /*openParam*/,
                       PcoipChannelCallback callback, void *userData, uint32_t *outHandle) {
      return gHost->Open(name, mode, callback, userData, outHandle);
   }
   static int32_t Close(uint32_t handle, uint32_t /*started*/, uint32_t /*last*/) {
      gHost->Close(handle);
      return 0;
   }
   static int32_t Send(uint32_t handle, const void *data, uint32_t size, uint32_t /*timeoutMs*/) {
      return gHost->Send(handle, data, size, false);
   }
   static int32_t SendLossy(uint32_t handle, const void *data, uint32_t size, uint32_t /*timeoutMs*/) {
      return gHost->Send(handle, data, size, true);
   }
   static int32_t Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t /*timeoutMs*/) {
      return gHost->Receive(handle, buffer, capacity, outSize, false);
   }
   static int32_t ReceiveLossy(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize,
                               int32_t /*timeoutMs*/) {
      return gHost->Receive(handle, buffer, capacity, outSize, true);
   }
   static int32_t Pending(uint32_t handle, uint32_t *outCount) { return gHost->Pending(handle, outCount, false); }
   static int32_t PendingLossy(uint32_t handle, uint32_t *outCount) { return gHost->Pending(handle, outCount, true); }
   static int32_t ConnectionState() { return static_cast<int32_t>(gHost->mSession.load()); }
   static int32_t MaxDatagram(uint32_t *outSize) { return gHost->AnswerSize("max", outSize); }
   static int32_t MaxLossyDatagram(uint32_t lossyHandle, uint32_t *outSize) {
      return gHost->KnowsLossy(lossyHandle) ? gHost->AnswerSize("umax", outSize) : kFailed;
   }
   static int32_t LossyHandle(uint32_t handle, uint32_t *outLossyHandle) {
      return gHost->AnswerLossyHandle(handle, outLossyHandle);
   }

   // By the names of the entries; the table's header pins their places.
   static constexpr PcoipHostTable kTable{
      .unused0 = nullptr,
      .pcoip_register_connect_callback = &Register,
      .pcoip_unregister_connect_callback = &Unregister,
      .pcoip_vchan_open = &Open,
      .unused4 = nullptr,
      .pcoip_vchan_close = &Close,
      .pcoip_vchan_send = &Send,
      .unused7 = nullptr,
      .pcoip_vchan_recv = &Receive,
      .unused9 = nullptr,
      .pcoip_vchan_pending = &Pending,
      .unused11 = nullptr,
      .unused12 = nullptr,
      .pcoip_get_connection_state = &ConnectionState,
      .unused14 = nullptr,
      .pcoip_vchan_get_max_dgram_size = &MaxDatagram,
      .unused16 = nullptr,
      .unused17 = nullptr,
      .unused18 = nullptr,
      .pcoip_vchan_get_uchan_handle = &LossyHandle,
      .pcoip_vchan_get_max_udgram_size = &MaxLossyDatagram,
      .pcoip_vchan_usend = &SendLossy,
      .pcoip_vchan_urecv = &ReceiveLossy,
      .pcoip_vchan_upending = &PendingLossy,
   };
};

const PcoipHostTable &SimulatedHost::table() const {
   return SimulatedOperations::kTable;
}

// ---- Life and session -----------------------------------------------------------------------------------------------

SimulatedHost::SimulatedHost(uint64_t seed, const HostWeather &weather)
    : mSeed(seed)
    , mWeather(weather)
    , mDraw(SeededDraw::For(seed, "steps", 0))
    , mMaxDatagram(kDatagramSizes[SeededDraw::For(seed, "size", 0).Below(kDatagramSizes.size())]) {
   assert(gHost == nullptr);
   gHost = this;
}

SimulatedHost::~SimulatedHost() {
   settle();
   assert(threadsAlive() == 0); // endpoints go first
   gHost = nullptr;
}

bool SimulatedHost::connect() {
   TellSession(kConnected);
   return true;
}

void SimulatedHost::disconnect() {
   if (connected()) {
      TellSession(0);
   }
}

bool SimulatedHost::connected() const {
   return mSession == kConnected;
}

void SimulatedHost::TellSession(uint32_t state) {
   mSession = state;
   if (mConnectCallback != nullptr) {
      mConnectCallback(0, 0, 0, &state);
   }
}

bool SimulatedHost::openByName(const char *name, bool lossy) {
   if (!connected() || mConnectCallback == nullptr) {
      return false;
   }
   PcoipRemoteOpen request{};
   std::copy_n(name, strnlen(name, sizeof request.name - 1), request.name);
   request.flags = lossy ? 1 : 0;
   mConnectCallback(0, 0, 1, &request);
   return true;
}

bool SimulatedHost::AtRest() const {
   const uint64_t before = mThreads.Moves();
   uint32_t resting = mThreads.Asleep();
   {
      const std::lock_guard<std::mutex> hold(mLock);
      for (const auto &[opening, channel] : mChannels) {
         if (channel->phase != Phase::Closed) {
            resting += channel->reliable.waiting.empty() ? channel->reliable.readers : 0;
            resting += channel->unreliable.waiting.empty() ? channel->unreliable.readers : 0;
         }
      }
   }
   const uint32_t alive = mThreads.Alive();
   return resting == alive && mThreads.Moves() == before;
}

// A plugin that never comes to rest is a fault that would otherwise show as a test that does not come back.
void SimulatedHost::settle() {
   const auto begin = std::chrono::steady_clock::now();
   while (!AtRest()) {
      std::this_thread::yield();
      if (std::chrono::steady_clock::now() - begin > kPatience) {
         std::fprintf(stderr, "simulated host: seed %llu does not come to rest at step %u\n",
                      static_cast<unsigned long long>(mSeed), mSteps);
         std::abort();
      }
   }
}

std::map<SimulatedHost::Opening, SimulatedHost::Tally> SimulatedHost::tallies() const {
   const std::lock_guard<std::mutex> hold(mLock);
   std::map<Opening, Tally> all;
   for (const auto &[opening, channel] : mChannels) {
      all[opening] = channel->tally;
      all[opening].open = channel->phase != Phase::Closed;
   }
   return all;
}

bool SimulatedHost::holdsOpen(std::string_view name) const {
   const std::lock_guard<std::mutex> hold(mLock);
   return std::any_of(mChannels.begin(), mChannels.end(), [name](const auto &each) {
      return each.first.first == name.substr(0, kPcoipNameBytes - 1) && each.second->phase == Phase::Open;
   });
}

bool SimulatedHost::holdsFailed() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return std::any_of(mChannels.begin(), mChannels.end(),
                      [](const auto &each) { return each.second->failed && each.second->phase != Phase::Closed; });
}

// ---- Steps ----------------------------------------------------------------------------------------------------------

struct SimulatedHost::Choice {
   uint32_t weight;
   std::function<void()> act;
};

bool SimulatedHost::step() {
   std::vector<Choice> choices;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      for (const auto &[opening, channel] : mChannels) {
         CollectFor(*channel, choices);
      }
   }
   choices.push_back({connected() ? mWeather.sessionNoise : 20, [this] {
                         Noise();
                      }});
   uint32_t sum = 0;
   for (const Choice &choice : choices) {
      sum += choice.weight;
   }
   ++mSteps;
   uint32_t at = mDraw.Below(sum);
   for (const Choice &choice : choices) {
      if (at < choice.weight) {
         choice.act();
         return true;
      }
      at -= choice.weight;
   }
   return false;
}

void SimulatedHost::CollectFor(Channel &channel, std::vector<Choice> &choices) {
   const auto tell = [this, &channel](uint32_t weight, uint32_t event) {
      return Choice{weight, [this, &channel, event] {
                       Tell(channel, channel.handle, event);
                    }};
   };
   choices.push_back({mWeather.wrongHandle, [this, &channel] {
                         const uint32_t handle = WrongHandle(channel);
                         Tell(channel, handle, mDraw.Below(12));
                      }});
   switch (channel.phase) {
   case Phase::Asked:
      choices.push_back({60, [this, &channel] {
                            Answer(channel);
                         }});
      choices.push_back(tell(mWeather.rejectOpen, 1));
      choices.push_back(tell(mWeather.closeByHost, 2 + (channel.number & 1)));
      break;
   case Phase::Open:
      choices.push_back({20, [this, &channel] {
                            Speak(channel);
                         }});
      if (!channel.reliable.onTheWay.empty()) {
         choices.push_back({40, [this, &channel] {
                               Travel(channel.reliable, false);
                            }});
      }
      if (!channel.unreliable.onTheWay.empty()) {
         choices.push_back({40, [this, &channel] {
                               Travel(channel.unreliable, true);
                            }});
      }
      choices.push_back(tell(mWeather.closeByHost, 2 + (channel.number & 1)));
      choices.push_back(tell(mWeather.repeatEvent, 0));
      choices.push_back(tell(2, 4));
      choices.push_back(tell(1, 5));
      choices.push_back(tell(3, 10 + channel.number));
      break;
   case Phase::Closed:
      choices.push_back({mWeather.lateEvent, [this, &channel] {
                            Tell(channel, channel.handle, mDraw.Below(6));
                         }});
      break;
   }
}

// The host's word that a channel is open. Datagrams may be there before it.
void SimulatedHost::Answer(Channel &channel) {
   {
      const std::lock_guard<std::mutex> hold(mLock);
      channel.phase = Phase::Open;
   }
   if (mDraw.Chance(30)) {
      Speak(channel);
   }
   Tell(channel, channel.handle, 0);
}

void SimulatedHost::Tell(Channel &channel, uint32_t handle, uint32_t event) {
   if (handle == channel.handle && event >= 1 && event <= 3) {
      const std::lock_guard<std::mutex> hold(mLock);
      channel.failed = true;
   }
   const uint32_t capability = channel.number + 1;
   channel.callback(channel.userData, handle, event, mDraw.Chance(80) ? &capability : nullptr);
}

uint32_t SimulatedHost::WrongHandle(const Channel &channel) {
   const std::array<uint32_t, 4> handles{kPcoipNoHandle, channel.lossyHandle, channel.handle + 1000, 0};
   return handles[mDraw.Below(handles.size())];
}

// The other side says something by itself.
void SimulatedHost::Speak(Channel &channel) {
   const bool lossy = channel.lossy && mDraw.Chance(50);
   const std::lock_guard<std::mutex> hold(mLock);
   Pipe &pipe = lossy ? channel.unreliable : channel.reliable;
   for (uint32_t count = 1 + mDraw.Below(5); count > 0; --count) {
      const uint32_t most = mDraw.Chance(20) ? channel.maxDatagram : std::min(channel.maxDatagram, 80U);
      pipe.onTheWay.emplace_back(mDraw.Below(most + 1), static_cast<char>('a' + channel.spoken++ % 26));
   }
}

// Some of what is on the way arrives, and may be received now.
void SimulatedHost::Travel(Pipe &pipe, bool lossy) {
   const std::lock_guard<std::mutex> hold(mLock);
   for (uint32_t count = 1 + mDraw.Below(static_cast<uint32_t>(pipe.onTheWay.size())); count > 0; --count) {
      const bool reordered = lossy && mDraw.Chance(mWeather.reorderLossy);
      const size_t at = reordered ? mDraw.Below(static_cast<uint32_t>(pipe.onTheWay.size())) : 0;
      const auto place = pipe.onTheWay.begin() + static_cast<std::ptrdiff_t>(at);
      std::string datagram = std::move(*place);
      pipe.onTheWay.erase(place);
      if (lossy && mDraw.Chance(mWeather.loseLossy)) {
         continue;
      }
      if (lossy && mDraw.Chance(mWeather.repeatLossy)) {
         pipe.waiting.push_back(datagram);
      }
      pipe.waiting.push_back(std::move(datagram));
   }
   mChanged.notify_all();
}

void SimulatedHost::Noise() {
   static constexpr std::array kNames{"nobody", "", "a name that no channel has, and long"};
   if (!connected()) {
      TellSession(kConnected);
      return;
   }
   switch (mDraw.Below(4)) {
   case 0:
      TellSession(kConnected); // again
      break;
   case 1:
      TellSession(mDraw.Chance(50) ? 0 : 2);
      break;
   case 2:
      (void)openByName(kNames[mDraw.Below(kNames.size())], mDraw.Chance(50));
      break;
   default: {
      std::vector<std::string> names;
      {
         const std::lock_guard<std::mutex> hold(mLock);
         for (const auto &[name, calls] : mOpenCalls) {
            names.push_back(name);
         }
      }
      if (!names.empty()) {
         (void)openByName(names[mDraw.Below(static_cast<uint32_t>(names.size()))].c_str(), mDraw.Chance(50));
      }
   }
   }
}

// ---- Calls of the plugin --------------------------------------------------------------------------------------------

SeededDraw SimulatedHost::DrawFor(const Channel &channel, std::string_view call, uint32_t number) const {
   return SeededDraw::For(mSeed, channel.name + '/' + std::to_string(channel.number) + '/' + std::string(call), number);
}

SimulatedHost::Channel *SimulatedHost::Find(uint32_t handle, bool lossy) {
   for (const auto &[opening, channel] : mChannels) {
      if ((lossy ? channel->lossyHandle : channel->handle) == handle) {
         return channel->phase != Phase::Closed ? channel.get() : nullptr;
      }
   }
   return nullptr;
}

int32_t SimulatedHost::Open(const char *name, uint32_t mode, PcoipChannelCallback callback, void *userData,
                            uint32_t *outHandle) {
   const std::lock_guard<std::mutex> hold(mLock);
   const std::string text(name, strnlen(name, kPcoipNameBytes));
   const uint32_t number = mOpenCalls[text]++;
   SeededDraw draw = SeededDraw::For(mSeed, "open/" + text, number);
   if (draw.Chance(mWeather.failOpen)) {
      *outHandle = draw.Chance(50) ? kPcoipNoHandle : 0xBAD;
      return kFailed;
   }
   auto channel = std::make_unique<Channel>();
   channel->name = text;
   channel->number = number;
   channel->handle = mNextHandle++;
   channel->lossyHandle = channel->handle | 0x80000000;
   channel->lossy = mode == 2;
   channel->callback = callback;
   channel->userData = userData;
   channel->maxDatagram = mMaxDatagram;
   *outHandle = channel->handle;
   mChannels[{text, number}] = std::move(channel);
   return 0;
}

void SimulatedHost::Close(uint32_t handle) {
   Channel *closed = nullptr;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      closed = Find(handle, false);
      if (closed == nullptr) {
         return;
      }
      closed->phase = Phase::Closed;
      mChanged.notify_all();
   }
   if (DrawFor(*closed, "close", 0).Chance(mWeather.callFromClose)) {
      closed->callback(closed->userData, handle, 3, nullptr);
   }
}

int32_t SimulatedHost::Send(uint32_t handle, const void *data, uint32_t size, bool lossy) {
   const std::lock_guard<std::mutex> hold(mLock);
   Channel *const channel = Find(handle, lossy);
   if (channel == nullptr || channel->phase != Phase::Open || size > channel->maxDatagram) {
      return kFailed;
   }
   SeededDraw draw = DrawFor(*channel, lossy ? "usend" : "send", channel->sends++);
   if (draw.Chance(mWeather.failSend)) {
      channel->failed = true;
      return kFailed;
   }
   if (lossy && draw.Chance(mWeather.dropLossy)) {
      return kPcoipDropped;
   }
   const std::string datagram(static_cast<const char *>(data), size);
   Pipe &pipe = lossy ? channel->unreliable : channel->reliable;
   if (pipe.onTheWay.size() < kMostOnTheWay) {
      pipe.onTheWay.push_back(datagram); // the answer
   }
   if (lossy) {
      ++channel->tally.lossyTaken;
   } else {
      channel->tally.taken.push_back(datagram);
   }
   return 0;
}

int32_t SimulatedHost::Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, bool lossy) {
   std::unique_lock<std::mutex> hold(mLock);
   Channel *const channel = Find(handle, lossy);
   if (channel == nullptr) {
      return kFailed;
   }
   Pipe &pipe = lossy ? channel->unreliable : channel->reliable;
   mThreads.CountMove();
   ++pipe.readers;
   mChanged.wait(hold, [&] { return channel->phase == Phase::Closed || !pipe.waiting.empty(); });
   --pipe.readers;
   if (channel->phase == Phase::Closed) {
      return kFailed;
   }
   SeededDraw draw = DrawFor(*channel, lossy ? "urecv" : "recv", pipe.calls++);
   if (draw.Chance(mWeather.failReceive)) {
      channel->failed = true;
      return kFailed;
   }
   const std::string datagram = std::move(pipe.waiting.front());
   pipe.waiting.pop_front();
   std::memcpy(buffer, datagram.data(), std::min<size_t>(capacity, datagram.size()));
   if (draw.Chance(mWeather.oversize)) {
      channel->failed = true;
      *outSize = draw.Chance(50) ? capacity + 1 : UINT32_MAX - draw.Below(4096);
      return 0;
   }
   *outSize = static_cast<uint32_t>(datagram.size());
   if (lossy) {
      ++channel->tally.lossyReceived;
   } else if (!datagram.empty()) {
      channel->tally.received.push_back(datagram);
   }
   return 0;
}

int32_t SimulatedHost::Pending(uint32_t handle, uint32_t *outCount, bool lossy) {
   const std::lock_guard<std::mutex> hold(mLock);
   Channel *const channel = Find(handle, lossy);
   if (channel == nullptr) {
      return kFailed;
   }
   const Pipe &pipe = lossy ? channel->unreliable : channel->reliable;
   SeededDraw draw = DrawFor(*channel, lossy ? "upending" : "pending", pipe.calls);
   *outCount = draw.Chance(mWeather.lieOnPending) ? static_cast<uint32_t>(draw.Next() >> draw.Below(64))
                                                  : static_cast<uint32_t>(pipe.waiting.size());
   return 0;
}

// Asked on the thread that steps, after the host's word that a channel is open.
int32_t SimulatedHost::AnswerSize(std::string_view call, uint32_t *outSize) {
   SeededDraw draw = SeededDraw::For(mSeed, call, mSizeQuestions++);
   *outSize = mMaxDatagram;
   if (!draw.Chance(mWeather.failSizes)) {
      return 0;
   }
   if (draw.Chance(50)) {
      return kFailed;
   }
   *outSize = 0;
   return 0;
}

bool SimulatedHost::KnowsLossy(uint32_t lossyHandle) {
   const std::lock_guard<std::mutex> hold(mLock);
   return Find(lossyHandle, true) != nullptr;
}

int32_t SimulatedHost::AnswerLossyHandle(uint32_t handle, uint32_t *outLossyHandle) {
   const std::lock_guard<std::mutex> hold(mLock);
   Channel *const channel = Find(handle, false);
   if (channel == nullptr || !channel->lossy || DrawFor(*channel, "uhandle", 0).Chance(mWeather.failSizes)) {
      return kFailed;
   }
   *outLossyHandle = channel->lossyHandle;
   return 0;
}
