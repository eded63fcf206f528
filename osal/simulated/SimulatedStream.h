#pragma once

#include "osal/common/CaptureStream.h"
#include "osal/common/DeliveryThread.h"
#include "osal/common/SampleBufferPool.h"
#include "osal/simulated/SimulatedSource.h"
#include "osal/simulated/SimulationSource.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace osal {

/// A simulated device that is in use: one thread that fills buffers and delivers them, each when it is due by the clock
/// in force, or as fast as they are taken.
///
/// Owner, threads: as CaptureStream. Locks: mMutex for mHealth. Life cycle: constructed -> Start -> destroyed.
class SimulatedStream final : public CaptureStream, private DeliveryThread::Body {
public:
   struct Device {
      MediaType mediaType = MediaType::Video;
      std::string uniqueId;
      SimulatedClock clock = SimulatedClock::Real;
   };
   /// `world` is looked at while the stream runs: a device that is no longer in its file is unplugged.
   SimulatedStream(Device device, std::unique_ptr<SimulatedSource> source, std::shared_ptr<SampleBufferPool> pool,
                   std::shared_ptr<DelegateGate> gate, std::shared_ptr<SimulationSource> world);
   ~SimulatedStream() override;

   Status Start();
   void Stop() override;
   Status Health() const override;

   /// With SimulatedClock::Fast a delivery waits until fewer buffers than this are held: as many as fit in the queue of
   /// a capture, so that none is lost there.
   static constexpr size_t kMostHeldWhenFast = 10;
   /// How often the simulation file is looked at, at most.
   static constexpr uint64_t kLookEveryNs = 250'000'000;

private:
   void Run() override;
   bool IsThere();
   void LookForDevice();
   void Gone(int32_t code, const std::string &why);
   void DeliverWhenDue();
   void DeliverWhenTaken();
   uint64_t ElapsedNs() const;

   const Device mDevice;
   const std::unique_ptr<SimulatedSource> mSource;
   const std::shared_ptr<SampleBufferPool> mPool;
   const std::shared_ptr<DelegateGate> mGate;
   const std::shared_ptr<SimulationSource> mWorld;
   uint64_t mStartNs = 0; // of the clock
   std::atomic<bool> mIsStopping{false};
   mutable std::mutex mMutex;
   Status mHealth; // guarded by mMutex
   // Delivery thread:
   uint64_t mNext = 0;
   uint64_t mLookedNs = 0; // elapsed
   std::shared_ptr<const Simulation> mSeen;
   DeliveryThread mThread;
};

} // namespace osal
