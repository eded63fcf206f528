#include "libs/avManager/AudioCaptureTestKit.h"

#include "tests/kit/Faults.h"

#include "lib/mfw/common/logger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>

// Memory and threads that are not to be had, and memory that is not asked for.

namespace {

using AudioCaptureFaultsTest = AudioCaptureTest;

// What the platform's own objects throw is met by the recorder's caller, as any other bad_alloc.
bool TryOpen(AudioCaptureMac *capture, AudioUserPrefs *prefs, SyncMediaClock *clock) {
   try {
      return capture->Open(*prefs, clock);
   } catch (const std::bad_alloc &) {
      return false;
   }
}

TEST_F(AudioCaptureFaultsTest, WhateverMemoryIsMissingAtOpenACloseAndAnOpenWork) {
   prefs.mUserId = "A microphone with a name that takes memory#mic-1";
   devices.microphones = {{"A microphone with a name that takes memory", "mic-1"}};
   AudioInputDevices::List(AudioInputDevices::CachedList());
   settings.SetText("DebugExportAudioPcmFilename", folder / "sound.wav");
   logger::Instance().SetCallback([](const char *, int) {}); // one that needs no memory, as the product's
   for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
      bool isOver = false;
      for (uint64_t nth = 1; !isOver; ++nth) {
         AudioCaptureMac capture;
         bool isOpen = false;
         {
            kit::FailNth fault(kit::Fault::Allocation, nth, repeat);
            isOpen = TryOpen(&capture, &prefs, &clock);
            isOver = !fault.Struck();
         }
         EXPECT_TRUE(isOpen || !isOver);
         capture.Close();
         ASSERT_TRUE(capture.Open(prefs, &clock)) << "after allocation " << nth;
         Deliver(kChunkSize);
         EXPECT_EQ(Take(capture).size(), 1U);
         EXPECT_TRUE(capture.Close());
      }
   }
}

// Its owner may close the event as soon as the open is refused.
TEST_F(AudioCaptureFaultsTest, AnOpenThatIsRefusedWhileTheMicrophoneRunsLeavesTheClientsEventAlone) {
   logger::Instance().SetCallback([](const char *, int) {});
   bool wasRunning = false;
   bool isOver = false;
   for (uint64_t nth = 1; !isOver; ++nth) {
      platform.calls.clear();
      AudioCaptureMac capture;
      capture.SetPCMFormat(48000, 16, 1);
      bool isRefused = false;
      {
         const kit::FailNth fault(kit::Fault::Allocation, nth);
         try {
            isRefused = !capture.OpenRec("", kChunkMS, 4, &clock, event);
         } catch (const std::bad_alloc &) {
         }
         isOver = !fault.Struck();
      }
      if (isRefused && !platform.calls.empty() && platform.calls.back() == "startRunning") {
         wasRunning = true;
         Deliver(kChunkSize);
         EXPECT_FALSE(WasSignalled()) << "after allocation " << nth;
      }
      capture.Close();
   }
   EXPECT_TRUE(wasRunning);
}

TEST_F(AudioCaptureFaultsTest, RequiredWithoutAServiceThreadAMicrophoneWorksAllTheSame) {
   AudioCaptureMac capture;
   {
      const kit::FailNth fault(kit::Fault::ThreadCreation, 1);
      EXPECT_TRUE(capture.Open(prefs, &clock));
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_TRUE(log.Saw(logger::ERROR, "Thread not started. CreateThread failed!")) << log.Dump();
   Deliver(kChunkSize);
   EXPECT_TRUE(WasSignalled());
   EXPECT_EQ(Take(capture).size(), 1U);
   EXPECT_TRUE(capture.Close());
}

// Logging is not part of it: these lines are dropped before they are formatted in the product.
TEST_F(AudioCaptureFaultsTest, AChunkAllocatesNothing) {
   AudioCaptureMac capture;
   capture.SetPCMFormat(48000, 16, 1);
   ASSERT_TRUE(capture.OpenRec("", kChunkMS, 4, &clock, event));
   const std::string delivery(2 * kChunkSize + 500, 'x');
   const osal::Ref<osal::SampleBuffer> sound = osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeSound(delivery));
   const auto pass = [&] {
      platform.DeliverSound(sound);
      size_t chunks = 0;
      for (MediaData data; capture.GetData(data); capture.ReleaseData()) {
         ++chunks;
      }
      return chunks;
   };
   for (int i = 0; i < 10; ++i) {
      (void)pass(); // each slot's side gets its memory once
   }
   const uint64_t before = kit::AllocationCount();
   size_t chunks = 0;
   for (int i = 0; i < 100; ++i) {
      chunks += pass();
   }
   EXPECT_EQ(kit::AllocationCount() - before, 0U);
   EXPECT_GE(chunks, 200U);
   capture.Close();
}

TEST_F(AudioCaptureFaultsTest, AChunkWhoseTimeFindsNoMemoryIsLostWhole) {
   AudioCaptureMac capture;
   capture.SetPCMFormat(48000, 16, 1);
   ASSERT_TRUE(capture.OpenRec("", kChunkMS, 4, &clock, event));
   const osal::Ref<osal::SampleBuffer> sound =
      osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeSound(std::string(kChunkSize, 'x')));
   {
      const kit::FailNth fault(kit::Fault::Allocation, 1);
      platform.DeliverSound(sound);
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_FALSE(capture.IsDataAvailable());
   EXPECT_EQ(capture.Facts().lostChunks, 1U);
   platform.DeliverSound(sound);
   EXPECT_EQ(Take(capture).size(), 1U);
   capture.Close();
}

} // namespace
