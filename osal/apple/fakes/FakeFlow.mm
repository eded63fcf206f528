#include "osal/apple/fakes/FakeFlow.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <pthread.h>

// A buffer of a device's pool: while too many are kept, the device sends nothing.
@interface FakePooledBuffer : FakeSampleBuffer {
@public
   std::shared_ptr<std::atomic<int>> mOutstanding;
}
@end
@implementation FakePooledBuffer
- (void)dealloc {
   --*mOutstanding;
   [super dealloc];
}
@end

namespace {

constexpr int kPooled = 16;
constexpr int kQueuedSound = 4;

// Lengths of deliveries, in samples: the platform promises none.
constexpr size_t kLengths[] = {512, 471, 1024, 3, 480, 1};

std::atomic<bool> gSplitsSound{false};
std::atomic<bool> gSendsEmpty{false};

FakePixelBuffer *NewPicture(const fakes::VideoFormat &format, uint64_t number) {
   FakePixelBuffer *const picture = [[FakePixelBuffer alloc] init];
   [picture shapeWithFormat:format.pixelFormat
                      width:static_cast<size_t>(format.width)
                     height:static_cast<size_t>(format.height)];
   uint8_t *row = picture->mPixels.data();
   const size_t rows = picture->mPixels.size() / picture->mRow;
   for (size_t y = 0; y < rows; ++y, row += picture->mRow) {
      // What lies behind a row's last pixel differs from all pixels.
      std::fill_n(row, picture->mRow, uint8_t{255});
      std::fill_n(row, picture->mWidth, static_cast<uint8_t>((number * 7 + y) % 251));
   }
   return picture;
}

FakeBlockBuffer *NewSound(const fakes::SoundFormat &format, const fakes::MicrophoneFacts &facts, uint64_t from,
                          size_t count) {
   std::vector<char> bytes;
   for (size_t i = 0; i < count; ++i) {
      const double seconds = static_cast<double>(from + i) / format.rate;
      const double value = facts.level * 32767 * std::sin(2 * std::numbers::pi * facts.toneHz * seconds);
      const auto sample = static_cast<uint16_t>(static_cast<int16_t>(std::lround(value)));
      for (int channel = 0; channel < format.channels; ++channel) {
         bytes.push_back(static_cast<char>(sample & 0xFF));
         bytes.push_back(static_cast<char>(sample >> 8));
      }
   }
   FakeBlockBuffer *const block = [[FakeBlockBuffer alloc] init];
   const size_t cut = gSplitsSound ? bytes.size() / 4 * 2 : 0;
   if (cut > 0) {
      block->mPieces.emplace_back(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(cut));
   }
   block->mPieces.emplace_back(bytes.begin() + static_cast<ptrdiff_t>(cut), bytes.end());
   return block;
}

} // namespace

namespace fakes {

void SplitSound(bool splits) {
   gSplitsSound = splits;
}
void SendEmptyBuffers(bool sends) {
   gSendsEmpty = sends;
}

Flow::Flow(std::shared_ptr<Device> device, AVCaptureInput *input, AVCaptureOutput *output)
    : mDevice(std::move(device))
    , mInput(input)
    , mOutput([output retain])
    , mThread([this] { Run(); }) {}

Flow::~Flow() {
   {
      const std::lock_guard<std::mutex> hold(mMutex);
      mIsStopped = true;
   }
   mStopped.notify_all();
   mThread.join();
   [mOutput release];
}

bool Flow::Rest(double seconds) {
   std::unique_lock<std::mutex> lock(mMutex);
   return !mStopped.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return mIsStopped; });
}

void Flow::Run() {
   pthread_setname_np(pthread_self(), "device");
   double rest = 0;
   while (Rest(rest) && mDevice->isConnected) {
      if (gSendsEmpty) {
         FakeSampleBuffer *const empty = [[FakeSampleBuffer alloc] init];
         Deliver(mOutput, empty);
         [empty release];
      }
      rest = mDevice->isCamera ? SendPicture() : SendSound();
   }
}

double Flow::SendPicture() {
   const double rest = 1 / mDevice->camera.framesPerSecond;
   OutputState &output = StateOf(mOutput);
   if (*mOutstanding >= kPooled) {
      return rest;
   }
   VideoFormat format;
   {
      const std::lock_guard<std::mutex> hold(output.mutex);
      format = output.video;
   }
   if (format.width == 0 && !mDevice->camera.formats.empty()) {
      format.width = mDevice->camera.formats[0].width;
      format.height = mDevice->camera.formats[0].height;
   }
   FakePooledBuffer *const buffer = [[FakePooledBuffer alloc] init];
   buffer->mOutstanding = mOutstanding;
   ++*mOutstanding;
   buffer->mImage = NewPicture(format, mSent++);
   Deliver(mOutput, buffer);
   [buffer release];
   return rest;
}

double Flow::SendSound() {
   OutputState &output = StateOf(mOutput);
   SoundFormat format;
   {
      const std::lock_guard<std::mutex> hold(output.mutex);
      format = output.sound;
   }
   const size_t count = kLengths[mSent % std::size(kLengths)];
   const double rest = static_cast<double>(count) / format.rate / mDevice->microphone.speed;
   if (output.pending >= kQueuedSound) {
      return rest;
   }
   FakeSampleBuffer *const buffer = [[FakeSampleBuffer alloc] init];
   buffer->mData = NewSound(format, mDevice->microphone, mSent, count);
   mSent += count;
   Deliver(mOutput, buffer);
   [buffer release];
   return rest;
}

} // namespace fakes
