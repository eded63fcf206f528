#include "tools/mavr/FrameFile.h"

#include "tools/mavr/Png.h"
#include "tools/mavr/ToolError.h"

#include "libs/avManager/AVSampleHandler.h"
#include "libs/avManager/VideoBase.h"
#include "libs/utils/SampleMeta.h"

#include <cstdio>
#include <string_view>

namespace mavr {
namespace {

size_t FrameSize(const FrameShape &shape) {
   return size_t{shape.width} * shape.height * 3 / 2;
}

// YUV4MPEG2: a line with the shape, and before each frame a line "FRAME".
class Y4mFile final : public FrameFile {
public:
   Y4mFile(const std::string &path, const FrameShape &shape)
       : mPath(path)
       , mFrameSize(FrameSize(shape))
       , mFile(std::fopen(path.c_str(), "wbe")) {
      if (mFile == nullptr || std::fprintf(mFile.get(), "YUV4MPEG2 W%u H%u F%u:1 Ip A1:1 C420jpeg XCOLORRANGE=FULL\n",
                                           shape.width, shape.height, shape.rate) < 0) {
         CannotWrite(mPath);
      }
   }

   void Write(const uint8_t *frame, uint32_t /*timeMS*/) override {
      if (std::fputs("FRAME\n", mFile.get()) < 0 || std::fwrite(frame, 1, mFrameSize, mFile.get()) != mFrameSize) {
         CannotWrite(mPath);
      }
   }

   void Finish() override {
      if (std::fclose(mFile.release()) != 0) {
         CannotWrite(mPath);
      }
   }

private:
   struct Close {
      void operator()(std::FILE *file) const { std::fclose(file); }
   };

   const std::string mPath;
   const size_t mFrameSize;
   std::unique_ptr<std::FILE, Close> mFile;
};

class PngFile final : public FrameFile {
public:
   PngFile(std::string path, const FrameShape &shape)
       : mPath(std::move(path))
       , mShape(shape) {}

   void Write(const uint8_t *frame, uint32_t /*timeMS*/) override {
      if (!mIsWritten) {
         WritePng(mPath, frame, mShape.width, mShape.height);
         mIsWritten = true;
      }
   }
   void Finish() override {}
   bool IsFull() const override { return mIsWritten; }

private:
   const std::string mPath;
   const FrameShape mShape;
   bool mIsWritten = false;
};

class DumpFile final : public FrameFile {
public:
   DumpFile(const std::string &path, const FrameShape &shape)
       : mPath(path)
       , mFrameSize(FrameSize(shape)) {
      const auto header =
         MediaFileHeader::ForVideo(shape.width, shape.height, VideoBase::I420, static_cast<uint32_t>(mFrameSize));
      if (!mFile.InitWrite(kMediaVideo, path, header)) {
         CannotWrite(mPath);
      }
   }

   void Write(const uint8_t *frame, uint32_t timeMS) override {
      const SampleMeta meta{timeMS, 1};
      if (!mFile.WriteSample(frame, mFrameSize, &meta)) {
         CannotWrite(mPath);
      }
   }
   void Finish() override { mFile.CloseFile(); }

private:
   const std::string mPath;
   const size_t mFrameSize;
   AVSampleHandler mFile;
};

} // namespace

std::unique_ptr<FrameFile> MakeFrameFile(const std::string &path, const FrameShape &shape) {
   const std::string_view name = path;
   if (name.ends_with(".y4m")) {
      return std::make_unique<Y4mFile>(path, shape);
   }
   if (name.ends_with(".png")) {
      return std::make_unique<PngFile>(path, shape);
   }
   return std::make_unique<DumpFile>(path, shape);
}

} // namespace mavr
