#include "libs/avManager/AVSampleHandler.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <string_view>

namespace {

using namespace std::string_literals;

constexpr SampleMeta kMeta{0x01020304, 1};

std::string VideoHeaderBytes(uint8_t frameSize) {
   std::string bytes = "\xA4\x01\x00\x00" // 420
                       "\x01\x00\x00\x00" // version
                       "\x01\x00\x00\x00"
                       "\x02\x00\x00\x00"   // video
                       "\x04\x00\x00\x00"   // width
                       "\x02\x00\x00\x00"   // height
                       "\x02\x00\x00\x00"s; // I420
   bytes += static_cast<char>(frameSize);
   bytes.resize(408);
   return bytes;
}

std::string AudioHeaderBytes(uint8_t chunkSize) {
   std::string bytes = "\xA4\x01\x00\x00"
                       "\x01\x00\x00\x00"
                       "\x01\x00\x00\x00"
                       "\x01\x00\x00\x00"s;
   bytes += static_cast<char>(chunkSize);
   bytes.resize(408);
   return bytes;
}

std::string RecordBytes(uint8_t sequence, const std::string &sample) {
   std::string bytes = "\x69\x10\x00\x00"s; // 4201
   bytes += static_cast<char>(sequence);
   bytes += "\x00\x00\x00"
            "\x04\x03\x02\x01"
            "\x01\x00\x00\x00"s;
   bytes.resize(216);
   return bytes + sample;
}

std::string_view SampleOf(const MediaSampleRecord &record, size_t size) {
   return {reinterpret_cast<const char *>(record.mData), size};
}

class AVSampleHandlerFile : public testing::Test {
protected:
   const kit::TempDir mDir;
   const std::string mPath = mDir / "dump";
   AVSampleHandler mFile;
   MediaFileHeader mHeader{};
   MediaSampleRecord mRecord{};

