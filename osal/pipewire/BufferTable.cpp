#include "osal/pipewire/BufferTable.h"

#include <algorithm>
#include <new>
#include <utility>

namespace osal {

BufferTable::BufferTable()
    : mPictures(std::make_shared<SampleBufferPool>()) {
   static_cast<void>(mPictures->Fill<LentPicture>(VideoDimensions{}));
}

void BufferTable::Add(void *handle, const spa_buffer &buffer) {
   try {
      if (auto memory = BufferMemory::Map(buffer)) {
         mEntries.push_back({handle, std::move(memory)});
      }
   } catch (const std::bad_alloc &) {
      return; // its pictures are lost; the others' are not
   }
}

void BufferTable::Remove(const void *handle) {
   if (mLoan.handle == handle) {
      static_cast<void>(TakeBackAtOnce());
   }
   if (const auto entry = Find(handle); entry != mEntries.end()) {
      mEntries.erase(entry);
   }
}

void BufferTable::RemoveAll() {
   static_cast<void>(TakeBackAtOnce());
   mEntries.clear();
}

std::vector<BufferTable::Entry>::const_iterator BufferTable::Find(const void *handle) const {
   return std::find_if(mEntries.begin(), mEntries.end(),
                       [handle](const Entry &entry) { return entry.handle == handle; });
}

std::shared_ptr<const BufferMemory> BufferTable::MemoryOf(const void *handle) const {
   const auto entry = Find(handle);
   return entry != mEntries.end() ? entry->memory : nullptr;
}

LentPicture *BufferTable::Lend(void *handle, const BiPlanarView &view) {
   const auto entry = Find(handle);
   if (mLoan.handle != nullptr || mEntries.size() < kFewest || entry == mEntries.end() || !entry->memory->IsLasting()) {
      return nullptr;
   }
   auto *const picture = static_cast<LentPicture *>(mPictures->Take());
   if (picture != nullptr) {
      mLoan = {handle, picture, mLoan.number + 1};
      picture->Lend(view, entry->memory, mLoan.number);
   }
   return picture;
}

void *BufferTable::TakeBack() {
   if (mLoan.handle == nullptr || mLoan.picture->Recall(mLoan.number) == LentPicture::Recalled::IsBeingRead) {
      return nullptr;
   }
   return std::exchange(mLoan.handle, nullptr);
}

void *BufferTable::TakeBackAtOnce() {
   if (mLoan.handle != nullptr) {
      mLoan.picture->RecallAtOnce(mLoan.number);
   }
   return std::exchange(mLoan.handle, nullptr);
}

} // namespace osal
