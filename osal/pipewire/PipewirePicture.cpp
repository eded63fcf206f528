#include "osal/pipewire/PipewirePicture.h"

#include <libyuv.h>

namespace osal {
namespace {

using Block = PipewirePicture::Block;

// Sizes of planes in 64 bits: nothing that a camera states can make them wrap.
struct Geometry {
   explicit Geometry(VideoDimensions size)
       : width(size.width)
       , height(size.height)
       , chromaWidth((width + 1) / 2)
       , chromaHeight((height + 1) / 2) {}

   int64_t width;
   int64_t height;
   int64_t chromaWidth;
   int64_t chromaHeight;
};

// What ToBiPlanar's functions write to.
struct Target {
   explicit Target(FrameBuffer *frame)
       : luma(frame->Luma())
       , chroma(frame->Chroma())
       , stride(static_cast<int>(frame->Stride()))
       , width(frame->Size().width)
       , height(frame->Size().height) {}

   uint8_t *luma;
   uint8_t *chroma;
   int stride;
   int width;
   int height;
};

// The length of a row: what was stated, or a guess from the size. `halfRows` is twice the number of full rows.
int64_t RowBytes(const Block &block, int64_t tight, int64_t halfRows) {
   if (block.stride > 0) {
      return block.stride;
   }
   const int64_t padded = (tight + 3) & ~int64_t{3};
   return static_cast<int64_t>(block.bytes.size()) * 2 >= padded * halfRows ? padded : tight;
}

// Whether `rows` rows of `used` bytes each, `stride` apart, lie within the block from `offset` on.
bool Fits(const Block &block, int64_t offset, int64_t stride, int64_t rows, int64_t used) {
   return stride >= used && offset + stride * (rows - 1) + used <= static_cast<int64_t>(block.bytes.size());
}

// NV12 and NV21: a plane of luma and one of pairs, in one block or in two.
std::optional<BiPlanarView> ViewOfPairs(const PipewirePicture &picture) {
   const Geometry g(picture.size);
   const int64_t stride = RowBytes(picture.first, g.width, 2 * (g.height + g.chromaHeight));
   if (!Fits(picture.first, 0, stride, g.height, g.width)) {
      return std::nullopt;
   }
   const bool apart = !picture.second.bytes.empty();
   const Block &chroma = apart ? picture.second : picture.first;
   const int64_t offset = apart ? 0 : stride * g.height;
   const int64_t chromaStride = apart && chroma.stride > 0 ? chroma.stride : stride;
   if (!Fits(chroma, offset, chromaStride, g.chromaHeight, 2 * g.chromaWidth)) {
      return std::nullopt;
   }
   return BiPlanarView{picture.size,
                       {picture.first.bytes.data(), chroma.bytes.data() + offset},
                       {static_cast<size_t>(stride), static_cast<size_t>(chromaStride)}};
}

template <typename Convert>
bool SemiPlanar(const PipewirePicture &picture, const Target &to, Convert convert) {
   const auto view = ViewOfPairs(picture);
   return view && convert(view->planes[0], static_cast<int>(view->strides[0]), view->planes[1],
                          static_cast<int>(view->strides[1]), to.luma, to.stride, to.chroma, to.stride, to.width,
                          to.height) == 0;
}

bool Planar(const PipewirePicture &picture, const Target &to, bool crFirst) {
   const Geometry g(picture.size);
   const Block &block = picture.first;
   const int64_t stride = RowBytes(block, g.width, 2 * (g.height + g.chromaHeight));
   const int64_t chromaStride =
      block.stride > 0 || stride == g.width ? (stride + 1) / 2 : (g.chromaWidth + 3) & ~int64_t{3};
   const int64_t first = stride * g.height;
   const int64_t second = first + chromaStride * g.chromaHeight;
   if (!Fits(block, 0, stride, g.height, g.width) ||
       !Fits(block, second, chromaStride, g.chromaHeight, g.chromaWidth)) {
      return false;
   }
   const uint8_t *const data = block.bytes.data();
   const uint8_t *const cb = data + (crFirst ? second : first);
   const uint8_t *const cr = data + (crFirst ? first : second);
   const int strideC = static_cast<int>(chromaStride);
   return libyuv::I420ToNV12(data, static_cast<int>(stride), cb, strideC, cr, strideC, to.luma, to.stride, to.chroma,
                             to.stride, to.width, to.height) == 0;
}

template <typename Convert>
bool Packed(const PipewirePicture &picture, const Target &to, int64_t rowBytes, Convert convert) {
   const int64_t stride = RowBytes(picture.first, rowBytes, 2 * int64_t{picture.size.height});
   return Fits(picture.first, 0, stride, picture.size.height, rowBytes) &&
          convert(picture.first.bytes.data(), static_cast<int>(stride), to.luma, to.stride, to.chroma, to.stride,
                  to.width, to.height) == 0;
}

// libyuv's fast way leaves wrong chroma at the right edge when 17 to 30 columns stand behind the last multiple of 32.
// Cut in front of the last fifteen or less, both pieces are right; none looks at the other's pixels.
int Yuy2ToNv12(const uint8_t *pixels, int stride, uint8_t *luma, int lumaStride, uint8_t *chroma, int chromaStride,
               int width, int height) {
   const int head = width % 32 > 16 ? width / 16 * 16 : width;
   const int status = libyuv::YUY2ToNV12(pixels, stride, luma, lumaStride, chroma, chromaStride, head, height);
   return status != 0 || head == width
             ? status
             : libyuv::YUY2ToNV12(pixels + 2 * static_cast<ptrdiff_t>(head), stride, luma + head, lumaStride,
                                  chroma + head, chromaStride, width - head, height);
}

template <typename ToI420>
bool ThreeBytes(const PipewirePicture &picture, const Target &to, std::vector<uint8_t> *scratch, ToI420 toI420) {
   const Geometry g(picture.size);
   const int64_t stride = RowBytes(picture.first, 3 * g.width, 2 * g.height);
   if (!Fits(picture.first, 0, stride, g.height, 3 * g.width)) {
      return false;
   }
   const size_t plane = static_cast<size_t>(g.chromaWidth * g.chromaHeight);
   if (scratch->size() < 2 * plane) {
      scratch->resize(2 * plane);
   }
   uint8_t *const cb = scratch->data();
   uint8_t *const cr = cb + plane;
   const int width = static_cast<int>(g.chromaWidth);
   if (toI420(picture.first.bytes.data(), static_cast<int>(stride), to.luma, to.stride, cb, width, cr, width, to.width,
              to.height) != 0) {
      return false;
   }
   libyuv::MergeUVPlane(cb, width, cr, width, to.chroma, to.stride, width, static_cast<int>(g.chromaHeight));
   return true;
}

bool Jpeg(const PipewirePicture &picture, const Target &to) {
   const std::span<const uint8_t> bytes = picture.first.bytes;
   int width = 0;
   int height = 0;
   return libyuv::MJPGSize(bytes.data(), bytes.size(), &width, &height) == 0 && width == to.width &&
          height == to.height &&
          libyuv::MJPGToNV12(bytes.data(), bytes.size(), to.luma, to.stride, to.chroma, to.stride, width, height, width,
                             height) == 0;
}

bool HasSomething(const PipewirePicture &picture) {
   return picture.size.width > 0 && picture.size.height > 0 && !picture.first.bytes.empty();
}

} // namespace

size_t BiPlanarView::Bytes(size_t plane) const {
   const Geometry g(size);
   const int64_t rows = plane == 0 ? g.height : g.chromaHeight;
   const int64_t used = plane == 0 ? g.width : 2 * g.chromaWidth;
   return strides[plane] * static_cast<size_t>(rows - 1) + static_cast<size_t>(used);
}

std::optional<BiPlanarView> ViewInPlace(const PipewirePicture &picture) {
   return picture.pixels == PipewirePixels::NV12 && HasSomething(picture) ? ViewOfPairs(picture) : std::nullopt;
}

bool ToBiPlanar(const PipewirePicture &picture, FrameBuffer *frame, std::vector<uint8_t> *scratch) {
   if (!HasSomething(picture)) {
      return false;
   }
   frame->Shape(picture.size);
   const Target to(frame);
   const int64_t width = picture.size.width;
   // The library names its formats as little-endian words, PipeWire by the bytes in memory.
   switch (picture.pixels) {
   case PipewirePixels::NV12:
      return SemiPlanar(picture, to, libyuv::NV12Copy);
   case PipewirePixels::NV21:
      return SemiPlanar(picture, to, libyuv::NV21ToNV12);
   case PipewirePixels::I420:
      return Planar(picture, to, false);
   case PipewirePixels::YV12:
      return Planar(picture, to, true);
   case PipewirePixels::YUY2:
      return Packed(picture, to, (width + 1) / 2 * 4, Yuy2ToNv12);
   case PipewirePixels::UYVY:
      return Packed(picture, to, (width + 1) / 2 * 4, libyuv::UYVYToNV12);
   case PipewirePixels::BGRx:
      return Packed(picture, to, width * 4, libyuv::ARGBToNV12);
   case PipewirePixels::RGBx:
      return Packed(picture, to, width * 4, libyuv::ABGRToNV12);
   case PipewirePixels::RGB:
      return ThreeBytes(picture, to, scratch, libyuv::RAWToI420);
   case PipewirePixels::BGR:
      return ThreeBytes(picture, to, scratch, libyuv::RGB24ToI420);
   case PipewirePixels::MJPG:
      return Jpeg(picture, to);
   }
   return false;
}

} // namespace osal
