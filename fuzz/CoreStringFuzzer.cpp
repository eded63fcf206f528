// Any row of operations on the guarded string, against std::string as the model: the same text, the stated room, the
// marks, and exceptions where the model says so. Sources lie outside, inside, and across the end of the text.

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/corestring.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

namespace {

using CORE::corestring;

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// Reads the fuzzer's bytes; zeros behind their end.
class Input {
public:
   Input(const uint8_t *data, size_t size)
       : mBytes(reinterpret_cast<const char *>(data), size) {}

   [[nodiscard]] bool IsEmpty() const { return mBytes.empty(); }
   uint8_t Byte() {
      const uint8_t byte = mBytes.empty() ? 0 : static_cast<uint8_t>(mBytes[0]);
      mBytes.remove_prefix(mBytes.empty() ? 0 : 1);
      return byte;
   }
   // 0 to 255, or now and then up to 4 KiB.
   size_t Number() {
      const size_t number = Byte();
      return number >= 0xF0 ? (number & 0xF) << 8 | Byte() : number;
   }
   // A text of the input, or a longer one that repeats it.
   std::string Text() {
      const uint8_t form = Byte();
      const std::string_view piece = mBytes.substr(0, form & 0x1F);
      mBytes.remove_prefix(piece.size());
      std::string text;
      for (int i = 0; i <= form >> 5; ++i) {
         text += piece;
      }
      return text;
   }

private:
   std::string_view mBytes;
};

// The text up to its first zero, as the C functions see it.
std::string_view UpToZero(std::string_view text) {
   return text.substr(0, text.find('\0'));
}

class Pair {
public:
   void Step(Input &input) {
      switch (input.Byte() % 15) {
      case 0: {
         const std::string text = input.Text();
         mText.Assign(text.data(), static_cast<ptrdiff_t>(text.size()));
         Become(text);
         break;
      }
      case 1: {
         const std::string text = input.Text();
         mText.Assign(text.c_str());
         Become(std::string(UpToZero(text)));
         break;
      }
      case 2:
         FromInside(
            input, [this](const char *source, ptrdiff_t size) { mText.Assign(source, size); },
            [this](const std::string &part) { Become(part); });
         break;
      case 3: {
         const std::string text = input.Text();
         mText.Append(text.data(), static_cast<ptrdiff_t>(text.size()));
         AppendToModel(text);
         break;
      }
      case 4:
         FromInside(
            input, [this](const char *source, ptrdiff_t size) { mText.Append(source, size); },
            [this](const std::string &part) { AppendToModel(part); });
         break;
      case 5:
         SetLength(input.Number(), false);
         break;
      case 6:
         SetLength(input.Number(), true);
         break;
      case 7: {
         const size_t position = input.Number();
         const size_t count = input.Number();
         const std::string with = input.Text();
         mText.Replace(position, count, with.data(), static_cast<ptrdiff_t>(with.size()));
         ReplaceInModel(position, count, with);
         break;
      }
      case 8: {
         const size_t position = input.Number();
         const size_t count = input.Number();
         FromInside(
            input, [&](const char *source, ptrdiff_t size) { mText.Replace(position, count, source, size); },
            [&](const std::string &part) { ReplaceInModel(position, count, part); });
         break;
      }
      case 9:
         ReplaceAll(input);
         break;
      case 10: {
         const std::string set = input.Text();
         mText.TrimLeft(set.c_str());
         const size_t kept = std::min(mModel.find_first_not_of(UpToZero(set)), mModel.size());
         Become(mModel.substr(kept));
         break;
      }
      case 11: {
         const std::string set = input.Text();
         mText.TrimRight(set.c_str());
         Become(mModel.substr(0, mModel.find_last_not_of(UpToZero(set)) + 1));
         break;
      }
      case 12: {
         const std::string text = input.Text();
         const int width = static_cast<int>(input.Number()) * 4;
         mText.Format("%s%*s", mText.Text(), width, text.c_str());
         const std::string_view shown = UpToZero(text);
         const size_t blanks =
            static_cast<size_t>(width) > shown.size() ? static_cast<size_t>(width) - shown.size() : 0;
         const std::string whole = std::string(UpToZero(mModel)) + std::string(blanks, ' ') + std::string(shown);
         if (whole.size() < 8192) {
            Become(whole);
         } else { // whole steps
            mModel = whole;
            mCapacity = (whole.size() / 8192 + 1) * 8192;
         }
         break;
      }
      case 13: {
         const corestring copy(mText);
         Require(copy == mText && copy.IsSecure() == (mText.IsSecure() && copy.Data() != nullptr));
         Require(copy.BinarySize() == mText.BinarySize());
         mText.SetSecure();
         break;
      }
      default: {
         const std::string value = input.Text();
         mText.AssignBinary(value.data(), static_cast<uint32_t>(value.size()));
         Require(mText.BinarySize() == value.size() && mText.Capacity() == value.size());
         mModel = value;
         mCapacity = value.size();
         break;
      }
      }
      Check();
   }

