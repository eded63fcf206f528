// The data buffer queue beside rings that do less: the bare ring with as many recursive locks is what the queue's own
// rules ask for (each look and each move under the lock), boost's single-producer ring has no lock at all.

#include "bench/RuntimeBench.h"

#include "lib/mfw/common/coresync.h"
#include "lib/mfw/common/linuxSupport.h"
#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/SampleMeta.h"

#include <benchmark/benchmark.h>
#include <boost/lockfree/spsc_queue.hpp>

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int kSlots = 10;
constexpr int32_t kFrame = 1280 * 720 * 3 / 2;

// ---- Hand-off of a slot, one thread, no copy ------------------------------------------------------------------------

bench::Work OurHandoff() {
   auto queue = std::make_shared<DataBufQueue>();
   if (!queue->Init(kSlots, kFrame, 1, false)) {
      return {};
   }
   return [queue](uint64_t times) {
      SampleMeta meta;
      for (; times > 0; --times, ++meta.mTimeMS) {
         DataBuffer *const slot = queue->GetNextWriteBuf();
         slot->SetLength(kFrame);
         queue->SetWriteSide(&meta, sizeof meta);
         queue->CommitWrite();
         benchmark::DoNotOptimize(queue->IsEmpty());
         benchmark::DoNotOptimize(queue->GetNextReadBuf());
         queue->CommitRead();
      }
   };
}

// The queue's own kind of lock, as a standard mutex.
class OurLock {
public:
   void lock() { mLock.Lock(); }
   void unlock() { mLock.Unlock(); }

private:
   CORE::corecritsec mLock;
};

struct BareSlot {
   uint8_t *data = nullptr;
   int32_t length = 0;
   SampleMeta meta;
};

// Two indices and their wrap flags, and nothing else.
template <typename Lock>
class BareRing {
public:
   BareSlot *ToWrite() {
      const std::lock_guard<Lock> hold(mLock);
      return mRead == mWrite && mReadWrap != mWriteWrap ? nullptr : &mSlots[mWrite];
   }
   void Written() {
      const std::lock_guard<Lock> hold(mLock);
      if (++mWrite == kSlots) {
         mWrite = 0;
         mWriteWrap = !mWriteWrap;
      }
   }
   bool IsEmpty() {
      const std::lock_guard<Lock> hold(mLock);
      return mRead == mWrite && mReadWrap == mWriteWrap;
   }
   BareSlot *ToRead() {
      const std::lock_guard<Lock> hold(mLock);
      return mRead == mWrite && mReadWrap == mWriteWrap ? nullptr : &mSlots[mRead];
   }
   void HaveRead() {
      const std::lock_guard<Lock> hold(mLock);
      mSlots[mRead].length = 0;
      if (++mRead == kSlots) {
         mRead = 0;
         mReadWrap = !mReadWrap;
      }
   }

private:
   Lock mLock;
   std::array<BareSlot, kSlots> mSlots;
   size_t mRead = 0;
   size_t mWrite = 0;
   bool mReadWrap = false;
   bool mWriteWrap = false;
};

template <typename Lock>
bench::Work BareHandoff() {
   auto ring = std::make_shared<BareRing<Lock>>();
   return [ring](uint64_t times) {
      SampleMeta meta;
      for (; times > 0; --times, ++meta.mTimeMS) {
         BareSlot *const slot = ring->ToWrite();
         slot->length = kFrame;
         slot->meta = meta;
         ring->Written();
         benchmark::DoNotOptimize(ring->IsEmpty());
         benchmark::DoNotOptimize(ring->ToRead());
         ring->HaveRead();
      }
   };
}

using BoostRing = boost::lockfree::spsc_queue<BareSlot, boost::lockfree::capacity<kSlots>>;

bench::Work BoostHandoff() {
   auto ring = std::make_shared<BoostRing>();
   return [ring](uint64_t times) {
      BareSlot slot;
      for (; times > 0; --times, ++slot.meta.mTimeMS) {
         slot.length = kFrame;
         ring->push(slot);
         BareSlot read;
         ring->pop(read);
         benchmark::DoNotOptimize(read);
      }
   };
}

// ---- A frame with its copy, the reader asleep on an event -----------------------------------------------------------

// Calls `consume` each time its event is set, until the end. The event is the producer's to signal.
class Reader {
public:
   explicit Reader(bool (*consume)(void *), void *context)
       : mEvent(CreateEvent(nullptr, false, false, nullptr))
       , mThread([this, consume, context] {
          while (!mEnd.load()) {
             WaitForSingleObject(mEvent, INFINITE);
             while (consume(context)) {
                mRead.fetch_add(1);
             }
          }
       }) {}
   ~Reader() {
      mEnd.store(true);
      SetEvent(mEvent);
      mThread.join();
      CloseHandle(mEvent);
   }
   Reader(const Reader &) = delete;
   Reader &operator=(const Reader &) = delete;

