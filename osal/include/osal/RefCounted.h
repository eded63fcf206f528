#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace osal {

/// Base of the platform objects that are passed from thread to thread by reference: made with one reference.
///
/// Threads: retain and release from any thread. Life cycle: the release of the last reference calls disposed(), on the
/// thread that releases; a pooled object overrides it and goes back to its pool instead of being deleted.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): only the last reference deletes it
class RefCounted {
public:
   RefCounted() = default;
   RefCounted(const RefCounted &) = delete;
   RefCounted &operator=(const RefCounted &) = delete;

   void retain() const { mReferences.fetch_add(1, std::memory_order_relaxed); }
   void release() const {
      if (mReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) {
         const_cast<RefCounted *>(this)->disposed();
      }
   }

protected:
   virtual ~RefCounted() = default;
   virtual void disposed() { delete this; }
   /// For a pool that hands the object out again: one reference, as after construction.
   void revive() { mReferences.store(1, std::memory_order_relaxed); }

private:
   mutable std::atomic<int32_t> mReferences{1};
};

/// One reference to a T, or none.
template <typename T>
class Ref {
public:
   Ref() = default;
   /// Takes over the reference that the caller owns, as after construction.
   static Ref adopt(T *object) {
      Ref ref;
      ref.mObject = object;
      return ref;
   }
   /// A reference of its own.
   explicit Ref(T *object)
       : mObject(object) {
      if (mObject != nullptr) {
         mObject->retain();
      }
   }
   Ref(const Ref &other)
       : Ref(other.mObject) {}
   Ref(Ref &&other) noexcept
       : mObject(std::exchange(other.mObject, nullptr)) {}
   Ref &operator=(Ref other) noexcept {
      std::swap(mObject, other.mObject);
      return *this;
   }
   ~Ref() {
      if (mObject != nullptr) {
         mObject->release();
      }
   }

   [[nodiscard]] T *get() const { return mObject; }
   T *operator->() const { return mObject; }
   T &operator*() const { return *mObject; }
   explicit operator bool() const { return mObject != nullptr; }

private:
   T *mObject = nullptr;
};

} // namespace osal
