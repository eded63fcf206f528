#include "libs/avCap/AVCapability.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

class AVCapabilityTest : public ::testing::Test {
protected:
   AVCapabilityTest() { ConfigSettings::Init(); }
   ~AVCapabilityTest() override { ConfigSettings::Shutdown(); }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(AVCapabilityTest, FreshInstanceHasTheBaseAndVersion2) {
   EXPECT_EQ(AVCapability().GetLocalCap(), 0x8004u);
   EXPECT_EQ(AVCapability().Negotiated(), 0u);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Local cap: %d.", "GetLocalCap", 0x8004)) << log.Dump();
   store.Set("MAVRV2Enabled", true);
   EXPECT_EQ(AVCapability().GetLocalCap(), 0x8004u);
   store.Set("MAVRV2Enabled", false);
   EXPECT_EQ(AVCapability().GetLocalCap(), 0x4u);
   store.SetText("MAVRV2Enabled", "false");
   EXPECT_EQ(AVCapability().GetLocalCap(), 0x8004u) << "a text is no boolean";
}

TEST_F(AVCapabilityTest, OneInstanceForTheProcess) {
   EXPECT_EQ(&AVCapability::GetInstance(), &AVCapability::GetInstance());
   EXPECT_EQ(AVCapability::GetInstance().GetLocalCap(), 0x8004u);
}

TEST_F(AVCapabilityTest, UnrestrictedSetFollowsThePreferredCodec) {
   struct Case {
      const char *codec;
      uint32_t local;
   };
   const Case cases[] = {{"", 0x80EC},
                         {"unknown", 0x80EC},
                         {"crvH265Opus", 0x80EC},
                         {"crvH264Opus", 0x80AC},
                         {"crvH264Speex", 0x808C},
                         {"speex", 0x8084},
                         {"theora", 0x8084},
                         {"crvTheoraSpeex", 0x8084}};
   for (const Case &c : cases) {
      store.SetText("codec", c.codec);
      AVCapability capability;
      EXPECT_EQ(capability.CalcLocalCapability(0), c.local) << c.codec;
   }
}

TEST_F(AVCapabilityTest, UnrestrictedCalculationLogsEachStepInOrder) {
   struct Case {
      const char *codec;
      std::vector<std::string> lines;
   };
   const Case cases[] = {
      {"crvH265Opus",
       {"CalcLocalCapability - pref codec is H265 and Opus", "AddLocalCap - Add local cap: 8.",
        "AddLocalCap - Add local cap: 64.", "AddLocalCap - Add local cap: 32.", "AddLocalCap - Add local cap: 128.",
        "GetLocalCap - Local cap: 33004."}},
      {"crvH264Opus",
       {"CalcLocalCapability - pref codec is H264 and Opus", "AddLocalCap - Add local cap: 8.",
        "AddLocalCap - Add local cap: 32.", "AddLocalCap - Add local cap: 128.", "GetLocalCap - Local cap: 32940."}},
      {"crvH264Speex",
       {"CalcLocalCapability - pref codec is H264 and Speex", "AddLocalCap - Add local cap: 8.",
        "AddLocalCap - Add local cap: 128.", "GetLocalCap - Local cap: 32908."}},
      {"speex", {"AddLocalCap - Add local cap: 128.", "GetLocalCap - Local cap: 32900."}},
   };
   for (const Case &c : cases) {
      store.SetText("codec", c.codec);
      AVCapability capability;
      log.Clear();
      capability.CalcLocalCapability(0);
      std::vector<std::string> lines;
      for (const kit::LogCapture::Line &line : log.Lines()) {
         if (line.level == logger::DEBUG) {
            lines.push_back(line.text);
         }
      }
      EXPECT_EQ(lines, c.lines);
   }
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Add local cap: %d.", "AddLocalCap", 128));
   store.SetText("codec", "");
   AVCapability().CalcLocalCapability(0);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - pref codec is H265 and Opus", "CalcLocalCapability"));
   store.SetText("codec", "crvH264Opus");
   AVCapability().CalcLocalCapability(0);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - pref codec is H264 and Opus", "CalcLocalCapability"));
   store.SetText("codec", "crvH264Speex");
   AVCapability().CalcLocalCapability(0);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - pref codec is H264 and Speex", "CalcLocalCapability"));
}

TEST_F(AVCapabilityTest, RestrictedCalculationLogsEachStepInOrder) {
   AVCapability capability;
   log.Clear();
   capability.CalcLocalCapability(1);
   EXPECT_EQ(log.Dump(), "DEBUG AddLocalCap - Add local cap: 8.\n"
                         "DEBUG AddLocalCap - Add local cap: 32.\n"
                         "DEBUG RemoveLocalCap - Remove local cap: 3.\n"
                         "DEBUG RemoveLocalCap - Remove local cap: 32768.\n"
                         "DEBUG GetLocalCap - Local cap: 44.\n");
}

TEST_F(AVCapabilityTest, RestrictedSetHasH264AndOpusAndNoVersion2) {
   AVCapability capability;
   EXPECT_EQ(capability.CalcLocalCapability(1), 0x2Cu);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Remove local cap: %d.", "RemoveLocalCap", 3)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Remove local cap: %d.", "RemoveLocalCap", 32768));
   capability.AddLocalCap(CAP_LEGACY_MASK | CAP_V2);
   EXPECT_EQ(capability.CalcLocalCapability(0xFFFFFFFFu), 0x2Cu) << "any flag but 0 restricts";
}

TEST_F(AVCapabilityTest, RequiredBitsOfAnEarlierCalculationStay) {
   AVCapability capability;
   capability.CalcLocalCapability(0);
   store.SetText("codec", "speex");
   EXPECT_EQ(capability.CalcLocalCapability(0), 0x80ECu);
   EXPECT_EQ(capability.CalcLocalCapability(1), 0xECu);
}

TEST_F(AVCapabilityTest, NegotiatedIsAlwaysWhatBothCan) {
   store.Set("MAVRV2Enabled", false);
   store.SetText("codec", "crvH264Speex");
   AVCapability capability;
   EXPECT_EQ(capability.CalcLocalCapability(0), 0x8Cu);
   capability.SetCap(0x8);
   EXPECT_EQ(capability.Negotiated(), 0x8u);
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "%s - peer cap: 0x%x local cap: 0x%x negotiation cap: 0x%x.", "SetCap", 0x8u, 0x8Cu, 0x8u))
      << log.Dump();
   capability.SetCap(0x28);
   EXPECT_EQ(capability.Negotiated(), 0x8u);
   capability.AddLocalCap(CAP_OPUS);
   EXPECT_EQ(capability.Negotiated(), 0x28u) << "at once";
   capability.RemoveLocalCap(CAP_H264);
   EXPECT_EQ(capability.Negotiated(), 0x20u);
   capability.SetCap(0xFFFFFFFFu);
   EXPECT_EQ(capability.Negotiated(), 0xA4u);
}

} // namespace
