#include "libs/mmdr/device/DeviceGuid.h"

#include "lib/corvanebase/corvanebase.h"

#include <cstdint>

namespace MMDev {
namespace {

constexpr size_t kHexSize = size_t{2} * CRYPTOHASH_SHA256_SIZE;

void Sha256Hex(std::string_view text, char (&hex)[kHexSize + 1]) {
   static constexpr char kDigits[] = "0123456789abcdef";
   uint8_t digest[CRYPTOHASH_SHA256_SIZE];
   CryptoHashSHA256 context{};
   CryptoHash_InitSHA256(&context);
   CryptoHash_UpdateSHA256(&context, text.data(), text.size());
   CryptoHash_FinalSHA256(&context, digest);
   for (size_t i = 0; i < sizeof digest; ++i) {
      hex[2 * i] = kDigits[digest[i] >> 4];
      hex[2 * i + 1] = kDigits[digest[i] & 0xF];
   }
   hex[kHexSize] = '\0';
}

} // namespace

std::string MakeDeviceGuid(std::string_view uniqueId) {
   char hex[kHexSize + 1];
   Sha256Hex(uniqueId, hex);
   char guid[128];
   const size_t length =
      Str_Sprintf(guid, sizeof guid, "{%.8s-%.4s-%.4s-%.4s-%.12s}", hex, hex + 8, hex + 12, hex + 16, hex + 20);
   return {guid, length};
}

} // namespace MMDev
