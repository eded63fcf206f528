#pragma once

#include "osal/common/CaptureStream.h"
#include "osal/common/SampleBufferPool.h"
#include "osal/simulated/DeliveryPace.h"
#include "osal/simulated/Simulation.h"

#include <cstdint>
#include <memory>

namespace osal {

/// What a simulated device delivers, apart from threads and time: delivery after delivery, by number.
///
/// Owner: its stream. Threads: made on the host's, then used on the delivery thread alone. Life cycle: made -> FillPool
/// -> Fill in rising order, with gaps.
class SimulatedSource {
public:
   virtual ~SimulatedSource() = default;
   /// Gives `pool` all its buffers. False without memory; may throw std::bad_alloc.
   [[nodiscard]] virtual bool FillPool(SampleBufferPool *pool) const = 0;
   [[nodiscard]] virtual const DeliveryPace &Pace() const = 0;
   /// Whether deliveries that the delegate had no time for may be passed over, if the output wants that.
   [[nodiscard]] virtual bool MayDiscard() const = 0;
   /// Makes `buffer`, of the pool, delivery number `index`. Allocates nothing.
   virtual void Fill(uint64_t index, PooledSampleBuffer *buffer) const = 0;
   /// After how many deliveries the device is gone; 0: never.
   [[nodiscard]] virtual uint32_t UnplugAfter() const = 0;
   /// "camera \"Desk Camera\"", and what it delivers: "frames".
   [[nodiscard]] virtual std::string Who() const = 0;
   [[nodiscard]] virtual const char *What() const = 0;
};

/// The source of a request for a simulated device. Null on failure: no such device, or settings that it can't serve.
/// May throw std::bad_alloc.
Status MakeSimulatedSource(const StreamRequest &request, std::unique_ptr<SimulatedSource> *source);

} // namespace osal
