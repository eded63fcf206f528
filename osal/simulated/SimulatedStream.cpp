#include "osal/simulated/SimulatedStream.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"
#include "osal/common/OutOfMemory.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace osal {
namespace {

template <typename Device>
bool Holds(const std::vector<Device> &devices, const std::string &uniqueId) {
   return std::any_of(devices.begin(), devices.end(),
                      [&](const Device &device) { return device.uniqueId == uniqueId; });
}

} // namespace

SimulatedStream::SimulatedStream(Device device, std::unique_ptr<SimulatedSource> source,
                                 std::shared_ptr<SampleBufferPool> pool, std::shared_ptr<DelegateGate> gate,
                                 std::shared_ptr<SimulationSource> world)
    : mDevice(std::move(device))
    , mSource(std::move(source))
    , mPool(std::move(pool))
    , mGate(std::move(gate))
    , mWorld(std::move(world)) {}

SimulatedStream::~SimulatedStream() {
   Stop();
   mThread.Join();
   mGate->SetSignal(nullptr);
}

Status SimulatedStream::Start() {
   mStartNs = Clock::current().monotonicNs();
   mGate->SetSignal(&mPool->Signal());
   return mThread.Start(this);
}

void SimulatedStream::Stop() {
   mIsStopping.store(true);
   mPool->Signal().Raise();
}

Status SimulatedStream::Health() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mHealth;
}

void SimulatedStream::Gone(int32_t code, const std::string &why) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mHealth = Status::Error(code, why);
}

uint64_t SimulatedStream::ElapsedNs() const {
   return Clock::current().monotonicNs() - mStartNs;
}

void SimulatedStream::Run() {
   const bool isDone = UnlessOutOfMemory(
      [this] {
         while (!mIsStopping.load() && IsThere()) {
            schedulePoint();
            if (mDevice.clock == SimulatedClock::Fast) {
               DeliverWhenTaken();
            } else {
               DeliverWhenDue();
            }
         }
         return true;
      },
      false);
   if (!isDone) {
      const std::lock_guard<std::mutex> hold(mMutex);
      mHealth = NoMemory();
   }
}

bool SimulatedStream::IsThere() {
   if (const uint32_t most = mSource->UnplugAfter(); most != 0 && mNext >= most) {
      Gone(ENODEV, mSource->Who() + " was unplugged after " + std::to_string(most) + " " + mSource->What());
      return false;
   }
   if (!mWorld->File().empty()) {
      if (const uint64_t now = ElapsedNs(); now - mLookedNs >= kLookEveryNs) {
         mLookedNs = now;
         LookForDevice();
      }
   }
   return Health().ok();
}

void SimulatedStream::LookForDevice() {
   std::shared_ptr<const Simulation> now;
   if (const Status status = mWorld->Read(&now); !status.ok()) {
      Gone(status.code, status.reason);
      return;
   }
   if (now == mSeen) {
      return;
   }
   const bool isThere = mDevice.mediaType == MediaType::Video ? Holds(now->cameras, mDevice.uniqueId)
                                                              : Holds(now->microphones, mDevice.uniqueId);
   if (!isThere) {
      Gone(ENODEV, mSource->Who() + " was unplugged: it is no longer in " + mWorld->File());
   }
   mSeen = std::move(now);
}

void SimulatedStream::DeliverWhenDue() {
   WakeSignal &signal = mPool->Signal();
   const uint32_t seen = signal.Look();
   const uint64_t dueNs = mSource->Pace().DueNs(mNext);
   if (ElapsedNs() < dueNs) {
      if (!mIsStopping.load()) {
         signal.AwaitRaise(seen, mStartNs + dueNs);
      }
      return;
   }
   // Nobody to take it, or all buffers held: this delivery is lost, and time goes on.
   if (mGate->IsTaken()) {
      if (PooledSampleBuffer *const buffer = mPool->Take()) {
         mSource->Fill(mNext, buffer);
         mGate->Deliver(Ref<SampleBuffer>::adopt(buffer));
      }
   }
   const bool discards = mSource->MayDiscard() && mGate->DiscardsLate();
   mNext = DeliveryPace::Following(mNext, mSource->Pace().CountDue(ElapsedNs()),
                                   discards ? DeliveryPace::Late::Discard : DeliveryPace::Late::Deliver);
}

void SimulatedStream::DeliverWhenTaken() {
   WakeSignal &signal = mPool->Signal();
   const uint32_t seen = signal.Look();
   if (mIsStopping.load()) {
      return;
   }
   PooledSampleBuffer *const buffer = mGate->IsTaken() ? mPool->Take(kMostHeldWhenFast) : nullptr;
   if (buffer == nullptr) {
      signal.AwaitRaise(seen, Clock::kNoDeadline);
      return;
   }
   mSource->Fill(mNext, buffer);
   const Ref<SampleBuffer> delivery = Ref<SampleBuffer>::adopt(buffer);
   if (mGate->Deliver(delivery)) {
      ++mNext;
   }
}

} // namespace osal
