#include "tools/mavr/redirect/Plot.h"

#include "tools/mavr/FormatText.h"

#include <algorithm>
#include <cmath>

namespace mavr::redirect {
namespace {

constexpr double kWidth = 640;
constexpr double kHeight = 180;
constexpr double kLeft = 56; // of the plotting area
constexpr double kTop = 26;
constexpr double kRight = kWidth - 12;
constexpr double kBottom = kHeight - 26;

double X(double share) {
   return kLeft + share * (kRight - kLeft);
}
double Y(double share) {
   return kBottom - share * (kBottom - kTop);
}

std::string Text(double x, double y, const char *anchor, const std::string &text) {
   return FormatText("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\">", x, y, anchor) + Escaped(text) + "</text>";
}

std::string Number(double value) {
   return FormatText("%.4g", value);
}

// Title, axes and the ends of their scales.
std::string Frame(const std::string &title, double xEnd, const std::string &xUnit, double yEnd,
                  const std::string &yUnit, const std::string &yStart = "0") {
   std::string svg =
      FormatText("<svg class=\"plot\" viewBox=\"0 0 %.0f %.0f\" role=\"img\" aria-label=\"", kWidth, kHeight) +
      Escaped(title) + "\">";
   svg += "<text x=\"0\" y=\"14\" class=\"title\">" + Escaped(title) + "</text>";
   svg += FormatText("<path class=\"axis\" d=\"M%.1f %.1fV%.1fH%.1f\"/>", kLeft, kTop, kBottom, kRight);
   svg += Text(kLeft, kHeight - 8, "middle", "0");
   svg += Text(X(0.5), kHeight - 8, "middle", Number(xEnd / 2));
   svg += Text(kRight, kHeight - 8, "end", Number(xEnd) + " " + xUnit);
   svg += Text(kLeft - 6, kTop + 8, "end", Number(yEnd) + (yUnit.empty() ? "" : " " + yUnit));
   svg += Text(kLeft - 6, kBottom, "end", yStart);
   return svg;
}

std::string Bar(const char *kind, double from, double to, double low, double high) {
   return FormatText("<rect class=\"%s\" x=\"%.2f\" y=\"%.2f\" width=\"%.2f\" height=\"%.2f\"/>", kind, X(from),
                     Y(high), std::max(0.5, X(to) - X(from) - 0.5), Y(low) - Y(high));
}

size_t Most(const std::vector<size_t> &counts) {
   return counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
}

} // namespace

std::string Escaped(const std::string &text) {
   std::string escaped;
   for (const char c : text) {
      switch (c) {
      case '&':
         escaped += "&amp;";
         break;
      case '<':
         escaped += "&lt;";
         break;
      case '>':
         escaped += "&gt;";
         break;
      case '"':
         escaped += "&quot;";
         break;
      case '\'':
         escaped += "&#39;";
         break;
      default:
         if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) {
            escaped += c;
         }
      }
   }
   return escaped;
}

double RoundedUp(double value) {
   if (!(value > 1e-6)) {
      return 1e-6;
   }
   const double power = std::pow(10, std::floor(std::log10(value)));
   for (const double step : {1.0, 2.0, 5.0}) {
      if (value <= step * power * (1 + 1e-9)) {
         return step * power;
      }
   }
   return 10 * power;
}

std::string HistogramPlot(const std::string &title, const std::vector<size_t> &counts, double end,
                          const std::string &unit, const std::vector<Mark> &marks) {
   const double most = RoundedUp(static_cast<double>(std::max<size_t>(Most(counts), 1)));
   std::string svg = Frame(title, end, unit, most, "");
   const auto bins = static_cast<double>(counts.size());
   for (size_t bin = 0; bin < counts.size(); ++bin) {
      if (counts[bin] > 0) {
         const auto at = static_cast<double>(bin);
         svg += Bar("good", at / bins, (at + 1) / bins, 0, static_cast<double>(counts[bin]) / most);
      }
   }
   double line = kTop + 10;
   for (const Mark &mark : marks) {
      const double x = X(std::clamp(end > 0 ? mark.at / end : 0, 0.0, 1.0));
      svg += FormatText("<path class=\"mark\" d=\"M%.1f %.1fV%.1f\"/>", x, kTop, kBottom);
      const bool isLeft = x > X(0.8);
      svg += Text(isLeft ? x - 4 : x + 4, line, isLeft ? "end" : "start", mark.name + " " + Number(mark.at));
      line += 14; // neighbours do not cover each other
   }
   return svg + "</svg>";
}

std::string TimePlot(const std::string &title, const std::vector<double> &values, double seconds,
                     const std::string &unit) {
   const double most = RoundedUp(values.empty() ? 0 : *std::max_element(values.begin(), values.end()));
   std::string svg = Frame(title, seconds, "s", most, unit);
   const size_t columns = std::min<size_t>(values.size(), 580);
   std::string points;
   for (size_t column = 0; column < columns; ++column) {
      const auto from = values.begin() + static_cast<std::ptrdiff_t>(column * values.size() / columns);
      const auto to = values.begin() + static_cast<std::ptrdiff_t>((column + 1) * values.size() / columns);
      const double value = std::max(0.0, *std::max_element(from, to));
      const double share = columns > 1 ? static_cast<double>(column) / static_cast<double>(columns - 1) : 0;
      points += FormatText("%.1f,%.1f ", X(share), Y(value / most));
   }
   return svg + "<polyline class=\"line\" points=\"" + points + "\"/></svg>";
}

std::string ShareOverTimePlot(const std::string &title, const std::vector<size_t> &good, const std::vector<size_t> &bad,
                              double seconds) {
   size_t highest = 1;
   for (size_t part = 0; part < good.size(); ++part) {
      highest = std::max(highest, good[part] + bad[part]);
   }
   const double most = RoundedUp(static_cast<double>(highest));
   std::string svg = Frame(title, seconds, "s", most, "");
   const auto parts = static_cast<double>(good.size());
   for (size_t part = 0; part < good.size(); ++part) {
      const double from = static_cast<double>(part) / parts;
      const double to = static_cast<double>(part + 1) / parts;
      const double middle = static_cast<double>(good[part]) / most;
      const double top = static_cast<double>(good[part] + bad[part]) / most;
      svg += good[part] > 0 ? Bar("good", from, to, 0, middle) : "";
      svg += bad[part] > 0 ? Bar("bad", from, to, middle, top) : "";
   }
   return svg + "</svg>";
}

std::string WavePlot(const std::string &title, const std::vector<float> &low, const std::vector<float> &high,
                     double seconds) {
   std::string svg = Frame(title, seconds, "s", 1, "", "-1");
   std::string path;
   const auto count = static_cast<double>(low.size());
   for (size_t i = 0; i < low.size(); ++i) {
      const double x = X((static_cast<double>(i) + 0.5) / count);
      path += FormatText("M%.1f %.1fV%.1f", x, Y((static_cast<double>(high[i]) + 1) / 2) - 0.3,
                         Y((static_cast<double>(low[i]) + 1) / 2) + 0.3);
   }
   return svg + "<path class=\"line\" d=\"" + path + "\"/></svg>";
}

} // namespace mavr::redirect
