// A virtual camera: a video source in the PipeWire daemon of the environment, driven by commands.
//
// Options, beside those of every device (fake_device.h):
//    --formats NV12,YUY2,MJPG    also I420, UYVY, RGB
//    --sizes 1280x720,640x480    offered as a list, the first one is the default
//    --range 640x480,16x16,1920x1080   offered as a range: default, smallest, largest
//    --fps 30,15                 offered as a list; the first one is the real rate
//    --padding BYTES             behind each row
//    --split yes                 NV12 in two blocks
//    --header no                 frames without their time
// Commands, beside those of every device:
//    size WxH, sizes A,B         offers these from now on; a running stream negotiates again
//    fps N, pause, resume        of the frames
//    corrupt N                   marks the next N frames as damaged
#include "tests/kit/virtual/fake_device.h"
#include "tests/kit/virtual/test_picture.h"

#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

struct RawFormat {
   const char *name;
   uint32_t id;
};
constexpr RawFormat kRawFormats[] = {{"NV12", SPA_VIDEO_FORMAT_NV12},
                                     {"I420", SPA_VIDEO_FORMAT_I420},
                                     {"YUY2", SPA_VIDEO_FORMAT_YUY2},
                                     {"UYVY", SPA_VIDEO_FORMAT_UYVY},
                                     {"RGB", SPA_VIDEO_FORMAT_RGB}};

uint32_t RawId(const std::string &name) {
   for (const RawFormat &format : kRawFormats) {
      if (name == format.name) {
         return format.id;
      }
   }
   return SPA_VIDEO_FORMAT_UNKNOWN;
}

std::vector<spa_rectangle> ReadSizes(const std::string &text) {
   std::vector<spa_rectangle> sizes;
   for (const std::string &part : SplitList(text)) {
      spa_rectangle size{};
      if (std::sscanf(part.c_str(), "%ux%u", &size.width, &size.height) == 2) {
         sizes.push_back(size);
      }
   }
   return sizes;
}

uint32_t ReadNumber(const std::string &text) {
   return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
}

/// Memory for the format objects that are given to the daemon together.
struct FormatPods {
   std::vector<uint8_t> memory = std::vector<uint8_t>(64 * 1024);
   std::vector<const spa_pod *> pods;
};

class FakeCamera final : public FakeDevice {
public:
   FakeCamera()
       : FakeDevice("Video/Source", "Camera") {}

private:
   bool TakeOption(const std::string &option, const std::string &value) override;
   bool TakeCommand(const std::string &verb, const std::string &argument) override;
   bool Connect(pw_stream *stream) override;
   void StateChanged(bool isStreaming) override { SetTimer(isStreaming); }
   void FormatChanged(const spa_pod *format) override;

   FormatPods OfferedFormats() const;
   void AddSizes(spa_pod_builder *builder) const;
   void AddRates(spa_pod_builder *builder) const;
   bool OfferSizes(const std::string &text);
   void SetTimer(bool isOn);
   void AskForBuffers();
   void Produce();
   void FillBuffer(spa_buffer *buffer);

   std::vector<std::string> mFormats{"NV12"};
   std::vector<spa_rectangle> mSizes{{1280, 720}};
   bool mIsRange = false;
   std::vector<uint32_t> mRates{30};
   bool mHasHeader = true;

   PictureFormat mPicture; ///< width 0: nothing is negotiated
   spa_source *mTimer = nullptr;
   bool mIsPaused = false;
   uint32_t mCorrupt = 0;
   uint64_t mFrame = 0;
};

bool FakeCamera::TakeOption(const std::string &option, const std::string &value) {
   if (option == "--formats") {
      mFormats = SplitList(value);
      return std::all_of(mFormats.begin(), mFormats.end(), [](const std::string &format) {
         return format == "MJPG" || RawId(format) != SPA_VIDEO_FORMAT_UNKNOWN;
      });
   }
   if (option == "--sizes" || option == "--range") {
      mSizes = ReadSizes(value);
      mIsRange = option == "--range";
      return mIsRange ? mSizes.size() == 3 : !mSizes.empty();
   }
   if (option == "--fps") {
      mRates.clear();
      for (const std::string &rate : SplitList(value)) {
         mRates.push_back(std::max(1u, ReadNumber(rate)));
      }
      return !mRates.empty();
   }
   if (option == "--padding") {
      mPicture.padding = ReadNumber(value);
      return true;
   }
   if (option == "--split") {
      mPicture.isSplit = value == "yes";
      return true;
   }
   if (option == "--header") {
      mHasHeader = value != "no";
      return true;
   }
   return false;
}

