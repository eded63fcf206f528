// How two bodies compare: a list of pairs of bodies that are still to be compared, in the place of recursion.

#include "lib/mfw/messageframework/propertybagbody.h"
#include "lib/mfw/messageframework/propertybagnumber.h"

#include <cstring>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

namespace CORE {
namespace {

constexpr size_t kWorthAnIndex = 32; // entries from which a hash of the names beats looking through them

// strncasecmp of the C library, but for ASCII alone: up to the first zero.
bool SameText(const corestring &left, const corestring &right, bool caseSensitive) {
   if (left.Length() != right.Length()) {
      return false;
   }
   if (caseSensitive) {
      return std::strncmp(left.Text(), right.Text(), left.Length()) == 0;
   }
   return bagnumber::EqualFolded(left.Text(), right.Text());
}

bool SameValue(const PropertyBagEntry &left, const PropertyBagEntry &right, bool caseSensitive) {
   if (left.IsBinary() != right.IsBinary()) {
      return false;
   }
   if (!left.IsBinary()) {
      return SameText(left.Value(), right.Value(), caseSensitive);
   }
   const uint32_t size = left.Value().BinarySize();
   return size == right.Value().BinarySize() && std::memcmp(left.Value().Text(), right.Value().Text(), size) == 0;
}

// Finds in a body the entry that one of another body is to be compared with; null without one.
class Partners {
public:
   Partners(const PropertyBagBody &body, bool ordered)
       : mBody(body)
       , mOrdered(ordered) {
      if (ordered || body.Count() < kWorthAnIndex) {
         return;
      }
      mFirstOfName.reserve(body.Count());
      for (size_t index = 0; index < body.Count(); ++index) {
         mFirstOfName.try_emplace(body.At(index).Key(), &body.At(index));
      }
   }

   [[nodiscard]] const PropertyBagEntry *Of(const PropertyBagEntry &entry, size_t index) const {
      if (mOrdered) {
         const PropertyBagEntry &partner = mBody.At(index);
         return partner.HasName(entry.Key()) ? &partner : nullptr;
      }
      if (mFirstOfName.empty()) {
         return mBody.Find(entry.Key());
      }
      const auto found = mFirstOfName.find(entry.Key());
      return found != mFirstOfName.end() ? found->second : nullptr;
   }

private:
   struct Hash {
      size_t operator()(const PropertyBagName &name) const {
         uint64_t hash = 0xCBF29CE484222325; // FNV-1a
         for (const char byte : name.Text()) {
            hash = (hash ^ static_cast<unsigned char>(bagnumber::Folded(byte))) * 0x100000001B3;
         }
         return hash;
      }
   };

   const PropertyBagBody &mBody;
   const bool mOrdered;
   std::unordered_map<PropertyBagName, const PropertyBagEntry *, Hash> mFirstOfName;
};

using Pair = std::pair<const PropertyBagBody *, const PropertyBagBody *>;

// The pairs of bodies that are still to be compared, each once, however many ways through shared bags lead to it.
class Work {
public:
   void Add(const PropertyBagBody *left, const PropertyBagBody *right) {
      if ((!left->IsShared() && !right->IsShared()) || mSeen.emplace(left, right).second) {
         mPairs.emplace_back(left, right);
      }
   }
   [[nodiscard]] bool IsDone() const { return mPairs.empty(); }
   [[nodiscard]] Pair Take() {
      const Pair pair = mPairs.back();
      mPairs.pop_back();
      return pair;
   }

private:
   std::vector<Pair> mPairs;
   std::set<Pair> mSeen; // of those in which a body is shared
};

// Compares the two bodies but for the bags in them, which it adds to `work`.
bool SameButForBags(const Pair &bodies, bool caseSensitive, bool ordered, Work &work) {
   const auto &[left, right] = bodies;
   if (left->Count() != right->Count()) {
      return false;
   }
   const Partners partners(*right, ordered);
   for (size_t index = 0; index < left->Count(); ++index) {
      const PropertyBagEntry &entry = left->At(index);
      const PropertyBagEntry *const partner = partners.Of(entry, index);
      if (partner == nullptr || partner->IsBag() != entry.IsBag()) {
         return false;
      }
      if (entry.IsBag()) {
         work.Add(entry.Bag(), partner->Bag());
      } else if (!SameValue(entry, *partner, caseSensitive)) {
         return false;
      }
   }
   return true;
}

} // namespace

bool PropertyBagBody::Equals(const PropertyBagBody &other, bool caseSensitive, bool ordered) const {
   Work work;
   Pair next{this, &other};
   while (SameButForBags(next, caseSensitive, ordered, work)) {
      if (work.IsDone()) {
         return true;
      }
      next = work.Take();
   }
   return false;
}

} // namespace CORE
