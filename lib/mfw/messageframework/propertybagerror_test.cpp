// How a bag carries a failure.

#include "lib/mfw/messageframework/propertybag.h"

#include "lib/mfw/messageframework/PropertyBagTestKit.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace CORE {
namespace {

using namespace std::string_literals;

TEST_F(PropertyBagTest, SetErrorClearsAndSetsCodeAndText) {
   PropertyBag view;
   view.Share(bag);
   bag.SetError(5, " \t\r\nno way \n");
   EXPECT_EQ(Shown(view), "ErrorCode=5 ErrorText=no way");
   bag.SetError(-5, bag.GetStringOrNull("ErrorText"));
   EXPECT_EQ(Shown(bag), "ErrorCode=-5 ErrorText=no way");
   EXPECT_EQ(bag.GetErrorCode(), 0xFFFFFFFBU);
}

TEST_F(PropertyBagTest, SetErrorAsksThePlatformForATextThatIsMissing) {
   const std::string input = strerror(EIO);
   for (const char *const text : {static_cast<const char *>(nullptr), "", " \t\r\n"}) {
      bag.SetError(EIO, text);
      EXPECT_EQ(Shown(bag), "ErrorCode=" + std::to_string(EIO) + " ErrorText=" + input);
   }
   bag.SetError(0, nullptr);
   EXPECT_EQ(Shown(bag), "ErrorCode=0 ErrorText="s + strerror(0));
   EXPECT_EQ(bag.GetErrorCode(), 0xFFFFFFFFU);
}

TEST_F(PropertyBagTest, SetErrorTextClearsAndSetsTheTextAsItIs) {
   bag.SetErrorText(" why ");
   EXPECT_EQ(Shown(bag), "ErrorText= why ");
   bag.SetErrorText(bag.GetStringOrNull("ErrorText"));
   EXPECT_EQ(Shown(bag), "ErrorText= why ");
   bag.SetErrorText(nullptr);
   EXPECT_EQ(Shown(bag), "ErrorText=");
}

TEST(PropertyBagError, IsReadFromCodeAndText) {
   const struct {
      PropertyBag bag;
      uint32_t code;
      const char *text;
      const char *description;
   } cases[] = {
      {PropertyBag(), 0, "default", "Unspecified error"},
      {PropertyBag("ErrorCode=0", "ErrorText=", nullptr), 0, "default", "Unspecified error"},
      {PropertyBag("ErrorCode=5", nullptr), 5, "ErrorCode 5 (0x5)", "ErrorCode = 5 (0x0x5)"},
      {PropertyBag("errorcode= 0010 ", nullptr), 10, "ErrorCode 10 (0xa)", "ErrorCode = 10 (0x0xa)"},
      {PropertyBag("ErrorCode=0x80004005", "ErrorText=", nullptr), 0x80004005, "ErrorCode 2147500037 (0x80004005)",
       "ErrorCode = 2147500037 (0x0x80004005)"},
      {PropertyBag("ErrorCode=-1", nullptr), 0xFFFFFFFF, "ErrorCode 4294967295 (0xffffffff)",
       "ErrorCode = 4294967295 (0x0xffffffff)"},
      {PropertyBag("ErrorCode=5", "ErrorText=why", nullptr), 5, "why", "why - ErrorCode = 5 (0x0x5)"},
      {PropertyBag("ErrorText=why", nullptr), 0xFFFFFFFF, "why", "why - ErrorCode = 4294967295 (0x0xffffffff)"},
      {PropertyBag("ErrorCode=word", "ErrorText=why", nullptr), 0xFFFFFFFF, "why",
       "why - ErrorCode = 4294967295 (0x0xffffffff)"},
      {PropertyBag("ErrorCode=4294967296", nullptr), 0, "default", "Unspecified error"}, // cut to 32 bits
   };
   for (const auto &[bag, code, text, description] : cases) {
      EXPECT_EQ(bag.GetErrorCode(), code) << Shown(bag);
      EXPECT_STREQ(bag.GetErrorText("default").Text(), text) << Shown(bag);
      EXPECT_STREQ(bag.GetErrorDescription().Text(), description) << Shown(bag);
   }
   EXPECT_TRUE(PropertyBag().GetErrorText().IsEmpty());
   PropertyBag odd;
   odd.AddBag("ErrorCode", PropertyBag(), false);
   odd.AddBag("ErrorText", PropertyBag(), false);
   EXPECT_EQ(odd.GetErrorCode(), 0U);
   EXPECT_STREQ(odd.GetErrorDescription().Text(), "Unspecified error");
}

} // namespace
} // namespace CORE
