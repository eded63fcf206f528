#pragma once

#include "libs/avManager/AudioCaptureMac.h"
#include "libs/avManager/SyncMediaClock.h"

#include "libs/utils/ConfigSettings.h"
#include "libs/utils/SampleMeta.h"
#include "tests/kit/FakeCapture.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"

#include "osal/Platform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

/// What the tests of the recorder of sound share: two microphones on a scripted platform, settings in memory, and time
/// that is stepped by hand. Waits with a limit move it, until SetJumping says otherwise.
///
/// Owner: the test. Threads: one.
class AudioCaptureTest : public testing::Test {
protected:
   static constexpr uint32_t kChunkMS = 20;
   static constexpr uint32_t kChunkSize = 1920; // at 48 kHz

   AudioCaptureTest() {
      SyncMediaClock::Reset();
      time.SetJumping(true);
      ConfigSettings::Init();
      devices.microphones = {{"Desk", "mic-1"}, {"Room", "mic-2"}};
      AudioInputDevices::List(AudioInputDevices::CachedList());
      platform.microphone = kit::FakeCaptureDevice("Desk", "mic-1");
      prefs.mChunkMS = kChunkMS;
      prefs.mQueueBuffers = 10;
      prefs.mSampleRate = 48000;
      prefs.mDataEvent = event;
   }
   ~AudioCaptureTest() override {
      ConfigSettings::Shutdown();
      CloseHandle(event);
   }

   /// So many bytes that count on from delivery to delivery, as the microphone would deliver them.
   void Deliver(size_t length) {
      std::string bytes;
      for (size_t i = 0; i < length; ++i) {
         bytes.push_back(static_cast<char>(mDelivered++ % 251));
      }
      platform.DeliverSound(osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeSound(bytes)));
   }
   /// The stream's bytes.
   [[nodiscard]] static std::string Bytes(size_t from, size_t count) {
      std::string bytes;
      for (size_t i = 0; i < count; ++i) {
         bytes.push_back(static_cast<char>((from + i) % 251));
      }
      return bytes;
   }
   struct Chunk {
      std::string bytes;
      SampleMeta meta;
   };
   /// Takes what waits.
   static std::vector<Chunk> Take(AudioCaptureBase &capture) {
      std::vector<Chunk> chunks;
      for (MediaData data; capture.GetData(data); capture.ReleaseData()) {
         Chunk chunk;
         chunk.bytes.assign(reinterpret_cast<const char *>(data.mData->GetData()),
                            static_cast<size_t>(data.mData->GetLength()));
         EXPECT_EQ(data.mMeta->GetLength(), 8);
         std::memcpy(&chunk.meta, data.mMeta->GetData(), sizeof chunk.meta);
         EXPECT_EQ(chunk.meta.mValid, 1U);
         chunks.push_back(chunk);
      }
      return chunks;
   }
   [[nodiscard]] bool WasSignalled() {
      const bool was = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
      ResetEvent(event);
      return was;
   }
   [[nodiscard]] uint32_t Now() const { return SyncMediaClock::GetTimeMS(); }

   kit::ManualClock time;
   kit::FakePreferences settings;
   kit::FakeDevices devices;
   const osal::ScopedDevices devicesInForce{devices};
   kit::FakeCapture platform;
   const osal::ScopedCapture captureInForce{platform};
   kit::LogCapture log;
   kit::TempDir folder;
   const HANDLE event = CreateEvent(nullptr, true, false, nullptr);
   SyncMediaClock clock;
   AudioUserPrefs prefs;

private:
   size_t mDelivered = 0;
};
