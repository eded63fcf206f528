#include "libs/common/codec/Codec.h"

#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct Case {
   const char *name;
   CodecId id;
   CodecId normalised;
};

constexpr Case kCases[] = {
   {"speex", 1, 1},         {"theora", 2, 2},         {"theoraSpeex", 3, 3},  {"crvSpeex", 4, 4},
   {"crvTheora", 5, 5},     {"crvTheoraSpeex", 6, 6}, {"crvH264Speex", 8, 8}, {"crvH264Opus", 10, 10},
   {"crvH265Opus", 12, 12}, {"CRVH264OPUS", 10, 10},  {"SpEeX", 1, 1},        {"", 0, 12},
   {"crvH264Opus ", 0, 12}, {"h264", 0, 12},          {"crv", 0, 12},
};

TEST(Codec, NamesGiveIdsInAnyCase) {
   for (const Case &c : kCases) {
      EXPECT_EQ(CodecIdFromName(c.name), c.id) << c.name;
      EXPECT_EQ(NormaliseCodec(CodecIdFromName(c.name)), c.normalised) << c.name;
   }
   EXPECT_EQ(CodecIdFromName(std::string(100'000, 's')), 0u);
}

TEST(Codec, UnassignedIdsNormaliseTo12) {
   const CodecId table[] = {12, 1, 2, 3, 4, 5, 6, 12, 8, 12, 10, 12, 12, 12};
   for (CodecId id = 0; id < std::size(table); ++id) {
      EXPECT_EQ(NormaliseCodec(id), table[id]) << id;
   }
   EXPECT_EQ(NormaliseCodec(0xFFFFFFFFu), 12u);
}

class CodecSetting : public ::testing::Test {
protected:
   CodecSetting() { ConfigSettings::Init(); }
   ~CodecSetting() override { ConfigSettings::Shutdown(); }

   long Reads() const {
      const std::vector<std::string> calls = store.Calls();
      return std::count(calls.begin(), calls.end(), "copyAppValue codec");
   }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(CodecSetting, NothingConfiguredMeans12AndIsReadTwice) {
   EXPECT_EQ(GetPreferredCodec(), 12u);
   EXPECT_EQ(Reads(), 2);
}

TEST_F(CodecSetting, AConfiguredNameIsReadOnce) {
   store.SetText("codec", "CRVH264OPUS");
   EXPECT_EQ(GetPreferredCodec(), 10u);
   EXPECT_EQ(Reads(), 1);
   store.SetText("codec", "unknown");
   EXPECT_EQ(GetPreferredCodec(), 12u);
}

} // namespace
