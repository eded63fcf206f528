#include "tools/mavr/redirect/BagMessage.h"

#include "lib/mfw/messageframework/wirestring.h"

#include <cstring>

namespace mavr::redirect {
namespace {

using CORE::bytecursor;
using CORE::corestring;
using CORE::PropertyBag;

constexpr uint8_t kText = 1;
constexpr uint8_t kBag = 2;
constexpr size_t kLongest = UINT16_MAX;

// ---- Writing --------------------------------------------------------------------------------------------------------

void PutNumber(std::vector<uint8_t> &out, size_t value) {
   out.push_back(static_cast<uint8_t>(value >> 8));
   out.push_back(static_cast<uint8_t>(value));
}

void PutString(std::vector<uint8_t> &out, const corestring &text) {
   const size_t start = out.size() + 2;
   PutNumber(out, text.Length());
   out.resize(start + text.Length());
   bytecursor cursor;
   cursor.Init(out.data() + start, static_cast<uint32_t>(text.Length()));
   uint32_t chars = 0;
   static_cast<void>(CORE::WriteString(text, CORE::Utf8, cursor, chars)); // there is room
}

bool Fits(const PropertyBag &bag, size_t index, size_t level) {
   if (bag.GetNameAt(index).Length() > kLongest || bag.IsBinaryAt(index)) {
      return false;
   }
   return bag.IsBagAt(index) ? level < kDeepest : bag.GetStringAt(index).Length() <= kLongest;
}

void PutBag(std::vector<uint8_t> &out, const PropertyBag &bag, size_t level) {
   const size_t countAt = out.size();
   PutNumber(out, 0);
   size_t count = 0;
   for (size_t index = 0; index < bag.GetCount() && count < kMostEntries; ++index) {
      if (!Fits(bag, index, level)) {
         continue;
      }
      ++count;
      out.push_back(bag.IsBagAt(index) ? kBag : kText);
      PutString(out, bag.GetNameAt(index));
      if (bag.IsBagAt(index)) {
         PutBag(out, bag.GetBagAt(index), level + 1);
      } else {
         PutString(out, bag.GetStringAt(index));
      }
   }
   out[countAt] = static_cast<uint8_t>(count >> 8);
   out[countAt + 1] = static_cast<uint8_t>(count);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

class Reader {
public:
   Reader(const uint8_t *data, size_t size)
       : mData(data)
       , mLeft(size) {}

   bool GetBag(PropertyBag &out, size_t level) {
      size_t count = 0;
      if (level > kDeepest || !GetNumber(&count)) {
         return false;
      }
      for (; count > 0; --count) {
         corestring name;
         if (mLeft < 1) {
            return false;
         }
         const uint8_t kind = *mData;
         Skip(1);
         if (!GetString(&name) || !(kind == kText ? GetText(out, name) : kind == kBag && GetInner(out, name, level))) {
            return false;
         }
      }
      return true;
   }
   [[nodiscard]] bool IsAtEnd() const { return mLeft == 0; }

private:
   void Skip(size_t size) {
      mData += size;
      mLeft -= size;
   }
   bool GetNumber(size_t *value) {
      if (mLeft < 2) {
         return false;
      }
      *value = size_t{mData[0]} << 8 | mData[1];
      Skip(2);
      return true;
   }
   // Without zeros: a name or text ends at its first one for whoever reads it.
   bool GetString(corestring *text) {
      size_t size = 0;
      if (!GetNumber(&size) || size > mLeft || (size > 0 && std::memchr(mData, 0, size) != nullptr)) {
         return false;
      }
      bytecursor cursor;
      // Reading does not write to it.
      cursor.Init(const_cast<uint8_t *>(mData), static_cast<uint32_t>(size));
      if (!CORE::ReadString(*text, cursor, static_cast<uint32_t>(size), CORE::Utf8)) {
         return false;
      }
      Skip(size);
      return true;
   }
   bool GetText(PropertyBag &out, const corestring &name) {
      corestring text;
      if (!GetString(&text)) {
         return false;
      }
      out.Add(name, text);
      return true;
   }
   bool GetInner(PropertyBag &out, const corestring &name, size_t level) {
      PropertyBag inner;
      if (!GetBag(inner, level + 1)) {
         return false;
      }
      out.AddBag(name.Text(), inner, false);
      return true;
   }

   const uint8_t *mData;
   size_t mLeft;
};

} // namespace

std::vector<uint8_t> PackBag(const PropertyBag &bag) {
   std::vector<uint8_t> out;
   PutBag(out, bag, 1);
   return out;
}

bool UnpackBag(const void *data, size_t size, PropertyBag &out) {
   PropertyBag bag;
   Reader reader(static_cast<const uint8_t *>(data), size);
   if (!reader.GetBag(bag, 1) || !reader.IsAtEnd()) {
      return false;
   }
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      if (bag.IsBagAt(index)) {
         out.AddBag(bag.GetNameTextAt(index), bag.GetBagAt(index), false);
      } else {
         out.Add(bag.GetNameAt(index), bag.GetStringAt(index));
      }
   }
   return true;
}

} // namespace mavr::redirect