   // Room for more would only slow the fuzzer down.
   [[nodiscard]] bool IsLarge() const { return mModel.size() > 100'000; }

private:
   // The text and, by the rule of growth and shrinkage, its room.
   void Become(const std::string &text) {
      const size_t extra = std::max<size_t>(text.size() / 2, 128);
      if (text.empty()) {
         mCapacity = 0;
      } else if (!mHadBlock) {
         mCapacity = text.size();
      } else if (mCapacity < text.size() || text.size() + 2 * extra < mCapacity) {
         mCapacity = text.size() + extra;
      }
      mModel = text;
   }
   void AppendToModel(const std::string &text) {
      if (!text.empty()) {
         Become(mModel + text);
      }
   }
   void ReplaceInModel(size_t position, size_t count, const std::string &with) {
      const size_t at = std::min(position, mModel.size());
      Become(mModel.substr(0, at) + with + mModel.substr(at + std::min(count, mModel.size() - at)));
   }

   // A part of the text itself, which may reach up to its zero, and fails beyond.
   void FromInside(Input &input, const std::function<void(const char *, ptrdiff_t)> &change,
                   const std::function<void(const std::string &)> &model) {
      if (mText.Data() == nullptr) {
         return;
      }
      const size_t offset = input.Number() % (mModel.size() + 1);
      const size_t size = input.Number();
      const std::string withZero = mModel + '\0';
      bool thrown = false;
      try {
         change(mText.Data() + offset, static_cast<ptrdiff_t>(size));
      } catch (const CORE::coreException &error) {
         thrown = true;
         Require(std::string_view(error.Message()) == "buffer overrun in overlapping data");
      }
      Require(thrown == (size > withZero.size() - offset));
      if (!thrown) {
         model(withZero.substr(offset, size));
      }
   }

   void SetLength(size_t length, bool exact) {
      const size_t former = mText.Length();
      mText.SetLength(length, exact);
      if (length > former) {
         std::memset(mText.Data() + former, 'n', length - former);
      }
      std::string text = mModel;
      text.resize(length, 'n');
      if (exact) {
         mModel = text;
         mCapacity = length;
      } else {
         Become(text);
      }
   }

   void ReplaceAll(Input &input) {
      const std::string find(UpToZero(input.Text()));
      const std::string with(UpToZero(input.Text()));
      const size_t start = input.Byte() & 0xF;
      std::string text = mModel;
      size_t count = 0;
      for (size_t at = start; !find.empty() && at < text.size(); at += with.size(), ++count) {
         const size_t found = UpToZero(std::string_view(text).substr(at)).find(find);
         if (found == std::string_view::npos) {
            break;
         }
         at += found;
         text.replace(at, find.size(), with);
      }
      Require(mText.ReplaceAll(find.c_str(), with.c_str(), start) == count);
      if (count != 0) {
         Become(text);
      }
   }

   void Check() {
      Require(mText.Length() == mModel.size());
      Require(std::memcmp(mText.Text(), mModel.c_str(), mModel.size() + 1) == 0);
      Require(mText.Capacity() == mCapacity);
      mHadBlock = mText.Data() != nullptr;
   }

   corestring mText;
   std::string mModel;
   size_t mCapacity = 0;
   bool mHadBlock = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   Input input(data, size);
   Pair pair;
   while (!input.IsEmpty() && !pair.IsLarge()) {
      pair.Step(input);
   }
   return 0;
}