   // Whether the content is taken as a dump of that type.
   bool Opens(int32_t type, const std::string &content) {
      kit::WriteFile(mPath, content);
      return mFile.InitRead(type, mPath, mHeader);
   }
};

TEST_F(AVSampleHandlerFile, WritesTheDocumentedBytesOfVideo) {
   ASSERT_TRUE(mFile.InitWrite(kMediaVideo, mPath, MediaFileHeader::ForVideo(4, 2, 2, 12)));
   EXPECT_TRUE(mFile.IsWriting());
   EXPECT_TRUE(mFile.WriteSample("ABCDEFGHIJKL", 12, &kMeta));
   EXPECT_TRUE(mFile.WriteSample("abcdefghijkl", 12, &kMeta));
   mFile.CloseFile();
   EXPECT_EQ(kit::ReadFile(mPath),
             VideoHeaderBytes(12) + RecordBytes(0, "ABCDEFGHIJKL") + RecordBytes(1, "abcdefghijkl"));
}

TEST_F(AVSampleHandlerFile, WritesTheDocumentedBytesOfAudio) {
   ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
   EXPECT_TRUE(mFile.WriteSample("ABCD", 4, &kMeta));
   mFile.CloseFile();
   EXPECT_EQ(kit::ReadFile(mPath), AudioHeaderBytes(4) + RecordBytes(0, "ABCD"));
}

TEST_F(AVSampleHandlerFile, ReadsWhatItWrote) {
   kit::WriteFile(mPath, VideoHeaderBytes(12) + RecordBytes(7, "ABCDEFGHIJKL"));
   ASSERT_TRUE(mFile.InitRead(kMediaVideo, mPath, mHeader));
   EXPECT_TRUE(mFile.IsReading());
   EXPECT_EQ(mHeader.mWidthOrChunkSize, 4U);
   EXPECT_EQ(mHeader.mHeight, 2U);
   EXPECT_EQ(mHeader.mPixelFormat, 2U);
   EXPECT_EQ(mHeader.mFrameSize, 12U);
   ASSERT_TRUE(mFile.ReadSample(mRecord));
   EXPECT_EQ(SampleOf(mRecord, 12), "ABCDEFGHIJKL");
   EXPECT_EQ(mRecord.mHeader.mSequence, 0U); // the reader's own count, not the file's 7
   EXPECT_EQ(mRecord.mHeader.mMeta.mTimeMS, 0x01020304U);
   EXPECT_EQ(mRecord.mHeader.mMeta.mValid, 1U);
   EXPECT_FALSE(mFile.ReadSample(mRecord));
   EXPECT_TRUE(mFile.IsEof());
}

TEST_F(AVSampleHandlerFile, ReturnsTheOneRecordOverAndOverWithSequenceNumbersThatGoOn) {
   ASSERT_TRUE(Opens(kMediaAudio, AudioHeaderBytes(4) + RecordBytes(0, "ABCD")));
   for (uint32_t sequence = 0; sequence < 3; ++sequence) {
      ASSERT_TRUE(mFile.ReadSampleLooped(mRecord));
      EXPECT_EQ(mRecord.mHeader.mSequence, sequence);
      EXPECT_EQ(SampleOf(mRecord, 4), "ABCD");
   }
}

TEST_F(AVSampleHandlerFile, GoesBackToTheFirstRecordFromAPartialOneOfAnyLength) {
   const std::string whole = AudioHeaderBytes(4) + RecordBytes(0, "ABCD");
   const std::string more = RecordBytes(1, "EFGH");
   for (size_t cut = 0; cut < more.size(); ++cut) {
      ASSERT_TRUE(Opens(kMediaAudio, whole + more.substr(0, cut)));
      for (uint32_t sequence = 0; sequence < 3; ++sequence) {
         ASSERT_TRUE(mFile.ReadSampleLooped(mRecord)) << cut;
         EXPECT_EQ(mRecord.mHeader.mSequence, sequence);
         EXPECT_EQ(SampleOf(mRecord, 4), "ABCD");
      }
   }
}

TEST_F(AVSampleHandlerFile, StopsForGoodAtAWrongMarkThatIsNotAtTheEnd) {
   std::string wrong = RecordBytes(1, "EFGH");
   wrong[0] = 'x';
   ASSERT_TRUE(Opens(kMediaAudio, AudioHeaderBytes(4) + RecordBytes(0, "ABCD") + wrong + RecordBytes(2, "IJKL")));
   EXPECT_TRUE(mFile.ReadSampleLooped(mRecord));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
   EXPECT_FALSE(mFile.IsEof());
}

TEST_F(AVSampleHandlerFile, HasNoSampleWithoutARecord) {
   ASSERT_TRUE(Opens(kMediaAudio, AudioHeaderBytes(4)));
   EXPECT_FALSE(mFile.ReadSample(mRecord));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
   EXPECT_EQ(mRecord.mData, nullptr);
}

TEST_F(AVSampleHandlerFile, HasNoSampleOfSizeZero) {
   ASSERT_TRUE(Opens(kMediaAudio, AudioHeaderBytes(0) + RecordBytes(0, "")));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
}

TEST_F(AVSampleHandlerFile, RefusesAnEmptyFileAndAHeaderThatEndsEarly) {
   const std::string header = AudioHeaderBytes(4);
   for (const size_t size : {size_t{0}, size_t{1}, size_t{4}, size_t{407}}) {
      EXPECT_FALSE(Opens(kMediaAudio, header.substr(0, size))) << size;
   }
   EXPECT_TRUE(Opens(kMediaAudio, header));
}

TEST_F(AVSampleHandlerFile, RefusesTheOtherMediaTypeAndAnotherMark) {
   EXPECT_FALSE(Opens(kMediaAudio, VideoHeaderBytes(12)));
   EXPECT_FALSE(Opens(kMediaVideo, AudioHeaderBytes(4)));
   std::string header = AudioHeaderBytes(4);
   header[0] = 'x';
   mHeader.mHeight = 77;
   EXPECT_FALSE(Opens(kMediaAudio, header));
   EXPECT_EQ(mHeader.mHeight, 77U);
}

TEST_F(AVSampleHandlerFile, DoesNotLookAtVersionAndReservedMark) {
   std::string header = AudioHeaderBytes(4);
   header[4] = 'x';
   header[8] = 'x';
   EXPECT_TRUE(Opens(kMediaAudio, header));
}

// Required: only CloseFile ends it; whoever plays the file stays on it and delivers nothing.
TEST_F(AVSampleHandlerFile, StaysOpenForReadingWhenItsHeaderIsRefused) {
   EXPECT_FALSE(Opens(kMediaAudio, VideoHeaderBytes(4) + RecordBytes(0, "ABCD")));
   EXPECT_TRUE(mFile.IsReading());
   EXPECT_FALSE(mFile.ReadSample(mRecord));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
   mFile.CloseFile();
   EXPECT_FALSE(mFile.IsReading());
}

TEST_F(AVSampleHandlerFile, HasNoSampleOfAnEarlierFileAfterAHeaderIsRefused) {
   ASSERT_TRUE(Opens(kMediaAudio, AudioHeaderBytes(4) + RecordBytes(0, "ABCD")));
   ASSERT_TRUE(mFile.ReadSample(mRecord));
   EXPECT_FALSE(Opens(kMediaAudio, "short"));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
}

TEST_F(AVSampleHandlerFile, BelievesNoSizeThatTheFileDoesNotHold) {
   std::string header = VideoHeaderBytes(0);
   header.replace(28, 4, "\x00\x00\x00\x04"s); // 64 MiB
   EXPECT_TRUE(Opens(kMediaVideo, header + RecordBytes(0, "ABCD")));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
   header.replace(28, 4, "\x01\x00\x00\x04"s);
   EXPECT_FALSE(Opens(kMediaVideo, header + RecordBytes(0, "ABCD")));
   header.replace(28, 4, "\xFF\xFF\xFF\xFF"s);
   EXPECT_FALSE(Opens(kMediaVideo, header));
}

TEST_F(AVSampleHandlerFile, ReadsTheLargestSample) {
   std::string header = VideoHeaderBytes(0);
   header.replace(28, 4, "\x00\x00\x00\x04"s);
   kit::WriteFile(mPath, header + RecordBytes(0, "ABCD"));
   ASSERT_EQ(truncate(mPath.c_str(), 408 + 216 + (64 << 20)), 0); // a hole, not bytes
   ASSERT_TRUE(mFile.InitRead(kMediaVideo, mPath, mHeader));
   ASSERT_TRUE(mFile.ReadSampleLooped(mRecord));
   EXPECT_EQ(SampleOf(mRecord, 4), "ABCD");
   EXPECT_EQ(mRecord.mData[(64 << 20) - 1], 0);
   EXPECT_TRUE(mFile.ReadSampleLooped(mRecord));
}

TEST_F(AVSampleHandlerFile, GoesOnWithAFileThatShrinksMeanwhile) {
   const std::string one = AudioHeaderBytes(4) + RecordBytes(0, "ABCD");
   ASSERT_TRUE(Opens(kMediaAudio, one + RecordBytes(1, "EFGH")));
   ASSERT_TRUE(mFile.ReadSampleLooped(mRecord));
   ASSERT_EQ(truncate(mPath.c_str(), static_cast<off_t>(one.size())), 0);
   ASSERT_TRUE(mFile.ReadSampleLooped(mRecord));
   EXPECT_EQ(SampleOf(mRecord, 4), "ABCD");
   ASSERT_EQ(truncate(mPath.c_str(), 0), 0);
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
}

TEST_F(AVSampleHandlerFile, SaysThatASampleHasAnotherSizeAndWritesNothing) {
   ASSERT_TRUE(mFile.InitWrite(kMediaVideo, mPath, MediaFileHeader::ForVideo(4, 2, 2, 12)));
   const kit::LogCapture log;
   EXPECT_FALSE(mFile.WriteSample("ABCDEFGHIJK", 11, &kMeta));
   EXPECT_FALSE(mFile.WriteSample("ABCDEFGHIJKL", 13, &kMeta));
   EXPECT_EQ(log.Count(logger::ERROR, "Frame size mismatch!"), 2) << log.Dump();
   EXPECT_EQ(kit::ReadFile(mPath).size(), 408U);
   // What was refused takes no number.
   EXPECT_TRUE(mFile.WriteSample("ABCDEFGHIJKL", 12, &kMeta));
   EXPECT_EQ(kit::ReadFile(mPath), VideoHeaderBytes(12) + RecordBytes(0, "ABCDEFGHIJKL"));
}

TEST_F(AVSampleHandlerFile, RefusesASampleWithoutDataSizeOrMeta) {
   ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
   const kit::LogCapture log;
   EXPECT_FALSE(mFile.WriteSample("ABCD", 4, nullptr));
   EXPECT_FALSE(mFile.WriteSample("ABCD", 0, &kMeta));
   EXPECT_FALSE(mFile.WriteSample(nullptr, 4, &kMeta));
   EXPECT_EQ(log.Lines().size(), 0U);
   EXPECT_EQ(kit::ReadFile(mPath).size(), 408U);
}

TEST_F(AVSampleHandlerFile, DoesNotMixReadingAndWriting) {
   ASSERT_TRUE(Opens(kMediaAudio, AudioHeaderBytes(4) + RecordBytes(0, "ABCD")));
   EXPECT_FALSE(mFile.WriteSample("ABCD", 4, &kMeta));
   ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mDir / "other", MediaFileHeader::ForAudio(4)));
   EXPECT_FALSE(mFile.ReadSampleLooped(mRecord));
}

