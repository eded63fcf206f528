#pragma once

#include <cstddef>
#include <vector>

namespace mavr::redirect {

/// Numbers that were measured, in the order in which they came, and what is to be known of them.
///
/// Owner: who measures. Threads: one. Locks: none.
class Distribution {
public:
   void Add(double value) { mValues.push_back(value); }

   [[nodiscard]] size_t Count() const { return mValues.size(); }
   [[nodiscard]] const std::vector<double> &Values() const { return mValues; } ///< as they came

   /// The smallest value that at least this share (0 to 1) of all do not exceed; 0 of nothing.
   [[nodiscard]] double Percentile(double share) const;
   [[nodiscard]] double Median() const { return Percentile(0.5); }
   [[nodiscard]] double Largest() const { return Percentile(1); }
   [[nodiscard]] double Mean() const; ///< 0 of nothing

   /// How many lie in each of `bins` equal parts of 0 to `end`; what lies outside counts for the nearest part.
   [[nodiscard]] std::vector<size_t> Histogram(size_t bins, double end) const;

private:
   std::vector<double> mValues;
};

} // namespace mavr::redirect
