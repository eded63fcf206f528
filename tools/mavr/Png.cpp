#include "tools/mavr/Png.h"

#include "tools/mavr/ToolError.h"

#include <libyuv.h>
#include <png.h>

#include <cstring>
#include <vector>

namespace mavr {

void WritePng(const std::string &path, const uint8_t *i420, uint32_t width, uint32_t height) {
   const int columns = static_cast<int>(width);
   const int rows = static_cast<int>(height);
   const int chroma = columns / 2;
   const uint8_t *const cb = i420 + size_t{width} * height;
   const uint8_t *const cr = cb + size_t{width} * height / 4;
   std::vector<uint8_t> rgb(size_t{3} * width * height);
   libyuv::J420ToRAW(i420, columns, cb, chroma, cr, chroma, rgb.data(), 3 * columns, columns, rows);
   png_image image{};
   image.version = PNG_IMAGE_VERSION;
   image.width = width;
   image.height = height;
   image.format = PNG_FORMAT_RGB;
   if (png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr) == 0) {
      throw ToolError("'" + path + "' cannot be written: " + image.message + ".",
                      "Is the folder there, and is there room?");
   }
}

} // namespace mavr
