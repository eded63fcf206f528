#include "tools/mavr/redirect/SessionTalk.h"

#include "tools/mavr/redirect/BagMessage.h"

#include <gtest/gtest.h>

namespace mavr::redirect {
namespace {

using CORE::PropertyBag;

Describe Example() {
   Describe describe;
   describe.video = VideoPlan{"Desk Camera", 640, 480, 30, true};
   describe.audio = AudioPlan{"Desk Microphone", 48000, 20, 1920};
   describe.seconds = 2.5;
   return describe;
}

// As the other side reads it.
void Transfer(const PropertyBag &bag, PropertyBag &out) {
   const std::vector<uint8_t> bytes = PackBag(bag);
   ASSERT_TRUE(UnpackBag(bytes.data(), bytes.size(), out));
}

TEST(SessionTalk, ADescriptionArrivesAsItWasSent) {
   Describe soundless = Example();
   soundless.audio.reset();
   Describe blind = Example();
   blind.video.reset();
   for (const Describe &describe : {Example(), soundless, blind}) {
      PropertyBag bag;
      ToBag(describe, bag);
      PropertyBag there;
      Transfer(bag, there);
      EXPECT_EQ(MessageOf(there), "describe");
      EXPECT_EQ(DescribeOf(there), describe);
      EXPECT_FALSE(EndOf(there).has_value());
   }
}

TEST(SessionTalk, AnEndArrivesAsItWasSent) {
   End end;
   end.video = SentStream{{150, 2, 1200, 3, 69'120'000}, {300, 151, "unplugged"}, 120};
   end.audio = SentStream{{250, 0, 250, 0, 480'000}, {500, 250, ""}, 0};
   end.cpuSeconds = 0.25;
   end.wallSeconds = 5;
   PropertyBag bag;
   ToBag(end, bag);
   PropertyBag there;
   Transfer(bag, there);
   EXPECT_EQ(MessageOf(there), "end");
   EXPECT_EQ(EndOf(there), end);
   EXPECT_FALSE(DescribeOf(there).has_value());
}

TEST(SessionTalk, SizesThatNobodySendsAreRefused) {
   struct {
      const char *stream;
      const char *name;
      const char *value;
   } const spoils[] = {
      {"video", "width", "0"},        {"video", "width", "-640"},
      {"video", "width", "642"},      {"video", "width", "8196"},
      {"video", "height", "many"},    {"video", "height", "4294967776"},
      {"video", "rate", "0"},         {"video", "format", "H264"},
      {"audio", "sampleRate", "0"},   {"audio", "sampleRate", "800000"},
      {"audio", "chunkMs", "0"},      {"audio", "chunkSize", "0"},
      {"audio", "chunkSize", "1921"}, {"audio", "chunkSize", "9999998"},
      {"audio", "format", ""},
   };
   for (const auto &spoil : spoils) {
      PropertyBag bag;
      ToBag(Example(), bag);
      PropertyBag part;
      part.Share(bag.GetBag(spoil.stream));
      part.Set(spoil.name, spoil.value);
      EXPECT_FALSE(DescribeOf(bag).has_value()) << spoil.stream << " " << spoil.name << " " << spoil.value;
   }
}

TEST(SessionTalk, OddNumbersAreNothing) {
   PropertyBag bag("message=end", "cpuSeconds=nan", "wallSeconds=-1", nullptr);
   PropertyBag part("frames=-5", "datagrams=many", nullptr);
   bag.AddBag("video", part, false);
   const auto end = EndOf(bag);
   ASSERT_TRUE(end.has_value());
   EXPECT_EQ(end->cpuSeconds, 0);
   EXPECT_EQ(end->wallSeconds, 0);
   EXPECT_EQ(end->video->sent, SenderCounts{});
   EXPECT_FALSE(end->audio.has_value());
   EXPECT_EQ(MessageOf(PropertyBag()), "");
}

} // namespace
} // namespace mavr::redirect
