// One camera frame to the picture asked for, beside the same in the two plain steps, and beside the converters that
// other programs use. Every case reads ten frames and fills ten pictures in turn, as a capture queue has it.

#include "bench/DescribedFrame.h"
#include "bench/Harness.h"

#include "libs/avManager/FrameConversion.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"

#include <gst/video/video.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr size_t kInTurn = 10;

struct Size {
   uint32_t width;
   uint32_t height;
};

// The camera's frames and the places for the pictures.
class Ring {
public:
   Ring(const Size &from, const Size &to)
       : mFrom(from)
       , mTo(to)
       , mFrames(kInTurn, std::vector<uint8_t>(size_t{from.width} * from.height * 3 / 2))
       , mPictures(kInTurn, std::vector<uint8_t>(size_t{to.width} * to.height * 3 / 2)) {
      uint32_t state = 1;
      for (std::vector<uint8_t> &frame : mFrames) {
         for (uint8_t &byte : frame) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<uint8_t>(state >> 24);
         }
      }
   }

   [[nodiscard]] BiPlanarFrame Frame(uint64_t index) const {
      const uint8_t *const luma = mFrames[index % kInTurn].data();
      return {luma, luma + size_t{mFrom.width} * mFrom.height, mFrom.width, mFrom.width, mFrom.width, mFrom.height};
   }
   [[nodiscard]] std::vector<uint8_t> &Picture(uint64_t index) { return mPictures[index % kInTurn]; }
   [[nodiscard]] PictureRequest Request(uint64_t index) {
      return {Picture(index).data(), mTo.width, mTo.height, kScaleLetterbox};
   }

private:
   const Size mFrom;
   const Size mTo;
   std::vector<std::vector<uint8_t>> mFrames;
   std::vector<std::vector<uint8_t>> mPictures;
};

// Microseconds of this process's one thread, which other processes on the machine do not stretch.
template <typename Operation>
bench::Sampler Each(Operation operation) {
   return [sample = bench::CpuNanosecondsEach([operation](uint64_t times) mutable {
              for (uint64_t i = 0; i < times; ++i) {
                 operation(i);
              }
           })] {
      return sample() / 1e3;
   };
}

void RequireSame(Ring &ours, Ring &theirs, const char *name) {
   for (uint64_t i = 0; i < kInTurn; ++i) {
      if (ours.Picture(i) != theirs.Picture(i)) {
         std::fprintf(stderr, "%s: the picture differs from the described one\n", name);
         std::exit(1);
      }
   }
}

// A point scaler that letterboxes: the bands, then the picture between them.
class Swscale {
public:
   explicit Swscale(const Size &from, const ScaleCopyParams &rectangles)
       : mRectangles(rectangles)
       , mContext(sws_getContext(static_cast<int>(from.width), static_cast<int>(from.height), AV_PIX_FMT_NV12,
                                 rectangles.mDstCopyWidth, rectangles.mDstCopyHeight, AV_PIX_FMT_YUV420P, SWS_POINT,
                                 nullptr, nullptr, nullptr)) {}
   ~Swscale() { sws_freeContext(mContext); }
   Swscale(const Swscale &) = delete;
   Swscale &operator=(const Swscale &) = delete;

   void Convert(const BiPlanarFrame &frame, const PictureRequest &picture) {
      const auto stride = static_cast<int>(picture.mWidth);
      const size_t pixels = size_t{picture.mWidth} * picture.mHeight;
      uint8_t *const u = picture.mData + pixels;
      const size_t lumaBand = static_cast<size_t>(mRectangles.mDstYOffset) * picture.mWidth;
      for (uint8_t *const plane : {u, u + pixels / 4}) {
         std::memset(plane, 128, lumaBand / 4);
         std::memset(plane + pixels / 4 - lumaBand / 4, 128, lumaBand / 4);
      }
      std::memset(picture.mData, 0, lumaBand);
      std::memset(u - lumaBand, 0, lumaBand);
      const uint8_t *const source[] = {frame.mLuma, frame.mChroma};
      const int sourceStrides[] = {static_cast<int>(frame.mLumaStride), static_cast<int>(frame.mChromaStride)};
      uint8_t *const destination[] = {picture.mData + lumaBand, u + lumaBand / 4, u + pixels / 4 + lumaBand / 4};
      const int destinationStrides[] = {stride, stride / 2, stride / 2};
      sws_scale(mContext, source, sourceStrides, 0, static_cast<int>(frame.mHeight), destination, destinationStrides);
   }

private:
   ScaleCopyParams mRectangles;
   SwsContext *mContext;
};

