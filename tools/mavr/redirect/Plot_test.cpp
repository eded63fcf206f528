#include "tools/mavr/redirect/Plot.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace mavr::redirect {
namespace {

size_t CountOf(const std::string &text, const std::string &piece) {
   size_t count = 0;
   for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
      ++count;
   }
   return count;
}

TEST(Plot, TextCannotBecomeMarkup) {
   EXPECT_EQ(Escaped("<b>\"a\" & 'b'</b>\n\x7F"), "&lt;b&gt;&quot;a&quot; &amp; &#39;b&#39;&lt;/b&gt;");
   EXPECT_EQ(Escaped("caf\xC3\xA9"), "caf\xC3\xA9");
   EXPECT_EQ(CountOf(TimePlot("<script>", {1}, 1, "<i>"), "<script>"), 0U);
}

TEST(Plot, ScalesEndOnRoundNumbers) {
   struct {
      double value;
      double rounded;
   } const rows[] = {{1, 1}, {1.01, 2}, {3, 5}, {7, 10}, {10, 10}, {101, 200}, {0.03, 0.05}, {0, 1e-6}, {-3, 1e-6}};
   for (const auto &row : rows) {
      EXPECT_NEAR(RoundedUp(row.value), row.rounded, row.rounded * 1e-6) << row.value;
   }
}

TEST(Plot, AHistogramHasABarForEachPartThatIsNotEmptyAndItsMarks) {
   const std::string svg = HistogramPlot("latency", {3, 0, 7}, 6, "ms", {{"median", 1}, {"99 %", 5.5}, {"most", 99}});
   EXPECT_EQ(CountOf(svg, "<rect class=\"good\""), 2U);
   EXPECT_EQ(CountOf(svg, "class=\"mark\""), 3U);
   EXPECT_NE(svg.find("median 1<"), std::string::npos);
   EXPECT_NE(svg.find(">6 ms<"), std::string::npos);
}

TEST(Plot, ALineHasNoMorePointsThanPixels) {
   const std::string many = TimePlot("intervals", std::vector<double>(100'000, 33.3), 10, "ms");
   EXPECT_EQ(CountOf(many, ","), 580U);
   const std::string few = TimePlot("intervals", {1, 2, 3}, 10, "ms");
   EXPECT_EQ(CountOf(few, ","), 3U);
}

TEST(Plot, LossesStandOnWhatCame) {
   const std::string svg = ShareOverTimePlot("loss", {10, 0, 5}, {0, 2, 5}, 3);
   EXPECT_EQ(CountOf(svg, "class=\"good\""), 2U);
   EXPECT_EQ(CountOf(svg, "class=\"bad\""), 2U);
}

TEST(Plot, NothingIsAPictureToo) {
   for (const std::string &svg : {HistogramPlot("a", {}, 0, "", {}), TimePlot("a", {}, 0, ""),
                                  ShareOverTimePlot("a", {}, {}, 0), WavePlot("a", {}, {}, 0)}) {
      EXPECT_EQ(svg.rfind("<svg", 0), 0U);
      EXPECT_EQ(svg.substr(svg.size() - 6), "</svg>");
      EXPECT_EQ(svg.find("nan"), std::string::npos);
      EXPECT_EQ(svg.find("inf"), std::string::npos);
   }
}

} // namespace
} // namespace mavr::redirect
