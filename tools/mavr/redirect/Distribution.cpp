#include "tools/mavr/redirect/Distribution.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace mavr::redirect {

double Distribution::Percentile(double share) const {
   if (mValues.empty()) {
      return 0;
   }
   std::vector<double> values = mValues;
   const auto count = static_cast<double>(values.size());
   const double rank = std::clamp(std::ceil(share * count) - 1, 0.0, count - 1);
   const auto at = values.begin() + static_cast<std::ptrdiff_t>(rank);
   std::nth_element(values.begin(), at, values.end());
   return *at;
}

double Distribution::Mean() const {
   return mValues.empty() ? 0
                          : std::accumulate(mValues.begin(), mValues.end(), 0.0) / static_cast<double>(mValues.size());
}

std::vector<size_t> Distribution::Histogram(size_t bins, double end) const {
   std::vector<size_t> counts(bins);
   for (const double value : mValues) {
      const double part = end > 0 ? value / end * static_cast<double>(bins) : 0;
      ++counts[static_cast<size_t>(std::clamp(part, 0.0, static_cast<double>(bins - 1)))];
   }
   return counts;
}

} // namespace mavr::redirect
