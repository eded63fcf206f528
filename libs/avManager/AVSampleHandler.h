#pragma once

#include "libs/avManager/DataFileHandlerLin.h"
#include "libs/utils/SampleMeta.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

static_assert(std::endian::native == std::endian::little, "dump files hold the processor's own integers");

enum MediaType : int32_t { kMediaNone = 0, kMediaAudio = 1, kMediaVideo = 2 };

/// The first 408 bytes of a dump file. docs/formats/media-dump.md has an example.
struct MediaFileHeader {
   static constexpr uint32_t kMark = 420;
   static constexpr uint32_t kVersion = 1;
   static constexpr uint32_t kReservedMark = 1;

   uint32_t mMark;
   uint32_t mVersion;
   uint32_t mReservedMark;
   int32_t mMediaType;         ///< a MediaType
   uint32_t mWidthOrChunkSize; ///< video: pixels; audio: bytes of a sample
   uint32_t mHeight;           ///< video: pixels
   uint32_t mPixelFormat;      ///< video: the format's number
   uint32_t mFrameSize;        ///< video: bytes of a sample
   uint8_t mZero[376];

   /// What InitWrite wants from its caller; it sets the marks itself.
   static MediaFileHeader ForAudio(uint32_t chunkSize);
   static MediaFileHeader ForVideo(uint32_t width, uint32_t height, uint32_t pixelFormat, uint32_t frameSize);
   /// Bytes of each sample in such a file; 0 for no media type.
   [[nodiscard]] uint32_t SampleSize(int32_t mediaType) const;
};
static_assert(sizeof(MediaFileHeader) == 408);
static_assert(offsetof(MediaFileHeader, mMediaType) == 12);
static_assert(offsetof(MediaFileHeader, mWidthOrChunkSize) == 16);
static_assert(offsetof(MediaFileHeader, mHeight) == 20);
static_assert(offsetof(MediaFileHeader, mPixelFormat) == 24);
static_assert(offsetof(MediaFileHeader, mFrameSize) == 28);
static_assert(offsetof(MediaFileHeader, mZero) == 32);

/// The 216 bytes before each sample.
struct MediaSampleHeader {
   static constexpr uint32_t kMark = 4201;

   uint32_t mMark;
   uint32_t mSequence; ///< from 0 in each file; a reader gives its own count
   SampleMeta mMeta;
   uint8_t mZero[200];
};
static_assert(sizeof(MediaSampleHeader) == 216);
static_assert(offsetof(MediaSampleHeader, mSequence) == 4);
static_assert(offsetof(MediaSampleHeader, mMeta) == 8);
static_assert(offsetof(MediaSampleHeader, mZero) == 16);

/// A sample as the reader gives it: the header as it is in the file, and behind it where the bytes are.
struct MediaSampleRecord {
   MediaSampleHeader mHeader;
   const uint8_t *mData; ///< the reader's, valid until its next read or Init
};
static_assert(offsetof(MediaSampleRecord, mData) == sizeof(MediaSampleHeader));

/// Writes what capture delivers into a dump file, or reads one in place of a device.
///
/// Owner: the recorder, or who dumps. Threads: one. Locks: none. Life cycle: closed -> InitRead or InitWrite ->
/// CloseFile, as often as wanted. After a failed InitRead or InitWrite the file may be open all the same, see there;
/// every sample call then fails, until CloseFile. Allocates in InitRead only.
class AVSampleHandler : public DataFileHandler {
public:
   /// Samples above this are refused: no picture or chunk of ours is near it.
   static constexpr uint32_t kMostSampleSize = 64U << 20;

   /// Opens a dump of this media type and copies its header out. False: the file does not open (logged), or its header
   /// is of no dump, of the other type, or of samples above kMostSampleSize. `header` is untouched then. Required: a
   /// file whose header is refused stays open for reading, with no sample to come.
   [[nodiscard]] bool InitRead(int32_t type, const std::string &path, MediaFileHeader &header);
   /// Makes a dump with this header; the marks and the type are filled in. False, and the media type is none: no such
   /// type (logged, the file is untouched), the file does not open (logged) or takes no header.
   [[nodiscard]] bool InitWrite(int32_t type, const std::string &path, const MediaFileHeader &header);
   /// Writes the header anew at the start; false as for InitWrite.
   /// Required: the next sample then goes behind the header, over the first one.
   [[nodiscard]] bool RewriteHeader(const MediaFileHeader &header);

   /// Adds a sample with its SampleMeta, 8 bytes at `meta`. False: an argument is null or 0, the size is not the
   /// header's (logged), or the file takes no more, in which case nothing of the record stays behind.
   [[nodiscard]] bool WriteSample(const void *data, size_t size, const void *meta);
   /// Next sample. False, with the record's content undefined and mData unchanged, at the end or at anything that is no
   /// whole record. Not logged.
   [[nodiscard]] bool ReadSample(MediaSampleRecord &record);
   /// The same, but from the first sample again after the last whole one; the sequence numbers go on.
   [[nodiscard]] bool ReadSampleLooped(MediaSampleRecord &record);

   void CloseFile();

private:
   bool ReadHeader();

   uint32_t mSeq = 0; ///< records since the file was opened
   MediaFileHeader mHeader{};
   std::unique_ptr<uint8_t[]> mSampleBuf; ///< null when the file has no room for one sample
   int32_t mMediaType = kMediaNone;
};
