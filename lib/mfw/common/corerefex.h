#pragma once

#include "lib/mfw/common/coresync.h"

#include "osal/SchedulePoint.h"

#include <atomic>
#include <cstdint>
#include <unordered_map>

namespace CORE {

/// What corerefex<T> keeps for each T: who lives, and who is found by which weak id.
///
/// Owner: corerefex<T>, one constant-initialised object for each T. Threads: any. Locks: the spin word orders the
/// making and the end of lock and map against look-ups; the lock guards the map. The spin word comes first.
struct WeakRegistry {
   using Map = std::unordered_map<uint64_t, void *>;

   /// Holds the spin word; rests a millisecond between two attempts. Not recursive.
   class Spin {
   public:
      explicit Spin(WeakRegistry &registry)
          : mRegistry(registry) {
         while (mRegistry.spinWord.exchange(1, std::memory_order_acquire) != 0) {
            Sleep(1);
         }
      }
      ~Spin() { mRegistry.spinWord.store(0, std::memory_order_release); }
      Spin(const Spin &) = delete;
      Spin &operator=(const Spin &) = delete;

   private:
      WeakRegistry &mRegistry;
   };

   /// Lock and map exist afterwards. Under the spin word, for an instance that is counted.
   void Make();
   /// An id that is neither 0 nor in the map: the counter of draws, then the tick count. Under the lock.
   [[nodiscard]] uint64_t DrawId() MAVR_REQUIRES(lock);
   /// One instance fewer; the last one takes lock and map with it.
   void Leave();

   std::atomic<int64_t> instances{0};
   std::atomic<uint32_t> spinWord{0};
   corecritsec *lock = nullptr;
   Map *objects MAVR_PT_GUARDED_BY(lock) = nullptr;
   uint32_t counter = 0; ///< of the ids drawn so far
};

/// A reference count with weak ids: whoever holds only the id of an object can ask for a reference, and gets none once
/// the object is on its way out. Used as `class Thing : public corerefex<Thing>`.
///
/// Owner: whoever holds a reference, or the scope of an object by value. An object that others may look up ends by its
/// last Release and by nothing else: only that takes it out of the map before its destructors run.
/// Threads: any, all calls. AddRef, GetWeakId and Release need a reference of the caller's own, as with coreref.
/// Locks: per T a spin word, then a recursive lock; nothing else is taken under them, but the AddRef of the object that
/// FindByWeakId has found runs under both.
/// Life cycle: constructed with count 1, which works as that of coreref -> GetWeakId(true) gives an id, and from then
/// on the count is shown only while it lies between 1 and the dead mark less 1, and as 0 otherwise -> the Release of
/// the last reference takes the object out of the map and sets the count to the dead mark, in one hold of the lock,
/// then deletes the object. References taken and given back meanwhile, by its own destructors, count from the mark. The
/// destructor throws coreException("Delete of object with RefCount") when 2 or more references are left.
///
/// How this stays right without a lock round every AddRef: while an id exists the count leaves 1 for the dead mark only
/// under the lock, together with the map entry. So what the map holds is alive, and any other change is one atomic
/// step.
template <typename T>
class corerefex {
public:
   corerefex() { ++sRegistry.instances; }
   corerefex(const corerefex &) = delete;
   corerefex &operator=(const corerefex &) = delete;
   virtual ~corerefex() noexcept(false);

   /// The new count; 0 for an object on its way out.
   virtual int64_t AddRef() { return Shown(mRefCount.fetch_add(1) + 1); }
   /// The new count; at 0 the object is gone.
   virtual int64_t Release();
   /// 0 for an object on its way out.
   virtual int64_t GetRefCount() { return Shown(mRefCount.load()); }

