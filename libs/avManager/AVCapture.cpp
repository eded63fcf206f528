#include "libs/avManager/AVCapture.h"

#include "libs/avManager/AVCaptureFunctions.h"
#include "libs/avManager/FrameConversion.h"

#include "lib/mfw/common/logger.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr const char *kOutput = "-[AVCapture captureOutput:didOutputSampleBuffer:fromConnection:]";

// An abstract form was reached: a programming fault, reported as the home platform's assertion handler does.
[[noreturn]] void handleFailureInMethod(const char *method, int lineNumber) {
   std::fprintf(stderr,
                "*** Assertion failure in -[AVCapture %s], AVCapture.mm:%d: %s method of superclass is called "
                "unexpected\n",
                method, lineNumber, method);
   std::abort();
}

} // namespace

AVCapture::AVCapture(osal::Capture &platform)
    : mPlatform(platform)
    , mCaptureSession(platform.makeSession()) {}

AVCapture::~AVCapture() {
   mCaptureSession.reset();
   mClientVIM = nullptr;
   mClientACM = nullptr;
   MAVR_LOG_TRACE("%s - AVCapture dealloc", "-[AVCapture dealloc]");
}

void AVCapture::setVideoFrameDuration() {
   handleFailureInMethod("setVideoFrameDuration", __LINE__);
}
osal::VideoSettings AVCapture::setupVideoOutputParameter() {
   handleFailureInMethod("setupVideoOutputParameter", __LINE__);
}
bool AVCapture::selectCameraForDeviceID(const char * /*deviceId*/) {
   handleFailureInMethod("selectCameraForDeviceID:", __LINE__);
}
void AVCapture::checkAndStopCaptureSession() {
   handleFailureInMethod("checkAndStopCaptureSession", __LINE__);
}
void AVCapture::setupVideoOutputResolution() {
   handleFailureInMethod("setupVideoOutputResolution", __LINE__);
}
bool AVCapture::startCapturingAudio(const char * /*deviceId*/) {
   handleFailureInMethod("startCapturingAudio:", __LINE__);
}
bool AVCapture::stopCapturingAudio() {
   handleFailureInMethod("stopCapturingAudio", __LINE__);
}

// ---- Control --------------------------------------------------------------------------------------------------------

bool AVCapture::startCapturingVideo(const char *deviceId) {
   constexpr const char *kFunction = "-[AVCapture startCapturingVideo:]";
   MAVR_LOG_TRACE("%s - deviceID='%s'", kFunction, deviceId);
   if (videoInUse()) {
      MAVR_LOG_ERROR("%s - Video in use", kFunction);
      return false;
   }
   if (mCaptureSession == nullptr) {
      MAVR_LOG_ERROR("%s - no AVCaptureSession", kFunction);
      return false;
   }
   if (!selectCameraForDeviceID(deviceId)) {
      MAVR_LOG_ERROR("%s - Video device acquired fail", kFunction);
      return false;
   }
   if (!mPlatform.deviceInputWithDevice(mVideoDevice, osal::MediaType::Video, &mVideoInput).ok()) {
      MAVR_LOG_ERROR("%s - Failed to create AVCaptureDeviceInput", kFunction);
      return false;
   }
   if (!mPlatform.makeBufferQueue(kQueuedFrames, &mVideoBufferQueue).ok()) {
      MAVR_LOG_ERROR("%s - failed to create video buffer queue", kFunction);
      mVideoInput.reset();
      return false;
   }
   MakeOutput();
   ConnectSession(mVideoInput, mVideoOutput);
   mVideoConnection = mVideoOutput->connectionWithMediaType(osal::MediaType::Video);
   setupVideoOutputResolution();
   setVideoFrameDuration();
   if (!StartSession(kFunction)) {
      DropVideoParts();
      return false;
   }
   mVideoInUse = true;
   MAVR_LOG_DEBUG("%s - Video capture device found", kFunction);
   return true;
}

void AVCapture::MakeOutput() {
   mVideoOutput = mPlatform.makeVideoDataOutput();
   mVideoOutput->setAlwaysDiscardsLateVideoFrames(true);
   mVideoOutput->setVideoSettings(setupVideoOutputParameter());
   mVideoOutput->setSampleBufferDelegate(this, mPlatform.makeSerialQueue("MAVR Video Queue"));
}

void AVCapture::ConnectSession(const std::shared_ptr<osal::CaptureDeviceInput> &input,
                               const std::shared_ptr<osal::CaptureOutput> &output) {
   mCaptureSession->beginConfiguration();
   if (mCaptureSession->canAddInput(input)) {
      mCaptureSession->addInput(input);
   }
   if (mCaptureSession->canAddOutput(output)) {
      mCaptureSession->addOutput(output);
   }
   mCaptureSession->commitConfiguration();
}

void AVCapture::DisconnectSession(const std::shared_ptr<osal::CaptureDeviceInput> &input,
                                  const std::shared_ptr<osal::CaptureOutput> &output) {
   mCaptureSession->beginConfiguration();
   mCaptureSession->removeInput(input);
   mCaptureSession->removeOutput(output);
   mCaptureSession->commitConfiguration();
}

