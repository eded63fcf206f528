// Operations on three bags that share bodies, against a model of shared vectors that is too simple to be wrong.

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/messageframework/propertybag.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <strings.h>
#include <vector>

namespace {

using CORE::PropertyBag;

constexpr size_t kHandles = 3;
constexpr size_t kLargest = 300;   // entries of what is put together, all the way down; more is only slow
constexpr size_t kTooLarge = 3000; // entries in all, where a shared bag has grown under others

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// ---- The model ------------------------------------------------------------------------------------------------------

struct Entry;
using Body = std::vector<Entry>;
using BodyPointer = std::shared_ptr<Body>;

struct Entry {
   std::string name;
   std::string value;
   bool binary = false;
   BodyPointer bag = nullptr;
};

bool SameName(const std::string &left, const std::string &right) {
   return strcasecmp(left.c_str(), right.c_str()) == 0;
}

BodyPointer Copied(const Body &body) {
   auto copy = std::make_shared<Body>(body);
   for (Entry &entry : *copy) {
      entry.bag = entry.bag != nullptr ? Copied(*entry.bag) : nullptr;
   }
   return copy;
}

size_t SizeOf(const Body &body) {
   size_t size = body.size();
   for (const Entry &entry : body) {
      size += entry.bag != nullptr ? SizeOf(*entry.bag) : 0;
   }
   return size;
}

bool Holds(const BodyPointer &body, const BodyPointer &wanted) {
   return body == wanted || std::any_of(body->begin(), body->end(), [&](const Entry &entry) {
             return entry.bag != nullptr && Holds(entry.bag, wanted);
          });
}

bool Equal(const Body &left, const Body &right, bool caseSensitive, bool ordered) {
   if (left.size() != right.size()) {
      return false;
   }
   for (size_t at = 0; at < left.size(); ++at) {
      const auto partner = ordered ? right.begin() + static_cast<ptrdiff_t>(at)
                                   : std::find_if(right.begin(), right.end(), [&](const Entry &entry) {
                                        return SameName(entry.name, left[at].name);
                                     });
      if (partner == right.end() || !SameName(partner->name, left[at].name) || partner->binary != left[at].binary ||
          (partner->bag == nullptr) != (left[at].bag == nullptr)) {
         return false;
      }
      const bool same = left[at].bag != nullptr            ? Equal(*left[at].bag, *partner->bag, caseSensitive, ordered)
                        : left[at].binary || caseSensitive ? left[at].value == partner->value
                                                           : SameName(left[at].value, partner->value);
      if (!same) {
         return false;
      }
   }
   return true;
}

void RequireSame(const PropertyBag &bag, const Body &model) {
   Require(bag.GetCount() == model.size());
   for (size_t at = 0; at < model.size(); ++at) {
      const Entry &entry = model[at];
      Require(bag.GetNameTextAt(at) == entry.name);
      Require(bag.IsBagAt(at) == (entry.bag != nullptr));
      Require(bag.IsBinaryAt(at) == entry.binary);
      if (entry.bag != nullptr) {
         RequireSame(bag.GetBagAt(at), *entry.bag);
         continue;
      }
      const CORE::corestring value = bag.GetStringAt(at);
      Require(std::string_view(value.Text(), value.Length()) == entry.value);
   }
}

// ---- What the bytes say ---------------------------------------------------------------------------------------------

class Script {
public:
   Script(const uint8_t *data, size_t size)
       : mBytes(reinterpret_cast<const char *>(data), size) {}
   [[nodiscard]] bool IsOver() const { return mBytes.empty(); }
   size_t Below(size_t limit) {
      const size_t byte = IsOver() ? 0 : static_cast<unsigned char>(mBytes[0]);
      mBytes.remove_prefix(IsOver() ? 0 : 1);
      return byte % limit;
   }
   bool Flag() { return Below(2) == 1; }
   const char *Name() {
      static constexpr const char *kNames[] = {"a", "A", "b", "state", "STATE", "a longer name", "A longer Name", ""};
      return kNames[Below(std::size(kNames))];
   }
   // Without zeros.
   std::string Text() {
      const size_t size = std::min(Below(8), mBytes.size());
      std::string text(mBytes.substr(0, size));
      mBytes.remove_prefix(size);
      std::replace(text.begin(), text.end(), '\0', '0');
      return text;
   }

private:
   std::string_view mBytes;
};

// ---- Both side by side ----------------------------------------------------------------------------------------------

class Pairs {
public:
   void Step(Script &script) {
      const size_t operation = script.Below(20);
      const size_t at = script.Below(kHandles);
      PropertyBag &bag = mBags[at];
      BodyPointer &model = mModels[at];
      if (operation < 8) {
         Write(operation, script, bag, *model);
      } else if (operation < 13) {
         Share(operation, script, bag, model);
      } else if (operation < 17) {
         PutBag(operation, script, bag, model);
      } else {
         Read(script, bag, *model);
      }
      RequireSame(bag, *model);
   }