TEST_F(AVSampleHandlerFile, TakesNothingOnceItIsClosed) {
   ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
   mFile.CloseFile();
   const kit::LogCapture log;
   EXPECT_FALSE(mFile.WriteSample("ABCD", 4, &kMeta));
   EXPECT_FALSE(mFile.ReadSample(mRecord));
   EXPECT_FALSE(mFile.RewriteHeader(MediaFileHeader::ForAudio(4)));
   EXPECT_EQ(kit::ReadFile(mPath), AudioHeaderBytes(4));
}

TEST_F(AVSampleHandlerFile, CountsFromZeroInEachFile) {
   for (int round = 0; round < 2; ++round) {
      ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
      EXPECT_TRUE(mFile.WriteSample("ABCD", 4, &kMeta));
      EXPECT_EQ(kit::ReadFile(mPath), AudioHeaderBytes(4) + RecordBytes(0, "ABCD"));
   }
}

// Required: rewriting rewinds and stays there.
TEST_F(AVSampleHandlerFile, WritesOverTheFirstSampleAfterTheHeaderWasRewritten) {
   ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
   EXPECT_TRUE(mFile.WriteSample("ABCD", 4, &kMeta));
   EXPECT_TRUE(mFile.RewriteHeader(MediaFileHeader::ForAudio(2)));
   EXPECT_TRUE(mFile.WriteSample("xy", 2, &kMeta));
   EXPECT_EQ(kit::ReadFile(mPath), AudioHeaderBytes(2) + RecordBytes(1, "xyCD"));
}

