#include "lib/log/LogTestKit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using logtest::CaptureOutput;
using logtest::CountOf;
using logtest::LogFixture;
using logtest::Saw;
using logtest::SizeLimit;

namespace {

/// While it lives, every write to a descriptor fails for want of space.
class FullDisk {
public:
   explicit FullDisk(LogOutput *output) {
      EXPECT_TRUE(LogFile_GetDescriptor(output, &mDescriptor));
      mKept = dup(mDescriptor);
      const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
      EXPECT_EQ(dup2(full, mDescriptor), mDescriptor);
      close(full);
   }
   ~FullDisk() {
      dup2(mKept, mDescriptor);
      close(mKept);
   }
   FullDisk(const FullDisk &) = delete;
   FullDisk &operator=(const FullDisk &) = delete;

private:
   int mDescriptor = -1;
   int mKept = -1;
};

class LogFileOutputTest : public LogFixture {
protected:
   std::string Content() const { return kit::ReadFile(path); }
};

} // namespace

TEST_F(LogFileOutputTest, WritesALabelThenEarlyThenLaterLines) {
   pthread_setname_np(pthread_self(), "main");
   Log_Info("early");
   ASSERT_NE(StartFile(path), nullptr);
   Log_Info("later");
   const std::string content = Content();
   EXPECT_EQ(content.rfind("2026-11-12T18:30:00.123Z In(05) main Log for ", 0), 0U) << content;
   EXPECT_LT(content.find("Host offset from UTC"), content.find("early"));
   EXPECT_EQ(content.substr(content.find("2026-11-12T18:30:00.123Z In(05) main early")),
             "2026-11-12T18:30:00.123Z In(05) main early\n"
             "2026-11-12T18:30:00.123Z In(05) main LogRotation: Rotating to a new log file (keepOld 3) took 0.000000 "
             "seconds.\n"
             "2026-11-12T18:30:00.123Z In(05) main later\n");
}

TEST_F(LogFileOutputTest, CountsWhatAFullDiskLosesToTheByte) {
   pthread_setname_np(pthread_self(), "main");
   LogOutput *const output = StartFile(path);
   {
      const FullDisk full(output);
      for (int count = 0; count < 100; ++count) {
         Log_Info("0123456789");
      }
      Log_Warning("two\nlines\n");
   }
   const size_t prefix = std::string("2026-11-12T18:30:00.123Z In(05) main ").size();
   const size_t lost = 100 * (prefix + 11) + (prefix + 4) + (prefix + 1 + 6);
   EXPECT_EQ(AsFile(output)->discarded, lost);
   const size_t before = Content().size();
   Log_Info("through");
   Log_Info("again");
   EXPECT_EQ(Content().substr(before),
             "2026-11-12T18:30:00.123Z No(00) main >>> Error writing log, " + std::to_string(lost) +
                " bytes discarded. Disk full?\n"
                "2026-11-12T18:30:00.123Z In(05) main through\n2026-11-12T18:30:00.123Z In(05) main again\n");
   EXPECT_EQ(AsFile(output)->discarded, 0U);
}

TEST_F(LogFileOutputTest, CountsTheRestOfALineThatIsWrittenInPart) {
   LogOutput *const output = StartFile(path, {"log.useTimeStamps=false", "log.useThreadName=false"});
   Log_Info("whole");
   const size_t before = Content().size();
   {
      const SizeLimit limit(before + 10);
      Log_Info("12345678");
   }
   EXPECT_EQ(Content().substr(before), "In(05) 123");
   EXPECT_EQ(AsFile(output)->fileSize, before + 10);
   EXPECT_EQ(AsFile(output)->discarded, 6U);
   Log_Info("next");
   EXPECT_EQ(Content().substr(before),
             "In(05) 123No(00) >>> Error writing log, 6 bytes discarded. Disk full?\nIn(05) next\n");
}

TEST_F(LogFileOutputTest, DiscardsTheWholeLineWithoutADescriptor) {
   LogOutput *const output = StartFile(path, {"log.useTimeStamps=false", "log.useThreadName=false"});
   FileIODescriptor kept = AsFile(output)->file;
   FileIO_Invalidate(&AsFile(output)->file);
   Log_Info("12345");
   EXPECT_EQ(AsFile(output)->discarded, std::string("In(05) 12345\n").size());
   int fd = -1;
   EXPECT_FALSE(LogFile_GetDescriptor(output, &fd));
   AsFile(output)->file = kept;
}