bool FakeCamera::TakeCommand(const std::string &verb, const std::string &argument) {
   if (verb == "size" || verb == "sizes") {
      return OfferSizes(argument);
   }
   if (verb == "fps") {
      mRates = {std::max(1u, ReadNumber(argument))};
      SetTimer(IsStreaming());
      return true;
   }
   if (verb == "pause" || verb == "resume") {
      mIsPaused = verb == "pause";
      return true;
   }
   if (verb == "corrupt") {
      mCorrupt = ReadNumber(argument);
      return true;
   }
   return false;
}

bool FakeCamera::OfferSizes(const std::string &text) {
   const std::vector<spa_rectangle> sizes = ReadSizes(text);
   if (sizes.empty()) {
      return false;
   }
   mSizes = sizes;
   mIsRange = false;
   if (Stream() == nullptr) {
      return true;
   }
   FormatPods offer = OfferedFormats();
   return pw_stream_update_params(Stream(), offer.pods.data(), static_cast<uint32_t>(offer.pods.size())) >= 0;
}

bool FakeCamera::Connect(pw_stream *stream) {
   FormatPods offer = OfferedFormats();
   return pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                            static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS),
                            offer.pods.data(), static_cast<uint32_t>(offer.pods.size())) >= 0;
}

FormatPods FakeCamera::OfferedFormats() const {
   FormatPods offer;
   spa_pod_builder builder{};
   spa_pod_builder_init(&builder, offer.memory.data(), static_cast<uint32_t>(offer.memory.size()));
   for (const std::string &format : mFormats) {
      const bool isMjpg = format == "MJPG";
      spa_pod_frame object{};
      spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
      spa_pod_builder_prop(&builder, SPA_FORMAT_mediaType, 0);
      spa_pod_builder_id(&builder, SPA_MEDIA_TYPE_video);
      spa_pod_builder_prop(&builder, SPA_FORMAT_mediaSubtype, 0);
      spa_pod_builder_id(&builder, isMjpg ? uint32_t{SPA_MEDIA_SUBTYPE_mjpg} : uint32_t{SPA_MEDIA_SUBTYPE_raw});
      if (!isMjpg) {
         spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_format, 0);
         spa_pod_builder_id(&builder, RawId(format));
      }
      AddSizes(&builder);
      AddRates(&builder);
      offer.pods.push_back(static_cast<const spa_pod *>(spa_pod_builder_pop(&builder, &object)));
   }
   return offer;
}

void FakeCamera::AddSizes(spa_pod_builder *builder) const {
   spa_pod_builder_prop(builder, SPA_FORMAT_VIDEO_size, 0);
   if (mSizes.size() == 1) {
      spa_pod_builder_rectangle(builder, mSizes[0].width, mSizes[0].height);
      return;
   }
   spa_pod_frame choice{};
   spa_pod_builder_push_choice(builder, &choice, mIsRange ? SPA_CHOICE_Range : SPA_CHOICE_Enum, 0);
   if (!mIsRange) {
      spa_pod_builder_rectangle(builder, mSizes[0].width, mSizes[0].height); // the default stands in front
   }
   for (const spa_rectangle &size : mSizes) {
      spa_pod_builder_rectangle(builder, size.width, size.height);
   }
   spa_pod_builder_pop(builder, &choice);
}

void FakeCamera::AddRates(spa_pod_builder *builder) const {
   spa_pod_builder_prop(builder, SPA_FORMAT_VIDEO_framerate, 0);
   if (mRates.size() == 1) {
      spa_pod_builder_fraction(builder, mRates[0], 1);
      return;
   }
   spa_pod_frame choice{};
   spa_pod_builder_push_choice(builder, &choice, SPA_CHOICE_Enum, 0);
   spa_pod_builder_fraction(builder, mRates[0], 1);
   for (const uint32_t rate : mRates) {
      spa_pod_builder_fraction(builder, rate, 1);
   }
   spa_pod_builder_pop(builder, &choice);
}

void FakeCamera::FormatChanged(const spa_pod *format) {
   mPicture.width = 0;
   uint32_t type = 0;
   uint32_t subtype = 0;
   if (format == nullptr || spa_format_parse(format, &type, &subtype) < 0) {
      return;
   }
   spa_rectangle size{};
   if (subtype == SPA_MEDIA_SUBTYPE_mjpg) {
      spa_video_info_mjpg info{};
      spa_format_video_mjpg_parse(format, &info);
      mPicture.format = "MJPG";
      size = info.size;
   } else {
      spa_video_info_raw info{};
      spa_format_video_raw_parse(format, &info);
      const auto *const known = std::find_if(std::begin(kRawFormats), std::end(kRawFormats),
                                             [&](const RawFormat &raw) { return raw.id == info.format; });
      if (known == std::end(kRawFormats)) {
         return;
      }
      mPicture.format = known->name;
      size = info.size;
   }
   mPicture.width = size.width;
   mPicture.height = size.height;
   AskForBuffers();
}

