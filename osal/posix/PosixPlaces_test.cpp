#include "osal/Places.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace osal::places {
namespace {

using testing::ElementsAre;

class Places : public testing::Test {
protected:
   Places() {
      setenv("HOME", "/home/someone", 1);
      unsetenv("XDG_CONFIG_HOME");
      unsetenv("XDG_STATE_HOME");
   }
};

TEST_F(Places, DefaultsLieInTheHomeFolder) {
   EXPECT_EQ(homeFolder(), "/home/someone");
   EXPECT_EQ(userLibraryFolder(), "/home/someone/.local/state");
   EXPECT_EQ(preferencesFile("com.corvane.mavr"), "/home/someone/.config/corvane/com.corvane.mavr.plist");
   EXPECT_THAT(configurationFiles(),
               ElementsAre("/home/someone/.config/corvane/config.toml", "/etc/xdg/corvane/config.toml"));
   EXPECT_EQ(systemLogFolder(), "/Library/Logs/Corvane");
}

TEST_F(Places, TheRunningProgramCanBeStartedAgain) {
   EXPECT_EQ(access(executableFile().c_str(), X_OK), 0);
}

TEST_F(Places, XdgVariablesMoveThem) {
   setenv("XDG_CONFIG_HOME", "/conf", 1);
   setenv("XDG_STATE_HOME", "/state", 1);
   EXPECT_EQ(userLibraryFolder(), "/state");
   EXPECT_EQ(preferencesFile("com.corvane.mavr"), "/conf/corvane/com.corvane.mavr.plist");
   EXPECT_THAT(configurationFiles(), ElementsAre("/conf/corvane/config.toml", "/etc/xdg/corvane/config.toml"));
}

TEST_F(Places, EmptyAndRelativeXdgVariablesAreIgnored) {
   for (const char *const value : {"", "relative/folder", "./here", "~/there"}) {
      setenv("XDG_CONFIG_HOME", value, 1);
      setenv("XDG_STATE_HOME", value, 1);
      EXPECT_EQ(userLibraryFolder(), "/home/someone/.local/state") << value;
      EXPECT_EQ(preferencesFile("d"), "/home/someone/.config/corvane/d.plist") << value;
   }
}

TEST_F(Places, WithoutAnAbsoluteHomeTheUserDatabaseIsAsked) {
   const passwd *const entry = getpwuid(getuid());
   if (entry == nullptr || entry->pw_dir[0] != '/') {
      GTEST_SKIP() << "the user running the test is not in the user database";
   }
   const std::string home = entry->pw_dir;
   unsetenv("HOME");
   EXPECT_EQ(homeFolder(), home);
   setenv("HOME", "relative", 1);
   EXPECT_EQ(homeFolder(), home);
   setenv("HOME", "", 1);
   EXPECT_EQ(userLibraryFolder(), home + "/.local/state");
}

TEST_F(Places, TheEnvironmentIsReadAtEachCall) {
   EXPECT_EQ(homeFolder(), "/home/someone");
   setenv("HOME", "/home/another", 1);
   EXPECT_EQ(homeFolder(), "/home/another");
}

} // namespace
} // namespace osal::places
