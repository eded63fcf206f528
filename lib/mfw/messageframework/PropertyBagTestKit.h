#pragma once

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/messageframework/propertybag.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace CORE {

using BagPointer = std::unique_ptr<PropertyBag, GiveUpReference>;

/// What is thrown, for the words of it.
inline std::string MessageOf(const std::function<void()> &action) {
   try {
      action();
   } catch (const coreException &error) {
      EXPECT_EQ(error.Code(), 0);
      return error.Message();
   }
   return "nothing thrown";
}

/// All that a bag holds: name=text, name:size bytes, name{...}.
inline std::string Shown(const PropertyBag &bag) {
   std::string text;
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      text += text.empty() ? "" : " ";
      text += bag.GetNameTextAt(index);
      if (bag.IsBagAt(index)) {
         text += "{" + Shown(bag.GetBagAt(index)) + "}";
      } else if (bag.IsBinaryAt(index)) {
         const void *data = nullptr;
         size_t size = 0;
         bag.GetBinaryAt(index, data, size);
         text += ":" + std::string(static_cast<const char *>(data), size);
      } else {
         text += std::string("=") + bag.GetStringTextAt(index);
      }
   }
   return text;
}

/// One entry of each kind.
class PropertyBagTest : public testing::Test {
protected:
   PropertyBagTest() {
      bag.Add("text", "value");
      bag.AddBinary("bytes", "a\0b", 3);
      PropertyBag inner("inside=1", nullptr);
      bag.AddBag("bag", inner, true);
      bag.Add("empty", nullptr);
   }
   ~PropertyBagTest() noexcept override = default; // a bag's may throw
   std::string Bytes(const char *name) {
      const void *data = nullptr;
      size_t size = 99;
      EXPECT_EQ(bag.GetBinary(name, data, size), size);
      return data != nullptr ? std::string(static_cast<const char *>(data), size) : "null " + std::to_string(size);
   }
   std::string BytesAt(size_t index) {
      const void *data = "";
      size_t size = 99;
      EXPECT_EQ(bag.GetBinaryAt(index, data, size), size);
      return data != nullptr ? std::string(static_cast<const char *>(data), size) : "null " + std::to_string(size);
   }
   PropertyBag bag;
};

} // namespace CORE