// Nearest neighbour, one thread, with matrix, chroma siting and dither off.
class Gstreamer {
public:
   Gstreamer(const Size &from, const Size &to, const ScaleCopyParams &rectangles) {
      gst_video_info_set_format(&mFrom, GST_VIDEO_FORMAT_NV12, from.width, from.height);
      gst_video_info_set_format(&mTo, GST_VIDEO_FORMAT_I420, to.width, to.height);
      mTo.colorimetry = mFrom.colorimetry;
      mTo.chroma_site = mFrom.chroma_site;
      mConverter = gst_video_converter_new(
         &mFrom, &mTo,
         gst_structure_new("options", GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD, GST_TYPE_VIDEO_RESAMPLER_METHOD,
                           GST_VIDEO_RESAMPLER_METHOD_NEAREST, GST_VIDEO_CONVERTER_OPT_CHROMA_RESAMPLER_METHOD,
                           GST_TYPE_VIDEO_RESAMPLER_METHOD, GST_VIDEO_RESAMPLER_METHOD_NEAREST,
                           GST_VIDEO_CONVERTER_OPT_MATRIX_MODE, GST_TYPE_VIDEO_MATRIX_MODE, GST_VIDEO_MATRIX_MODE_NONE,
                           GST_VIDEO_CONVERTER_OPT_CHROMA_MODE, GST_TYPE_VIDEO_CHROMA_MODE, GST_VIDEO_CHROMA_MODE_NONE,
                           GST_VIDEO_CONVERTER_OPT_DITHER_METHOD, GST_TYPE_VIDEO_DITHER_METHOD, GST_VIDEO_DITHER_NONE,
                           GST_VIDEO_CONVERTER_OPT_DEST_X, G_TYPE_INT, rectangles.mDstX, GST_VIDEO_CONVERTER_OPT_DEST_Y,
                           G_TYPE_INT, rectangles.mDstYOffset, GST_VIDEO_CONVERTER_OPT_DEST_WIDTH, G_TYPE_INT,
                           rectangles.mDstCopyWidth, GST_VIDEO_CONVERTER_OPT_DEST_HEIGHT, G_TYPE_INT,
                           rectangles.mDstCopyHeight, GST_VIDEO_CONVERTER_OPT_THREADS, G_TYPE_UINT, 1U, nullptr));
   }
   ~Gstreamer() { gst_video_converter_free(mConverter); }
   Gstreamer(const Gstreamer &) = delete;
   Gstreamer &operator=(const Gstreamer &) = delete;

   void Convert(const BiPlanarFrame &frame, const PictureRequest &picture) {
      GstVideoFrame source{};
      source.info = mFrom;
      source.data[0] = const_cast<uint8_t *>(frame.mLuma);
      source.data[1] = const_cast<uint8_t *>(frame.mChroma);
      GstVideoFrame destination{};
      destination.info = mTo;
      const size_t pixels = size_t{picture.mWidth} * picture.mHeight;
      destination.data[0] = picture.mData;
      destination.data[1] = picture.mData + pixels;
      destination.data[2] = picture.mData + pixels + pixels / 4;
      gst_video_converter_frame(mConverter, &source, &destination);
   }

private:
   GstVideoInfo mFrom{};
   GstVideoInfo mTo{};
   GstVideoConverter *mConverter;
};

ScaleCopyParams RectanglesOf(const Size &from, const Size &to) {
   ScaleCopyParams params{};
   params.mScaleMode = kScaleLetterbox;
   params.mSrcWidth = static_cast<int32_t>(from.width);
   params.mSrcHeight = static_cast<int32_t>(from.height);
   params.mDstWidth = static_cast<int32_t>(to.width);
   params.mDstHeight = static_cast<int32_t>(to.height);
   if (!CalculateCopyParameters(params)) {
      std::abort();
   }
   return params;
}

void Measure(bench::Report &report, const char *name, const Size &from, const Size &to) {
   if (!report.Wants(name)) {
      return;
   }
   // Rings of their own: no case finds the other's pictures in the cache. All frames are the same.
   Ring ours(from, to);
   Ring plain(from, to);
   Ring limit(from, to);
   Ring others(from, to);
   IntermediateImage image;
   if (!image.Setup(from.width, from.height)) {
      report.CannotRun(name, "no memory for the intermediate image");
      return;
   }
   bench::DescribedFrame described(from.width, from.height);
   const ScaleCopyParams rectangles = RectanglesOf(from, to);
   Swscale swscale(from, rectangles);
   Gstreamer gstreamer(from, to, rectangles);
   for (uint64_t i = 0; i < kInTurn; ++i) {
      (void)ConvertFrame(ours.Frame(i), image, ours.Request(i));
      described.Convert(plain.Frame(i), plain.Request(i));
      swscale.Convert(others.Frame(i), others.Request(i));
   }
   RequireSame(ours, plain, name);
   RequireSame(others, plain, "sws_scale");

   std::vector<std::vector<uint8_t>> bytes(kInTurn, std::vector<uint8_t>(size_t{to.width} * to.height * 3 / 2));
   report.Run(
      {.name = name,
       .unit = "us",
       .ours = Each([&](uint64_t i) { (void)ConvertFrame(ours.Frame(i), image, ours.Request(i)); }),
       .limit = bench::Case{"memcpy of the output", Each([&](uint64_t i) {
                               std::vector<uint8_t> &picture = limit.Picture(i);
                               std::memcpy(picture.data(), bytes[i % kInTurn].data(), picture.size());
                            })},
       .peers = {{"described", Each([&](uint64_t i) { described.Convert(plain.Frame(i), plain.Request(i)); })},
                 {"sws_scale", Each([&](uint64_t i) { swscale.Convert(others.Frame(i), others.Request(i)); })},
                 {"GStreamer", Each([&](uint64_t i) { gstreamer.Convert(others.Frame(i), others.Request(i)); })}}});
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   gst_init(nullptr, nullptr);
   constexpr Size k480{640, 480};
   constexpr Size k720{1280, 720};
   constexpr Size k1080{1920, 1080};
   Measure(report, "frame.720p.same", k720, k720);
   Measure(report, "frame.1080p.same", k1080, k1080);
   Measure(report, "frame.720p.480p", k720, k480);
   Measure(report, "frame.1080p.720p", k1080, k720);
   Measure(report, "frame.1080p.480p", k1080, k480);
   return report.Finish();
}
