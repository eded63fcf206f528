#include "libs/avManager/AudioRec.h"

#include "libs/avManager/SyncMediaClock.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr const char *kOpen = "bool AudioRec::Open(AudioUserPrefs &, SyncMediaClock *)";

using Calls = std::vector<std::string>;

// Writes down what it is asked for.
class FakeAudioCapture final : public AudioCaptureBase {
public:
   explicit FakeAudioCapture(Calls *calls)
       : mCalls(*calls) {}

   bool Open(AudioUserPrefs &prefs, SyncMediaClock *) override {
      mCalls.push_back("Open " + prefs.mUserId);
      return true;
   }
   bool IsDataAvailable() override { return Note("IsDataAvailable"); }
   bool GetData(MediaData &) override { return Note("GetData"); }
   void ReleaseData() override { (void)Note("ReleaseData"); }
   bool Close() override { return Note("Close"); }
   AudioFacts Facts() const override {
      AudioFacts facts;
      facts.chunks = 7;
      return facts;
   }

private:
   bool Note(const char *call) {
      mCalls.emplace_back(call);
      return true;
   }

   Calls &mCalls;
};

class AudioRecTest : public testing::Test {
protected:
   kit::LogCapture log;
   Calls calls;
   SyncMediaClock clock;
   AudioUserPrefs prefs;
   MediaData data;
};

TEST_F(AudioRecTest, AnOpenClosesFirst) {
   AudioRec recorder(std::make_unique<FakeAudioCapture>(&calls));
   prefs.mUserId = "Desk#mic-1";
   EXPECT_TRUE(recorder.Open(prefs, &clock));
   EXPECT_TRUE(recorder.Open(prefs, &clock));
   EXPECT_THAT(calls, ElementsAre("Close", "Open Desk#mic-1", "Close", "Open Desk#mic-1"));
}

TEST_F(AudioRecTest, TheRestIsForwarded) {
   AudioRec recorder(std::make_unique<FakeAudioCapture>(&calls));
   EXPECT_TRUE(recorder.IsDataAvailable());
   EXPECT_TRUE(recorder.GetData(data));
   EXPECT_TRUE(recorder.ReleaseData());
   EXPECT_EQ(recorder.Facts().chunks, 7U);
   recorder.Close();
   EXPECT_THAT(calls, ElementsAre("IsDataAvailable", "GetData", "ReleaseData", "Close"));
}

TEST_F(AudioRecTest, WithoutAClockNothingIsOpenedOrClosed) {
   AudioRec recorder(std::make_unique<FakeAudioCapture>(&calls));
   EXPECT_FALSE(recorder.Open(prefs, nullptr));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Sync Clock missing", kOpen)) << log.Dump();
   EXPECT_TRUE(calls.empty());
}

TEST_F(AudioRecTest, WithoutACaptureObjectEverythingIsFalse) {
   AudioRec recorder(nullptr);
   EXPECT_FALSE(recorder.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to create AudioCaptureDevice Instance", kOpen)) << log.Dump();
   EXPECT_FALSE(recorder.IsDataAvailable());
   EXPECT_FALSE(recorder.GetData(data));
   EXPECT_FALSE(recorder.ReleaseData());
   EXPECT_EQ(recorder.Facts().chunks, 0U);
   recorder.Close();
}

TEST_F(AudioRecTest, ANewRequestIsFor8000Hertz) {
   EXPECT_EQ(prefs.mSampleRate, 8000U);
   EXPECT_EQ(prefs.mDataEvent, nullptr);
   EXPECT_EQ(AudioBase::BPS_16K, 16U);
}

} // namespace
