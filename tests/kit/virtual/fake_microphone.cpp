// A virtual microphone: an audio source in the PipeWire daemon of the environment that plays one steady tone per
// channel.
//
// Options, beside those of every device (fake_device.h):
//    --rate 48000
//    --tones 440[,1000]   hertz; two tones make a stereo microphone
//    --level 8000         amplitude of 16-bit samples; 0 is silence
// Commands, beside those of every device: tones F[,F], level N.
#include "tests/kit/virtual/fake_device.h"

#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdlib>

namespace {

class FakeMicrophone final : public FakeDevice {
public:
   FakeMicrophone()
       : FakeDevice("Audio/Source", "") {}

private:
   static constexpr double kTurn = 6.283185307179586;

   bool TakeOption(const std::string &option, const std::string &value) override {
      if (option == "--rate") {
         mRate = static_cast<uint32_t>(std::max(1, std::atoi(value.c_str())));
         return true;
      }
      if (option == "--tones") {
         mChannels = SetTones(value);
         return mChannels > 0;
      }
      if (option == "--level") {
         mLevel = std::atoi(value.c_str());
         return true;
      }
      return false;
   }

   bool TakeCommand(const std::string &verb, const std::string &argument) override {
      if (verb == "tones") {
         return SetTones(argument) > 0;
      }
      if (verb == "level") {
         mLevel = std::atoi(argument.c_str());
         return true;
      }
      return false;
   }

   bool Connect(pw_stream *stream) override {
      uint8_t memory[1024];
      spa_pod_builder builder{};
      spa_pod_builder_init(&builder, memory, sizeof(memory));
      spa_audio_info_raw info{};
      info.format = SPA_AUDIO_FORMAT_S16_LE;
      info.rate = mRate;
      info.channels = mChannels;
      info.position[0] = mChannels == 1 ? SPA_AUDIO_CHANNEL_MONO : SPA_AUDIO_CHANNEL_FL;
      info.position[1] = SPA_AUDIO_CHANNEL_FR;
      const spa_pod *params[1] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
      mPlaying.store(stream);
      return pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                               static_cast<pw_stream_flags>(PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS),
                               params, 1) >= 0;
   }

   void Process() override {
      pw_stream *const stream = mPlaying.load();
      pw_buffer *const buffer = pw_stream_dequeue_buffer(stream);
      if (buffer == nullptr) {
         return;
      }
      spa_data &data = buffer->buffer->datas[0];
      const uint32_t frameBytes = 2 * mChannels;
      uint32_t frames = data.maxsize / frameBytes;
      if (buffer->requested > 0) {
         frames = static_cast<uint32_t>(std::min<uint64_t>(frames, buffer->requested)); // what this cycle needs
      }
      auto *const samples = static_cast<int16_t *>(data.data);
      for (uint32_t i = 0; samples != nullptr && i < frames * mChannels; ++i) {
         const uint32_t channel = i % mChannels;
         samples[i] = static_cast<int16_t>(std::lrint(mLevel * std::sin(mPhase[channel])));
         mPhase[channel] = std::fmod(mPhase[channel] + kTurn * mTones[channel] / mRate, kTurn);
      }
      *data.chunk = {0, frames * frameBytes, static_cast<int32_t>(frameBytes), 0};
      pw_stream_queue_buffer(stream, buffer);
   }

   /// How many tones there were.
   uint32_t SetTones(const std::string &text) {
      uint32_t count = 0;
      for (const std::string &tone : SplitList(text)) {
         if (count < mTones.size()) {
            mTones[count++] = std::atof(tone.c_str());
         }
      }
      return count;
   }

   uint32_t mRate = 48000;
   uint32_t mChannels = 1;
   std::array<std::atomic<double>, 2> mTones{440.0, 440.0};
   std::atomic<int> mLevel{8000};
   std::atomic<pw_stream *> mPlaying{nullptr};
   std::array<double, 2> mPhase{}; // the data thread's
};

} // namespace

int main(int argc, char **argv) {
   return FakeMicrophone().Run(argc, argv);
}
