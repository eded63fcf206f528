#include "osal/pipewire/PipewireVideoStream.h"

#include "osal/common/FrameBuffer.h"
#include "osal/common/SampleBufferPool.h"
#include "osal/pipewire/BufferTable.h"
#include "osal/pipewire/PipewirePicture.h"
#include "osal/pipewire/PipewireStream.h"

#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <optional>

namespace osal {
namespace {

constexpr uint32_t kLargestSide = 16384;

struct PixelsName {
   PipewirePixels pixels;
   uint32_t format; // SPA_VIDEO_FORMAT_*; MJPG has none
};
constexpr PixelsName kRawPixels[] = {
   {PipewirePixels::NV12, SPA_VIDEO_FORMAT_NV12}, {PipewirePixels::I420, SPA_VIDEO_FORMAT_I420},
   {PipewirePixels::YV12, SPA_VIDEO_FORMAT_YV12}, {PipewirePixels::NV21, SPA_VIDEO_FORMAT_NV21},
   {PipewirePixels::YUY2, SPA_VIDEO_FORMAT_YUY2}, {PipewirePixels::UYVY, SPA_VIDEO_FORMAT_UYVY},
   {PipewirePixels::BGRx, SPA_VIDEO_FORMAT_BGRx}, {PipewirePixels::RGBx, SPA_VIDEO_FORMAT_RGBx},
   {PipewirePixels::RGB, SPA_VIDEO_FORMAT_RGB},   {PipewirePixels::BGR, SPA_VIDEO_FORMAT_BGR}};

uint32_t SpaFormat(PipewirePixels pixels) {
   const auto *const found = std::find_if(std::begin(kRawPixels), std::end(kRawPixels),
                                          [&](const PixelsName &name) { return name.pixels == pixels; });
   return found != std::end(kRawPixels) ? found->format : uint32_t{SPA_VIDEO_FORMAT_UNKNOWN};
}

std::optional<PipewirePixels> PixelsOf(uint32_t format) {
   const auto *const found = std::find_if(std::begin(kRawPixels), std::end(kRawPixels),
                                          [&](const PixelsName &name) { return name.format == format; });
   return found != std::end(kRawPixels) ? std::optional(found->pixels) : std::nullopt;
}

// One EnumFormat object. A plain size is a condition; the default of a range is no preference, so that the wanted size
// needs objects of its own in front of those that take any.
const spa_pod *EnumFormat(spa_pod_builder *builder, PipewirePixels pixels, std::optional<VideoDimensions> size,
                          uint32_t rate) {
   const bool isJpeg = pixels == PipewirePixels::MJPG;
   spa_pod_frame object{};
   spa_pod_builder_push_object(builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
   spa_pod_builder_add(builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
                       SPA_POD_Id(isJpeg ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), 0);
   if (!isJpeg) {
      spa_pod_builder_add(builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(SpaFormat(pixels)), 0);
   }
   if (size) {
      const spa_rectangle exact{static_cast<uint32_t>(size->width), static_cast<uint32_t>(size->height)};
      spa_pod_builder_add(builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&exact), 0);
   } else {
      const spa_rectangle usual{1280, 720};
      const spa_rectangle least{1, 1};
      const spa_rectangle most{kLargestSide, kLargestSide};
      spa_pod_builder_add(builder, SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &least, &most), 0);
   }
   const spa_fraction wanted{rate, 1};
   const spa_fraction slowest{0, 1};
   const spa_fraction fastest{1000, 1};
   spa_pod_builder_add(builder, SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&wanted, &slowest, &fastest),
                       0);
   return static_cast<const spa_pod *>(spa_pod_builder_pop(builder, &object));
}

// Frames a second from the longest time between two.
uint32_t RateOf(MediaTime maxFrameDuration) {
   if (maxFrameDuration.value <= 0 || maxFrameDuration.timescale <= 0) {
      return 30;
   }
   const int64_t rate = maxFrameDuration.timescale / maxFrameDuration.value;
   return static_cast<uint32_t>(std::clamp<int64_t>(rate, 1, 1000));
}