   [[nodiscard]] bool AreTooLarge() const {
      return SizeOf(*mModels[0]) + SizeOf(*mModels[1]) + SizeOf(*mModels[2]) > kTooLarge;
   }

   void Finish() {
      for (size_t at = 0; at < kHandles; ++at) {
         RequireSame(mBags[at], *mModels[at]);
         RequireSame(PropertyBag(mBags[at]), *mModels[at]);
         for (size_t other = 0; other < kHandles; ++other) {
            for (const bool caseSensitive : {false, true}) {
               for (const bool ordered : {false, true}) {
                  Require(mBags[at].Equals(mBags[other], caseSensitive, ordered) ==
                          Equal(*mModels[at], *mModels[other], caseSensitive, ordered));
               }
            }
         }
      }
   }

private:
   static Body::iterator Find(Body &body, const std::string &name) {
      return std::find_if(body.begin(), body.end(), [&](const Entry &entry) { return SameName(entry.name, name); });
   }

   static void Put(Body &body, const Entry &entry, bool first = false) {
      if (const auto found = Find(body, entry.name); found != body.end()) {
         const std::string name = found->name;
         *found = entry;
         found->name = name;
      } else {
         body.insert(first ? body.begin() : body.end(), entry);
      }
   }

   static void RemoveFrom(Body &body, const std::string &name, bool all) {
      for (auto found = Find(body, name); found != body.end(); found = Find(body, name)) {
         body.erase(found);
         if (!all) {
            return;
         }
      }
   }

   static void Write(size_t operation, Script &script, PropertyBag &bag, Body &model) {
      const std::string name = script.Name();
      const std::string text = script.Text();
      const bool flag = script.Flag();
      switch (operation) {
      case 0:
         bag.Add(name.c_str(), text.c_str());
         model.push_back({name, text});
         break;
      case 1:
         flag ? bag.AddBinary(name.c_str(), text.data(), text.size())
              : bag.SetBinary(name.c_str(), text.data(), text.size());
         flag ? model.push_back({name, text, !text.empty()}) : Put(model, {name, text, !text.empty()});
         break;
      case 2:
         bag.Set(name.c_str(), text.c_str());
         Put(model, {name, text});
         break;
      case 3:
         bag.SetFirst(name.c_str(), text.c_str());
         Put(model, {name, text}, true);
         break;
      case 4:
         bag.SetInt(name.c_str(), static_cast<int32_t>(text.size()) - 3);
         Put(model, {name, std::to_string(static_cast<int32_t>(text.size()) - 3)});
         break;
      case 5:
         if (const auto found = Find(model, name); found == model.end()) {
            model.push_back({name, "1"});
         } else if (found->bag == nullptr && !found->binary) {
            const auto value = static_cast<uint64_t>(std::strtoll(found->value.c_str(), nullptr, 0));
            found->value = std::to_string(static_cast<int64_t>(value + 1));
         }
         bag.Increment(name.c_str());
         break;
      case 6:
         script.Flag() ? bag.RemoveSecure(name.c_str(), flag) : bag.Remove(name.c_str(), flag);
         RemoveFrom(model, name, flag);
         break;
      default:
         RemoveAt(bag, model, text.size());
         break;
      }
   }

