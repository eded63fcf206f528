// Sound on its way from a microphone to a reader: the cutting alone, a whole delivery into the queue with its events,
// and a whole consumer of a PipeWire microphone.

#include "bench/CpuShare.h"
#include "bench/Harness.h"

#include "libs/avManager/AudioCaptureMac.h"
#include "libs/avManager/AudioChunker.h"
#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"

#include "lib/mfw/common/logger.h"
#include "osal/Platform.h"
#include "tests/kit/FakeCapture.h"

#include <benchmark/benchmark.h>
#include <gst/base/gstadapter.h>
#include <gst/gst.h>
#include <soundio/soundio.h>

#if defined(MAVR_BENCH_PIPEWIRE)
#include "tests/kit/PrivatePipewire.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>
#endif

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr size_t kDelivery = 960; // 10 ms at 48 kHz, 16 bits, mono
constexpr size_t kChunk = 1920;   // 20 ms
constexpr size_t kSlots = 64;

void Expect(bool isTrue, const char *what) {
   if (!isTrue) {
      std::fprintf(stderr, "bench_audio: %s\n", what);
      std::exit(1);
   }
}

bench::Sampler Each(std::function<void()> operation) {
   return bench::CpuNanosecondsEach([operation = std::move(operation)](uint64_t times) {
      for (; times > 0; --times) {
         operation();
      }
   });
}

// ---- The cutting alone ----------------------------------------------------------------------------------------------

// Slots in turn, as the queue has them, without its locks.
class Slots {
public:
   void ChunkBegins() {}
   bool Copy(const char **cursor, size_t bytes) {
      std::memcpy(Next(), *cursor, bytes);
      *cursor += bytes;
      return true;
   }
   bool Copy(const char **cursor, size_t bytes, const char *cache, size_t cached) {
      char *const slot = Next();
      std::memcpy(slot, cache, cached);
      std::memcpy(slot + cached, *cursor, bytes);
      *cursor += bytes;
      return true;
   }
   void Taken() {}
   void Dropped(uint32_t) {}

   [[nodiscard]] char *Next() {
      mNext = (mNext + 1) % kSlots;
      char *const slot = mBytes.data() + mNext * kChunk;
      benchmark::DoNotOptimize(slot);
      return slot;
   }

private:
   std::vector<char> mBytes = std::vector<char>(kSlots * kChunk);
   size_t mNext = 0;
};

// A byte ring of a sound library: the delivery goes in, whole chunks come out.
class SoundioRing {
public:
   SoundioRing()
       : mSoundio(soundio_create())
       , mRing(soundio_ring_buffer_create(mSoundio, 65536)) {
      Expect(mRing != nullptr, "no libsoundio ring");
   }
   ~SoundioRing() {
      soundio_ring_buffer_destroy(mRing);
      soundio_destroy(mSoundio);
   }
   SoundioRing(const SoundioRing &) = delete;
   SoundioRing &operator=(const SoundioRing &) = delete;

   void Deliver(const char *delivery, Slots *slots) {
      std::memcpy(soundio_ring_buffer_write_ptr(mRing), delivery, kDelivery);
      soundio_ring_buffer_advance_write_ptr(mRing, kDelivery);
      if (soundio_ring_buffer_fill_count(mRing) >= static_cast<int>(kChunk)) {
         std::memcpy(slots->Next(), soundio_ring_buffer_read_ptr(mRing), kChunk);
         soundio_ring_buffer_advance_read_ptr(mRing, kChunk);
      }
   }

private:
   SoundIo *const mSoundio;
   SoundIoRingBuffer *const mRing;
};

class Adapter {
public:
   Adapter()
       : mAdapter(gst_adapter_new()) {}
   ~Adapter() { g_object_unref(mAdapter); }
   Adapter(const Adapter &) = delete;
   Adapter &operator=(const Adapter &) = delete;

