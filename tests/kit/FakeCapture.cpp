#include "tests/kit/FakeCapture.h"

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kit {
namespace {

class Device final : public osal::CaptureDevice {
public:
   Device(std::string name, std::string uniqueId, std::vector<osal::CaptureDeviceFormat> formats)
       : mName(std::move(name))
       , mUniqueId(std::move(uniqueId))
       , mFormats(std::move(formats)) {}
   std::string localizedName() const override { return mName; }
   std::string uniqueID() const override { return mUniqueId; }
   std::vector<osal::CaptureDeviceFormat> formats() const override { return mFormats; }

private:
   const std::string mName;
   const std::string mUniqueId;
   const std::vector<osal::CaptureDeviceFormat> mFormats;
};

class Input final : public osal::CaptureDeviceInput {
public:
   explicit Input(std::shared_ptr<const osal::CaptureDevice> device)
       : mDevice(std::move(device)) {}
   const osal::CaptureDevice &device() const override { return *mDevice; }

private:
   const std::shared_ptr<const osal::CaptureDevice> mDevice;
};

class Label final : public osal::SerialQueue {
public:
   explicit Label(std::string label)
       : mLabel(std::move(label)) {}
   const std::string &label() const override { return mLabel; }

private:
   const std::string mLabel;
};

} // namespace

// ---- FakeFrame ------------------------------------------------------------------------------------------------------

FakeFrame::FakeFrame(size_t width, size_t height, size_t stride)
    : luma((stride != 0 ? stride : (width + 1) / 2 * 2) * height)
    , chroma((stride != 0 ? stride : (width + 1) / 2 * 2) * ((height + 1) / 2))
    , mWidth(width)
    , mHeight(height)
    , mStride(stride != 0 ? stride : (width + 1) / 2 * 2) {}

int32_t FakeFrame::lockBaseAddress() {
   locks += lockStatus == 0 ? 1 : 0;
   return lockStatus;
}

int32_t FakeSound::getDataPointer(size_t offset, size_t *length, const char **data) const {
   if (pointerStatus != 0) {
      return pointerStatus;
   }
   *length = bytes.size() - offset;
   *data = bytes.data() + offset;
   return 0;
}

// ---- What the platform makes ----------------------------------------------------------------------------------------

class FakeCapture::Connection final : public osal::CaptureConnection {
public:
   explicit Connection(FakeCapture &platform)
       : mPlatform(platform) {}
   bool isVideoMaxFrameDurationSupported() const override { return mPlatform.limitsFrameDuration; }
   void setVideoMaxFrameDuration(osal::MediaTime duration) override {
      mPlatform.calls.emplace_back("setVideoMaxFrameDuration");
      mDuration = duration;
   }
   osal::MediaTime videoMaxFrameDuration() const override { return mDuration; }

private:
   FakeCapture &mPlatform;
   osal::MediaTime mDuration;
};

void FakeCapture::SetDelegate(Way *way, osal::SampleBufferDelegate *delegate, const osal::SerialQueue &queue) {
   calls.emplace_back("setSampleBufferDelegate");
   way->delegate = delegate;
   queueLabel = queue.label();
}

std::shared_ptr<osal::CaptureConnection> FakeCapture::Connect(Way *way) {
   calls.emplace_back("connectionWithMediaType");
   way->connection = std::make_shared<Connection>(*this);
   return way->connection;
}

class FakeCapture::AudioOutput final : public osal::AudioDataOutput {
public:
   explicit AudioOutput(FakeCapture &platform)
       : mPlatform(platform) {}
   void setSampleBufferDelegate(osal::SampleBufferDelegate *delegate,
                                std::shared_ptr<osal::SerialQueue> queue) override {
      mPlatform.SetDelegate(&mPlatform.mAudio, delegate, *queue);
   }
   std::shared_ptr<osal::CaptureConnection> connectionWithMediaType(osal::MediaType) override {
      return mPlatform.Connect(&mPlatform.mAudio);
   }
   void setAudioSettings(const osal::AudioSettings &settings) override {
      mPlatform.calls.emplace_back("setAudioSettings");
      mPlatform.audioSettings = settings;
   }

private:
   FakeCapture &mPlatform;
};

class FakeCapture::VideoOutput final : public osal::VideoDataOutput {
public:
   explicit VideoOutput(FakeCapture &platform)
       : mPlatform(platform) {}
   void setSampleBufferDelegate(osal::SampleBufferDelegate *delegate,
                                std::shared_ptr<osal::SerialQueue> queue) override {
      mPlatform.SetDelegate(&mPlatform.mVideo, delegate, *queue);
   }
   std::shared_ptr<osal::CaptureConnection> connectionWithMediaType(osal::MediaType) override {
      return mPlatform.Connect(&mPlatform.mVideo);
   }
   void setAlwaysDiscardsLateVideoFrames(bool discards) override {
      mPlatform.calls.emplace_back(discards ? "setAlwaysDiscardsLateVideoFrames YES"
                                            : "setAlwaysDiscardsLateVideoFrames NO");
   }
   void setVideoSettings(const osal::VideoSettings &settings) override {
      mPlatform.calls.emplace_back("setVideoSettings");
      mPlatform.videoSettings = settings;
   }

private:
   FakeCapture &mPlatform;
};

class FakeCapture::Session final : public osal::CaptureSession {
public:
   explicit Session(FakeCapture &platform)
       : mPlatform(platform) {}
   void beginConfiguration() override { Note("beginConfiguration"); }
   void commitConfiguration() override { Note("commitConfiguration"); }
   bool canAddInput(const std::shared_ptr<osal::CaptureDeviceInput> &) override { return mPlatform.takesInput; }
   void addInput(const std::shared_ptr<osal::CaptureDeviceInput> &) override { Note("addInput"); }
   void removeInput(const std::shared_ptr<osal::CaptureDeviceInput> &) override { Note("removeInput"); }
   bool canAddOutput(const std::shared_ptr<osal::CaptureOutput> &) override { return mPlatform.takesOutput; }
   void addOutput(const std::shared_ptr<osal::CaptureOutput> &) override { Note("addOutput"); }
   void removeOutput(const std::shared_ptr<osal::CaptureOutput> &) override {
      Note("removeOutput");
      if (mPlatform.atRemoveOutput) {
         mPlatform.atRemoveOutput();
      }
   }
   bool isRunning() const override { return mIsRunning; }
   osal::Status startRunning() override {
      Note("startRunning");
      mIsRunning = mPlatform.startStatus.ok();
      if (mPlatform.atStart) {
         mPlatform.atStart();
      }
      return mPlatform.startStatus;
   }
   void stopRunning() override {
      Note("stopRunning");
      mIsRunning = false;
   }
   osal::Status health() const override { return mPlatform.sessionHealth; }

private:
   void Note(const char *call) { mPlatform.calls.emplace_back(call); }

   FakeCapture &mPlatform;
   bool mIsRunning = false;
};

class FakeCapture::Queue final : public osal::BufferQueue {
public:
   Queue(FakeCapture &platform, size_t capacity)
       : mPlatform(platform)
       , mCapacity(capacity) {}
   int32_t enqueue(const osal::Ref<osal::SampleBuffer> &buffer) override {
      if (mBuffers.size() == mCapacity) {
         return kFull;
      }
      mBuffers.push_back(buffer);
      return 0;
   }
   osal::Ref<osal::SampleBuffer> dequeueAndRetain() override {
      if (mPlatform.queueGivesNothing || mBuffers.empty()) {
         return {};
      }
      osal::Ref<osal::SampleBuffer> oldest = mBuffers.front();
      mBuffers.pop_front();
      return oldest;
   }
   bool isEmpty() const override { return mBuffers.empty(); }
   size_t getBufferCount() const override { return mBuffers.size(); }

private:
   FakeCapture &mPlatform;
   const size_t mCapacity;
   std::deque<osal::Ref<osal::SampleBuffer>> mBuffers;
};

// ---- FakeCapture ----------------------------------------------------------------------------------------------------

void FakeCapture::Deliver(const osal::Ref<osal::SampleBuffer> &buffer) {
   mVideo.delegate->captureOutput(buffer, *mVideo.connection);
}

void FakeCapture::DeliverSound(const osal::Ref<osal::SampleBuffer> &buffer) {
   mAudio.delegate->captureOutput(buffer, *mAudio.connection);
}

void FakeCapture::DeliverOnForeignConnection(const osal::Ref<osal::SampleBuffer> &buffer) {
   const Connection foreign(*this);
   (mVideo.delegate != nullptr ? mVideo : mAudio).delegate->captureOutput(buffer, foreign);
}

const std::shared_ptr<const osal::CaptureDevice> &FakeCapture::Device(osal::MediaType mediaType) const {
   return mediaType == osal::MediaType::Video ? camera : microphone;
}

osal::Status FakeCapture::deviceWithUniqueID(std::string_view uniqueID, osal::MediaType mediaType,
                                             std::shared_ptr<const osal::CaptureDevice> *device) {
   const std::shared_ptr<const osal::CaptureDevice> &known = Device(mediaType);
   const bool isThere = known != nullptr && known->uniqueID() == uniqueID;
   *device = isThere ? known : nullptr;
   return isThere ? osal::Status::Ok() : osal::Status::Error(ENODEV, "no such device");
}

osal::Status FakeCapture::defaultDeviceWithMediaType(osal::MediaType mediaType,
                                                     std::shared_ptr<const osal::CaptureDevice> *device) {
   *device = Device(mediaType);
   return *device != nullptr ? osal::Status::Ok() : osal::Status::Error(ENODEV, "no device");
}

osal::Status FakeCapture::deviceInputWithDevice(const std::shared_ptr<const osal::CaptureDevice> &device,
                                                osal::MediaType, std::shared_ptr<osal::CaptureDeviceInput> *input) {
   if (throwsAtInput) {
      throw std::runtime_error("input");
   }
   *input = inputStatus.ok() ? std::make_shared<Input>(device) : nullptr;
   return inputStatus;
}

std::unique_ptr<osal::CaptureSession> FakeCapture::makeSession() {
   return hasSessions ? std::make_unique<Session>(*this) : nullptr;
}

std::shared_ptr<osal::VideoDataOutput> FakeCapture::makeVideoDataOutput() {
   return std::make_shared<VideoOutput>(*this);
}

std::shared_ptr<osal::AudioDataOutput> FakeCapture::makeAudioDataOutput() {
   return std::make_shared<AudioOutput>(*this);
}

std::shared_ptr<osal::SerialQueue> FakeCapture::makeSerialQueue(std::string label) {
   return std::make_shared<Label>(std::move(label));
}

osal::Status FakeCapture::makeBufferQueue(size_t capacity, std::unique_ptr<osal::BufferQueue> *queue) {
   queueCapacity = capacity;
   *queue = queueStatus.ok() ? std::make_unique<Queue>(*this, capacity) : nullptr;
   return queueStatus;
}

std::shared_ptr<const osal::CaptureDevice> FakeCaptureDevice(std::string name, std::string uniqueId,
                                                             std::vector<osal::CaptureDeviceFormat> formats) {
   return std::make_shared<Device>(std::move(name), std::move(uniqueId), std::move(formats));
}

} // namespace kit
