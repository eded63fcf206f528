#include "osal/pipewire/PipewireCapture.h"

#include "tests/conformance/CaptureRig.h"
#include "tests/kit/PrivatePipewire.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <unistd.h>

namespace osal {
namespace {

using conformance::Collector;
using conformance::Rig;
using kit::PrivatePipewire;
using kit::VirtualCamera;
using kit::VirtualMicrophone;
using Ms = std::chrono::milliseconds;

/// Real cameras fail in ways of their own; the daemon and its devices are made to.
class PipewireCaptureTest : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
      alarm(240); // a hang ends the test
      daemon = std::make_unique<PrivatePipewire>();
      capture = MakePipewireCapture();
   }

   std::shared_ptr<CaptureDeviceInput> Input(const std::string &id, MediaType kind = MediaType::Video) {
      std::shared_ptr<const CaptureDevice> device;
      std::shared_ptr<CaptureDeviceInput> input;
      Status status = capture->deviceWithUniqueID(id, kind, &device);
      EXPECT_TRUE(status.ok()) << status.reason;
      status = capture->deviceInputWithDevice(device, kind, &input);
      EXPECT_TRUE(status.ok()) << status.reason;
      return input;
   }

   // Captures from the camera until `count` frames have come; the last one kept has the size.
   void ExpectFrames(const std::string &id, VideoDimensions asked, VideoDimensions size) {
      Rig rig(*capture, Input(id), MediaType::Video, asked);
      rig.collector.LetGo(2);
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(2)) << rig.session->health().reason;
      PixelBuffer *const pixels = rig.collector.Kept().back()->imageBuffer();
      ASSERT_NE(pixels, nullptr);
      EXPECT_EQ(pixels->width(), static_cast<size_t>(size.width));
      EXPECT_EQ(pixels->height(), static_cast<size_t>(size.height));
      ASSERT_EQ(pixels->lockBaseAddress(), 0);
      ExpectUpright(*pixels);
      pixels->unlockBaseAddress();
   }

   // The virtual camera's picture is made of vertical bars: two rows differ only when a stride is wrong.
   static void ExpectUpright(const PixelBuffer &pixels) {
      const auto row = [&](size_t y) {
         return pixels.baseAddressOfPlane(0) + y * pixels.bytesPerRowOfPlane(0);
      };
      size_t different = 0;
      for (size_t x = pixels.width() / 8; x < pixels.width(); ++x) {
         different += std::abs(row(pixels.height() / 2)[x] - row(pixels.height() * 3 / 4)[x]) > 12 ? 1 : 0;
      }
      EXPECT_LE(different, pixels.width() / 50);
   }

   static bool AwaitTrouble(const CaptureSession &session) {
      for (int i = 0; i < 500 && session.health().ok(); ++i) {
         std::this_thread::sleep_for(Ms(20));
      }
      return !session.health().ok();
   }

   // Far above what is measured; a wait for the daemon would be without end.
   static void ExpectQuickStop(CaptureSession *session) {
      const auto start = std::chrono::steady_clock::now();
      session->stopRunning();
      EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(2000));
   }

   std::unique_ptr<PrivatePipewire> daemon;
   std::unique_ptr<Capture> capture;
};

TEST_F(PipewireCaptureTest, EveryFormatBecomesTheSamePicture) {
   for (const char *const format : {"NV12", "I420", "YUY2", "UYVY", "RGB", "MJPG"}) {
      SCOPED_TRACE(format);
      const VirtualCamera camera(*daemon, std::string("cam-") + format, {"--formats", format, "--sizes", "640x480"});
      ExpectFrames(std::string("cam-") + format, {640, 480}, {640, 480});
   }
}

TEST_F(PipewireCaptureTest, RowsWithPaddingAndPlanesInTwoBlocksAreRead) {
   const VirtualCamera padded(*daemon, "padded", {"--sizes", "640x480", "--padding", "64"});
   ExpectFrames("padded", {640, 480}, {640, 480});
   const VirtualCamera split(*daemon, "split", {"--sizes", "640x480", "--split", "yes"});
   ExpectFrames("split", {640, 480}, {640, 480});
   const VirtualCamera timeless(*daemon, "timeless", {"--sizes", "640x480", "--header", "no"});
   ExpectFrames("timeless", {640, 480}, {640, 480});
}

