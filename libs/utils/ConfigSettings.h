#pragma once

#include <cstdint>
#include <string>

/// The settings of the library: typed reads and writes in the preference domain "com.corvane.mavr".
///
/// A setting that is missing, or has another type than the read wants, gives the caller's default; nothing here fails
/// towards the caller. What goes wrong in the store (a write that fails, a damaged file) is logged once, at ERROR, in
/// the store's own words, which name the file. Every read asks the store afresh, so that a change by another process is
/// seen. Owner: the process. Threads: host-serialised; texts pass through one shared buffer. Locks: none. Life cycle:
/// closed -> Init -> Shutdown, and again. While closed, reads give their defaults and writes are dropped.
class ConfigSettings {
public:
   /// The preference domain.
   static constexpr const char kApplicationId[] = "com.corvane.mavr";

   /// Opens the domain if it is not open. Always true.
   static bool Init();
   /// Closes it. True if it was open.
   static bool Shutdown();
   [[nodiscard]] static bool IsInitialised();

   /// Asks the store to write out what is pending; false when it cannot (logged), or while closed.
   static bool Synchronize();

   /// The text stored under `key`. It is converted in a buffer that a longer text doubles, once a call: a text that is
   /// still too long gives the empty text, and fits at a later read.
   [[nodiscard]] static std::string GetString(const std::string &key, std::string defaultValue);
   static void SetString(const std::string &key, std::string value);

   /// The integer stored under `key`, its lowest 32 bits.
   [[nodiscard]] static uint32_t GetDWORD(const std::string &key, uint32_t defaultValue);
   /// Stores the number as a signed one of 32 bits: 0xFFFFFFFF becomes -1, which reads back as 0xFFFFFFFF.
   static void SetDWORD(const std::string &key, uint32_t value);

   /// The boolean stored under `key`, as 0 or 1. There is no setter: nothing in the library writes a boolean.
   [[nodiscard]] static int32_t GetBOOL(const std::string &key, int32_t defaultValue);

   /// Size of the conversion buffer in bytes: 64 after Init, never smaller later, 0 while closed.
   [[nodiscard]] static int32_t BufferSize();
   /// Where the settings are kept, for people; empty while closed.
   [[nodiscard]] static std::string Location();
};