TEST_F(LogFileOutputTest, StopsForGoodAtTheThreshold) {
   LogOutput *const output = StartFile(path, {"log.noLogAfterThreshold=true", "log.throttleThreshold=2000"});
   while (AsFile(output)->throttle.throttled == 0) {
      Log_Info("0123456789");
   }
   clock.AdvanceMs(600'000);
   Log_Info("never seen");
   const std::string content = Content();
   EXPECT_EQ(CountOf(content, "<<< file Throttled >>>\n"), 1U);
   EXPECT_EQ(content.substr(content.size() - 23), "<<< file Throttled >>>\n");
   EXPECT_EQ(CountOf(content, "No(00)"), 1U);
}

TEST_F(LogFileOutputTest, EndsTheLineOfTheMarkHoweverLongTheName) {
   const std::string name(100, 'n');
   Dictionary *const dictionary = Dictionary_Create();
   Dict_SetString(dictionary, path.c_str(), "log.fileName");
   Dict_SetString(dictionary, "true", "log.noLogAfterThreshold");
   Dict_SetString(dictionary, "0", "log.throttleThreshold");
   LogOutput *const output = Log_CreateFileOutput(nullptr, name.c_str(), dictionary, nullptr);
   Dictionary_Free(dictionary);
   ASSERT_TRUE(Log_AddOutput(output));
   Log_Info("suppressed");
   EXPECT_EQ(CountOf(Content(), " <<< " + std::string(90, 'n') + "\n"), 1U) << Content();
}

TEST_F(LogFileOutputTest, KeepsTheLastLinesOfAFloodForItsEnd) {
   StartFile(path, {"log.throttleThreshold=0", "log.throttleBytesPerSec=10"});
   Log_Info("starts the measurement");
   clock.AdvanceMs(5001);
   Log_Info("%s", std::string(100, 'x').c_str()); // at more than 10 bytes a second
   EXPECT_EQ(CountOf(Content(), "xxx\n"), 0U);
   EXPECT_EQ(CountOf(Content(), "<<< file Throttled >>>\n"), 1U);
   Log_Info("suppressed");
   clock.AdvanceMs(60'000);
   Log_Info("still");
   EXPECT_EQ(CountOf(Content(), "suppressed"), 0U);
   clock.AdvanceMs(1);
   Log_Info("free");
   const std::string content = Content();
   EXPECT_EQ(CountOf(content, "starts the measurement"), 1U) << "what was in the file is not written twice";
   EXPECT_EQ(CountOf(content, "xxx\n"), 1U);
   EXPECT_LT(content.find("xxx\n"), content.find("suppressed"));
   EXPECT_LT(content.find("suppressed"), content.find("still"));
   EXPECT_LT(content.find("still"), content.find("free"));
   EXPECT_EQ(CountOf(content, "free"), 1U);
}

TEST_F(LogFileOutputTest, NeverPartsAMessageByThrottling) {
   StartFile(path, {"log.noLogAfterThreshold=true", "log.throttleThreshold=100", "log.useTimeStamps=false"});
   Log_Info("first\n%s\n", std::string(2000, 'x').c_str());
   EXPECT_EQ(CountOf(Content(), "<<< file Throttled >>>"), 1U) << "the label alone has passed the threshold";
}

TEST_F(LogFileOutputTest, DoesNotEnterThrottlingOnAContinuationLine) {
   LogOutput *const output = StartFile(path, {"log.noLogAfterThreshold=true", "log.throttleThreshold=100000"});
   AsFile(output)->throttle.totalBytes = 0;
   AsFile(output)->throttle.threshold = 20000;
   Log_Info("first\n%s\nlast\n", std::string(25000, 'x').c_str());
   EXPECT_EQ(CountOf(Content(), "last\n"), 1U);
   EXPECT_EQ(CountOf(Content(), "Throttled"), 0U);
   Log_Info("the next message");
   EXPECT_EQ(CountOf(Content(), "the next message"), 0U);
   EXPECT_EQ(CountOf(Content(), "<<< file Throttled >>>\n"), 1U);
}

TEST_F(LogFileOutputTest, EndsThrottlingForGoodOnRequest) {
   LogOutput *const output = StartFile(path, {"log.noLogAfterThreshold=true", "log.throttleThreshold=0"});
   Log_Info("suppressed");
   Log_DisableThrottling();
   Log_Info("free");
   EXPECT_EQ(CountOf(Content(), "free"), 1U);
   EXPECT_EQ(AsFile(output)->throttle.rateLimit, LogThrottle::kNever);
}

TEST_F(LogFileOutputTest, CountsBytesOfAnAppendedFileTowardsTheThreshold) {
   kit::WriteFile(path, std::string(500, 'o') + "\n");
   LogOutput *const output = StartFile(path, {"log.append=true"});
   EXPECT_EQ(AsFile(output)->throttle.totalBytes, 501U);
   EXPECT_EQ(AsFile(output)->fileSize, 501U);
   EXPECT_EQ(Content(), std::string(500, 'o') + "\n") << "no label";
   Log_Info("behind");
   EXPECT_EQ(CountOf(Content(), "ooo\n"), 1U);
   EXPECT_EQ(CountOf(Content(), "behind\n"), 1U);
}

TEST_F(LogFileOutputTest, AnswersForFileOutputsOnly) {
   LogOutput *const output = StartFile(path, {"log.keepOld=7", "log.rotateSize=200000", "log.useOpID=true"});
   EXPECT_EQ(LogFile_GetPath(output), path);
   LogFileSettings settings{};
   ASSERT_TRUE(LogFile_GetSettings(output, &settings));
   EXPECT_EQ(settings.keepCount, 7);
   EXPECT_EQ(settings.rotateSize, 200000U);
   EXPECT_EQ(settings.threshold, 1000000U);
   EXPECT_EQ(settings.rateLimit, 1000U);
   EXPECT_TRUE(settings.timeStamps && settings.milliseconds && settings.threadName && settings.levelDesignator);
   EXPECT_TRUE(settings.opId);
   EXPECT_FALSE(settings.append || settings.sync || settings.fastRotation);
   LogFileAccount account{};
   EXPECT_TRUE(LogFile_GetAccount(output, &account));
   CaptureOutput other;
   int fd = -1;
   EXPECT_EQ(LogFile_GetPath(&other), nullptr);
   EXPECT_FALSE(LogFile_GetDescriptor(&other, &fd));
   EXPECT_FALSE(LogFile_GetSettings(&other, &settings));
   EXPECT_FALSE(LogFile_GetAccount(&other, &account));
}

TEST_F(LogFileOutputTest, AnswersNothingForNoOutput) {
   int descriptor = -7;
   LogFileSettings settings{};
   EXPECT_EQ(LogFile_GetPath(nullptr), nullptr);
   EXPECT_FALSE(LogFile_GetDescriptor(nullptr, &descriptor));
   EXPECT_FALSE(LogFile_GetSettings(nullptr, &settings));
   EXPECT_FALSE(LogFile_PurgeDead(nullptr, nullptr, nullptr));
   EXPECT_EQ(descriptor, -7);
}

TEST_F(LogFileOutputTest, WritesTheBareTextWithAllFieldsOff) {
   StartFile(path, {"log.useTimeStamps=no", "log.useThreadName=no", "log.useLevelDesignator=no"});
   Log_Info("bare");
   EXPECT_EQ(Content().substr(Content().size() - 6), "\nbare\n");
}

TEST_F(LogFileOutputTest, WritesTheLargestMessageWhole) {
   StartFile(path);
   Log_Info("%s", std::string(32766, 'x').c_str());
   EXPECT_EQ(CountOf(Content(), " " + std::string(32766, 'x') + "\n"), 1U);
}

TEST_F(LogFileOutputTest, IsClosedOnExec) {
   LogOutput *const output = StartFile(path);
   int fd = -1;
   ASSERT_TRUE(LogFile_GetDescriptor(output, &fd));
   EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(LogFileOutputTest, StopsTheProgramWhenALevelIsMissing) {
   for (const int line : {kLogVerifyWrite, kLogVerifyStart}) {
      static int expected;
      expected = line;
      EXPECT_EXIT(
         {
            Panic_SetSink(
               [](const char *text) { _exit(Saw(text, "VERIFY %s:%d\n", "lib/log/fileOutput", expected) ? 0 : 1); });
            LogFile_VerifyRow(nullptr, line);
         },
         testing::ExitedWithCode(0), "");
   }
   EXPECT_EQ(kLogVerifyWrite, 1307);
   EXPECT_EQ(kLogVerifyStart, 2165);
}