TEST_F(AVSampleHandlerFile, RefusesAnUnknownMediaTypeAndTouchesNoFile) {
   kit::WriteFile(mPath, "content");
   const kit::LogCapture log;
   EXPECT_FALSE(mFile.InitWrite(3, mPath, MediaFileHeader::ForAudio(4)));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Invalid media type %d", "InitWrite", 3)) << log.Dump();
   EXPECT_EQ(kit::ReadFile(mPath), "content");
   EXPECT_FALSE(mFile.InitRead(0, mPath, mHeader));
}

TEST_F(AVSampleHandlerFile, RefusesAPlaceThatTakesNoFile) {
   const kit::LogCapture log;
   EXPECT_FALSE(mFile.InitWrite(kMediaAudio, mDir.Path(), MediaFileHeader::ForAudio(4)));
   EXPECT_FALSE(mFile.IsWriting());
   EXPECT_FALSE(mFile.WriteSample("ABCD", 4, &kMeta));
}

class AVSampleHandlerFullDisk : public AVSampleHandlerFile {
protected:
   static void Limit(rlim_t bytes) {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{bytes, RLIM_INFINITY};
      ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
   }
};

TEST_F(AVSampleHandlerFullDisk, RefusesTheHeader) {
   Limit(100);
   EXPECT_FALSE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
   const kit::LogCapture log;
   EXPECT_FALSE(mFile.WriteSample("ABCD", 4, &kMeta));
}

TEST_F(AVSampleHandlerFullDisk, LeavesNoTornRecordAndGoesOnWhenThereIsRoomAgain) {
   const std::string first = AudioHeaderBytes(4) + RecordBytes(0, "ABCD");
   for (size_t room = 0; room < 220; ++room) {
      Limit(RLIM_INFINITY);
      ASSERT_TRUE(mFile.InitWrite(kMediaAudio, mPath, MediaFileHeader::ForAudio(4)));
      ASSERT_TRUE(mFile.WriteSample("ABCD", 4, &kMeta));
      Limit(first.size() + room);
      EXPECT_FALSE(mFile.WriteSample("EFGH", 4, &kMeta)) << room;
      EXPECT_EQ(kit::ReadFile(mPath), first) << room;
      Limit(RLIM_INFINITY);
      EXPECT_TRUE(mFile.WriteSample("IJKL", 4, &kMeta));
      EXPECT_EQ(kit::ReadFile(mPath), first + RecordBytes(2, "IJKL")) << room;
   }
}

} // namespace