TEST_F(PipewireCaptureTest, OddSizesAreDelivered) {
   const VirtualCamera camera(*daemon, "odd", {"--sizes", "641x481,353x289"});
   ExpectFrames("odd", {641, 481}, {641, 481});
   ExpectFrames("odd", {353, 289}, {353, 289});
}

TEST_F(PipewireCaptureTest, ASizeThatTheCameraHasNotGivesAnotherOne) {
   const VirtualCamera camera(*daemon, "cam", {"--sizes", "800x600"});
   ExpectFrames("cam", {640, 480}, {800, 600});
}

TEST_F(PipewireCaptureTest, AChangeOfSizeInMidStreamGoesOn) {
   VirtualCamera camera(*daemon, "cam", {"--sizes", "640x480"});
   Rig rig(*capture, Input("cam"), MediaType::Video, {640, 480});
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(3));
   camera.Command("size 320x240");
   rig.collector.LetGo(1);
   for (int i = 0; i < 100; ++i) {
      ASSERT_TRUE(rig.collector.AwaitMore(1));
      if (rig.collector.Kept().back()->imageBuffer()->width() == 320) {
         break;
      }
      rig.collector.LetGo(1);
   }
   EXPECT_EQ(rig.collector.Kept().back()->imageBuffer()->width(), 320U);
   EXPECT_TRUE(rig.session->health().ok()) << rig.session->health().reason;
}

TEST_F(PipewireCaptureTest, DamagedFramesAreSkipped) {
   VirtualCamera camera(*daemon, "cam", {"--sizes", "320x240"});
   Rig rig(*capture, Input("cam"), MediaType::Video, {320, 240});
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(2));
   camera.Command("corrupt 5");
   ASSERT_TRUE(rig.collector.AwaitMore(3));
   EXPECT_TRUE(rig.session->health().ok());
}

// A buffer that is out when its stream ends is lost to the camera, which has eight.
TEST_F(PipewireCaptureTest, StreamsThatEndWithPicturesKeptLeaveTheCameraItsBuffers) {
   const VirtualCamera camera(*daemon, "cam", {"--sizes", "640x480"});
   for (int i = 0; i < 24; ++i) {
      Rig rig(*capture, Input("cam"), MediaType::Video, {640, 480});
      rig.collector.LetGo(3);
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(5)) << "session " << i << ": " << rig.session->health().reason;
   }
}

TEST_F(PipewireCaptureTest, TwoClientsShareACamera) {
   const VirtualCamera camera(*daemon, "cam", {"--sizes", "640x480,320x240"});
   Rig first(*capture, Input("cam"), MediaType::Video, {640, 480});
   ASSERT_TRUE(first.session->startRunning().ok());
   ASSERT_TRUE(first.collector.Await(2));
   Rig second(*capture, Input("cam"), MediaType::Video, {320, 240});
   second.collector.LetGo(1);
   ASSERT_TRUE(second.session->startRunning().ok());
   ASSERT_TRUE(second.collector.Await(2));
   EXPECT_EQ(second.collector.Kept()[0]->imageBuffer()->width(), 640U) << "the size that already runs";
   ASSERT_TRUE(first.collector.AwaitMore(2));
}

TEST_F(PipewireCaptureTest, AnUnpluggedCameraShowsAndAReplugCanBeOpened) {
   VirtualCamera camera(*daemon, "cam", {"--sizes", "320x240"});
   Rig rig(*capture, Input("cam"), MediaType::Video, {320, 240});
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(2));
   camera.Unplug();
   EXPECT_TRUE(AwaitTrouble(*rig.session));
   EXPECT_TRUE(rig.session->isRunning());
   ExpectQuickStop(rig.session.get());
   camera.Plug();
   ExpectFrames("cam", {320, 240}, {320, 240});
}

