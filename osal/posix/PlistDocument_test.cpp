#include "osal/posix/PlistDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>

namespace osal {
namespace {

using testing::HasSubstr;
using Values = std::map<std::string, PreferenceValue>;

Values ValuesOf(const PlistDocument &document) {
   Values values;
   document.ForEach([&](std::string key, PreferenceValue value) { values.emplace(std::move(key), std::move(value)); });
   return values;
}

std::string Nested(int depth) {
   std::string open = "<plist><dict><key>a</key>";
   std::string close;
   for (int i = 0; i < depth; ++i) {
      open += "<array>";
      close += "</array>";
   }
   return open + close + "</dict></plist>";
}

std::string Why(const std::string &text) {
   PlistDocument document;
   EXPECT_TRUE(document.Set("before", int64_t{1}).ok());
   const Status status = PlistDocument::Parse(text, &document);
   EXPECT_EQ(status.code, EBADMSG) << text.substr(0, 100);
   EXPECT_EQ(ValuesOf(document), (Values{{"before", int64_t{1}}})) << "a failure leaves the document alone";
   return status.reason;
}

TEST(PlistDocument, WhatIsDamagedIsSaidInWords) {
   EXPECT_EQ(Why(""), "the file is empty");
   EXPECT_EQ(Why(std::string("<plist>\0</plist>", 16)), "it holds a zero byte");
   EXPECT_EQ(Why("bplist00"), "it is no XML property list, or its end is missing");
   EXPECT_EQ(Why("<plist><dict></dict>"), "it is no XML property list, or its end is missing");
   EXPECT_EQ(Why("<plist><dict></dict></plist> more"), "it is no XML property list, or its end is missing");
   EXPECT_EQ(Why("<plist><dict></dict></plist><!-- open"), "it is no XML property list, or its end is missing");
   EXPECT_EQ(Why("<plist><dict><key>a</key></dict</plist>"), "it is no well-formed XML property list");
   EXPECT_EQ(Why("<plist><array/></plist>"), "its root is no dictionary");
   EXPECT_EQ(Why("<><plist><dict></dict></plist><!-- end --><"), "it is no XML property list, or its end is missing");
   EXPECT_EQ(Why("<"), "it is no XML property list, or its end is missing");
}

TEST(PlistDocument, DepthThatWouldTakeTheStackIsRefused) {
   PlistDocument document;
   EXPECT_TRUE(PlistDocument::Parse(Nested(62), &document).ok());
   EXPECT_EQ(Why(Nested(63)), "it is nested too deep");
   EXPECT_EQ(Why(Nested(1'000'000)), "it is nested too deep");
}

TEST(PlistDocument, OnlyElementsCountAsDepth) {
   std::string text = "<?xml version=\"1.0\"?><!-- ";
   for (int i = 0; i < 100; ++i) {
      text += "<array>";
   }
   text += " --><plist><dict><key>a</key><string><![CDATA[";
   for (int i = 0; i < 100; ++i) {
      text += "<x>";
   }
   text += "]]></string><key>b</key><array>";
   for (int i = 0; i < 100; ++i) {
      text += "<true/><array/>";
   }
   PlistDocument document;
   const Status status = PlistDocument::Parse(text + "</array></dict></plist>\n<!-- end -->\n", &document);
   EXPECT_TRUE(status.ok()) << status.reason;
   EXPECT_EQ(ValuesOf(document).size(), 1u);
}

TEST(PlistDocument, TextThatNoXmlCanHoldIsRefused) {
   PlistDocument document;
   for (const char *const text : {"\xC3(", "\xE2\x82(", "\xF0\x9F(\xA5", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
      EXPECT_FALSE(document.Set("key", PreferenceText(text)).ok()) << text;
   }
   EXPECT_TRUE(ValuesOf(document).empty());
   EXPECT_TRUE(document.Set("key", PreferenceText("\xEF\xBF\xBD")).ok()) << "their neighbour is a character";
}

TEST(PlistDocument, EntitiesAndCharacterDataAreText) {
   PlistDocument document;
   ASSERT_TRUE(PlistDocument::Parse("<plist><dict><key>&lt;k&gt;</key><string>&#169;&#x41;<![CDATA[<&>]]></string>"
                                    "</dict></plist>",
                                    &document)
                  .ok());
   EXPECT_EQ(ValuesOf(document), (Values{{"<k>", PreferenceText("\xC2\xA9"
                                                                "A<&>")}}));
}

TEST(PlistDocument, ADoubledKeyHasItsLastValue) {
   PlistDocument document;
   ASSERT_TRUE(
      PlistDocument::Parse("<plist><dict><key>a</key><true/><key>a</key><false/></dict></plist>", &document).ok());
   EXPECT_EQ(ValuesOf(document), (Values{{"a", false}}));
}

TEST(PlistDocument, AReplacedValueKeepsItsPlaceAndTheOthers) {
   PlistDocument document;
   ASSERT_TRUE(document.Set("a", int64_t{1}).ok());
   ASSERT_TRUE(document.Set("b", int64_t{2}).ok());
   ASSERT_TRUE(document.Set("a", PreferenceText("text")).ok());
   EXPECT_THAT(document.ToXml(),
               HasSubstr("<key>a</key>\n\t<string>text</string>\n\t<key>b</key>\n\t<integer>2</integer>"));
}

} // namespace
} // namespace osal
