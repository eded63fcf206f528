#pragma once

#include "libs/avManager/AudioChunker.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"

#include "osal/Capture.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace avcapture {

/// Keep or drop: of each cycle of `group` frames the first `keep` are kept; `index` counts from 0. `group` is not 0.
[[nodiscard]] constexpr bool KeepsFrame(uint32_t index, uint32_t group, uint32_t keep) {
   return index % group < keep;
}

} // namespace avcapture

/// The camera or the microphone of one client: the only class, with AVCaptureMac, that touches capture devices.
///
/// It owns a capture session and takes sample buffers on a serial queue of its own. Of a camera it keeps or drops
/// frames, and turns the oldest kept frame into an I420 picture of the requested size; a microphone's sound it cuts
/// into chunks of one size, which go straight to the client. What needs a platform's own choices is abstract here and
/// done by AVCaptureMac; the base forms end the process.
///
/// Owner: its client, through AVCaptureRegister and AVCaptureUnRegister (AVCaptureFunctions.h); counted by reference.
/// Threads: start, stop, selectVdoRes and the audio calls on the client's control thread, host-serialised;
/// updateDropParameters and getTotalFrameNum on any thread; isNewFrameAvailable and getNextFrame on the reader's
/// thread, while capture runs or after it; captureOutput on the delivery thread. Locks: none; frames cross threads
/// through a BufferQueue, chunks by the client. Life cycle: idle -> start -> running -> stop -> idle, for video and for
/// audio; a stop comes before the last release. A client uses one of the two; an object that serves both has one
/// session.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): only the last reference deletes it
class AVCapture : public osal::RefCounted, public osal::SampleBufferDelegate {
public:
   /// Frames that may wait for the reader; one more is lost.
   static constexpr size_t kQueuedFrames = 10;
   /// The one pixel format that is asked for and converted: two planes, 4:2:0, full range.
   static constexpr uint32_t kPixelFormat = osal::FourCC("420f");

   /// `platform` outlives the object.
   explicit AVCapture(osal::Capture &platform);

   /// Opens the camera with this unique id, the default camera for null, and runs. Every failure is logged at ERROR and
   /// leaves video not in use. A session that refuses the input or the output runs all the same, without frames.
   [[nodiscard]] bool startCapturingVideo(const char *deviceId);
   /// No delivery comes afterwards. False, with a line at ERROR, when video is not in use.
   bool stopCapturingVideo();
   [[nodiscard]] bool videoInUse() const;
   /// The picture that the reader wants, in pixels, and the least rate asked of the platform, in frames a second. True.
   bool selectVdoRes(uint32_t x, uint32_t y, uint32_t rate);
   /// Size of the frames that the camera delivers, in pixels; 0 before the first was read. Any thread.
   [[nodiscard]] uint32_t actualWidth() const { return mActualWidth.load(std::memory_order_relaxed); }
   [[nodiscard]] uint32_t actualHeight() const { return mActualHeight.load(std::memory_order_relaxed); }
   /// Why no frames can be expected any more, or Ok. Any thread while the object lives.
   [[nodiscard]] osal::Status health() const;

   /// Buffers delivered so far, dropped ones included; wraps at 32 bits, never starts over.
   [[nodiscard]] uint32_t getTotalFrameNum() const { return mTotalFrameNum.load(std::memory_order_relaxed); }
   /// Keep `keep` frames of each `group`, which is not 0. From the next frame on.
   void updateDropParameters(uint32_t group, uint32_t keep);

   [[nodiscard]] bool isNewFrameAvailable() const;
   /// Takes the oldest kept frame and writes it to `bytes` as I420 of the selected size, planes without gaps. `bytes`
   /// has room for the selected picture, whose size in bytes `size` is: asserted where the camera's size is the
   /// selected one. False when there is no frame, or one that cannot be converted (ERROR). Required: true, with `bytes`
   /// untouched, when the queue gives nothing all the same or the frame cannot be locked.
   [[nodiscard]] bool getNextFrame(uint8_t *bytes, size_t size);