void FakeCamera::AskForBuffers() {
   uint8_t memory[1024];
   spa_pod_builder builder{};
   spa_pod_builder_init(&builder, memory, sizeof(memory));
   const auto addInt = [&builder](uint32_t key, uint32_t value) {
      spa_pod_builder_prop(&builder, key, 0);
      spa_pod_builder_int(&builder, static_cast<int32_t>(value));
   };
   spa_pod_frame object{};
   spa_pod_frame choice{};
   const spa_pod *params[2];
   spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
   spa_pod_builder_prop(&builder, SPA_PARAM_BUFFERS_buffers, 0);
   spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Range, 0);
   for (const int32_t count : {8, 2, 16}) {
      spa_pod_builder_int(&builder, count);
   }
   spa_pod_builder_pop(&builder, &choice);
   addInt(SPA_PARAM_BUFFERS_blocks, mPicture.SecondBlock() > 0 ? 2 : 1);
   addInt(SPA_PARAM_BUFFERS_size, mPicture.FirstBlock());
   addInt(SPA_PARAM_BUFFERS_stride, mPicture.Stride());
   spa_pod_builder_prop(&builder, SPA_PARAM_BUFFERS_dataType, 0);
   spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Flags, 0);
   spa_pod_builder_int(&builder, (1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr));
   spa_pod_builder_pop(&builder, &choice);
   params[0] = static_cast<const spa_pod *>(spa_pod_builder_pop(&builder, &object));

   spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
   spa_pod_builder_prop(&builder, SPA_PARAM_META_type, 0);
   spa_pod_builder_id(&builder, SPA_META_Header);
   addInt(SPA_PARAM_META_size, sizeof(spa_meta_header));
   params[1] = static_cast<const spa_pod *>(spa_pod_builder_pop(&builder, &object));
   pw_stream_update_params(Stream(), params, mHasHeader ? 2 : 1);
}

void FakeCamera::SetTimer(bool isOn) {
   if (mTimer == nullptr) {
      mTimer = pw_loop_add_timer(
         Loop(), [](void *data, uint64_t) { static_cast<FakeCamera *>(data)->Produce(); }, this);
   }
   const long nanoseconds = 1'000'000'000L / static_cast<long>(mRates[0]);
   timespec first{0, isOn ? 1 : 0};
   timespec interval{isOn ? nanoseconds / 1'000'000'000L : 0, isOn ? nanoseconds % 1'000'000'000L : 0};
   pw_loop_update_timer(Loop(), mTimer, &first, &interval, false);
}

void FakeCamera::Produce() {
   if (mPicture.width == 0 || mIsPaused || !IsStreaming()) {
      return;
   }
   pw_buffer *const buffer = pw_stream_dequeue_buffer(Stream());
   if (buffer == nullptr) {
      return; // the consumers hold them all: this frame is lost
   }
   FillBuffer(buffer->buffer);
   mCorrupt -= mCorrupt > 0 ? 1 : 0;
   ++mFrame;
   pw_stream_queue_buffer(Stream(), buffer);
   if (pw_stream_is_driving(Stream())) {
      pw_stream_trigger_process(Stream());
   }
}

void FakeCamera::FillBuffer(spa_buffer *buffer) {
   spa_data &first = buffer->datas[0];
   spa_data *const second = buffer->n_datas > 1 ? &buffer->datas[1] : nullptr;
   const bool fits = first.data != nullptr && first.maxsize >= mPicture.FirstBlock() &&
                     (mPicture.SecondBlock() == 0 ||
                      (second != nullptr && second->data != nullptr && second->maxsize >= mPicture.SecondBlock()));
   // A buffer of the size before a change goes out empty.
   const uint32_t used = fits ? mPicture.Paint(mFrame, static_cast<uint8_t *>(first.data),
                                               second != nullptr ? static_cast<uint8_t *>(second->data) : nullptr)
                              : 0;
   const auto stride = static_cast<int32_t>(mPicture.Stride());
   *first.chunk = {0, used, stride, static_cast<int32_t>(mCorrupt > 0 ? SPA_CHUNK_FLAG_CORRUPTED : 0)};
   if (second != nullptr) {
      *second->chunk = {0, fits ? mPicture.SecondBlock() : 0, stride, 0};
   }
   auto *const header =
      static_cast<spa_meta_header *>(spa_buffer_find_meta_data(buffer, SPA_META_Header, sizeof(spa_meta_header)));
   if (header != nullptr) {
      timespec now{};
      clock_gettime(CLOCK_MONOTONIC, &now);
      *header = {};
      header->pts = static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
      header->seq = mFrame;
      header->flags = mCorrupt > 0 ? SPA_META_HEADER_FLAG_CORRUPTED : 0;
   }
}

} // namespace

int main(int argc, char **argv) {
   return FakeCamera().Run(argc, argv);
}