TEST_F(PipewireCaptureTest, ACameraThatStallsShowsAndComesBack) {
   VirtualCamera camera(*daemon, "cam", {"--sizes", "320x240"});
   Rig rig(*capture, Input("cam"), MediaType::Video, {320, 240});
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(2));
   camera.Command("pause");
   EXPECT_TRUE(AwaitTrouble(*rig.session));
   camera.Command("resume");
   ASSERT_TRUE(rig.collector.AwaitMore(2));
   EXPECT_TRUE(rig.session->health().ok()) << rig.session->health().reason;
}

TEST_F(PipewireCaptureTest, ADeadDaemonShowsAndTheStopIsQuick) {
   const VirtualCamera camera(*daemon, "cam", {"--sizes", "320x240"});
   Rig rig(*capture, Input("cam"), MediaType::Video, {320, 240});
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(2));
   daemon->Kill();
   EXPECT_TRUE(AwaitTrouble(*rig.session));
   ExpectQuickStop(rig.session.get());
}

TEST_F(PipewireCaptureTest, AFrozenDaemonHoldsNobodyUp) {
   const VirtualCamera camera(*daemon, "cam", {"--sizes", "320x240"});
   const auto input = Input("cam");
   Rig running(*capture, input, MediaType::Video, {320, 240});
   ASSERT_TRUE(running.session->startRunning().ok());
   ASSERT_TRUE(running.collector.Await(2));
   daemon->Freeze();
   EXPECT_TRUE(AwaitTrouble(*running.session));
   ExpectQuickStop(running.session.get());
   running.session->beginConfiguration();
   const auto start = std::chrono::steady_clock::now();
   running.session->commitConfiguration();
   const Status status = running.session->startRunning();
   EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(2000));
   if (status.ok()) {
      EXPECT_TRUE(AwaitTrouble(*running.session));
   }
   ExpectQuickStop(running.session.get());
   daemon->Thaw();
}

TEST_F(PipewireCaptureTest, AThousandStartsAndStopsLeaveNothingBehind) {
   const VirtualCamera camera(*daemon, "cam", {"--sizes", "320x240"});
   Rig rig(*capture, Input("cam"), MediaType::Video, {320, 240});
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(1));
   rig.session->stopRunning();
   const size_t threads = conformance::ThreadCount();
   const int descriptor = dup(0);
   close(descriptor);
   for (int i = 0; i < 1000; ++i) {
      ASSERT_TRUE(rig.session->startRunning().ok());
      rig.session->stopRunning();
   }
   EXPECT_TRUE(conformance::AwaitThreadCount(threads));
   const int after = dup(0);
   close(after);
   EXPECT_EQ(after, descriptor) << "the lowest free descriptor";
   ASSERT_TRUE(rig.session->startRunning().ok());
   EXPECT_TRUE(rig.collector.AwaitMore(1));
}

TEST_F(PipewireCaptureTest, TheMicrophoneIsHeardAtEveryRate) {
   const VirtualMicrophone microphone(*daemon, "mic", {"--tones", "440"});
   const auto input = Input("mic", MediaType::Audio);
   for (const int32_t rate : {8000, 16000, 44100, 48000}) {
      const auto session = capture->makeSession();
      const auto output = capture->makeAudioDataOutput();
      Collector collector;
      size_t bytes = 0;
      collector.inspect = [&](SampleBuffer &buffer) {
         size_t length = 0;
         const char *data = nullptr;
         EXPECT_EQ(buffer.dataBuffer()->getDataPointer(0, &length, &data), 0);
         EXPECT_EQ(length % 2, 0U);
         bytes += length;
      };
      output->setAudioSettings({FourCC("lpcm"), rate, 1, 16, false, false});
      output->setSampleBufferDelegate(&collector, capture->makeSerialQueue("sound"));
      session->addInput(input);
      session->addOutput(output);
      ASSERT_TRUE(session->startRunning().ok());
      ASSERT_TRUE(collector.Await(10)) << session->health().reason;
      session->stopRunning();
      session->removeInput(input);
      EXPECT_GT(bytes, static_cast<size_t>(rate) / 50) << rate;
   }
}

} // namespace
} // namespace osal
