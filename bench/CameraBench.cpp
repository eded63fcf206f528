// A whole consumer of a PipeWire camera, 720p at 30 frames a second into 640x480 pictures: what it costs, and how long
// a frame takes from its arrival in the process to its reader.

#include "bench/CpuShare.h"
#include "bench/Harness.h"

#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRec.h"
#include "libs/utils/DataBuffer.h"

#include "lib/mfw/common/logger.h"
#include "osal/Platform.h"
#include "tests/kit/FakeCapture.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/PrivatePipewire.h"

#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr double kMeasuredSeconds = 3;
constexpr double kSettlingSeconds = 0.5;

void Expect(bool isTrue, const char *what) {
   if (!isTrue) {
      std::fprintf(stderr, "bench_camera: %s\n", what);
      std::exit(1);
   }
}

using bench::Now;

double CpuPercent(const std::function<void(double until)> &pass) {
   return bench::CpuPercent(kSettlingSeconds, kMeasuredSeconds, pass);
}

class Reader {
public:
   Reader() {
      mPrefs.mWidth = 640;
      mPrefs.mHeight = 480;
      mPrefs.mFrameRate = 30;
      mPrefs.mFrameEvent = mEvent;
      Expect(mRecorder.Open(mPrefs, &mClock), "the recorder does not open");
   }
   ~Reader() {
      mRecorder.Close();
      CloseHandle(mEvent);
   }
   Reader(const Reader &) = delete;
   Reader &operator=(const Reader &) = delete;

   void Read(double until) {
      while (Now() < until) {
         WaitForSingleObject(mEvent, 100);
         Take();
      }
   }
   void Take() {
      for (MediaData data; mRecorder.GetData(data); mRecorder.ReleaseData()) {
         benchmark::DoNotOptimize(data.mData->GetData());
         ++mFrames;
      }
   }
   [[nodiscard]] uint64_t Frames() const { return mFrames; }
   [[nodiscard]] HANDLE Event() const { return mEvent; }

private:
   const HANDLE mEvent = CreateEvent(nullptr, false, false, nullptr);
   VideoBase::UserPrefs mPrefs;
   SyncMediaClock mClock;
   VideoRec mRecorder;
   uint64_t mFrames = 0;
};

// ---- What it costs --------------------------------------------------------------------------------------------------

double OurConsumer() {
   Reader reader;
   const double percent = CpuPercent([&](double until) { reader.Read(until); });
   Expect(reader.Frames() > 60, "the camera does not deliver");
   return percent;
}

// The least that any program pays: a stream that takes each frame and gives it back.
class BareStream {
public:
   BareStream()
       : mLoop(pw_thread_loop_new("bare", nullptr)) {
      static const pw_stream_events events = [] {
         pw_stream_events made{};
         made.version = PW_VERSION_STREAM_EVENTS;
         made.process = [](void *self) {
            static_cast<BareStream *>(self)->Process();
         };
         return made;
      }();
      mStream = pw_stream_new_simple(pw_thread_loop_get_loop(mLoop), "bare",
                                     pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                                       PW_KEY_TARGET_OBJECT, "cam-1", nullptr),
                                     &events, this);
      uint8_t memory[1024];
      spa_pod_builder builder{};
      spa_pod_builder_init(&builder, memory, sizeof memory);
      spa_video_info_raw raw{};
      raw.format = SPA_VIDEO_FORMAT_NV12;
      raw.size = {1280, 720};
      raw.framerate = {30, 1};
      const spa_pod *params[] = {spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &raw)};
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
      Expect(mFrames > 60, "the bare stream gets nothing");
   }
   BareStream(const BareStream &) = delete;
   BareStream &operator=(const BareStream &) = delete;

private:
   void Process() {
      while (pw_buffer *const buffer = pw_stream_dequeue_buffer(mStream)) {
         ++mFrames;
         pw_stream_queue_buffer(mStream, buffer);
      }
   }

   pw_thread_loop *const mLoop;
   pw_stream *mStream = nullptr;
   uint64_t mFrames = 0;
};

