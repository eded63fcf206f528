// Any sequence of operations on the queue does what a std::deque of texts does, and any on a buffer what a std::string
// does, whatever the sizes: the first byte says which of the two, each further pair of bytes is an operation and its
// size.

#include "lib/mfw/common/logger.h"
#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/DataBuffer.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>

namespace {

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

std::string Text(const DataBuffer &buffer) {
   return {buffer.GetData(), buffer.GetEnd()};
}

// A text of this size, another one each time.
std::string Next(size_t size) {
   static char letter = 'a';
   letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1);
   return std::string(size, letter);
}

// 0 to 63 as they are; above that the sizes that nobody should ask for.
int32_t Strange(uint8_t size) {
   constexpr int32_t kStrange[] = {-1, INT32_MIN, INT32_MAX, 65536, -65536};
   return size < 64 ? size : kStrange[size % 5];
}

class QueueModel {
public:
   void Do(uint8_t operation, uint8_t size) {
      switch (operation % 12) {
      case 0:
         Init(size);
         break;
      case 1:
         Write(size);
         break;
      case 2:
         WriteInPlace(size);
         break;
      case 3:
         WriteAndGetData(size);
         break;
      case 4:
         CommitRead();
         break;
      case 5:
         SkipRead(Strange(size));
         break;
      case 6:
         if (mCount > 0 && !mTexts.empty()) { // on an empty queue it queues what a text cannot show
            mQueue.KeepCurrentOnly();
            mTexts.resize(1);
         }
         break;
      case 7:
         if (mCount > 0) {
            mQueue.Stop();
            mStopped = true;
         }
         break;
      case 8:
         mQueue.Uninit();
         mCount = 0;
         mTexts.clear();
         break;
      case 9:
         if (mStopped || !mTexts.empty() || mCount == 0) { // else it waits
            const DataBuffer *const slot = mQueue.WaitRead();
            Require((slot != nullptr) == (mCount > 0 && !mStopped && !mTexts.empty()));
         }
         break;
      case 10:
         Require(!mQueue.Write(nullptr, size + 1) && !mQueue.Write("", -1 - size));
         break;
      default:
         Require(!mQueue.ReleaseByData(this));
         break;
      }
      Check();
   }

private:
   void Init(uint8_t size) {
      const int32_t count = size % 5;
      const int32_t reserve = size / 64;
      const bool done = mQueue.Init(count, size, reserve, size % 2 == 0);
      Require(done == (count > reserve));
      mCount = done ? count : 0;
      mStopped = mStopped && !done;
      mTexts.clear();
   }
   [[nodiscard]] bool HasRoom() const { return mCount > static_cast<int32_t>(mTexts.size()); }
   void Write(uint8_t size) {
      const std::string text = Next(size);
      const bool written =
         mQueue.Write(text.data(), static_cast<int32_t>(text.size()), text.data(), static_cast<int32_t>(size % 9));
      Require(written == HasRoom());
      if (written) {
         mTexts.push_back(text);
      }
   }
   void WriteInPlace(uint8_t size) {
      DataBuffer *const slot = mQueue.GetNextWriteBuf();
      Require((slot != nullptr) == HasRoom());
      if (slot == nullptr) {
         Require(!mQueue.CommitWrite());
         return;
      }
      const std::string text = Next(size);
      if (slot->Set(text.data(), static_cast<int32_t>(text.size()))) {
         Require(mQueue.SetWriteSide(text.data(), static_cast<int32_t>(text.size())) && mQueue.CommitWrite());
         mTexts.push_back(text);
      }
   }
   void WriteAndGetData(uint8_t size) {
      const std::string text = Next(size + size_t{1});
      const uint8_t *const copy = mQueue.WriteAndGetData(text.data(), static_cast<int32_t>(text.size()));
      Require((copy != nullptr) == HasRoom());
      if (copy != nullptr) {
         mTexts.push_back(text);
      }
   }
   void CommitRead() {
      Require(mQueue.CommitRead() == !mTexts.empty());
      if (!mTexts.empty()) {
         mTexts.pop_front();
      }
   }
   void SkipRead(int32_t n) {
      const auto used = static_cast<int32_t>(mTexts.size());
      const bool done = mQueue.SkipRead(n);
      Require(done == (mCount > 0 && n <= used));
      for (; done && n > 0; --n) {
         mTexts.pop_front();
      }
   }
   void Check() {
      const auto used = static_cast<int32_t>(mTexts.size());
      Require(mQueue.GetUsedCount() == used && mQueue.GetFreeCount() == mCount - used);
      Require(mQueue.IsEmpty() == mTexts.empty() && mQueue.IsFull() == (used == mCount));
      Require(mQueue.IsActive() == (mCount > 0 && !mStopped));
      const DataBuffer *const slot = mQueue.GetNextReadBuf();
      Require((slot != nullptr) == !mTexts.empty());
      Require(slot == nullptr || Text(*slot) == mTexts.front());
   }

   DataBufQueue mQueue;
   std::deque<std::string> mTexts;
   int32_t mCount = 0; // 0 while not initialised
   bool mStopped = false;
};

class BufferModel {
public:
   void Do(uint8_t operation, uint8_t size) {
      const int32_t n = Strange(size);
      if (n == INT32_MAX && (mText.empty() || operation % 10 == 5 || operation % 10 == 6)) {
         return; // 2 GiB that would be had, and cost a second
      }
      const std::string text = Next(n > 0 && n < 100 ? static_cast<size_t>(n) : 0);
      const bool real = n >= 0 && n < 100;
      switch (operation % 10) {
      case 0:
         if (real && mBuffer.Set(text.data(), n)) {
            mText = text;
         }
         break;
      case 1:
         if (real) {
            Require(mBuffer.Append(text.data(), n, true));
            mText += text;
         }
         break;
      case 2:
         if (mBuffer.Append(mBuffer, size % 2 == 0)) {
            mText += mText;
         }
         break;
      case 3:
         (void)mBuffer.Reserve(n);
         break;
      case 4:
         (void)mBuffer.EnsureRoom(n);
         break;
      case 5:
         (void)mBuffer.Prepare(n);
         mText.clear();
         break;
      case 6:
         if (n >= static_cast<int32_t>(mText.size())) { // smaller ones leave the length above the capacity
            (void)mBuffer.Resize(n, size % 7);
         }
         break;
      case 7: {
         const uint8_t *const bytes = mBuffer.Consume(n);
         Require(bytes == nullptr || (bytes >= mBuffer.GetData() && bytes + n <= mBuffer.GetEnd()));
         break;
      }
      case 8:
         Move();
         break;
      default:
         mBuffer.Release();
         mText.clear();
         break;
      }
      Require(Text(mBuffer) == mText && mBuffer.GetUnread() >= 0 && mBuffer.GetFreeSpace() >= 0);
      if (mText.size() > 100000) {
         mBuffer.Release();
         mText.clear();
      }
   }

private:
   void Move() {
      DataBuffer other;
      Require(other.Adopt(mBuffer, true) && mBuffer.GetCapacity() == 0);
      Require(mBuffer.Adopt(other, true));
   }

   DataBuffer mBuffer;
   std::string mText;
};

template <typename Model>
void Run(const uint8_t *data, size_t size) {
   Model model;
   for (size_t at = 1; at + 1 < size && at < 4000; at += 2) {
      model.Do(data[at], data[at + 1]);
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   logger::SetDropBelow(logger::FATAL);
   if (size > 0) {
      data[0] % 2 == 0 ? Run<QueueModel>(data, size) : Run<BufferModel>(data, size);
   }
   return 0;
}
