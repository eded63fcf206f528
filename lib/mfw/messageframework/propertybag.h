#pragma once

#include "lib/mfw/common/coreref.h"
#include "lib/mfw/common/corestring.h"
#include "lib/mfw/messageframework/propertybagbody.h"

#include <cstddef>
#include <cstdint>

namespace CORE {

/// The general value of the message layer: an ordered list of named entries, each a text, a block of bytes, or another
/// bag. Numbers and truth values are texts that the accessors read. docs/property-bag.md tells more about use.
///
/// A bag object is a handle on a body that holds the entries. Handles that share a body see each other's changes:
///
///     CORE::PropertyBag channel("name=audio", "prio=5", nullptr);
///     CORE::PropertyBag copy(channel);                 // deep: a body of its own
///     CORE::PropertyBag view;
///     view.Share(channel);                             // the same body
///     channel.SetInt("prio", 6);                       // view says 6, copy says 5
///     CORE::PropertyBag peer;
///     peer.SetBag("channel", channel, false);          // the entry shares that body too
///     peer.GetBag("channel").Set("state", "open");     // a view of the entry: channel has the state now
///     view.Detach(true);                               // view has a body of its own again, with the same entries
///
/// Names need not be unique; a look-up takes the first entry whose name has the same bytes, but for the case of ASCII
/// letters. A null name is the empty name, a null text the empty text, where `name` and `text` are const char *.
/// An index counts entries from 0.
///
/// Owner: the scope of an object by value; for a bag "allocated for the caller" the caller, who ends it with Release
/// (its reference count is 1). Threads: handles may be made, shared and given up by any thread; nothing else is
/// guarded: a body that several threads see must not be changed while another reads it, and one handle serves one
/// thread at a time. Locks: none.
/// Life cycle: a bag lives while its count is above 0 or its scope lasts; a body while a handle or an entry holds it.
///
/// Failures are coreException with the texts named below, and then nothing has changed. Out of memory is an exception
/// as well (std::bad_alloc, or coreException "OutOfMem"); the bag is then as it was.
/// No bag holds itself: where a bag is put, not deep, into one that it holds or is, it is deep-copied instead.
/// Bags may be nested to any depth.
class PropertyBag : public coreref {
public:
   // ---- Construction and assignment ----

   PropertyBag();
   /// Shares the body; null is a new empty one.
   explicit PropertyBag(PropertyBagBody *body);
   /// Deep. There is no move: a moved-from handle would have no body.
   PropertyBag(const PropertyBag &other);
   /// From texts "name=value" up to a null; a text without a sign is a name with an empty value. Duplicates stay.
   explicit PropertyBag(const char *first, ...) __attribute__((sentinel));
   ~PropertyBag() override;

   /// Puts deep copies of the other's entries in the place of those here, for everyone who shares this body.
   void Assign(const PropertyBag &other);
   PropertyBag &operator=(const PropertyBag &other) {
      Assign(other);
      return *this;
   }
   /// Gives up the present body and shares the other's.
   void Share(const PropertyBag &other);
   /// The body of the bag entry with that name in `other`; a new empty body when there is none or it is no bag. As
   /// Share(other) for an empty name.
   void Share(const PropertyBag &other, const char *name);
   /// For a body that others share: gives it up for a new one, which gets deep copies of its entries with `keep`, and
   /// is empty without. A body of this bag alone is kept as it is with `keep`, and cleared without.
   void Detach(bool keep);
   void Clear();

   /// The same entries. Unordered, each entry here is compared with the other's first of that name: with duplicate
   /// names two bags can be equal in one direction only, and a bag can differ from itself. Names compare without case
   /// in any event, values by `caseSensitive`; bags within by the same rules; bytes with bytes only.
   [[nodiscard]] bool Equals(const PropertyBag &other, bool caseSensitive, bool ordered) const;
   /// Equals(other, false, false).
   [[nodiscard]] bool operator==(const PropertyBag &other) const { return Equals(other, false, false); }
   [[nodiscard]] bool operator!=(const PropertyBag &other) const { return !Equals(other, false, false); }

   // ---- Reading. Every index that is not below the count: "PropertyBag: index is out of range" ----

   [[nodiscard]] size_t GetCount() const { return mBody->Count(); }
   [[nodiscard]] bool Has(const char *name) const;
   [[nodiscard]] bool IsBag(const char *name) const; ///< false when missing
   [[nodiscard]] bool IsBagAt(size_t index) const;
   /// Whether it holds bytes, and more than 0 of them.
   [[nodiscard]] bool IsBinary(const char *name) const;
   [[nodiscard]] bool IsBinaryAt(size_t index) const;
   [[nodiscard]] corestring GetNameAt(size_t index) const;
   [[nodiscard]] const char *GetNameTextAt(size_t index) const; ///< valid while the entry is

   /// The value, also that of a binary entry, mark included; the default when missing or a bag.
   [[nodiscard]] corestring GetString(const char *name, const corestring &defaultValue) const;
   [[nodiscard]] corestring GetString(const char *name, const char *defaultValue = nullptr) const;
   /// The text in place, valid until the entry changes; null when missing or a bag.
   [[nodiscard]] const char *GetStringOrNull(const char *name) const;
   /// Missing or a bag: "PropertyBag: name 'NAME' does not exist as string".
   [[nodiscard]] corestring GetStringOrThrow(const char *name) const;
   /// A bag: "PropertyBag: index is not a string".
   [[nodiscard]] corestring GetStringAt(size_t index) const;
   [[nodiscard]] const char *GetStringTextAt(size_t index) const; ///< in place, valid until the entry changes