bool AVCapture::StartSession(const char *function) {
   if (mCaptureSession->isRunning()) {
      return true;
   }
   const osal::Status status = mCaptureSession->startRunning();
   if (!status.ok()) {
      MAVR_LOG_ERROR("%s - Capture session failed to start: %s", function, status.reason.c_str());
   }
   return status.ok();
}

void AVCapture::DropVideoParts() {
   DisconnectSession(mVideoInput, mVideoOutput);
   mVideoInput.reset();
   mVideoOutput.reset();
}

bool AVCapture::stopCapturingVideo() {
   constexpr const char *kFunction = "-[AVCapture stopCapturingVideo]";
   MAVR_LOG_TRACE("%s", kFunction);
   if (!videoInUse()) {
      MAVR_LOG_ERROR("%s - Video not in use", kFunction);
      return false;
   }
   DropVideoParts();
   checkAndStopCaptureSession();
   mVideoInUse = false;
   return true;
}

bool AVCapture::videoInUse() const {
   MAVR_LOG_TRACE("%s - %s", "-[AVCapture videoInUse]", mVideoInUse ? "YES" : "NO");
   return mVideoInUse;
}

bool AVCapture::selectVdoRes(uint32_t x, uint32_t y, uint32_t rate) {
   mTryWidth = x;
   mTryHeight = y;
   mTryFPS = rate;
   mTryFrameSize = x * y * 3 / 2;
   MAVR_LOG_TRACE("%s - %s", "-[AVCapture selectVdoRes:y:rate:]", "true");
   return true;
}

bool AVCapture::audioInUse() const {
   MAVR_LOG_TRACE("%s - %s", "-[AVCapture audioInUse]", mAudioInUse ? "YES" : "NO");
   return mAudioInUse;
}

void AVCapture::audioSetPCMFormat(int32_t rate, int32_t bitsPerSample, int32_t channels) {
   mAudioSampleRate = rate;
   mAudioBitsPerSample = bitsPerSample;
   mAudioChannels = channels;
}

int32_t AVCapture::audioGetReqdBufSize(int32_t ms) {
   if (mAudioSampleRate == 0 || mAudioChannels == 0 || mAudioBitsPerSample == 0) {
      MAVR_LOG_DEBUG("%s - ", "-[AVCapture audioGetReqdBufSize:]");
      return 0;
   }
   mAudioSampleDuration = ms;
   const int32_t size = AudioChunkSize(mAudioSampleRate, mAudioBitsPerSample, mAudioChannels, ms);
   return mAudioChunker.SetUp(static_cast<size_t>(size)) ? size : 0;
}

osal::Status AVCapture::health() const {
   return mCaptureSession != nullptr ? mCaptureSession->health() : osal::Status::Ok();
}

// ---- Deliveries -----------------------------------------------------------------------------------------------------

void AVCapture::updateDropParameters(uint32_t group, uint32_t keep) {
   mGroup.store(group, std::memory_order_relaxed);
   mKeep.store(keep, std::memory_order_relaxed);
}

void AVCapture::captureOutput(const osal::Ref<osal::SampleBuffer> &buffer, const osal::CaptureConnection &connection) {
   if (&connection == mVideoConnection.get()) {
      TakeFrame(buffer);
   } else if (&connection == mAudioConnection.get()) {
      getAudioDataFromCMSampleBufferRef(this, *buffer);
   } else {
      MAVR_LOG_ERROR("%s - Unknown AVCaptureConnection type", kOutput);
   }
}

void AVCapture::TakeFrame(const osal::Ref<osal::SampleBuffer> &buffer) {
   MAVR_LOG_TRACE("%s - Video", kOutput);
   const uint32_t index = mTotalFrameNum.load(std::memory_order_relaxed);
   const uint32_t group = mGroup.load(std::memory_order_relaxed);
   const uint32_t keep = mKeep.load(std::memory_order_relaxed);
   MAVR_LOG_TRACE("%s - frame idx: %d, mGroup: %d, mKeep: %d", kOutput, index, group, keep);
   mTotalFrameNum.store(index + 1, std::memory_order_relaxed);
   if (!avcapture::KeepsFrame(index, group, keep)) {
      MAVR_LOG_TRACE("%s - drop frame idx: %d", kOutput, index);
      return;
   }
   if (mVideoBufferQueue->enqueue(buffer) != 0) {
      MAVR_LOG_TRACE("%s - videoBufferQueue buffer full, dropping frame idx: %d", kOutput, index);
      return;
   }
   MAVR_LOG_TRACE("%s - keep frame idx: %d", kOutput, index);
   AVCaptureSendVNotifs(this);
}

namespace {

// The client of a capture object, as the chunker's taker.
class ClientACM {
public:
   explicit ClientACM(void *obj)
       : mObj(obj) {}