   void Deliver(const char *delivery, Slots *slots) {
      gst_adapter_push(mAdapter, gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, const_cast<char *>(delivery),
                                                             kDelivery, 0, kDelivery, nullptr, nullptr));
      if (gst_adapter_available(mAdapter) >= kChunk) {
         gst_adapter_copy(mAdapter, slots->Next(), 0, kChunk);
         gst_adapter_flush(mAdapter, kChunk);
      }
   }

private:
   GstAdapter *const mAdapter;
};

bench::Case CopyOfTheDelivery(const std::string &delivery) {
   const auto slots = std::make_shared<Slots>();
   return {"one memcpy", Each([slots, &delivery] { std::memcpy(slots->Next(), delivery.data(), kDelivery); })};
}

void MeasureChunker(bench::Report *report, const std::string &delivery) {
   if (!report->Wants("audio.chunker")) {
      return;
   }
   AudioChunker chunker;
   Expect(chunker.SetUp(kChunk), "no memory");
   SoundioRing ring;
   Adapter adapter;
   Slots ours;
   Slots rings;
   Slots adapters;
   report->Run({.name = "audio.chunker",
                .unit = "ns",
                .ours = Each([&] { chunker.Cut(delivery.data(), delivery.size(), ours); }),
                .limit = CopyOfTheDelivery(delivery),
                .peers = {{"libsoundio ring", Each([&] { ring.Deliver(delivery.data(), &rings); })},
                          {"GstAdapter", Each([&] { adapter.Deliver(delivery.data(), &adapters); })}}});
}

// ---- A whole delivery -----------------------------------------------------------------------------------------------

// From the platform's delegate call to the reader, which looks once for each delivery; nobody sleeps on the events.
void MeasureDelivery(bench::Report *report, const std::string &delivery) {
   if (!report->Wants("audio.delivery")) {
      return;
   }
   kit::FakeCapture platform;
   platform.microphone = kit::FakeCaptureDevice("Mic", "mic");
   const osal::ScopedCapture inForce(platform);
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   {
      SyncMediaClock clock;
      AudioCaptureMac capture;
      capture.SetPCMFormat(48000, AudioBase::BPS_16K, 1);
      Expect(capture.OpenRec("", 20, kSlots, &clock, event), "the recorder does not open");
      const auto sound = osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeSound(delivery));
      report->Run({.name = "audio.delivery",
                   .unit = "ns",
                   .ours = Each([&] {
                      platform.DeliverSound(sound);
                      for (MediaData data; capture.GetData(data); capture.ReleaseData()) {
                         benchmark::DoNotOptimize(data.mData->GetData());
                      }
                   }),
                   .limit = CopyOfTheDelivery(delivery)});
      Expect(capture.Facts().lostChunks == 0, "chunks were lost");
      capture.Close();
   }
   CloseHandle(event);
}

// ---- A whole consumer -----------------------------------------------------------------------------------------------

#if defined(MAVR_BENCH_PIPEWIRE)

using bench::Now;

double CpuPercent(const std::function<void(double until)> &pass) {
   return bench::CpuPercent(0.3, 2, pass);
}

double OurConsumer() {
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   AudioRec recorder;
   SyncMediaClock clock;
   AudioUserPrefs prefs;
   prefs.mUserId = "Mic#mic-1";
   prefs.mChunkMS = 20;
   prefs.mQueueBuffers = kSlots;
   prefs.mSampleRate = 48000;
   prefs.mDataEvent = event;
   AudioCaptureBase::List(AudioCaptureBase::CachedList());
   Expect(recorder.Open(prefs, &clock), "the recorder does not open");
   uint64_t chunks = 0;
   const double percent = CpuPercent([&](double until) {
      while (Now() < until) {
         WaitForSingleObject(event, 100);
         for (MediaData data; recorder.GetData(data); recorder.ReleaseData()) {
            benchmark::DoNotOptimize(data.mData->GetData());
            ++chunks;
         }
      }
   });
   Expect(chunks > 80, "the microphone does not deliver");
   recorder.Close();
   CloseHandle(event);
   return percent;
}

using Deliveries = std::counting_semaphore<>;

