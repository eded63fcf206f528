#include "tools/mavr/redirect/ReportPage.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace mavr::redirect {
namespace {

SessionResult Example() {
   SessionResult result;
   result.seconds = 5;
   result.lossPercent = 10;
   SessionResult::Video video;
   video.plan = {"Desk <Camera>", 640, 480, 30, false};
   video.meter = StreamMeter(33.3);
   for (uint32_t frame = 0; frame < 8; ++frame) {
      MediaHeader header;
      header.frame = frame;
      header.captureNs = frame * 33'000'000ULL;
      header.sendNs = header.captureNs + 1'000'000;
      header.mediaMs = frame * 33;
      video.meter.Note(header, header.captureNs + 3'000'000);
   }
   video.counts = {70, 10, 0, 0, 0, 8, 2, 0};
   video.shown = {0, 4};
   video.numbers.pictures = video.numbers.readable = 8;
   video.numbers.first = 1;
   video.numbers.last = 9;
   result.video = video;
   SessionResult::Audio audio;
   audio.plan = {"Desk Microphone", 48000, 20, 1920};
   audio.meter = StreamMeter(20);
   audio.counts = {250, 0, 0, 0, 0, 250, 0, 0};
   audio.low = {-0.5F, -0.4F};
   audio.high = {0.5F, 0.4F};
   audio.peakDb = -6;
   audio.rmsDb = -9;
   result.audio = audio;
   End end;
   end.video = SentStream{{10, 1, 80, 2, 3'686'400}, {20, 10, ""}, 8};
   end.audio = SentStream{{250, 0, 250, 0, 480'000}, {500, 250, ""}, 0};
   end.cpuSeconds = 0.1;
   end.wallSeconds = 5;
   result.end = end;
   result.agentCpuSeconds = 0.05;
   result.agentWallSeconds = 5;
   return result;
}

TEST(SessionResult, TheAccountAgreesWhenEveryLossIsExplained) {
   EXPECT_TRUE(Example().AccountAgrees());
   const auto spoiled = [](auto change) {
      SessionResult result = Example();
      change(result);
      return result.AccountAgrees();
   };
   EXPECT_FALSE(spoiled([](SessionResult &r) { ++r.video->counts.datagramsLost; }));
   EXPECT_FALSE(spoiled([](SessionResult &r) { ++r.video->counts.datagramsMalformed; }));
   EXPECT_FALSE(spoiled([](SessionResult &r) { ++r.video->counts.datagramsDuplicated; }));
   EXPECT_FALSE(spoiled([](SessionResult &r) { ++r.video->counts.framesLost; }));
   EXPECT_FALSE(spoiled([](SessionResult &r) { --r.audio->counts.datagrams; }));
   EXPECT_FALSE(spoiled([](SessionResult &r) { r.end->audio.reset(); }));
   EXPECT_FALSE(spoiled([](SessionResult &r) { r.end.reset(); }));
   EXPECT_TRUE(spoiled([](SessionResult &r) { r.audio.reset(); }));
}

TEST(SessionResult, IsToldAsJson) {
   const auto json = ToJson(Example());
   EXPECT_EQ(json["complete"], true);
   EXPECT_EQ(json["accountAgrees"], true);
   EXPECT_EQ(json["video"]["framesSent"], 10);
   EXPECT_EQ(json["video"]["framesComplete"], 8);
   EXPECT_EQ(json["video"]["framesLost"], 2);
   EXPECT_EQ(json["video"]["datagramsDropped"], 8);
   EXPECT_EQ(json["video"]["datagramsRefused"], 2);
   EXPECT_EQ(json["video"]["datagramsLost"], 10);
   EXPECT_EQ(json["video"]["captureToArrivalMs"]["median"], 3);
   EXPECT_EQ(json["video"]["numbersInPictures"]["last"], 9);
   EXPECT_EQ(json["audio"]["chunksComplete"], 250);
   EXPECT_EQ(json["cpu"]["clientPercent"], 2);
   EXPECT_EQ(json["cpu"]["bothPercent"], 3);
   EXPECT_EQ(json["files"]["sound"], "sound.wav");
}

TEST(SessionResult, WhatTheClientDidNotTellIsNull) {
   SessionResult result = Example();
   result.end.reset();
   result.audio.reset();
   result.video->numbers = {};
   const auto json = ToJson(result);
   EXPECT_EQ(json["complete"], false);
   EXPECT_TRUE(json["video"]["framesSent"].is_null());
   EXPECT_TRUE(json["video"]["numbersInPictures"].is_null());
   EXPECT_TRUE(json["audio"].is_null());
   EXPECT_TRUE(json["cpu"]["clientPercent"].is_null());
   EXPECT_TRUE(json["files"]["sound"].is_null());
}

TEST(ReportPage, HoldsEverythingAndNeedsNothing) {
   const std::string page = ReportPage(Example(), {1, 2, 3}, "today");
   EXPECT_NE(page.find("Every frame and every datagram is accounted for. 8 of 10 pictures"), std::string::npos);
   EXPECT_NE(page.find("data:image/png;base64,AQID"), std::string::npos);
   EXPECT_NE(page.find("Desk &lt;Camera&gt;"), std::string::npos);
   EXPECT_NE(page.find("8 read, from 1 to 9"), std::string::npos);
   EXPECT_NE(page.find("median 3.00 ms"), std::string::npos);
   for (const char *foreign : {"http:", "https:", "<script", "url("}) {
      EXPECT_EQ(page.find(foreign), std::string::npos) << foreign;
   }
   size_t plots = 0;
   for (size_t at = page.find("<svg"); at != std::string::npos; at = page.find("<svg", at + 1)) {
      ++plots;
   }
   EXPECT_EQ(plots, 7U);
}

TEST(ReportPage, SaysWhatIsWrong) {
   SessionResult cut = Example();
   cut.end.reset();
   EXPECT_NE(ReportPage(cut, {}, "").find("ended before its time"), std::string::npos);
   SessionResult wrong = Example();
   wrong.video->counts.datagramsLost = 0;
   EXPECT_NE(ReportPage(wrong, {}, "").find("do not agree"), std::string::npos);
   SessionResult blind = Example();
   blind.video->numbers = {};
   EXPECT_NE(ReportPage(blind, {}, "").find("carry no numbers of their own"), std::string::npos);
   SessionResult nothing;
   EXPECT_NE(ReportPage(nothing, {}, "").find("</html>"), std::string::npos);
}

TEST(ReportPage, WritesBase64) {
   const auto of = [](const std::string &text) {
      return Base64({text.begin(), text.end()});
   };
   EXPECT_EQ(of(""), "");
   EXPECT_EQ(of("f"), "Zg==");
   EXPECT_EQ(of("fo"), "Zm8=");
   EXPECT_EQ(of("foo"), "Zm9v");
   EXPECT_EQ(of("foob"), "Zm9vYg==");
   EXPECT_EQ(of("\xFF\xFE\xFD"), "//79");
}

} // namespace
} // namespace mavr::redirect
