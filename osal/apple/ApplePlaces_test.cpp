#include "osal/apple/ApplePlaces.h"

#include "osal/apple/fakes/Fakes.h"

#include <gmock/gmock.h>

#include <array>
#include <cerrno>

namespace osal::apple {
namespace {

using testing::ElementsAre;

TEST(ApplePlacesTest, TheLibraryFolderIsTheUsers) {
   EXPECT_EQ(libraryFolder(), "~/Library");
   fakes::SetHasLibraryFolder(false);
   errno = 0;
   EXPECT_EQ(libraryFolder(), "");
   EXPECT_EQ(errno, ENOENT);
   fakes::SetHasLibraryFolder(true);
}

TEST(ApplePlacesTest, FilesLieInTheLibraryFolders) {
   EXPECT_THAT(configurationFiles("/Users/someone"),
               ElementsAre("/Users/someone/Library/Preferences/corvane/config.toml",
                           "/Library/Preferences/corvane/config.toml"));
   EXPECT_THAT(configurationFiles(""), ElementsAre("/Library/Preferences/corvane/config.toml"));
   EXPECT_EQ(preferencesFile("/Users/someone", "com.corvane.mavr"),
             "/Users/someone/Library/Preferences/com.corvane.mavr.plist");
   EXPECT_EQ(preferencesFile("", "com.corvane.mavr"), "");
}

TEST(ApplePlacesTest, TheRunningProgramIsNamedWhole) {
   EXPECT_EQ(executableFile(), "/Applications/Some Host.app/Contents/MacOS/Some Host");
}

TEST(ApplePlacesTest, ATextOfTheKernelIsReadWhenItFits) {
   std::array<char, 32> text{};
   ASSERT_TRUE(systemControl("kern.osrelease", text.data(), text.size()));
   EXPECT_STREQ(text.data(), "22.6.0");
   ASSERT_TRUE(systemControl("kern.osrelease", text.data(), 7));
   EXPECT_STREQ(text.data(), "22.6.0");
   for (const auto &[name, size] : {std::pair("kern.osrelease", size_t{6}), std::pair("kern.none", size_t{32}),
                                    std::pair("hw.ncpu", size_t{32})}) {
      text[0] = 'x';
      errno = 0;
      EXPECT_FALSE(systemControl(name, text.data(), size)) << name;
      EXPECT_STREQ(text.data(), "");
      EXPECT_NE(errno, 0);
   }
   EXPECT_FALSE(systemControl("kern.osrelease", nullptr, 0));
}

} // namespace
} // namespace osal::apple
