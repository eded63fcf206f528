#pragma once

#include "osal/pipewire/BufferMemory.h"
#include "osal/pipewire/LentPicture.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace osal {

/// The buffers of one stream, and the one that is lent.
///
/// One at a time, and until the next picture comes: a camera has few buffers, which all that watch it share, and never
/// gets back those that a stream has when it ends.
///
/// Owner: the stream. Threads: its loop. Locks: none. Life cycle: Add for each buffer -> Lend, TakeBack -> Remove each,
/// or RemoveAll before the stream's memory goes -> destroyed.
class BufferTable {
public:
   /// One that is lent, one that is about to come back, one that the camera fills, one that is on its way. With fewer
   /// nothing is lent.
   static constexpr size_t kFewest = 4;

   BufferTable();

   /// `handle` is what the stream knows it by, and not null. Without memory it is not added.
   void Add(void *handle, const spa_buffer &buffer);
   /// Recalls its picture at once.
   void Remove(const void *handle);
   /// Recalls what is out, at once.
   void RemoveAll();
   /// The memory of a buffer; null for one that was not added.
   [[nodiscard]] std::shared_ptr<const BufferMemory> MemoryOf(const void *handle) const;

   /// A picture with one reference, which the caller owns. Null when one is out, when the buffers are too few, when the
   /// memory does not outlive the stream, or when the buffer was not added: then it is the caller's to give back.
   /// Allocates nothing.
   [[nodiscard]] LentPicture *Lend(void *handle, const BiPlanarView &view);
   /// Recalls the picture that is out: the handle of its buffer, which is the caller's to give back. Null when there is
   /// none, or somebody is just reading it.
   [[nodiscard]] void *TakeBack();
   /// The same, also while it is being read.
   [[nodiscard]] void *TakeBackAtOnce();

private:
   struct Entry {
      void *handle;
      std::shared_ptr<const BufferMemory> memory;
   };
   struct Loan {
      void *handle = nullptr; // null: nothing is out
      LentPicture *picture = nullptr;
      uint64_t number = 0;
   };
   [[nodiscard]] std::vector<Entry>::const_iterator Find(const void *handle) const;

   const std::shared_ptr<SampleBufferPool> mPictures;
   std::vector<Entry> mEntries;
   Loan mLoan;
};

} // namespace osal