// The least that any program pays: a stream that copies what comes, and hands it to nobody, or wakes a reader.
class BareStream {
public:
   explicit BareStream(Deliveries *reader = nullptr)
       : mReader(reader)
       , mLoop(pw_thread_loop_new("bare", nullptr)) {
      static const pw_stream_events events = [] {
         pw_stream_events made{};
         made.version = PW_VERSION_STREAM_EVENTS;
         made.process = [](void *self) {
            static_cast<BareStream *>(self)->Process();
         };
         return made;
      }();
      mStream = pw_stream_new_simple(pw_thread_loop_get_loop(mLoop), "bare",
                                     pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture",
                                                       PW_KEY_TARGET_OBJECT, "mic-1", nullptr),
                                     &events, this);
      uint8_t memory[1024];
      spa_pod_builder builder{};
      spa_pod_builder_init(&builder, memory, sizeof memory);
      spa_audio_info_raw raw{};
      raw.format = SPA_AUDIO_FORMAT_S16_LE;
      raw.rate = 48000;
      raw.channels = 1;
      raw.position[0] = SPA_AUDIO_CHANNEL_MONO;
      const spa_pod *params[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &raw)};
      Expect(pw_stream_connect(mStream, PW_DIRECTION_INPUT, PW_ID_ANY,
                               static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS),
                               params, 1) >= 0 &&
                pw_thread_loop_start(mLoop) >= 0,
             "the bare stream does not connect");
   }
   ~BareStream() {
      pw_thread_loop_stop(mLoop);
      pw_stream_destroy(mStream);
      pw_thread_loop_destroy(mLoop);
      Expect(mBuffers > 40, "the bare stream gets nothing");
   }
   BareStream(const BareStream &) = delete;
   BareStream &operator=(const BareStream &) = delete;

private:
   void Process() {
      while (pw_buffer *const buffer = pw_stream_dequeue_buffer(mStream)) {
         const spa_data &data = buffer->buffer->datas[0];
         if (data.data != nullptr && data.chunk->size <= sizeof mBytes) {
            std::memcpy(mBytes, data.data, data.chunk->size);
            benchmark::DoNotOptimize(mBytes);
            ++mBuffers;
            if (mReader != nullptr) {
               mReader->release();
            }
         }
         pw_stream_queue_buffer(mStream, buffer);
      }
   }

   Deliveries *const mReader;
   pw_thread_loop *const mLoop;
   pw_stream *mStream = nullptr;
   char mBytes[32768] = {};
   uint64_t mBuffers = 0;
};

double BareConsumer() {
   const BareStream stream;
   return CpuPercent(bench::Idle);
}

double BareReader() {
   Deliveries delivered(0);
   const BareStream stream(&delivered);
   return CpuPercent([&](double until) {
      while (Now() < until) {
         (void)delivered.try_acquire_for(std::chrono::milliseconds(100));
      }
   });
}

void MeasureConsumer(bench::Report *report) {
   if (!report->Wants("e2e.audio")) {
      return;
   }
   if (const std::string missing = kit::PrivatePipewire::Missing(); !missing.empty()) {
      report->CannotRun("e2e.audio", missing);
      return;
   }
   pw_init(nullptr, nullptr);
   const kit::PrivatePipewire daemon;
   const kit::VirtualMicrophone microphone(daemon, "mic-1", {"--description", "Mic"});
   report->Run({.name = "e2e.audio",
                .unit = "%",
                .ours = OurConsumer,
                .peers = {{"bare PipeWire stream", BareConsumer}, {"the same, waking a reader", BareReader}},
                .rounds = 9});
}

#endif

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   gst_init(nullptr, nullptr);
   logger::Init([](const char *, int) {});
   logger::SetDropBelow(logger::INFO); // as the product does unless told otherwise
   std::string delivery;
   for (size_t i = 0; i < kDelivery; ++i) {
      delivery.push_back(static_cast<char>(i * 7));
   }
   MeasureChunker(&report, delivery);
   MeasureDelivery(&report, delivery);
#if defined(MAVR_BENCH_PIPEWIRE)
   MeasureConsumer(&report);
#endif
   return report.Finish();
}
