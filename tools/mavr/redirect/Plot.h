#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace mavr::redirect {

/// Pictures of numbers as SVG, to stand within an HTML page: one element each, no script, no reference to anything
/// outside. Colours follow the page's by `currentColor` and the variables --plot and --plot-bad.

/// `text` with what means something to HTML and SVG made harmless, and other control characters left out.
[[nodiscard]] std::string Escaped(const std::string &text);

/// A bar for each count. The bars span 0 to `end` of `unit`; `marks` are named places on that axis.
struct Mark {
   std::string name;
   double at;
};
[[nodiscard]] std::string HistogramPlot(const std::string &title, const std::vector<size_t> &counts, double end,
                                        const std::string &unit, const std::vector<Mark> &marks);

/// A line through values over `seconds` of time, the highest of neighbours where there are more than pixels.
[[nodiscard]] std::string TimePlot(const std::string &title, const std::vector<double> &values, double seconds,
                                   const std::string &unit);

/// For each of equal parts of `seconds` a bar of `bad` on top of one of `good`.
[[nodiscard]] std::string ShareOverTimePlot(const std::string &title, const std::vector<size_t> &good,
                                            const std::vector<size_t> &bad, double seconds);

/// Samples as the outline of their loudest and softest.
[[nodiscard]] std::string WavePlot(const std::string &title, const std::vector<float> &low,
                                   const std::vector<float> &high, double seconds);

/// A round number of about `value` or above it: 1, 2 or 5 times a power of ten. At least 1e-6.
[[nodiscard]] double RoundedUp(double value);

} // namespace mavr::redirect
