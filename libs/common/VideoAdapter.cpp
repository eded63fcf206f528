#include "libs/common/VideoAdapter.h"

namespace {

bool IsPercentage(uint32_t value) {
   return value >= 1 && value <= 100;
}

} // namespace

VideoAdapterFaults CheckVideoAdapter(const VideoAdapterNumbers &numbers) {
   return {numbers.intervalSeconds == 0, !IsPercentage(numbers.percentOveruse), !IsPercentage(numbers.percentUnderuse),
           numbers.percentUnderuse > numbers.percentOveruse};
}
