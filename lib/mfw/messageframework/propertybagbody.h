#pragma once

#include "lib/mfw/common/corestring.h"
#include "lib/mfw/messageframework/propertybagname.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

/// What stands behind a PropertyBag: counted entries in a counted body. For those who write bags; users of bags read
/// propertybag.h.
namespace CORE {

class PropertyBagBody;
class PropertyBagEntry;

/// Gives back a counted object in place of deleting it.
struct GiveUpReference {
   template <class Counted>
   void operator()(Counted *counted) const {
      counted->Release();
   }
};
/// One reference.
using PropertyBagBodyRef = std::unique_ptr<PropertyBagBody, GiveUpReference>;
using PropertyBagEntryRef = std::unique_ptr<PropertyBagEntry, GiveUpReference>;

/// A name with a text, with bytes, or with a bag.
///
/// Owner: the body, and whoever took a reference. Threads and locks: those of the body. Life cycle: from Create, with
/// one reference, to the last Release.
class PropertyBagEntry {
public:
   /// Takes over the texts. Without memory it throws and has changed neither.
   [[nodiscard]] static PropertyBagEntryRef Create(corestring &&name, corestring &&value);
   [[nodiscard]] static PropertyBagEntryRef Create(const PropertyBagName &name, corestring &&value);
   [[nodiscard]] static PropertyBagEntryRef Create(corestring &&name, PropertyBagBodyRef bag);

   int64_t AddRef() { return mRefCount.fetch_add(1) + 1; }
   int64_t Release();

   [[nodiscard]] const corestring &Name() const { return mName; }
   [[nodiscard]] PropertyBagName Key() const { return {{mName.Text(), mName.Length()}, mNameHead}; }
   [[nodiscard]] bool HasName(const PropertyBagName &name) const {
      return mNameHead == name.Head() && name.SameBehindHead({mName.Text(), mName.Length()});
   }
   [[nodiscard]] const corestring &Value() const { return mValue; } ///< empty for a bag
   [[nodiscard]] std::string_view ValueText() const { return {mValue.Text(), mValue.Length()}; }
   [[nodiscard]] PropertyBagBody *Bag() const { return mBag.get(); } ///< null for anything else
   [[nodiscard]] bool IsBag() const { return mBag != nullptr; }
   [[nodiscard]] bool IsBinary() const { return mBag == nullptr && mValue.BinarySize() != 0; }

   /// In the place of what it held, whatever that was.
   void SetValue(corestring &&value);
   void SetBag(PropertyBagBodyRef bag);
   /// Writes zeros over the bytes of name and value.
   void Wipe();

private:
   friend class PropertyBagBody;

   PropertyBagEntry(corestring &&name, uint64_t nameHead, corestring &&value, PropertyBagBodyRef bag)
       : mNameHead(nameHead)
       , mName(std::move(name))
       , mValue(std::move(value))
       , mBag(std::move(bag)) {}
   ~PropertyBagEntry() = default;

   std::atomic<int64_t> mRefCount{1};
   uint64_t mNameHead;
   corestring mName;
   corestring mValue;
   PropertyBagBodyRef mBag;
};

/// The entries that all handles of one bag share, in the order of insertion.
///
/// Bodies form no cycle: ShareOrCopy sees to that. Whatever walks into bags within bags, destruction included, does so
/// in a loop, so that no depth of them overflows a stack; destruction takes no memory.
/// Owner: handles and entries, by reference. Threads: the counts are atomic, nothing else is; a body that several
/// threads see must not be changed while another reads it. Locks: none. Life cycle: from Create, with one reference, to
/// the last Release.
/// Out of memory is an exception (std::bad_alloc or coreException), and then nothing has changed.
class PropertyBagBody {
public:
   static constexpr size_t kNone = SIZE_MAX;

   [[nodiscard]] static PropertyBagBodyRef Create() { return PropertyBagBodyRef(new PropertyBagBody); }

   int64_t AddRef() { return mRefCount.fetch_add(1) + 1; }
   int64_t Release();
   [[nodiscard]] bool IsShared() const { return mRefCount.load() > 1; }
   /// One more reference.
   [[nodiscard]] PropertyBagBodyRef Share() {
      AddRef();
      return PropertyBagBodyRef(this);
   }

   [[nodiscard]] size_t Count() const { return mEntries.size(); }
   /// coreException("PropertyBag: index is out of range") when it is not below the count.
   [[nodiscard]] PropertyBagEntry &At(size_t index) const;
   /// The first with that name from `start` on; kNone without one.
   [[nodiscard]] size_t IndexOf(const PropertyBagName &name, size_t start = 0) const {
      for (size_t index = start; index < mEntries.size(); ++index) {
         if (mEntries[index]->HasName(name)) {
            return index;
         }
      }
      return kNone;
   }
   /// The entry there; null without one.
   [[nodiscard]] PropertyBagEntry *Find(const PropertyBagName &name) const {
      const size_t index = IndexOf(name);
      return index != kNone ? mEntries[index].get() : nullptr;
   }
   /// The index behind the first bag with that name from `start` on; 0 without one.
   [[nodiscard]] size_t NextBag(const PropertyBagName &name, size_t start) const;

   void Append(PropertyBagEntryRef entry);
   void Prepend(PropertyBagEntryRef entry);
   /// Puts other entries in the place of all.
   void Replace(std::vector<PropertyBagEntryRef> entries) noexcept;
   [[nodiscard]] std::vector<PropertyBagEntryRef> TakeEntries() noexcept { return std::exchange(mEntries, {}); }
   void RemoveAt(size_t index);
   /// The first match, or every one; `secure` wipes each before it goes. `name` may be that of an entry here.
   void Remove(const PropertyBagName &name, bool all, bool secure);

   /// A new body with new entries, all the way down.
   [[nodiscard]] PropertyBagBodyRef DeepCopy() const;
   /// `bag` itself for an entry of this body, with one reference more; a deep copy where sharing would put this body
   /// into itself.
   [[nodiscard]] PropertyBagBodyRef ShareOrCopy(PropertyBagBody &bag) const;
   /// The entries that a deep copy has.
   [[nodiscard]] std::vector<PropertyBagEntryRef> CopyOfEntries() const;

   /// As PropertyBag::Equals.
   [[nodiscard]] bool Equals(const PropertyBagBody &other, bool caseSensitive, bool ordered) const;

private:
   using Entries = std::vector<PropertyBagEntryRef>;

   PropertyBagBody() = default;
   ~PropertyBagBody() = default;
   void MakeRoom();
   [[nodiscard]] bool Reaches(const PropertyBagBody &wanted) const;

   std::atomic<int64_t> mRefCount{1};
   Entries mEntries;
   PropertyBagBody *mNextDoomed = nullptr; // links bodies whose count is 0, while they go
};

} // namespace CORE
