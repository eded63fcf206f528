#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What the program prints: lines "NAME DIGEST", one for each group of outputs, in a fixed order; expected.txt has
/// them. Everything is a function of the code alone: no clock, no random source, no address, no folder goes into it.
namespace same {

/// FNV-1a of 64 bits over everything that is added. A plain value.
class Digest {
public:
   void Add(std::span<const uint8_t> bytes) {
      for (const uint8_t byte : bytes) {
         mSum = (mSum ^ byte) * 0x100000001B3;
      }
   }
   void Add(std::string_view text) {
      Add(std::span(reinterpret_cast<const uint8_t *>(text.data()), text.size()));
      Add(std::span<const uint8_t>({0}));
   }
   void AddNumber(int64_t number) { Add(std::to_string(number)); }
   void Print(const std::string &name) const {
      std::printf("%s %016llx\n", name.c_str(), static_cast<unsigned long long>(mSum));
   }

private:
   uint64_t mSum = 0xCBF29CE484222325;
};

/// Bytes from a seed, the same in every program.
class Seeded {
public:
   explicit Seeded(uint32_t seed)
       : mState(seed) {}

   uint8_t Byte() {
      mState = mState * 1664525 + 1013904223;
      return static_cast<uint8_t>(mState >> 24);
   }
   uint32_t Below(uint32_t limit) {
      const uint32_t high = Byte();
      const uint32_t low = Byte();
      return (high << 8 | low) % limit;
   }
   std::vector<uint8_t> Bytes(size_t size) {
      std::vector<uint8_t> bytes(size);
      for (uint8_t &byte : bytes) {
         byte = Byte();
      }
      return bytes;
   }

private:
   uint32_t mState;
};

/// Ends the program with a message; what it prints is never less than everything.
[[noreturn]] void Fail(const char *what);

void PrintPictures();
void PrintSounds();
void PrintLogLines();

} // namespace same
