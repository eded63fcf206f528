#pragma once

#include <cstdint>

namespace osal {

/// When the deliveries of a simulated device are due: a function of their number, so that nothing adds up over time.
///
/// A plain value; any thread. Times are ns since the device was started; delivery 0 is due one period after it.
class DeliveryPace {
public:
   /// `perSecond` is above 0.
   explicit DeliveryPace(double perSecond)
       : mPeriodNs(1e9 / perSecond) {}

   [[nodiscard]] uint64_t DueNs(uint64_t index) const;
   /// How many deliveries are due by then.
   [[nodiscard]] uint64_t CountDue(uint64_t elapsedNs) const;

   enum class Late { Discard, Deliver };
   /// Which delivery follows number `index`, which is over now, when `countDue` were due by now. Late ones are passed
   /// over, or all but the youngest kBacklog of them.
   [[nodiscard]] static uint64_t Following(uint64_t index, uint64_t countDue, Late late);
   static constexpr uint64_t kBacklog = 10;

private:
   [[nodiscard]] uint64_t EndNs(uint64_t periods) const;

   double mPeriodNs;
};

} // namespace osal
