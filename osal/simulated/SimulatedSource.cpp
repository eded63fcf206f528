#include "osal/simulated/SimulatedSource.h"

#include "osal/common/SoundBuffer.h"
#include "osal/simulated/FormatChoice.h"
#include "osal/simulated/FramePainter.h"
#include "osal/simulated/SimulatedCaptureDevice.h"
#include "osal/simulated/ToneGenerator.h"

#include <algorithm>
#include <cerrno>

namespace osal {
namespace {

constexpr int32_t kLockFailed = -6660;
constexpr uint64_t kMostPoolBytes = uint64_t{2} << 30;
/// A delivery of sound is as long as 512 samples at 48 kHz.
constexpr uint64_t kBlockSamples = 512;
constexpr uint64_t kBlockRate = 48000;
constexpr int32_t kHighestSampleRate = 384000;

class CameraSource final : public SimulatedSource {
public:
   CameraSource(const SimulatedCamera &camera, VideoDimensions size, double rate)
       : mCamera(camera)
       , mSize(size)
       , mPace(rate) {}

   bool FillPool(SampleBufferPool *pool) const override {
      const VideoDimensions other = OtherSize(mSize);
      const VideoDimensions largest = FrameBuffer::Bytes(other) > FrameBuffer::Bytes(mSize) ? other : mSize;
      if (FrameBuffer::Bytes(largest) * SampleBufferPool::kBuffers > kMostPoolBytes) {
         return false;
      }
      return pool->Fill<SimulatedFrame>(largest);
   }

   const DeliveryPace &Pace() const override { return mPace; }
   bool MayDiscard() const override { return true; }

   void Fill(uint64_t index, PooledSampleBuffer *buffer) const override {
      auto *const frame = static_cast<SimulatedFrame *>(buffer);
      const SimulatedCamera::Fail &fail = mCamera.fail;
      const bool isResized = fail.resizeAfterFrames != 0 && index >= fail.resizeAfterFrames;
      PaintFrame(mCamera.pattern, isResized ? OtherSize(mSize) : mSize, static_cast<uint32_t>(index), frame);
      frame->SetLockStatus(fail.lockEvery != 0 && (index + 1) % fail.lockEvery == 0 ? kLockFailed : 0);
   }

   uint32_t UnplugAfter() const override { return mCamera.fail.unplugAfterFrames; }
   std::string Who() const override { return "the camera \"" + mCamera.name + "\""; }
   const char *What() const override { return "frames"; }

private:
   const SimulatedCamera mCamera;
   const VideoDimensions mSize;
   const DeliveryPace mPace;
};

class MicrophoneSource final : public SimulatedSource {
public:
   MicrophoneSource(const SimulatedMicrophone &microphone, int32_t sampleRate)
       : mMicrophone(microphone)
       , mSampleRate(static_cast<uint64_t>(sampleRate))
       , mPace(static_cast<double>(kBlockRate) / kBlockSamples)
       , mTone(microphone.toneHz, microphone.level, sampleRate) {}

   bool FillPool(SampleBufferPool *pool) const override {
      const size_t most = (kBlockSamples * mSampleRate / kBlockRate + 1) * ToneGenerator::kBytesPerSample;
      return pool->Fill<SoundBuffer>(most);
   }

   const DeliveryPace &Pace() const override { return mPace; }
   bool MayDiscard() const override { return false; }

   void Fill(uint64_t index, PooledSampleBuffer *buffer) const override {
      auto *const sound = static_cast<SoundBuffer *>(buffer);
      const uint64_t from = Position(index);
      const auto count = static_cast<size_t>(Position(index + 1) - from);
      mTone.Fill(from, count, sound->Data());
      sound->SetLength(count * ToneGenerator::kBytesPerSample);
   }

   uint32_t UnplugAfter() const override { return mMicrophone.fail.unplugAfterBuffers; }
   std::string Who() const override { return "the microphone \"" + mMicrophone.name + "\""; }
   const char *What() const override { return "buffers"; }

private:
   /// The sample that delivery `index` begins with. Where the rate is no multiple of the block's, lengths differ by
   /// one.
   uint64_t Position(uint64_t index) const { return index * kBlockSamples * mSampleRate / kBlockRate; }

   const SimulatedMicrophone mMicrophone;
   const uint64_t mSampleRate;
   const DeliveryPace mPace;
   const ToneGenerator mTone;
};

Status MakeCameraSource(const SimulatedCamera &camera, const StreamRequest &request,
                        std::unique_ptr<SimulatedSource> *source) {
   if (const uint32_t wanted = request.video.pixelFormatType; wanted != 0 && wanted != FourCC("420f")) {
      return Status::Error(EINVAL, "a simulated camera delivers pictures in the format 420f only");
   }
   const std::optional<CaptureDeviceFormat> format = ChooseFormat(camera.formats, request.video.size);
   if (!format) {
      return Status::Error(ENODEV, "the camera \"" + camera.name + "\" has no format with pixels");
   }
   const MediaTime &longest = request.maxFrameDuration;
   const double duration =
      longest.timescale > 0 ? static_cast<double>(longest.value) / static_cast<double>(longest.timescale) : 0;
   *source = std::make_unique<CameraSource>(camera, format->dimensions, ChooseRate(*format, duration));
   return Status::Ok();
}

Status MakeMicrophoneSource(const SimulatedMicrophone &microphone, const AudioSettings &wanted,
                            std::unique_ptr<SimulatedSource> *source) {
   const AudioSettings possible{FourCC("lpcm"), wanted.sampleRate, 1, 16, false, false};
   if (!(wanted == possible)) {
      return Status::Error(EINVAL, "a simulated microphone delivers signed 16-bit little-endian mono samples only");
   }
   if (wanted.sampleRate < 1 || wanted.sampleRate > kHighestSampleRate) {
      return Status::Error(EINVAL, "a simulated microphone delivers 1 to " + std::to_string(kHighestSampleRate) +
                                      " samples a second, not " + std::to_string(wanted.sampleRate));
   }
   *source = std::make_unique<MicrophoneSource>(microphone, wanted.sampleRate);
   return Status::Ok();
}

} // namespace

Status MakeSimulatedSource(const StreamRequest &request, std::unique_ptr<SimulatedSource> *source) {
   source->reset();
   if (const auto *const camera = dynamic_cast<const SimulatedCaptureDevice *>(request.device.get())) {
      return MakeCameraSource(camera->Facts(), request, source);
   }
   if (const auto *const microphone = dynamic_cast<const SimulatedMicrophoneDevice *>(request.device.get())) {
      return MakeMicrophoneSource(microphone->Facts(), request.audio, source);
   }
   return Status::Error(EINVAL, "the device was made by another backend");
}

} // namespace osal