// What the camera has filled of a block. The chunk lies in memory that the other side can write: each field is read
// once.
PipewirePicture::Block BlockOf(const spa_buffer &buffer, const BufferMemory &memory, uint32_t index) {
   if (index >= buffer.n_datas || buffer.datas[index].chunk == nullptr) {
      return {};
   }
   const volatile spa_chunk &chunk = *buffer.datas[index].chunk;
   const std::span<const uint8_t> block = memory.Block(index);
   const size_t offset = std::min<size_t>(chunk.offset, block.size());
   const size_t size = std::min<size_t>(chunk.size, block.size() - offset);
   return {block.subspan(offset, size), chunk.stride};
}

bool IsDamaged(spa_buffer *buffer) {
   const auto *const header =
      static_cast<spa_meta_header *>(spa_buffer_find_meta_data(buffer, SPA_META_Header, sizeof(spa_meta_header)));
   return (header != nullptr && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0) || buffer->n_datas == 0 ||
          buffer->datas[0].chunk == nullptr ||
          (static_cast<uint32_t>(buffer->datas[0].chunk->flags) & SPA_CHUNK_FLAG_CORRUPTED) != 0;
}

class PipewireVideoStream final : public PipewireStream {
public:
   explicit PipewireVideoStream(const StreamRequest &request)
       : PipewireStream(request.gate)
       , mWantedSize(request.video.size)
       , mWantedRate(RateOf(request.maxFrameDuration)) {}
   ~PipewireVideoStream() override { Shutdown(); }

   Status Start(uint64_t serial) {
      return Open(pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
                                    "Camera", nullptr),
                  serial);
   }

