#include "osal/pipewire/PipewireAudioStream.h"

#include "osal/common/SampleBufferPool.h"
#include "osal/common/SoundBuffer.h"
#include "osal/pipewire/PipewireStream.h"

#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>

namespace osal {
namespace {

// A block of the graph is 32 KiB at most at 48 kHz; a longer one is delivered in pieces.
constexpr size_t kDeliveryBytes = 32768;

bool IsGiven(const AudioSettings &settings) {
   return settings.formatID == FourCC("lpcm") && settings.bitDepth == 16 && !settings.isFloat &&
          !settings.isBigEndian && settings.sampleRate >= 1 && settings.sampleRate <= 768000 &&
          (settings.channels == 1 || settings.channels == 2);
}

class PipewireAudioStream final : public PipewireStream {
public:
   explicit PipewireAudioStream(const StreamRequest &request)
       : PipewireStream(request.gate)
       , mSettings(request.audio) {}
   ~PipewireAudioStream() override { Shutdown(); }

   // No media role: the session manager keeps volume and mute by role, so that a role would bring in what the user last
   // set for some other program.
   Status Start(uint64_t serial) {
      if (!MakePool()) {
         return Status::Error(ENOMEM, "out of memory for the microphone's samples");
      }
      return Open(pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", nullptr), serial);
   }

private:
   bool MakePool() {
      try {
         mPool = std::make_shared<SampleBufferPool>();
         return mPool->Fill<SoundBuffer>(kDeliveryBytes);
      } catch (const std::bad_alloc &) {
         return false;
      }
   }

   int Connect(pw_stream *stream) override {
      std::array<uint8_t, 1024> memory{};
      spa_pod_builder builder{};
      spa_pod_builder_init(&builder, memory.data(), static_cast<uint32_t>(memory.size()));
      spa_audio_info_raw raw{};
      raw.format = SPA_AUDIO_FORMAT_S16_LE;
      raw.rate = static_cast<uint32_t>(mSettings.sampleRate);
      raw.channels = static_cast<uint32_t>(mSettings.channels);
      raw.position[0] = mSettings.channels == 1 ? SPA_AUDIO_CHANNEL_MONO : SPA_AUDIO_CHANNEL_FL;
      raw.position[1] = mSettings.channels == 1 ? SPA_AUDIO_CHANNEL_UNKNOWN : SPA_AUDIO_CHANNEL_FR;
      const spa_pod *params[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &raw)};
      return pw_stream_connect(stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                               static_cast<pw_stream_flags>(kFlags | PW_STREAM_FLAG_MAP_BUFFERS), params, 1);
   }

   void TakeFormat(const spa_pod *) override { ForgetTrouble(); } // there is only the one that was asked for

   void Process() override {
      while (pw_buffer *const buffer = pw_stream_dequeue_buffer(Stream())) {
         NoteArrival();
         if (buffer->buffer->n_datas > 0) {
            Deliver(buffer->buffer->datas[0]);
         }
         pw_stream_queue_buffer(Stream(), buffer);
      }
   }

   void Deliver(const spa_data &data) {
      if (data.data == nullptr || data.chunk == nullptr ||
          (static_cast<uint32_t>(data.chunk->flags) & SPA_CHUNK_FLAG_CORRUPTED) != 0) {
         return;
      }
      const uint32_t offset = std::min(data.chunk->offset, data.maxsize);
      const char *bytes = static_cast<const char *>(data.data) + offset;
      size_t left = std::min(data.chunk->size, data.maxsize - offset);
      while (left > 0 && Gate().IsTaken()) {
         auto *const sound = static_cast<SoundBuffer *>(mPool->Take());
         if (sound == nullptr) {
            return;
         }
         const Ref<SampleBuffer> sample = Ref<SampleBuffer>::adopt(sound);
         const size_t piece = std::min(left, sound->Capacity());
         std::memcpy(sound->Data(), bytes, piece);
         sound->SetLength(piece);
         bytes += piece;
         left -= piece;
         Gate().Deliver(sample);
      }
   }

   const AudioSettings mSettings;
   std::shared_ptr<SampleBufferPool> mPool;
};

} // namespace

Status OpenPipewireAudio(const StreamRequest &request, uint64_t serial, std::unique_ptr<CaptureStream> *stream) {
   stream->reset();
   if (!IsGiven(request.audio)) {
      return Status::Error(EINVAL, "the only sound format is 16-bit little-endian PCM, mono or stereo");
   }
   auto audio = std::make_unique<PipewireAudioStream>(request);
   Status status = audio->Start(serial);
   if (status.ok()) {
      *stream = std::move(audio);
   }
   return status;
}

} // namespace osal
