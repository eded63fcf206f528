// What a stream refuses before it asks the daemon.

#include "osal/pipewire/PipewireAudioStream.h"
#include "osal/pipewire/PipewireVideoStream.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace osal {
namespace {

TEST(PipewireSettings, OnlySixteenBitLittleEndianSoundIsGiven) {
   const AudioSettings given{FourCC("lpcm"), 48000, 1, 16, false, false};
   AudioSettings wrong[8];
   for (AudioSettings &settings : wrong) {
      settings = given;
   }
   wrong[0].formatID = FourCC("aac ");
   wrong[1].bitDepth = 24;
   wrong[2].isFloat = true;
   wrong[3].isBigEndian = true;
   wrong[4].sampleRate = 0;
   wrong[5].sampleRate = 768001;
   wrong[6].channels = 0;
   wrong[7].channels = 3;
   for (const AudioSettings &settings : wrong) {
      StreamRequest request;
      request.mediaType = MediaType::Audio;
      request.audio = settings;
      std::unique_ptr<CaptureStream> stream;
      const Status status = OpenPipewireAudio(request, 1, &stream);
      EXPECT_EQ(status.code, EINVAL) << &settings - wrong;
      EXPECT_EQ(status.reason, "the only sound format is 16-bit little-endian PCM, mono or stereo");
      EXPECT_EQ(stream, nullptr);
   }
}

TEST(PipewireSettings, OnlyOnePixelFormatIsGiven) {
   StreamRequest request;
   request.video.pixelFormatType = FourCC("BGRA");
   std::unique_ptr<CaptureStream> stream;
   const Status status = OpenPipewireVideo(request, 1, &stream);
   EXPECT_EQ(status.code, EINVAL);
   EXPECT_EQ(status.reason, "the only pixel format is '420f'");
   EXPECT_EQ(stream, nullptr);
}

} // namespace
} // namespace osal
