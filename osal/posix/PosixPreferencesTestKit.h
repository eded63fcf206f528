#pragma once

#include "osal/posix/FileReading.h"
#include "osal/posix/PosixPreferences.h"
#include "tests/kit/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace osal {
inline PreferenceValue Text(std::string text) {
   return PreferenceText(std::move(text));
}

inline std::string Plist(const std::string &members) {
   return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>" + members +
          "</dict>\n</plist>\n";
}

inline mode_t ModeOf(const std::string &path) {
   struct stat facts {};
   EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
   return facts.st_mode & 07777;
}

/// A home of its own, and the settings file in it.
class PosixPreferencesTest : public testing::Test {
protected:
   std::unique_ptr<Preferences> Open() const { return MakePosixPreferences(mFile); }

   /// Names in the settings folder.
   std::set<std::string> Names() const {
      std::set<std::string> names;
      for (const auto &entry : std::filesystem::directory_iterator(mHome / "corvane")) {
         names.insert(entry.path().filename().string());
      }
      return names;
   }
   void MakeFolder() const { std::filesystem::create_directories(mHome / "corvane"); }
   void WriteRaw(const std::string &content) const {
      MakeFolder();
      kit::WriteFile(mFile, content);
   }

   /// Returns when the file clock has gone on by a step since the file was changed: some milliseconds at most.
   void LetFileClockPass() const {
      struct stat facts {};
      ASSERT_EQ(stat(mFile.c_str(), &facts), 0);
      while (!IsSettled(StampOf(facts), FileTimeNowNs())) {
      }
   }

   kit::TempDir mHome;
   const std::string mFile = mHome / "corvane/d.plist";
};

} // namespace osal
