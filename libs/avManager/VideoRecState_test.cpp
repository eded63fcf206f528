#include "libs/avManager/VideoRecState.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *kOpenText = "bool VideoRecState::SetAction_Open(bool)";

class VideoRecStateTest : public testing::Test {
protected:
   VideoRecStateTest() { ConfigSettings::Init(); }
   ~VideoRecStateTest() override { ConfigSettings::Shutdown(); }

   using State = VideoRecState::State;

   static State Of(const VideoRecState &state) {
      return state.IsError()    ? VideoRecState::VS_Error
             : state.IsIdle()   ? VideoRecState::VS_Idle
             : state.IsActive() ? VideoRecState::VS_Active
                                : VideoRecState::VS_Inactive;
   }
   static void Bring(VideoRecState *state, State to) {
      if (to == VideoRecState::VS_Error) {
         state->SetAction_Open(false);
      } else if (to != VideoRecState::VS_Idle) {
         state->SetAction_Open(true);
         if (to == VideoRecState::VS_Inactive) {
            state->SetAction_Close();
         }
      }
   }

   kit::ManualClock time;
   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(VideoRecStateTest, TheWholeTable) {
   using Call = bool (*)(VideoRecState &);
   const Call calls[] = {
      [](VideoRecState &s) { return s.ResetError(); }, [](VideoRecState &s) { return s.SetAction_Open(true); },
      [](VideoRecState &s) { return s.SetAction_Open(false); }, [](VideoRecState &s) { return s.SetAction_Close(); },
      [](VideoRecState &s) {
         return s.ResetState();
      }};
   constexpr State E = VideoRecState::VS_Error;
   constexpr State I = VideoRecState::VS_Idle;
   constexpr State A = VideoRecState::VS_Active;
   constexpr State N = VideoRecState::VS_Inactive;
   struct Row {
      State from;
      State to[5]; // by call; the same state: nothing happens, and the call says false
   };
   for (const Row &row :
        {Row{E, {I, E, E, E, E}}, Row{I, {I, A, E, I, I}}, Row{A, {A, A, A, N, A}}, Row{N, {N, N, N, N, I}}}) {
      for (size_t call = 0; call < std::size(calls); ++call) {
         VideoRecState state;
         Bring(&state, row.from);
         const std::string before = log.Dump();
         EXPECT_EQ(calls[call](state), row.to[call] != row.from) << row.from << " call " << call;
         EXPECT_EQ(Of(state), row.to[call]) << row.from << " call " << call;
         if (row.to[call] == row.from) {
            EXPECT_EQ(log.Dump(), before) << "silently";
         }
      }
   }
}

TEST_F(VideoRecStateTest, TransitionsAreTold) {
   VideoRecState state;
   EXPECT_TRUE(state.SetAction_Open(true));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VS_Idle -> %s", kOpenText, "VS_Active")) << log.Dump();
   EXPECT_TRUE(state.SetAction_Close());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VS_Active -> VS_Inactive", "SetAction_Close")) << log.Dump();
}

TEST_F(VideoRecStateTest, RequiredAFailedOpenIsToldAsIdle) {
   VideoRecState state;
   EXPECT_TRUE(state.SetAction_Open(false));
   EXPECT_TRUE(state.IsError());
   EXPECT_FALSE(state.IsIdle());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VS_Idle -> %s", kOpenText, "VS_Idle")) << log.Dump();
   EXPECT_TRUE(state.ResetError());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VS_Error -> VS_Idle", "ResetError")) << log.Dump();
}

TEST_F(VideoRecStateTest, OnlyTheRestOfTheSettlingTimeIsSlept) {
   store.Set("\\miscSettingswcamStopStartDelay", int64_t{500});
   VideoRecState state;
   Bring(&state, VideoRecState::VS_Inactive);
   time.AdvanceMs(200);
   const uint64_t before = time.monotonicNs();
   EXPECT_TRUE(state.ResetState());
   EXPECT_EQ(time.monotonicNs() - before, 300'000'000U);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VS_Inactive -> VS_Idle. Delay(ms)=%u", "ResetState", 300U)) << log.Dump();
   EXPECT_TRUE(state.IsIdle());
}

TEST_F(VideoRecStateTest, ASettlingTimeThatIsOverIsNotSlept) {
   store.Set("\\miscSettingswcamStopStartDelay", int64_t{500});
   VideoRecState state;
   Bring(&state, VideoRecState::VS_Inactive);
   time.AdvanceMs(600);
   const uint64_t before = time.monotonicNs();
   EXPECT_TRUE(state.ResetState());
   EXPECT_EQ(time.monotonicNs(), before);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VS_Inactive -> VS_Idle", "ResetState")) << log.Dump();
}

TEST_F(VideoRecStateTest, WithoutASettlingTimeTheResetIsSilent) {
   VideoRecState state;
   Bring(&state, VideoRecState::VS_Inactive);
   const std::string before = log.Dump();
   EXPECT_TRUE(state.ResetState());
   EXPECT_TRUE(state.IsIdle());
   EXPECT_EQ(log.Dump(), before);
}

} // namespace