   /// Opens the microphone with this unique id, the default one for null, and runs, in the format of
   /// audioSetPCMFormat, cut as the last audioGetReqdBufSize says. Every failure is logged at ERROR and leaves audio
   /// not in use. A session that refuses the input or the output runs all the same, without sound.
   [[nodiscard]] virtual bool startCapturingAudio(const char *deviceId);
   /// No delivery comes afterwards, and what is left of a chunk waits for the next start. False, with a line at DEBUG,
   /// when audio is not in use.
   virtual bool stopCapturingAudio();
   [[nodiscard]] bool audioInUse() const;
   /// What the samples are to be: hertz, bits of one sample, channels. For the next start.
   void audioSetPCMFormat(int32_t rate, int32_t bitsPerSample, int32_t channels);
   /// Bytes of a chunk of `ms` milliseconds, as AudioChunkSize has it; from now on chunks are cut so, and one that was
   /// begun is dropped. 0 for a format or length without a size, and without memory: no start then. Not while audio is
   /// in use.
   [[nodiscard]] int32_t audioGetReqdBufSize(int32_t ms);

   /// The AudioCaptureMac that takes the chunks; not owned.
   void setClientACM(void *client) { mClientACM = client; }
   [[nodiscard]] void *clientACM() const { return mClientACM; }
   /// The MacVideoDevice that hears of kept frames; not owned.
   void setClientVIM(void *client) { mClientVIM = client; }
   [[nodiscard]] void *clientVIM() const { return mClientVIM; }

   void captureOutput(const osal::Ref<osal::SampleBuffer> &buffer, const osal::CaptureConnection &connection) override;

protected:
   ~AVCapture() override;

   // What a platform decides.
   virtual void setVideoFrameDuration();
   [[nodiscard]] virtual osal::VideoSettings setupVideoOutputParameter();
   [[nodiscard]] virtual bool selectCameraForDeviceID(const char *deviceId);
   virtual void checkAndStopCaptureSession();
   virtual void setupVideoOutputResolution();

   // What both media do alike with the session.
   void ConnectSession(const std::shared_ptr<osal::CaptureDeviceInput> &input,
                       const std::shared_ptr<osal::CaptureOutput> &output);
   void DisconnectSession(const std::shared_ptr<osal::CaptureDeviceInput> &input,
                          const std::shared_ptr<osal::CaptureOutput> &output);
   /// False, logged under the caller's name, when it does not run.
   [[nodiscard]] bool StartSession(const char *function);

   osal::Capture &mPlatform;
   std::unique_ptr<osal::CaptureSession> mCaptureSession;
   uint32_t mTryWidth = 0; ///< what the reader wants
   uint32_t mTryHeight = 0;
   uint32_t mTryFrameSize = 0; ///< bytes: mTryWidth * mTryHeight * 3 / 2
   uint32_t mTryFPS = 0;
   std::shared_ptr<osal::CaptureConnection> mVideoConnection;
   std::shared_ptr<const osal::CaptureDevice> mVideoDevice;
   int32_t mAudioSampleRate = 0; ///< hertz
   int32_t mAudioChannels = 0;
   int32_t mAudioBitsPerSample = 0;
   bool mAudioInUse = false;
   std::shared_ptr<osal::CaptureConnection> mAudioConnection;
   std::shared_ptr<osal::CaptureDeviceInput> mAudioInput;
   std::shared_ptr<osal::AudioDataOutput> mAudioOutput;

private:
   friend void getAudioDataFromCMSampleBufferRef(void *obj, osal::SampleBuffer &buffer);

   void MakeOutput();
   void DropVideoParts();
   void TakeFrame(const osal::Ref<osal::SampleBuffer> &buffer);
   /// The picture of a locked frame, as getNextFrame gives it.
   [[nodiscard]] bool FitFrame(const osal::PixelBuffer &pixels, uint8_t *bytes, size_t size);
   [[nodiscard]] bool SetUpIntermediate(uint32_t width, uint32_t height);

   bool mVideoInUse = false;
   std::shared_ptr<osal::CaptureDeviceInput> mVideoInput;
   std::shared_ptr<osal::VideoDataOutput> mVideoOutput;
   std::unique_ptr<osal::BufferQueue> mVideoBufferQueue;
   std::atomic<uint32_t> mTotalFrameNum{0};
   std::atomic<uint32_t> mGroup{1};
   std::atomic<uint32_t> mKeep{1};
   std::atomic<uint32_t> mActualWidth{0};
   std::atomic<uint32_t> mActualHeight{0};
   IntermediateImage mIntermediate; ///< the reader's
   int32_t mScaleMode = kScaleLetterbox;
   int32_t mAudioSampleDuration = 0; ///< of a chunk, in milliseconds
   AudioChunker mAudioChunker;       ///< the delivery thread's while audio is in use
   void *mClientVIM = nullptr;
   void *mClientACM = nullptr;
};

/// Cuts one delivery of sound into chunks for the client of the AVCapture `obj`. Delivery thread.
void getAudioDataFromCMSampleBufferRef(void *obj, osal::SampleBuffer &buffer);