   void ChunkBegins() { AVCaptureTimestampCache(mObj); }
   bool Copy(const char **cursor, size_t bytes) { return AVCaptureCopyRecordedData(mObj, cursor, bytes, nullptr, 0); }
   bool Copy(const char **cursor, size_t bytes, const char *cache, size_t cached) {
      return AVCaptureCopyRecordedData(mObj, cursor, bytes, cache, cached);
   }
   void Taken() { AVCaptureSendANotifs(mObj); }
   void Dropped(uint32_t number) {
      MAVR_LOG_TRACE("%s - MAVR audio buffer full, dropping chunk %d",
                     "void getAudioDataFromCMSampleBufferRef(void *, CMSampleBufferRef)", number);
   }

private:
   void *const mObj;
};

} // namespace

void getAudioDataFromCMSampleBufferRef(void *obj, osal::SampleBuffer &buffer) {
   size_t length = 0;
   const char *data = nullptr;
   // Required: its status is not looked at; a failure leaves nothing to cut.
   if (const osal::BlockBuffer *const block = buffer.dataBuffer(); block != nullptr) {
      (void)block->getDataPointer(0, &length, &data);
   }
   ClientACM client(obj);
   static_cast<AVCapture *>(obj)->mAudioChunker.Cut(data, length, client);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool AVCapture::isNewFrameAvailable() const {
   return mVideoBufferQueue != nullptr && !mVideoBufferQueue->isEmpty();
}

namespace {

constexpr const char *kNextFrame = "-[AVCapture getNextFrame:frameSize:]";

// Holds a pixel buffer's lock for the length of a scope.
class PixelLock {
public:
   explicit PixelLock(osal::PixelBuffer *pixels)
       : mPixels(pixels != nullptr && pixels->lockBaseAddress() == 0 ? pixels : nullptr) {}
   ~PixelLock() {
      if (mPixels != nullptr) {
         mPixels->unlockBaseAddress();
      }
   }
   PixelLock(const PixelLock &) = delete;
   PixelLock &operator=(const PixelLock &) = delete;

   explicit operator bool() const { return mPixels != nullptr; }

private:
   osal::PixelBuffer *const mPixels;
};

} // namespace

bool AVCapture::getNextFrame(uint8_t *bytes, size_t size) {
   MAVR_LOG_TRACE("%s - %p %d", kNextFrame, static_cast<void *>(bytes), static_cast<int>(size));
   if (!isNewFrameAvailable()) {
      MAVR_LOG_TRACE("%s - empty queue", kNextFrame);
      return false;
   }
   MAVR_LOG_TRACE("%s - mVideoBufferQueue contains %u buffers", kNextFrame,
                  static_cast<unsigned>(mVideoBufferQueue->getBufferCount()));
   const osal::Ref<osal::SampleBuffer> sample = mVideoBufferQueue->dequeueAndRetain();
   if (!sample) {
      MAVR_LOG_TRACE("%s - no sample buffer", kNextFrame);
      return true;
   }
   osal::PixelBuffer *const pixels = sample->imageBuffer();
   const PixelLock lock(pixels);
   if (!lock) {
      return true;
   }
   if (pixels->pixelFormatType() != kPixelFormat) {
      MAVR_LOG_ERROR("%s - Unsupported internal pixel format", kNextFrame);
      return false;
   }
   return FitFrame(*pixels, bytes, size);
}

bool AVCapture::FitFrame(const osal::PixelBuffer &pixels, uint8_t *bytes, size_t size) {
   const BiPlanarFrame frame{pixels.baseAddressOfPlane(0),          pixels.baseAddressOfPlane(1),
                             pixels.bytesPerRowOfPlane(0),          pixels.bytesPerRowOfPlane(1),
                             static_cast<uint32_t>(pixels.width()), static_cast<uint32_t>(pixels.height())};
   if (!SetUpIntermediate(frame.mWidth, frame.mHeight)) {
      return false;
   }
   const bool doScale = frame.mWidth != mTryWidth || frame.mHeight != mTryHeight;
   assert((doScale || mIntermediate.FrameSize() == size) && "mInterFrameSize == size");
   // Required: a picture that could not be made counts as one.
   (void)ConvertFrame(frame, mIntermediate, {bytes, mTryWidth, mTryHeight, mScaleMode});
   return true;
}

// Anew for each size that the camera comes with, in mid-stream too.
bool AVCapture::SetUpIntermediate(uint32_t width, uint32_t height) {
   if (width == mIntermediate.Width() && height == mIntermediate.Height() && width != 0) {
      return true;
   }
   if (!mIntermediate.Setup(width, height)) {
      MAVR_LOG_ERROR("%s - intermediate buffer allocation failed", kNextFrame);
      return false;
   }
   mActualWidth.store(width, std::memory_order_relaxed);
   mActualHeight.store(height, std::memory_order_relaxed);
   const bool doScale = width != mTryWidth || height != mTryHeight;
   const std::string scaling = doScale ? ScaleModeName(mScaleMode) + " mode scaling enabled" : "no scaling";
   MAVR_LOG_DEBUG("%s - Requested (%ux%u), actual (%ux%u), %s", kNextFrame, mTryWidth, mTryHeight, width, height,
                  scaling.c_str());
   MAVR_LOG_TRACE("%s - Intermediate buffer allocated (%p, %u bytes)", kNextFrame,
                  static_cast<void *>(mIntermediate.Y()), mIntermediate.FrameSize());
   return true;
}
