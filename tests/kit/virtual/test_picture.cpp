#include "tests/kit/virtual/test_picture.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

namespace {

constexpr uint8_t kGreyV = 128;
constexpr uint32_t kSquare = 32;

uint32_t Half(uint32_t length) {
   return (length + 1) / 2;
}

/// `from` + (to - from) * position / last
uint8_t Ramp(uint32_t from, uint32_t to, uint32_t position, uint32_t length) {
   return static_cast<uint8_t>(from + (to - from) * position / (length > 1 ? length - 1 : 1));
}

} // namespace

uint8_t PictureFormat::Luma(uint64_t frame, uint32_t x, uint32_t y) const {
   return x < kSquare && y < kSquare ? static_cast<uint8_t>(16 + frame % 200) : Ramp(16, 235, x, width);
}

uint8_t PictureFormat::ChromaU(uint32_t y) const {
   return Ramp(16, 240, y, height);
}

uint32_t PictureFormat::Stride() const {
   if (format == "MJPG") {
      return 0;
   }
   if (format == "RGB") {
      return width * 3 + padding;
   }
   if (format == "YUY2" || format == "UYVY") {
      return Half(width) * 4 + padding;
   }
   return Half(width) * 2 + padding;
}

uint32_t PictureFormat::ChromaBytes() const {
   return format == "NV12" || format == "I420" ? Stride() * Half(height) : 0;
}

uint32_t PictureFormat::FirstBlock() const {
   if (format == "MJPG") {
      return width * height * 3 / 2 + 4096;
   }
   return Stride() * height + (SecondBlock() == 0 ? ChromaBytes() : 0);
}

uint32_t PictureFormat::SecondBlock() const {
   return isSplit && format == "NV12" ? ChromaBytes() : 0;
}

uint32_t PictureFormat::Paint(uint64_t frame, uint8_t *first, uint8_t *second) const {
   if (format == "MJPG") {
      const std::vector<uint8_t> bytes = Compress(frame);
      if (bytes.size() > FirstBlock()) {
         return 0;
      }
      std::memcpy(first, bytes.data(), bytes.size());
      return static_cast<uint32_t>(bytes.size());
   }
   if (format == "RGB") {
      constexpr uint8_t kPixel[3] = {200, 100, 50};
      const size_t stride = Stride();
      for (uint32_t y = 0; y < height; ++y) {
         for (uint32_t x = 0; x < width; ++x) {
            std::memcpy(first + y * stride + size_t{x} * 3, kPixel, sizeof(kPixel));
         }
      }
   } else if (format == "YUY2" || format == "UYVY") {
      PaintPacked(frame, first);
   } else {
      PaintLuma(frame, first);
      uint8_t *const chroma = SecondBlock() > 0 ? second : first + size_t{Stride()} * height;
      format == "NV12" ? PaintInterleavedChroma(chroma) : PaintPlanarChroma(chroma);
   }
   return FirstBlock();
}

void PictureFormat::PaintLuma(uint64_t frame, uint8_t *plane) const {
   const size_t stride = Stride();
   for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
         plane[y * stride + x] = Luma(frame, x, y);
      }
   }
}

void PictureFormat::PaintPacked(uint64_t frame, uint8_t *plane) const {
   const bool isUyvy = format == "UYVY";
   for (uint32_t y = 0; y < height; ++y) {
      uint8_t *pixels = plane + size_t{y} * Stride();
      for (uint32_t x = 0; x < width; x += 2, pixels += 4) {
         const uint8_t left = Luma(frame, x, y);
         const uint8_t right = Luma(frame, x + 1 < width ? x + 1 : x, y);
         const uint8_t u = ChromaU(y);
         const uint8_t yuyv[4] = {left, u, right, kGreyV};
         const uint8_t uyvy[4] = {u, left, kGreyV, right};
         std::memcpy(pixels, isUyvy ? uyvy : yuyv, 4);
      }
   }
}

void PictureFormat::PaintInterleavedChroma(uint8_t *plane) const {
   const size_t stride = Stride();
   for (uint32_t y = 0; y < Half(height); ++y) {
      for (uint32_t x = 0; x < Half(width); ++x) {
         plane[y * stride + size_t{x} * 2] = ChromaU(2 * y);
         plane[y * stride + size_t{x} * 2 + 1] = kGreyV;
      }
   }
}

void PictureFormat::PaintPlanarChroma(uint8_t *plane) const {
   const size_t stride = Stride() / 2;
   uint8_t *const v = plane + stride * Half(height);
   for (uint32_t y = 0; y < Half(height); ++y) {
      std::memset(plane + y * stride, ChromaU(2 * y), Half(width));
      std::memset(v + y * stride, kGreyV, Half(width));
   }
}

std::vector<uint8_t> PictureFormat::Compress(uint64_t frame) const {
   jpeg_compress_struct jpeg{};
   jpeg_error_mgr errors{};
   jpeg.err = jpeg_std_error(&errors);
   jpeg_create_compress(&jpeg);
   unsigned char *memory = nullptr;
   unsigned long length = 0;
   jpeg_mem_dest(&jpeg, &memory, &length);
   jpeg.image_width = width;
   jpeg.image_height = height;
   jpeg.input_components = 3;
   jpeg.in_color_space = JCS_YCbCr;
   jpeg_set_defaults(&jpeg); // 4:2:0
   jpeg_set_quality(&jpeg, 85, TRUE);
   jpeg_start_compress(&jpeg, TRUE);
   std::vector<uint8_t> row(size_t{width} * 3);
   for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
         row[size_t{x} * 3] = Luma(frame, x, y);
         row[size_t{x} * 3 + 1] = ChromaU(y);
         row[size_t{x} * 3 + 2] = kGreyV;
      }
      JSAMPROW rows = row.data();
      jpeg_write_scanlines(&jpeg, &rows, 1);
   }
   jpeg_finish_compress(&jpeg);
   std::vector<uint8_t> bytes(memory, memory + length);
   std::free(memory);
   jpeg_destroy_compress(&jpeg);
   return bytes;
}
