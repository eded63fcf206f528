#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The picture of the virtual camera in one of its formats: "NV12", "I420", "YUY2", "UYVY", "RGB", "MJPG".
///
/// Luma rises from 16 at the left to 235 at the right, U from 16 at the top to 240 at the bottom, V is 128; the square
/// of 32 x 32 at the top left has the luma 16 + frame % 200. RGB pictures are plain (200, 100, 50).
struct PictureFormat {
   std::string format;
   uint32_t width = 0;
   uint32_t height = 0;
   uint32_t padding = 0; ///< bytes behind each row
   bool isSplit = false; ///< NV12: chroma in a block of its own

   [[nodiscard]] uint32_t Stride() const; ///< bytes; 0 for MJPG
   /// Bytes of block 0, the most for MJPG, and of block 1, 0 if there is none.
   [[nodiscard]] uint32_t FirstBlock() const;
   [[nodiscard]] uint32_t SecondBlock() const;
   /// Paints into blocks of those sizes; `second` counts only with a second block. Returns the bytes used of the first.
   uint32_t Paint(uint64_t frame, uint8_t *first, uint8_t *second) const;

private:
   [[nodiscard]] uint8_t Luma(uint64_t frame, uint32_t x, uint32_t y) const;
   [[nodiscard]] uint8_t ChromaU(uint32_t y) const;
   [[nodiscard]] uint32_t ChromaBytes() const;
   void PaintLuma(uint64_t frame, uint8_t *plane) const;
   void PaintPacked(uint64_t frame, uint8_t *plane) const;
   void PaintInterleavedChroma(uint8_t *plane) const;
   void PaintPlanarChroma(uint8_t *plane) const;
   [[nodiscard]] std::vector<uint8_t> Compress(uint64_t frame) const;
};