   static void RemoveAt(PropertyBag &bag, Body &model, size_t index) {
      bool removed = true;
      try {
         bag.RemoveAt(index);
      } catch (const CORE::coreException &error) {
         Require(std::strcmp(error.Message(), "PropertyBag: index is out of range") == 0);
         removed = false;
      }
      Require(removed == (index < model.size()));
      if (removed) {
         model.erase(model.begin() + static_cast<ptrdiff_t>(index));
      }
   }

   void Share(size_t operation, Script &script, PropertyBag &bag, BodyPointer &model) {
      const size_t other = script.Below(kHandles);
      const std::string name = script.Name();
      const BodyPointer source = mModels[other];
      if (operation == 8) {
         bag.Share(mBags[other]);
         model = source;
      } else if (operation == 9) {
         bag.Share(mBags[other], name.c_str());
         const auto found = Find(*source, name);
         model = name.empty()                                      ? source
                 : found != source->end() && found->bag != nullptr ? BodyPointer(found->bag)
                                                                   : std::make_shared<Body>();
      } else if (operation == 10) {
         bag.Assign(mBags[other]);
         *model = Body(*Copied(*source));
      } else if (operation == 11) {
         const bool keep = script.Flag();
         bag.Detach(keep);
         const bool shared = model.use_count() > 1 + (source == model ? 1 : 0);
         if (shared) {
            model = keep ? Copied(*model) : std::make_shared<Body>();
         } else if (!keep) {
            model->clear();
         }
      } else {
         bag.Clear();
         model->clear();
      }
   }

   void PutBag(size_t operation, Script &script, PropertyBag &bag, BodyPointer &model) {
      const size_t other = script.Below(kHandles);
      const std::string name = script.Name();
      if (SizeOf(*model) + SizeOf(*mModels[other]) > kLargest) {
         return;
      }
      const bool deep = operation % 2 == 0;
      const BodyPointer source = mModels[other];
      const Entry entry{name, "", false, deep || Holds(source, model) ? Copied(*source) : source};
      if (operation < 15) {
         bag.AddBag(name.c_str(), mBags[other], deep);
         model->push_back(entry);
      } else {
         bag.SetBag(name.c_str(), mBags[other], deep);
         Put(*model, entry);
      }
   }

   static void Read(Script &script, PropertyBag &bag, Body &model) {
      const std::string name = script.Name();
      const auto found = Find(model, name);
      const bool has = found != model.end();
      Require(bag.Has(name.c_str()) == has);
      Require(bag.IsBag(name.c_str()) == (has && found->bag != nullptr));
      Require(bag.IsBinary(name.c_str()) == (has && found->binary));
      size_t next = 0;
      CORE::corestring value;
      for (size_t at = 0; at < model.size(); ++at) {
         if (SameName(model[at].name, name)) {
            next = bag.FindNext(name.c_str(), value, next);
            Require(next == at + 1);
            Require(std::string_view(value.Text(), value.Length()) == model[at].value);
         }
      }
      Require(bag.FindNext(name.c_str(), value, next) == 0);
      PropertyBag inner;
      next = 0;
      for (size_t at = 0; at < model.size(); ++at) {
         if (model[at].bag != nullptr && SameName(model[at].name, name)) {
            next = bag.FindNextBag(name.c_str(), inner, next);
            Require(next == at + 1);
            RequireSame(inner, *model[at].bag);
         }
      }
      Require(bag.FindNextBag(name.c_str(), inner, next) == 0);
   }

   std::array<PropertyBag, kHandles> mBags;
   std::array<BodyPointer, kHandles> mModels = {std::make_shared<Body>(), std::make_shared<Body>(),
                                                std::make_shared<Body>()};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   Script script(data, std::min<size_t>(size, 2000));
   Pairs pairs;
   while (!script.IsOver() && !pairs.AreTooLarge()) {
      pairs.Step(script);
   }
   pairs.Finish();
   return 0;
}
