// Every conversion and scaler, at odd and even sizes. JPEG is missing: what it gives is libjpeg's.

#include "libs/avManager/FrameConversion.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"
#include "osal/pipewire/PipewirePicture.h"
#include "osal/simulated/FramePainter.h"
#include "tests/same_output/Report.h"

namespace {

using same::Digest;
using same::Fail;
using same::Seeded;

struct Size {
   uint32_t width;
   uint32_t height;
};
constexpr Size kSizes[] = {{1, 1}, {2, 2}, {3, 5}, {16, 9}, {17, 17}, {64, 48}, {65, 47}, {176, 144}, {353, 289}};

std::string Name(const std::string &what, Size size) {
   return what + "." + std::to_string(size.width) + "x" + std::to_string(size.height);
}

void AddPlane(Digest *digest, const uint8_t *rows, size_t stride, size_t width, size_t height) {
   for (size_t y = 0; y < height; ++y) {
      digest->Add(std::span(rows + y * stride, width));
   }
}

void AddFrame(Digest *digest, osal::FrameBuffer &frame) {
   const size_t width = frame.width();
   const size_t height = frame.height();
   AddPlane(digest, frame.Luma(), frame.Stride(), width, height);
   AddPlane(digest, frame.Chroma(), frame.Stride(), (width + 1) / 2 * 2, (height + 1) / 2);
}

// A camera's frame into pictures of all sizes and modes.
void PrintFitted(Size size) {
   Digest digest;
   const size_t chromaRow = (size_t{size.width} + 1) / 2 * 2;
   const std::vector<uint8_t> luma = Seeded(1).Bytes(size_t{size.width} * size.height);
   const std::vector<uint8_t> chroma = Seeded(2).Bytes(chromaRow * ((size_t{size.height} + 1) / 2));
   IntermediateImage image;
   if (!image.Setup(size.width, size.height)) {
      Fail("no memory for an image");
   }
   for (const Size target : kSizes) {
      for (int32_t mode = kScaleFill; mode <= kScaleCenter; ++mode) {
         std::vector<uint8_t> picture(size_t{target.width} * target.height * 3 / 2, 0x77);
         digest.AddNumber(ConvertFrame({luma.data(), chroma.data(), size.width, chromaRow, size.width, size.height},
                                       image, {picture.data(), target.width, target.height, mode}));
         digest.Add(picture);
      }
   }
   digest.Print(Name("frame", size));
}

// An I420 image of one piece into others.
void PrintScaled(Size size) {
   Digest digest;
   const std::vector<uint8_t> source = Seeded(3).Bytes(size_t{size.width} * size.height * 3 / 2);
   for (const Size target : kSizes) {
      for (int32_t mode = kScaleFill; mode <= kScaleCenter; ++mode) {
         std::vector<uint8_t> picture(size_t{target.width} * target.height * 3 / 2, 0x77);
         ScaleCopyParams params{};
         params.mScaleMode = mode;
         params.mSrcBase = source.data();
         params.mSrcStride = params.mSrcWidth = static_cast<int32_t>(size.width);
         params.mSrcHeight = static_cast<int32_t>(size.height);
         params.mDstBase = picture.data();
         params.mDstStride = params.mDstWidth = static_cast<int32_t>(target.width);
         params.mDstHeight = static_cast<int32_t>(target.height);
         digest.AddNumber(ScaleI420Frame(params));
         for (const int32_t number : {params.mSrcX, params.mSrcYOffset, params.mSrcCopyWidth, params.mSrcCopyHeight,
                                      params.mDstX, params.mDstYOffset, params.mDstCopyWidth, params.mDstCopyHeight}) {
            digest.AddNumber(number);
         }
         digest.Add(picture);
      }
   }
   digest.Print(Name("scale", size));
}

// Each raw format of a PipeWire camera as a bi-planar picture.
void PrintRaw(Size size) {
   Digest digest;
   std::vector<uint8_t> scratch;
   for (const osal::PipewirePixels pixels : osal::kPipewirePixels) {
      if (pixels == osal::PipewirePixels::MJPG) {
         continue;
      }
      const std::vector<uint8_t> bytes = Seeded(4).Bytes(size_t{size.width + 1} * (size.height + 1) * 4);
      osal::PipewirePicture picture;
      picture.pixels = pixels;
      picture.size = {static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)};
      picture.first.bytes = bytes;
      osal::FrameBuffer frame;
      if (!frame.Allocate(picture.size) || !osal::ToBiPlanar(picture, &frame, &scratch)) {
         Fail("a raw picture is refused");
      }
      AddFrame(&digest, frame);
   }
   digest.Print(Name("raw", size));
}

// The simulated cameras' own pictures.
void PrintPainted(Size size) {
   using osal::SimulatedPattern;
   Digest digest;
   for (const SimulatedPattern pattern :
        {SimulatedPattern::Bars, SimulatedPattern::Gradient, SimulatedPattern::Noise, SimulatedPattern::Counter}) {
      for (const uint32_t number : {0U, 1U, 4711U, 0xFFFFFFFFU}) {
         osal::SimulatedFrame frame;
         const osal::VideoDimensions shape{static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)};
         if (!frame.Allocate(shape)) {
            Fail("no memory for a frame");
         }
         osal::PaintFrame(pattern, shape, number, &frame);
         AddFrame(&digest, frame);
      }
   }
   digest.Print(Name("painted", size));
}

} // namespace

void same::PrintPictures() {
   for (const Size size : kSizes) {
      PrintFitted(size);
      PrintScaled(size);
      PrintRaw(size);
      PrintPainted(size);
   }
}
