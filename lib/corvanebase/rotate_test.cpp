#include "lib/corvanebase/rotate.h"

#include "lib/corvanebase/corvanebase.h"
#include "tests/kit/TempDir.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using corvanebase::kRemoved;
using corvanebase::PlanRotation;
using corvanebase::RotationStep;
using Steps = std::vector<RotationStep>;

namespace {

TEST(PlanRotation, MovesARowUpTheOldestFirst) {
   EXPECT_EQ(PlanRotation({}, 3), Steps{});
   EXPECT_EQ(PlanRotation({0}, 3), (Steps{{0, 1}}));
   EXPECT_EQ(PlanRotation({0, 1}, 3), (Steps{{1, 2}, {0, 1}}));
}

TEST(PlanRotation, OverwritesTheOldestOfAFullRow) {
   EXPECT_EQ(PlanRotation({0, 1, 2}, 3), (Steps{{1, 2}, {0, 1}}));
   EXPECT_EQ(PlanRotation({0}, 1), Steps{});
}

TEST(PlanRotation, RemovesWhatAnEarlierLargerCountHasLeft) {
   EXPECT_EQ(PlanRotation({0, 1, 2, 3, 4}, 3), (Steps{{4, kRemoved}, {3, kRemoved}, {1, 2}, {0, 1}}));
   EXPECT_EQ(PlanRotation({0, 7}, 1), (Steps{{7, kRemoved}}));
   EXPECT_EQ(PlanRotation({0, 1, 2, 9}, 3), (Steps{{9, kRemoved}, {1, 2}, {0, 1}}));
}

TEST(PlanRotation, RemovesEverythingWhenNothingIsKept) {
   EXPECT_EQ(PlanRotation({0, 1, 4}, 0), (Steps{{4, kRemoved}, {1, kRemoved}, {0, kRemoved}}));
   EXPECT_EQ(PlanRotation({}, 0), Steps{});
}

TEST(PlanRotation, FillsGaps) {
   EXPECT_EQ(PlanRotation({1}, 3), Steps{});
   EXPECT_EQ(PlanRotation({2}, 3), (Steps{{2, 1}}));
   EXPECT_EQ(PlanRotation({0, 2}, 3), (Steps{{0, 1}}));
   EXPECT_EQ(PlanRotation({3, 4, 5}, 9), (Steps{{3, 1}, {4, 2}, {5, 3}}));
   EXPECT_EQ(PlanRotation({0, 1, 5, 6}, 9), (Steps{{5, 3}, {6, 4}, {1, 2}, {0, 1}}));
}

// Every set of numbers below 7, every keep count up to 8, stopped after every number of steps.
TEST(PlanRotation, LosesNothingAndKeepsTheOrderWhereverItIsStopped) {
   for (uint32_t mask = 0; mask < 128; ++mask) {
      std::vector<uint32_t> numbers;
      for (uint32_t bit = 0; bit < 7; ++bit) {
         if ((mask & (1U << bit)) != 0) {
            numbers.push_back(bit);
         }
      }
      for (uint32_t keep = 1; keep <= 8; ++keep) {
         std::map<uint32_t, uint32_t> files; // number -> age; the ages rise with the numbers at all times
         for (const uint32_t number : numbers) {
            files[number] = number;
         }
         const size_t kept = std::min<size_t>(numbers.size(), keep - 1);
         for (const RotationStep &step : PlanRotation(numbers, keep)) {
            ASSERT_EQ(files.count(step.from), 1U);
            const uint32_t age = files[step.from];
            files.erase(step.from);
            if (step.to != kRemoved) {
               ASSERT_LT(step.to, keep);
               // Only the oldest that may go is ever overwritten.
               ASSERT_TRUE(files.count(step.to) == 0 || (step.to == keep - 1 && step.from == keep - 2));
               files[step.to] = age;
            }
            uint32_t former = 0;
            for (const auto &[number, fileAge] : files) {
               ASSERT_GE(fileAge, former);
               former = fileAge;
            }
            for (size_t place = 0; place < kept; ++place) {
               ASSERT_EQ(std::next(files.begin(), static_cast<std::ptrdiff_t>(place))->second, numbers[place]);
            }
         }
         files.erase(0); // keep count 1: what is there is overwritten by the log itself
         ASSERT_EQ(files.size(), kept);
         for (size_t place = 0; place < kept; ++place) {
            ASSERT_EQ(files.count(static_cast<uint32_t>(place) + 1), 1U) << mask << " " << keep;
         }
      }
   }
}

class FileRotate : public testing::Test {
protected:
   void Put(const std::string &name, const std::string &content) { kit::WriteFile(mDir / name, content); }
   int Rotate(const std::string &name, int keepCount, int fast = 0) {
      return File_Rotate((mDir / name).c_str(), keepCount, fast, 0);
   }
   // Every file of the folder with what it holds.
   std::map<std::string, std::string> Files() const {
      std::map<std::string, std::string> files;
      for (const auto &entry : std::filesystem::directory_iterator(mDir.Path())) {
         files[entry.path().filename()] = kit::ReadFile(entry.path());
      }
      return files;
   }
   kit::TempDir mDir;
};
using Map = std::map<std::string, std::string>;

TEST_F(FileRotate, KeepsTheGivenNumberOfOlderFiles) {
   for (const char *const content : {"a", "b", "c", "d"}) {
      Put("x.log", content);
      ASSERT_EQ(Rotate("x.log", 3), 0);
   }
   EXPECT_EQ(Files(), (Map{{"x-0.log", "d"}, {"x-1.log", "c"}, {"x-2.log", "b"}}));
}

TEST_F(FileRotate, FastDoesTheSame) {
   for (const char *const content : {"a", "b", "c", "d"}) {
      Put("x.log", content);
      ASSERT_EQ(Rotate("x.log", 3, 1), 0);
   }
   EXPECT_EQ(Files(), (Map{{"x-0.log", "d"}, {"x-1.log", "c"}, {"x-2.log", "b"}}));
}

TEST_F(FileRotate, FastStopsAtTheFirstGapAndLeavesHigherNumbers) {
   Put("x.log", "new");
   Put("x-0.log", "0");
   Put("x-2.log", "2");
   Put("x-9.log", "9");
   ASSERT_EQ(Rotate("x.log", 4, 1), 0);
   EXPECT_EQ(Files(), (Map{{"x-0.log", "new"}, {"x-1.log", "0"}, {"x-2.log", "2"}, {"x-9.log", "9"}}));
}

TEST_F(FileRotate, FillsGapsAndRemovesHigherNumbers) {
   Put("x.log", "new");
   Put("x-1.log", "1");
   Put("x-5.log", "5");
   Put("x-7.log", "7");
   ASSERT_EQ(Rotate("x.log", 3), 0);
   EXPECT_EQ(Files(), (Map{{"x-0.log", "new"}, {"x-1.log", "1"}, {"x-2.log", "5"}}));
}

TEST_F(FileRotate, TouchesNoFileOfAnotherName) {
   const Map others{{"x-00.log", ""},        {"x-01.log", ""}, {"x--1.log", ""},   {"x-1a.log", ""},
                    {"x-.log", ""},          {"y-0.log", ""},  {"x-1.log.gz", ""}, {"x-99999999999.log", ""},
                    {"x-4294967295.log", ""}};
   for (const auto &[name, content] : others) {
      Put(name, content);
   }
   Put("x.log", "new");
   ASSERT_EQ(Rotate("x.log", 1), 0);
   Map expected = others;
   expected["x-0.log"] = "new";
   EXPECT_EQ(Files(), expected);
}

TEST_F(FileRotate, TakesNamesWithoutEndingAndHiddenOnes) {
   Put("plain", "a");
   Put(".hidden", "b");
   EXPECT_EQ(Rotate("plain", 2), 0);
   EXPECT_EQ(Rotate(".hidden", 2), 0);
   EXPECT_EQ(Files(), (Map{{"plain-0", "a"}, {".hidden-0", "b"}}));
}

TEST_F(FileRotate, TakesARelativeName) {
   ASSERT_EQ(chdir(mDir.Path().c_str()), 0);
   Put("x.log", "a");
   Put("x-0.log", "b");
   EXPECT_EQ(File_Rotate("x.log", 2, 0, 0), 0);
   EXPECT_EQ(Files(), (Map{{"x-0.log", "a"}, {"x-1.log", "b"}}));
}

TEST_F(FileRotate, LeavesEverythingAloneWithoutAFile) {
   Put("x-0.log", "0");
   EXPECT_EQ(Rotate("x.log", 1), 0);
   EXPECT_EQ(Files(), (Map{{"x-0.log", "0"}}));
}

TEST_F(FileRotate, SaysWhenTheFileCannotBeLookedAt) {
   Put("file", "");
   EXPECT_EQ(Rotate("file/x.log", 1), -1);
   EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(FileRotate, KeepsNothingWithCountZeroAndRefusesANegativeOne) {
   Put("x.log", "a");
   errno = 0;
   EXPECT_EQ(Rotate("x.log", -1), -1);
   EXPECT_EQ(errno, EINVAL);
   EXPECT_EQ(Files(), (Map{{"x.log", "a"}}));
   EXPECT_EQ(Rotate("x.log", 0), 0);
   EXPECT_EQ(Files(), Map{});
}

TEST_F(FileRotate, LeavesTheFileWhereItIsWhenAStepFails) {
   Put("x.log", "new");
   Put("x-0.log", "0");
   Put("x-1.log", "1");
   // A folder that is not empty can be moved, but not be replaced.
   std::filesystem::create_directory(mDir / "x-2.log");
   Put("x-2.log/inside", "");
   EXPECT_EQ(Rotate("x.log", 3), -1);
   EXPECT_EQ(kit::ReadFile(mDir / "x.log"), "new");
   EXPECT_EQ(kit::ReadFile(mDir / "x-0.log"), "0");
   EXPECT_EQ(kit::ReadFile(mDir / "x-1.log"), "1");
}

} // namespace