   void Signal() { SetEvent(mEvent); }
   [[nodiscard]] uint64_t Read() const { return mRead.load(); }

private:
   std::atomic<bool> mEnd{false};
   std::atomic<uint64_t> mRead{0};
   HANDLE mEvent;
   std::thread mThread;
};

// The frame of a camera: another one each time, as the queue's slots are.
class Frames {
public:
   Frames() {
      for (auto &frame : mFrames) {
         frame.assign(static_cast<size_t>(kFrame), 0x55);
      }
   }
   [[nodiscard]] const uint8_t *Next() { return mFrames[mNext++ % kSlots].data(); }

private:
   std::array<std::vector<uint8_t>, kSlots> mFrames;
   size_t mNext = 0;
};

struct OurFrames {
   Frames frames;
   DataBufQueue queue;
   std::unique_ptr<Reader> reader;

   static bool Consume(void *self) {
      auto &queue = static_cast<OurFrames *>(self)->queue;
      DataBuffer *const slot = queue.GetNextReadBuf();
      benchmark::DoNotOptimize(slot);
      return slot != nullptr && queue.CommitRead();
   }
   void Send() {
      DataBuffer *slot = nullptr;
      while (queue.IsFull() || (slot = queue.GetNextWriteBuf()) == nullptr) {
         std::this_thread::yield();
      }
      const SampleMeta meta;
      (void)slot->Set(frames.Next(), kFrame);
      queue.SetWriteSide(&meta, sizeof meta);
      queue.CommitWrite();
      reader->Signal();
   }
};

bench::Work OurFrame() {
   auto all = std::make_shared<OurFrames>();
   if (!all->queue.Init(kSlots, kFrame, 1, false)) {
      return {};
   }
   all->reader = std::make_unique<Reader>(OurFrames::Consume, all.get());
   return [all](uint64_t times) {
      for (; times > 0; --times) {
         all->Send();
      }
   };
}

struct BoostFrames {
   Frames frames;
   std::array<std::vector<uint8_t>, kSlots> slots;
   size_t next = 0;
   // One less than there are slots: the one that is being filled is not queued.
   boost::lockfree::spsc_queue<const uint8_t *, boost::lockfree::capacity<kSlots - 1>> ring;
   std::unique_ptr<Reader> reader;

   static bool Consume(void *self) {
      const uint8_t *frame = nullptr;
      const bool read = static_cast<BoostFrames *>(self)->ring.pop(frame);
      benchmark::DoNotOptimize(frame);
      return read;
   }
   void Send() {
      while (ring.write_available() == 0) {
         std::this_thread::yield();
      }
      uint8_t *const slot = slots[next++ % kSlots].data();
      std::memcpy(slot, frames.Next(), static_cast<size_t>(kFrame));
      ring.push(slot);
      reader->Signal();
   }
};

bench::Work BoostFrame() {
   auto all = std::make_shared<BoostFrames>();
   for (auto &slot : all->slots) {
      slot.resize(static_cast<size_t>(kFrame));
   }
   all->reader = std::make_unique<Reader>(BoostFrames::Consume, all.get());
   return [all](uint64_t times) {
      for (; times > 0; --times) {
         all->Send();
      }
   };
}

bench::Work BareCopy() {
   auto frames = std::make_shared<Frames>();
   auto slots = std::make_shared<std::array<std::vector<uint8_t>, kSlots>>();
   for (auto &slot : *slots) {
      slot.resize(static_cast<size_t>(kFrame));
   }
   return [frames, slots, next = size_t{0}](uint64_t times) mutable {
      for (; times > 0; --times) {
         uint8_t *const slot = (*slots)[next++ % kSlots].data();
         std::memcpy(slot, frames->Next(), static_cast<size_t>(kFrame));
         benchmark::DoNotOptimize(slot);
         benchmark::ClobberMemory();
      }
   };
}

} // namespace

void QueueRows(bench::Report &report) {
   if (report.Wants("queue.handoff")) {
      report.Run(
         {.name = "queue.handoff",
          .unit = "ns",
          .ours = bench::CpuNanosecondsEach(OurHandoff()),
          .limit = bench::Case{"bare ring, 5 recursive locks", bench::CpuNanosecondsEach(BareHandoff<OurLock>())},
          .peers = {
             {"bare ring, 5 std::recursive_mutex", bench::CpuNanosecondsEach(BareHandoff<std::recursive_mutex>())},
             {"bare ring, 5 std::mutex", bench::CpuNanosecondsEach(BareHandoff<std::mutex>())},
             {"boost spsc", bench::CpuNanosecondsEach(BoostHandoff())}}});
   }
   if (report.Wants("queue.frame720p")) {
      report.Run({.name = "queue.frame720p",
                  .unit = "us",
                  .ours = bench::MicrosecondsEach(OurFrame()),
                  .limit = bench::Case{"memcpy", bench::MicrosecondsEach(BareCopy())},
                  .peers = {{"boost spsc", bench::MicrosecondsEach(BoostFrame())}}});
   }
}
