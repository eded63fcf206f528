#include "libs/avManager/DataFileHandlerLin.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <array>
#include <csignal>
#include <string>

namespace {

TEST(DataFileHandler, WithoutAFileItHasNeitherPlaceNorSize) {
   struct Opened : DataFileHandler {
      using DataFileHandler::CutBackTo;
      using DataFileHandler::FileSize;
      using DataFileHandler::Position;
   };
   const kit::TempDir dir;
   Opened file;
   EXPECT_LT(file.Position(), 0);
   EXPECT_EQ(file.FileSize(), 0U);
   file.CutBackTo(0);
   ASSERT_TRUE(file.InitWriteF(dir / "data"));
   ASSERT_TRUE(file.WriteBytes("abcdef", 6));
   EXPECT_FALSE(file.WriteBytes(nullptr, 1));
   EXPECT_TRUE(file.WriteBytes(nullptr, 0));
   file.CutBackTo(-1); // the place of a file that had none
   EXPECT_EQ(file.Position(), 6);
   file.CutBackTo(4);
   EXPECT_EQ(file.Position(), 4);
   EXPECT_EQ(file.FileSize(), 4U);
}

TEST(DataFileHandler, WritesAndReadsBytes) {
   const kit::TempDir dir;
   DataFileHandler file;
   EXPECT_FALSE(file.IsWriting());
   ASSERT_TRUE(file.InitWriteF(dir / "data"));
   EXPECT_TRUE(file.IsWriting());
   EXPECT_FALSE(file.IsReading());
   EXPECT_TRUE(file.WriteBytes("abcdef", 6));
   EXPECT_TRUE(file.WriteBytes("", 0));
   file.CloseFile();
   EXPECT_FALSE(file.IsWriting());
   EXPECT_EQ(kit::ReadFile(dir / "data"), "abcdef");

   ASSERT_TRUE(file.InitReadF(dir / "data"));
   EXPECT_TRUE(file.IsReading());
   EXPECT_FALSE(file.IsWriting());
   std::array<char, 8> bytes{};
   size_t read = 99;
   EXPECT_TRUE(file.ReadBytes(4, bytes.data(), read));
   EXPECT_EQ(read, 4U);
   EXPECT_FALSE(file.IsEof());
   // A short read is a success as long as a byte came.
   EXPECT_TRUE(file.ReadBytes(4, bytes.data(), read));
   EXPECT_EQ(read, 2U);
   EXPECT_EQ(bytes[1], 'f');
   EXPECT_TRUE(file.IsEof());
   EXPECT_FALSE(file.ReadBytes(4, bytes.data(), read));
   EXPECT_EQ(read, 0U);
   EXPECT_TRUE(file.Seek(1));
   EXPECT_FALSE(file.IsEof());
   EXPECT_TRUE(file.ReadBytes(1, bytes.data(), read));
   EXPECT_EQ(bytes[0], 'b');
   EXPECT_FALSE(file.Seek(-1));
}

TEST(DataFileHandler, RefusesEverythingWithoutAFile) {
   DataFileHandler file;
   char byte = 'x';
   size_t read = 99;
   EXPECT_FALSE(file.ReadBytes(1, &byte, read));
   EXPECT_EQ(read, 0U);
   EXPECT_FALSE(file.WriteBytes(&byte, 1));
   EXPECT_FALSE(file.Seek(0));
   EXPECT_FALSE(file.IsEof());
   file.CloseFile();
   EXPECT_FALSE(file.IsReading());
}

TEST(DataFileHandler, RefusesWritingToAFileThatIsReadAndReadingFromOneThatIsWritten) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "data", "abc");
   DataFileHandler file;
   char byte = 'x';
   size_t read = 0;
   ASSERT_TRUE(file.InitReadF(dir / "data"));
   EXPECT_FALSE(file.WriteBytes(&byte, 1));
   EXPECT_EQ(kit::ReadFile(dir / "data"), "abc");
   ASSERT_TRUE(file.InitWriteF(dir / "data"));
   EXPECT_FALSE(file.ReadBytes(1, &byte, read));
   EXPECT_EQ(byte, 'x');
}

TEST(DataFileHandler, RefusesNoBytesAndNoPlaceForThem) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "data", "abc");
   DataFileHandler file;
   ASSERT_TRUE(file.InitReadF(dir / "data"));
   char byte = 'x';
   size_t read = 0;
   EXPECT_FALSE(file.ReadBytes(0, &byte, read));
   EXPECT_FALSE(file.ReadBytes(1, nullptr, read));
   ASSERT_TRUE(file.InitWriteF(dir / "data"));
   EXPECT_FALSE(file.WriteBytes(nullptr, 1));
}

TEST(DataFileHandler, SaysWhichFileDoesNotOpen) {
   const kit::TempDir dir;
   const std::string missing = dir / "missing";
   kit::LogCapture log;
   DataFileHandler file;
   EXPECT_FALSE(file.InitReadF(missing));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to open file for reading: %s",
                       "bool DataFileHandler::InitReadF(std::string &)", missing.c_str()))
      << log.Dump();
   EXPECT_FALSE(file.InitWriteF(dir.Path()));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to open file for writing: %s",
                       "bool DataFileHandler::InitWriteF(std::string &)", dir.Path().c_str()))
      << log.Dump();
   EXPECT_EQ(log.Lines().size(), 2U);
   EXPECT_FALSE(file.IsReading());
   EXPECT_FALSE(file.IsWriting());
}

TEST(DataFileHandler, ClosesWhatIsOpenWhenAnOpeningFails) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "data", "abc");
   DataFileHandler file;
   kit::LogCapture log;
   ASSERT_TRUE(file.InitReadF(dir / "data"));
   EXPECT_FALSE(file.InitReadF(dir / "missing"));
   EXPECT_FALSE(file.IsReading());
   EXPECT_FALSE(file.Seek(0));
}

TEST(DataFileHandler, SeesAFullDisk) {
   const kit::TempDir dir;
   DataFileHandler file;
   ASSERT_TRUE(file.InitWriteF(dir / "data"));
   std::signal(SIGXFSZ, SIG_IGN);
   const rlimit limit{10, RLIM_INFINITY};
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
   EXPECT_TRUE(file.WriteBytes("12345678", 8));
   EXPECT_FALSE(file.WriteBytes("12345678", 8));
   EXPECT_FALSE(file.WriteBytes("1", 1));
}

} // namespace
