#include "libs/avManager/AVSampleHandler.h"

#include "lib/mfw/common/logger.h"

#include <cstring>
#include <new>

MediaFileHeader MediaFileHeader::ForAudio(uint32_t chunkSize) {
   MediaFileHeader header{};
   header.mWidthOrChunkSize = chunkSize;
   return header;
}

MediaFileHeader MediaFileHeader::ForVideo(uint32_t width, uint32_t height, uint32_t pixelFormat, uint32_t frameSize) {
   MediaFileHeader header{};
   header.mWidthOrChunkSize = width;
   header.mHeight = height;
   header.mPixelFormat = pixelFormat;
   header.mFrameSize = frameSize;
   return header;
}

uint32_t MediaFileHeader::SampleSize(int32_t mediaType) const {
   switch (mediaType) {
   case kMediaAudio:
      return mWidthOrChunkSize;
   case kMediaVideo:
      return mFrameSize;
   default:
      return 0;
   }
}

bool AVSampleHandler::InitRead(int32_t type, const std::string &path, MediaFileHeader &header) {
   mSeq = 0;
   mMediaType = type;
   mSampleBuf.reset();
   if (!InitReadF(path) || !ReadHeader()) {
      mMediaType = kMediaNone;
      return false;
   }
   header = mHeader;
   return true;
}

bool AVSampleHandler::ReadHeader() {
   MediaFileHeader header;
   size_t read = 0;
   if (!Seek(0) || !ReadBytes(sizeof(header), &header, read) || read != sizeof(header) ||
       header.mMark != MediaFileHeader::kMark || header.mMediaType != mMediaType) {
      return false;
   }
   const uint32_t size = header.SampleSize(mMediaType);
   if (size > kMostSampleSize) {
      return false;
   }
   mHeader = header;
   // The header is believed only as far as the file goes: without room for one sample there is none to read.
   if (size > 0 && FileSize() >= sizeof(MediaFileHeader) + sizeof(MediaSampleHeader) + size) {
      mSampleBuf.reset(new (std::nothrow) uint8_t[size]);
   }
   return true;
}

bool AVSampleHandler::InitWrite(int32_t type, const std::string &path, const MediaFileHeader &header) {
   mSeq = 0;
   mMediaType = kMediaNone;
   if (type != kMediaAudio && type != kMediaVideo) {
      MAVR_LOG_ERROR("%s - Invalid media type %d", "InitWrite", type);
      return false;
   }
   if (!InitWriteF(path)) {
      return false;
   }
   mMediaType = type;
   return RewriteHeader(header);
}

bool AVSampleHandler::RewriteHeader(const MediaFileHeader &header) {
   mHeader = header;
   mHeader.mMark = MediaFileHeader::kMark;
   mHeader.mVersion = MediaFileHeader::kVersion;
   mHeader.mReservedMark = MediaFileHeader::kReservedMark;
   mHeader.mMediaType = mMediaType;
   if (!Seek(0) || !WriteBytes(&mHeader, sizeof(mHeader))) {
      mMediaType = kMediaNone;
      return false;
   }
   return true;
}

bool AVSampleHandler::WriteSample(const void *data, size_t size, const void *meta) {
   if (meta == nullptr || size == 0 || data == nullptr) {
      return false;
   }
   if (size != mHeader.SampleSize(mMediaType)) {
      MAVR_LOG_ERROR("Frame size mismatch!");
      return false;
   }
   MediaSampleHeader sample{};
   sample.mMark = MediaSampleHeader::kMark;
   sample.mSequence = mSeq++;
   std::memcpy(&sample.mMeta, meta, sizeof(sample.mMeta));
   const int64_t start = Position();
   if (WriteBytes(&sample, sizeof(sample)) && WriteBytes(data, size)) {
      return true;
   }
   // A torn record would hide all that follow it, should the disk have room again.
   CutBackTo(start);
   return false;
}

bool AVSampleHandler::ReadSample(MediaSampleRecord &record) {
   if (mSampleBuf == nullptr) {
      return false;
   }
   size_t read = 0;
   if (!ReadBytes(sizeof(record.mHeader), &record.mHeader, read) || read != sizeof(record.mHeader) ||
       record.mHeader.mMark != MediaSampleHeader::kMark) {
      return false;
   }
   const size_t size = mHeader.SampleSize(mMediaType);
   if (!ReadBytes(size, mSampleBuf.get(), read) || read != size) {
      return false;
   }
   record.mHeader.mSequence = mSeq++;
   record.mData = mSampleBuf.get();
   return true;
}

bool AVSampleHandler::ReadSampleLooped(MediaSampleRecord &record) {
   if (ReadSample(record)) {
      return true;
   }
   return IsEof() && Seek(sizeof(MediaFileHeader)) && ReadSample(record);
}

void AVSampleHandler::CloseFile() {
   DataFileHandler::CloseFile();
   mMediaType = kMediaNone;
}