private:
   int Connect(pw_stream *stream) override {
      std::array<uint8_t, 8192> memory{};
      spa_pod_builder builder{};
      spa_pod_builder_init(&builder, memory.data(), static_cast<uint32_t>(memory.size()));
      std::array<const spa_pod *, 2 * std::size(kPipewirePixels)> params{};
      uint32_t count = 0;
      if (mWantedSize) {
         for (const PipewirePixels pixels : kPipewirePixels) {
            params[count++] = EnumFormat(&builder, pixels, mWantedSize, mWantedRate);
         }
      }
      for (const PipewirePixels pixels : kPipewirePixels) {
         params[count++] = EnumFormat(&builder, pixels, std::nullopt, mWantedRate);
      }
      return pw_stream_connect(stream, PW_DIRECTION_INPUT, PW_ID_ANY, kFlags, params.data(), count);
   }

   void TakeFormat(const spa_pod *format) override {
      mPool.reset();
      uint32_t type = 0;
      uint32_t subtype = 0;
      spa_rectangle size{};
      std::optional<PipewirePixels> pixels;
      if (spa_format_parse(format, &type, &subtype) < 0) {
         return;
      }
      if (subtype == SPA_MEDIA_SUBTYPE_raw) {
         spa_video_info_raw raw{};
         if (spa_format_video_raw_parse(format, &raw) >= 0) {
            pixels = PixelsOf(raw.format);
            size = raw.size;
         }
      } else if (subtype == SPA_MEDIA_SUBTYPE_mjpg) {
         spa_video_info_mjpg jpeg{};
         if (spa_format_video_mjpg_parse(format, &jpeg) >= 0) {
            pixels = PipewirePixels::MJPG;
            size = jpeg.size;
         }
      }
      const auto isSide = [](uint32_t side) {
         return side >= 1 && side <= kLargestSide;
      };
      if (!pixels || !isSide(size.width) || !isSide(size.height)) {
         NoteTrouble(Status::Error(ENOTSUP, "the camera runs in a format that cannot be converted"));
         return;
      }
      mPicture.pixels = *pixels;
      mPicture.size = {static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)};
      if (!MakePool()) {
         NoteTrouble(Status::Error(ENOMEM, "out of memory for the camera's pictures"));
         return;
      }
      ForgetTrouble();
      AnswerFormat();
   }

   // A pool for each size: those who hold a buffer of the former size keep its pool alive.
   bool MakePool() {
      try {
         auto pool = std::make_shared<SampleBufferPool>();
         if (!pool->Fill<FrameBuffer>(mPicture.size)) {
            return false;
         }
         mPool = std::move(pool);
         return true;
      } catch (const std::bad_alloc &) {
         return false;
      }
   }

   // Sizes, strides and blocks are the camera's to say. Only memory that can be mapped: no DMA-BUF.
   void AnswerFormat() {
      std::array<uint8_t, 1024> memory{};
      spa_pod_builder builder{};
      spa_pod_builder_init(&builder, memory.data(), static_cast<uint32_t>(memory.size()));
      const spa_pod *params[2];
      params[0] = static_cast<const spa_pod *>(spa_pod_builder_add_object(
         &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
         SPA_POD_CHOICE_RANGE_Int(8, 2, 16), SPA_PARAM_BUFFERS_dataType,
         SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
      params[1] = static_cast<const spa_pod *>(spa_pod_builder_add_object(
         &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
         SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
      pw_stream_update_params(Stream(), params, 2);
   }

   // The newest buffer counts when late frames are discarded; older ones go straight back.
   void Process() override {
      GiveBack(mBuffers.TakeBack());
      const bool newestOnly = Gate().DiscardsLate();
      pw_buffer *newest = nullptr;
      while (pw_buffer *const next = pw_stream_dequeue_buffer(Stream())) {
         if (newest != nullptr) {
            if (newestOnly) {
               pw_stream_queue_buffer(Stream(), newest);
            } else {
               TakeBuffer(newest);
            }
         }
         newest = next;
      }
      if (newest != nullptr) {
         TakeBuffer(newest);
      }
   }

   void TakeBuffer(pw_buffer *buffer) {
      NoteArrival();
      const std::shared_ptr<const BufferMemory> memory = mBuffers.MemoryOf(buffer);
      if (mPool == nullptr || memory == nullptr || !Gate().IsTaken() || IsDamaged(buffer->buffer)) {
         pw_stream_queue_buffer(Stream(), buffer);
         return;
      }
      mPicture.first = BlockOf(*buffer->buffer, *memory, 0);
      mPicture.second = BlockOf(*buffer->buffer, *memory, 1);
      if (const auto view = ViewInPlace(mPicture)) {
         if (LentPicture *const picture = mBuffers.Lend(buffer, *view)) {
            Gate().Deliver(Ref<SampleBuffer>::adopt(picture));
            return;
         }
      }
      DeliverCopy(buffer);
   }

   // The daemon's buffer goes back before the delegate is called.
   void DeliverCopy(pw_buffer *buffer) {
      auto *const frame = static_cast<FrameBuffer *>(mPool->Take());
      const Ref<SampleBuffer> sample = Ref<SampleBuffer>::adopt(frame);
      const bool converted = frame != nullptr && ToBiPlanar(mPicture, frame, &mScratch);
      pw_stream_queue_buffer(Stream(), buffer);
      if (converted) {
         Gate().Deliver(sample);
      }
   }

   void GiveBack(void *buffer) {
      if (buffer != nullptr) {
         pw_stream_queue_buffer(Stream(), static_cast<pw_buffer *>(buffer));
      }
   }

   void AddBuffer(pw_buffer *buffer) override { mBuffers.Add(buffer, *buffer->buffer); }
   void RemoveBuffer(pw_buffer *buffer) override { mBuffers.Remove(buffer); }
   void RemoveAllBuffers() override {
      GiveBack(mBuffers.TakeBackAtOnce());
      mBuffers.RemoveAll();
   }

   const std::optional<VideoDimensions> mWantedSize;
   const uint32_t mWantedRate;
   // On the loop's thread:
   PipewirePicture mPicture;
   BufferTable mBuffers;
   std::shared_ptr<SampleBufferPool> mPool; // for pictures that can't be lent
   std::vector<uint8_t> mScratch;
};

} // namespace

Status OpenPipewireVideo(const StreamRequest &request, uint64_t serial, std::unique_ptr<CaptureStream> *stream) {
   stream->reset();
   const uint32_t format = request.video.pixelFormatType;
   if (format != 0 && format != FourCC("420f")) {
      return Status::Error(EINVAL, "the only pixel format is '420f'");
   }
   auto video = std::make_unique<PipewireVideoStream>(request);
   Status status = video->Start(serial);
   if (status.ok()) {
      *stream = std::move(video);
   }
   return status;
}

} // namespace osal