double BareConsumer() {
   const BareStream stream;
   return CpuPercent(bench::Idle);
}

// Nearest neighbour with bars, and no colour work: the same job, all extras off.
double GStreamerConsumer() {
   GError *error = nullptr;
   GstElement *const pipeline = gst_parse_launch(
      "pipewiresrc target-object=cam-1 ! video/x-raw,format=NV12,width=1280,height=720 ! "
      "videoconvertscale method=nearest-neighbour add-borders=true matrix-mode=none dither=none chroma-mode=none "
      "n-threads=1 ! video/x-raw,format=I420,width=640,height=480,pixel-aspect-ratio=1/1 ! "
      "fakesink name=sink sync=false signal-handoffs=true",
      &error);
   Expect(pipeline != nullptr && error == nullptr, error != nullptr ? error->message : "no pipeline");
   GstElement *const sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
   uint64_t frames = 0; // of the streaming thread, read after its end
   const auto count = [](GstElement *, GstBuffer *, GstPad *, gpointer counter) {
      ++*static_cast<uint64_t *>(counter);
   };
   g_signal_connect(sink, "handoff", G_CALLBACK(+count), &frames);
   gst_element_set_state(pipeline, GST_STATE_PLAYING);
   const double percent = CpuPercent(bench::Idle);
   gst_element_set_state(pipeline, GST_STATE_NULL);
   gst_object_unref(sink);
   gst_object_unref(pipeline);
   Expect(frames > 60, "the pipeline gets nothing");
   return percent;
}

void MeasureCost(bench::Report *report) {
   if (!report->Wants("e2e.video")) {
      return;
   }
   if (const std::string missing = kit::PrivatePipewire::Missing(); !missing.empty()) {
      report->CannotRun("e2e.video", missing);
      return;
   }
   pw_init(nullptr, nullptr);
   const kit::PrivatePipewire daemon;
   const kit::VirtualCamera camera(daemon, "cam-1",
                                   {"--description", "Camera", "--formats", "NV12", "--sizes", "1280x720"});
   report->Run({.name = "e2e.video",
                .unit = "%",
                .ours = OurConsumer,
                .limit = bench::Case{"bare PipeWire stream", BareConsumer},
                .peers = {{"GStreamer", GStreamerConsumer}},
                .rounds = 5});
}

// ---- How long it takes ----------------------------------------------------------------------------------------------

// Microseconds from the delegate call of a 720p frame to the reader's wake-up, of 100 frames at 30 a second.
std::vector<double> Delays() {
   kit::FakeDevices devices;
   devices.cameras = {kit::Camera("Camera", "cam-1")};
   const osal::ScopedDevices devicesInForce(devices);
   kit::FakeCapture platform;
   platform.camera = kit::FakeCaptureDevice("Camera", "cam-1");
   const osal::ScopedCapture inForce(platform);
   const auto frame = osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeFrame(1280, 720));
   std::vector<double> delays;
   Reader reader;
   for (int i = 0; i < 100; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(33));
      double arrived = 0;
      std::thread camera([&] {
         std::this_thread::sleep_for(std::chrono::milliseconds(1)); // until the reader sleeps
         arrived = Now();
         platform.Deliver(frame);
      });
      WaitForSingleObject(reader.Event(), 1000);
      const double woken = Now();
      camera.join();
      delays.push_back((woken - arrived) * 1e6);
      reader.Take();
   }
   Expect(reader.Frames() > 95, "frames were lost");
   std::sort(delays.begin(), delays.end());
   return delays;
}

void MeasureDelay(bench::Report *report) {
   report->Run({.name = "e2e.latency.median", .unit = "us", .ours = [] { return Delays()[50]; }, .rounds = 3});
   report->Run({.name = "e2e.latency.99", .unit = "us", .ours = [] { return Delays()[98]; }, .rounds = 3});
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   gst_init(nullptr, nullptr);
   logger::Init([](const char *, int) {});
   logger::SetDropBelow(logger::INFO); // as the product does unless told otherwise
   MeasureDelay(&report);
   MeasureCost(&report);
   return report.Finish();
}
