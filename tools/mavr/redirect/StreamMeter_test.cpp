#include "tools/mavr/redirect/StreamMeter.h"

#include <gtest/gtest.h>

namespace mavr::redirect {
namespace {

constexpr uint64_t kMs = 1'000'000;

MediaHeader Frame(uint32_t number, uint64_t captureMs, uint64_t sendMs, uint32_t mediaMs) {
   MediaHeader header;
   header.frame = number;
   header.captureNs = captureMs * kMs;
   header.sendNs = sendMs * kMs;
   header.mediaMs = mediaMs;
   return header;
}

TEST(StreamMeter, MeasuresLatencyIntervalsAndRate) {
   StreamMeter meter(20);
   meter.Note(Frame(0, 100, 102, 0), 103 * kMs);
   meter.Note(Frame(1, 120, 121, 20), 127 * kMs);
   meter.Note(Frame(2, 140, 141, 40), 143 * kMs);
   EXPECT_EQ(meter.CaptureToArrival().Values(), (std::vector<double>{3, 7, 3}));
   EXPECT_EQ(meter.SendToArrival().Values(), (std::vector<double>{1, 6, 2}));
   EXPECT_EQ(meter.Intervals().Values(), (std::vector<double>{24, 16}));
   EXPECT_DOUBLE_EQ(meter.Seconds(), 0.04);
   EXPECT_DOUBLE_EQ(meter.Rate(), 50);
   EXPECT_EQ(meter.Gaps(), 0U);
}

TEST(StreamMeter, AGapIsMoreThanOneAndAHalfPeriods) {
   StreamMeter meter(20);
   for (const uint32_t mediaMs : {0U, 20U, 50U, 81U, 100U, 80U, 120U, 400U}) {
      meter.Note(Frame(0, 0, 0, mediaMs), 0);
   }
   EXPECT_EQ(meter.Gaps(), 2U) << "50 to 81, 120 to 400; 80 was overtaken, and 100 to 120 is none";
   StreamMeter overTheWrap(20);
   overTheWrap.Note(Frame(0, 0, 0, UINT32_MAX - 9), 0);
   overTheWrap.Note(Frame(1, 0, 0, 10), 0);
   EXPECT_EQ(overTheWrap.Gaps(), 0U);
}

TEST(StreamMeter, AClockThatSeemsToGoBackIsNoNegativeTime) {
   StreamMeter meter(20);
   meter.Note(Frame(0, 100, 100, 0), 90 * kMs);
   EXPECT_EQ(meter.CaptureToArrival().Values(), (std::vector<double>{0}));
   EXPECT_EQ(meter.Rate(), 0);
   EXPECT_EQ(StreamMeter(20).Rate(), 0);
}

TEST(StreamMeter, SplitsWhatCameAndWhatIsMissingByTime) {
   StreamMeter meter(20);
   for (const uint32_t frame : {0U, 1U, 3U, 8U, 9U}) {
      meter.Note(Frame(frame, 0, 0, 0), 0);
   }
   const auto split = meter.SplitByTime(2, 10);
   EXPECT_EQ(split.came, (std::vector<size_t>{3, 2}));
   EXPECT_EQ(split.lost, (std::vector<size_t>{2, 3}));
   const auto uneven = meter.SplitByTime(3, 10);
   EXPECT_EQ(uneven.came, (std::vector<size_t>{3, 0, 2}));
   EXPECT_EQ(uneven.lost, (std::vector<size_t>{1, 3, 1}));
   EXPECT_EQ(meter.SplitByTime(2, 0).came, (std::vector<size_t>{0, 0}));
}

} // namespace
} // namespace mavr::redirect
