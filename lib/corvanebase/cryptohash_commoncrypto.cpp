#include "lib/corvanebase/corvanebase.h"

#include <CommonCrypto/CommonDigest.h>
#include <algorithm>
#include <limits>

static_assert(CC_SHA256_DIGEST_LENGTH == CRYPTOHASH_SHA256_SIZE);

namespace {

CC_SHA256_CTX *StateOf(const CryptoHashSHA256 *context, const char *function) {
   if (context->state == nullptr) {
      Panic("%s: SHA-256 is not available\n", function);
   }
   return static_cast<CC_SHA256_CTX *>(context->state);
}

} // namespace

void CryptoHash_InitSHA256(CryptoHashSHA256 *context) {
   context->state = new CC_SHA256_CTX;
   CC_SHA256_Init(StateOf(context, "CryptoHash_InitSHA256"));
}

void CryptoHash_UpdateSHA256(CryptoHashSHA256 *context, const void *data, size_t size) {
   CC_SHA256_CTX *const state = StateOf(context, "CryptoHash_UpdateSHA256");
   // The system counts in 32 bits.
   for (const auto *bytes = static_cast<const uint8_t *>(data); size > 0;) {
      const size_t piece = std::min<size_t>(size, std::numeric_limits<CC_LONG>::max());
      CC_SHA256_Update(state, bytes, static_cast<CC_LONG>(piece));
      bytes += piece;
      size -= piece;
   }
}

void CryptoHash_FinalSHA256(CryptoHashSHA256 *context, uint8_t outDigest[CRYPTOHASH_SHA256_SIZE]) {
   CC_SHA256_CTX *const state = StateOf(context, "CryptoHash_FinalSHA256");
   CC_SHA256_Final(outDigest, state);
   delete state;
   context->state = nullptr;
}