   /// Bytes in place, valid until the entry changes, and their count, which is returned too. A string entry gives its
   /// text with the zero; a missing entry or a bag null and 0.
   size_t GetBinary(const char *name, const void *&outData, size_t &outSize) const;
   /// Required: unlike GetBinary, a string entry gives null and 0.
   size_t GetBinaryAt(size_t index, const void *&outData, size_t &outSize) const;

   /// "true", "yes" and "on" in any case, and numbers (as strtol reads the whole text with base 0) whose low 32 bits
   /// are not 0, are true; other values are false. The default when missing or a bag.
   [[nodiscard]] bool GetBool(const char *name, bool defaultValue = false) const;
   /// The same for a value by itself.
   [[nodiscard]] static bool ToBool(const corestring &value);
   /// As strtoll with base 0 reads the text, trimmed and without leading zeros: 007 is 7, 0x1F is 31, a word is 0.
   /// The default when missing or a bag. The first is cut to 32 bits.
   [[nodiscard]] int32_t GetInt(const char *name, int32_t defaultValue = 0) const;
   [[nodiscard]] int64_t GetInt64(const char *name, int64_t defaultValue = 0) const;

   /// A new handle sharing the entry's body; a new empty bag when missing or no bag.
   [[nodiscard]] PropertyBag GetBag(const char *name) const;
   /// Allocated for the caller, sharing the body. Missing or no bag: "PropertyBag: name 'NAME' does not exist as bag".
   [[nodiscard]] PropertyBag *GetBagOrThrow(const char *name) const;
   /// A handle sharing the body; an empty bag when the entry is no bag.
   [[nodiscard]] PropertyBag GetBagAt(size_t index) const;
   /// Allocated for the caller. Bad index or no bag: "PropertyBag: index is out of range or not a bag".
   [[nodiscard]] PropertyBag *GetBagAtOrThrow(size_t index) const;

   /// From index `start` on, the first entry with that name: copies its value, which is empty for a bag, and returns
   /// its index + 1, the next `start`. 0 when there is none, and `outValue` is left alone.
   ///
   ///     for (size_t next = 0; (next = bag.FindNext("server", value, next)) != 0;) { ... }
   [[nodiscard]] size_t FindNext(const char *name, corestring &outValue, size_t start) const;
   /// The same among bag entries alone; `outBag` shares the body.
   [[nodiscard]] size_t FindNextBag(const char *name, PropertyBag &outBag, size_t start) const;
   /// The same; `outBag` is allocated for the caller, or null when there is none.
   [[nodiscard]] size_t FindNextBag(const char *name, PropertyBag *&outBag, size_t start) const;

   // ---- Writing ----

   /// Appends. The texts are taken over.
   void Add(corestring name, corestring value);
   /// Appends the bag: a deep copy of it, or its body shared.
   void AddBag(const char *name, const PropertyBag &bag, bool deep);
   /// Appends a copy of the bytes; 0 bytes make a string entry. Null with a size other than 0: "PropertyBag: no data";
   /// 2 GiB or more: "PropertyBag: value is too long".
   void AddBinary(const char *name, const void *data, size_t size);
   /// Replaces the value, or the bag, of the first entry with that name, which stays where it is; appends without one.
   void Set(const char *name, corestring value);
   /// The same, but a new entry goes in front.
   void SetFirst(const char *name, corestring value);
   /// As Set, for a bag and for bytes.
   void SetBag(const char *name, const PropertyBag &bag, bool deep);
   void SetBinary(const char *name, const void *data, size_t size);
   void SetInt(const char *name, int32_t value);
   /// Reads a string entry as strtoll with base 0 does (010 is 8), adds 1, modulo 2^64, and stores it in decimal. A
   /// missing entry is appended as "1"; a bag or bytes are left alone.
   void Increment(const char *name);
   /// The first match, or every one.
   void Remove(const char *name, bool all);
   void RemoveAt(size_t index);
   /// As Remove, after writing zeros over name and value. What is in a bag entry's bag is not wiped.
   void RemoveSecure(const char *name, bool all);

   // ---- Errors: any bag can carry a failure in "ErrorCode" and "ErrorText", and nothing else then ----

   /// Clears the bag and sets the code and the text, trimmed; the system's text of the code when nothing is left of it.
   void SetError(int32_t code, const char *text);
   /// Clears the bag and sets the text alone, as it is.
   void SetErrorText(const char *text);
   /// The code, read as strtoul does and cut to 32 bits. All ones for a text without a code; 0 without either.
   [[nodiscard]] uint32_t GetErrorCode() const;
   /// The text; without one "ErrorCode CODE (0xHEX)"; with neither the default.
   [[nodiscard]] corestring GetErrorText(const char *defaultText = nullptr) const;
   /// For people: "TEXT - ErrorCode = CODE (0xADDRESS)" or what there is of it; "Unspecified error" with neither. The
   /// address is the code in the form of the C library's %p, whose own 0x follows the one that is written here.
   [[nodiscard]] corestring GetErrorDescription() const;

   /// For those who hold bodies: the one that this handle shares.
   [[nodiscard]] PropertyBagBody *Body() const { return mBody.get(); }

private:
   explicit PropertyBag(PropertyBagBodyRef body);
   [[nodiscard]] PropertyBagEntry *Find(const char *name) const;

   PropertyBagBodyRef mBody; // never null
};
static_assert(sizeof(PropertyBag) == sizeof(coreref) + sizeof(void *));

} // namespace CORE
