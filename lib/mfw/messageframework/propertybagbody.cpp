#include "lib/mfw/messageframework/propertybagbody.h"

#include "lib/mfw/common/coreException.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace CORE {
namespace {

constexpr size_t kFirstRoom = 8; // entries; most bags have fewer

// True for the one who holds the last reference. Its holder needs no atomic write to learn that.
bool DropReference(std::atomic<int64_t> &count, int64_t &left) {
   left = count.load() == 1 ? 0 : count.fetch_sub(1) - 1;
   return left == 0;
}

uint64_t HeadOf(const corestring &name) {
   return PropertyBagName(std::string_view(name.Text(), name.Length())).Head();
}

void WriteZeros(char *bytes, size_t size) {
   volatile char *const target = bytes; // or the compiler sees that nobody reads them any more
   for (size_t at = 0; at < size; ++at) {
      target[at] = 0;
   }
}

} // namespace

// ---- Entries --------------------------------------------------------------------------------------------------------

PropertyBagEntryRef PropertyBagEntry::Create(corestring &&name, corestring &&value) {
   const uint64_t head = HeadOf(name);
   return PropertyBagEntryRef(new PropertyBagEntry(std::move(name), head, std::move(value), nullptr));
}

PropertyBagEntryRef PropertyBagEntry::Create(const PropertyBagName &name, corestring &&value) {
   corestring text(name.Text().data(), name.Text().size());
   return PropertyBagEntryRef(new PropertyBagEntry(std::move(text), name.Head(), std::move(value), nullptr));
}

PropertyBagEntryRef PropertyBagEntry::Create(corestring &&name, PropertyBagBodyRef bag) {
   const uint64_t head = HeadOf(name);
   return PropertyBagEntryRef(new PropertyBagEntry(std::move(name), head, corestring(), std::move(bag)));
}

int64_t PropertyBagEntry::Release() {
   int64_t left = 0;
   if (DropReference(mRefCount, left)) {
      delete this;
   }
   return left;
}

void PropertyBagEntry::SetValue(corestring &&value) {
   mValue = std::move(value);
   mBag = nullptr;
}

void PropertyBagEntry::SetBag(PropertyBagBodyRef bag) {
   mValue = corestring();
   mBag = std::move(bag);
}

void PropertyBagEntry::Wipe() {
   WriteZeros(reinterpret_cast<char *>(&mNameHead), sizeof mNameHead);
   WriteZeros(mName.Data(), mName.Length());
   WriteZeros(mValue.Data(), mValue.Length());
}

// ---- The body -------------------------------------------------------------------------------------------------------

int64_t PropertyBagBody::Release() {
   int64_t left = 0;
   if (!DropReference(mRefCount, left)) {
      return left;
   }
   for (PropertyBagBody *doomed = this; doomed != nullptr;) {
      PropertyBagBody *const body = std::exchange(doomed, doomed->mNextDoomed);
      for (const PropertyBagEntryRef &entry : body->mEntries) {
         if (entry->mRefCount.load() != 1) {
            continue; // somebody else holds the entry, and with it the bag
         }
         PropertyBagBody *const bag = entry->mBag.release();
         int64_t others = 0;
         if (bag != nullptr && DropReference(bag->mRefCount, others)) {
            bag->mNextDoomed = std::exchange(doomed, bag);
         }
      }
      delete body;
   }
   return left;
}

PropertyBagEntry &PropertyBagBody::At(size_t index) const {
   if (index >= mEntries.size()) {
      throw coreException("PropertyBag: index is out of range");
   }
   return *mEntries[index];
}

size_t PropertyBagBody::NextBag(const PropertyBagName &name, size_t start) const {
   for (size_t index = IndexOf(name, start); index != kNone; index = IndexOf(name, index + 1)) {
      if (mEntries[index]->IsBag()) {
         return index + 1;
      }
   }
   return 0;
}

void PropertyBagBody::MakeRoom() {
   if (mEntries.capacity() == 0) {
      mEntries.reserve(kFirstRoom);
   }
}

void PropertyBagBody::Append(PropertyBagEntryRef entry) {
   MakeRoom();
   mEntries.push_back(std::move(entry));
}

void PropertyBagBody::Prepend(PropertyBagEntryRef entry) {
   MakeRoom();
   mEntries.insert(mEntries.begin(), std::move(entry));
}

void PropertyBagBody::Replace(Entries entries) noexcept {
   mEntries.swap(entries);
}

void PropertyBagBody::RemoveAt(size_t index) {
   static_cast<void>(At(index));
   const auto place = mEntries.begin() + static_cast<ptrdiff_t>(index);
   const PropertyBagEntryRef removed = std::move(*place);
   mEntries.erase(place);
}

void PropertyBagBody::Remove(const PropertyBagName &name, bool all, bool secure) {
   const auto goes = [&](const PropertyBagEntryRef &entry) {
      return entry->HasName(name);
   };
   const auto first = std::find_if(mEntries.begin(), mEntries.end(), goes);
   if (first == mEntries.end()) {
      return;
   }
   // What stays moves up in its order, and what goes behind it: none may go before all are found, for `name` may be
   // theirs.
   auto keep = first;
   for (auto at = first + 1; at != mEntries.end(); ++at) {
      if (!all || !goes(*at)) {
         std::swap(*keep++, *at);
      }
   }
   if (secure) {
      std::for_each(keep, mEntries.end(), [](const PropertyBagEntryRef &entry) { entry->Wipe(); });
   }
   mEntries.erase(keep, mEntries.end());
}

PropertyBagBodyRef PropertyBagBody::DeepCopy() const {
   PropertyBagBodyRef copy = Create();
   copy->mEntries = CopyOfEntries();
   return copy;
}

std::vector<PropertyBagEntryRef> PropertyBagBody::CopyOfEntries() const {
   struct Work {
      const PropertyBagBody *from;
      Entries *to;
   };
   Entries copies;
   std::vector<Work> work{{this, &copies}};
   while (!work.empty()) {
      const auto [from, to] = work.back();
      work.pop_back();
      to->reserve(from->mEntries.size());
      for (const PropertyBagEntryRef &entry : from->mEntries) {
         corestring name = entry->mName;
         if (!entry->IsBag()) {
            corestring value = entry->mValue;
            to->push_back(PropertyBagEntry::Create(std::move(name), std::move(value)));
            continue;
         }
         PropertyBagBodyRef bag = Create();
         work.push_back({entry->Bag(), &bag->mEntries});
         to->push_back(PropertyBagEntry::Create(std::move(name), std::move(bag)));
      }
   }
   return copies;
}

bool PropertyBagBody::Reaches(const PropertyBagBody &wanted) const {
   std::vector<const PropertyBagBody *> work{this};
   std::unordered_set<const PropertyBagBody *> seen{this};
   while (!work.empty()) {
      const PropertyBagBody *const body = work.back();
      work.pop_back();
      if (body == &wanted) {
         return true;
      }
      for (const PropertyBagEntryRef &entry : body->mEntries) {
         if (entry->IsBag() && seen.insert(entry->Bag()).second) {
            work.push_back(entry->Bag());
         }
      }
   }
   return false;
}

PropertyBagBodyRef PropertyBagBody::ShareOrCopy(PropertyBagBody &bag) const {
   // A body with a single reference, which is the caller's handle, lies in no bag: it need not be looked for.
   const bool wouldHoldItself = &bag == this || (IsShared() && bag.Reaches(*this));
   return wouldHoldItself ? bag.DeepCopy() : bag.Share();
}

} // namespace CORE