   /// The id for FindByWeakId, made on the first call with `create`; 0 while there is none, and for an object that is
   /// on its way out without one. Throws std::bad_alloc; the object then has no id.
   uint64_t GetWeakId(bool create);
   /// The object, with a reference that is the caller's to release; null when it is gone or `id` was never one.
   [[nodiscard]] static T *FindByWeakId(uint64_t id);

private:
   [[nodiscard]] bool IsAlive(int64_t count) const { return count >= 1 && count < mDeadMark; }
   [[nodiscard]] int64_t Shown(int64_t count) const { return mWeakId.load() == 0 || IsAlive(count) ? count : 0; }
   int64_t ReleaseLast();
   void Forget() MAVR_REQUIRES(sRegistry.lock);

   static constinit inline WeakRegistry sRegistry;

   std::atomic<int64_t> mRefCount{1};
   std::atomic<uint64_t> mWeakId{0};
   const int64_t mDeadMark = 14593280; // 0xDEAD00: far above any count
};

template <typename T>
corerefex<T>::~corerefex() noexcept(false) {
   if (mWeakId.load() != 0) {
      const coresync hold(*sRegistry.lock);
      Forget();
      mWeakId.store(0);
   }
   int64_t count = mRefCount.load();
   if (count >= mDeadMark) {
      count -= mDeadMark;
   }
   sRegistry.Leave();
   if (coreCheckRefCountOnDelete && count >= 2) {
      throw coreException("Delete of object with RefCount");
   }
}

template <typename T>
int64_t corerefex<T>::Release() {
   osal::schedulePoint();
   int64_t shown = 0;
   int64_t count = mRefCount.load();
   do {
      if (count == 1) {
         return ReleaseLast();
      }
      shown = Shown(count - 1); // without the reference the object may be gone
   } while (!mRefCount.compare_exchange_weak(count, count - 1));
   return shown;
}

// The count was 1, so the caller's reference was the only one: no one else can give the object an id now, but an id
// that it has may still be looked up.
template <typename T>
int64_t corerefex<T>::ReleaseLast() {
   if (mWeakId.load() == 0) {
      const int64_t count = --mRefCount;
      if (count == 0) {
         delete this;
      }
      return count;
   }
   {
      const coresync hold(*sRegistry.lock);
      osal::schedulePoint();
      int64_t shown = 0;
      int64_t count = mRefCount.load();
      do {
         shown = Shown(count - 1);
      } while (!mRefCount.compare_exchange_weak(count, count == 1 ? mDeadMark : count - 1));
      if (count != 1) {
         return shown;
      }
      Forget();
   }
   delete this;
   return 0;
}

template <typename T>
uint64_t corerefex<T>::GetWeakId(bool create) {
   if (const uint64_t id = mWeakId.load(); id != 0 || !create) {
      return id;
   }
   // The last instance of before may still be taking lock and map away: under the spin word either they are gone and
   // made again, or that instance will see that this one lives and leave them.
   const WeakRegistry::Spin spin(sRegistry);
   sRegistry.Make();
   const coresync hold(*sRegistry.lock);
   if (mWeakId.load() == 0 && IsAlive(mRefCount.load())) {
      const uint64_t id = sRegistry.DrawId();
      sRegistry.objects->emplace(id, static_cast<T *>(this));
      mWeakId.store(id);
   }
   return mWeakId.load();
}

template <typename T>
T *corerefex<T>::FindByWeakId(uint64_t id) {
   osal::schedulePoint();
   const WeakRegistry::Spin spin(sRegistry);
   if (sRegistry.instances.load() < 1 || sRegistry.objects == nullptr) {
      return nullptr;
   }
   const coresync hold(*sRegistry.lock);
   const auto found = sRegistry.objects->find(id);
   if (found == sRegistry.objects->end()) {
      return nullptr;
   }
   auto *const object = static_cast<T *>(found->second);
   object->AddRef();
   return object;
}

// Takes the object out of the map. Under the lock.
template <typename T>
void corerefex<T>::Forget() {
   sRegistry.objects->erase(mWeakId.load());
}

} // namespace CORE
