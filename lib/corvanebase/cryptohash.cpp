#include "lib/corvanebase/corvanebase.h"

#include <new>
#include <openssl/err.h>
#include <openssl/evp.h>

namespace {

void Verify(bool ok, const char *function) {
   if (!ok) {
      Panic("%s: SHA-256 is not available\n", function);
   }
}

EVP_MD_CTX *StateOf(const CryptoHashSHA256 *context) {
   return static_cast<EVP_MD_CTX *>(context->state);
}

} // namespace

void CryptoHash_InitSHA256(CryptoHashSHA256 *context) {
   context->state = EVP_MD_CTX_new();
   if (context->state != nullptr && EVP_DigestInit_ex(StateOf(context), EVP_sha256(), nullptr) == 1) {
      return;
   }
   const bool memoryLacks = context->state == nullptr || ERR_GET_REASON(ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE;
   EVP_MD_CTX_free(StateOf(context));
   context->state = nullptr;
   if (memoryLacks) {
      throw std::bad_alloc();
   }
   Verify(false, "CryptoHash_InitSHA256");
}

void CryptoHash_UpdateSHA256(CryptoHashSHA256 *context, const void *data, size_t size) {
   Verify(context->state != nullptr && EVP_DigestUpdate(StateOf(context), data, size) == 1, "CryptoHash_UpdateSHA256");
}

void CryptoHash_FinalSHA256(CryptoHashSHA256 *context, uint8_t outDigest[CRYPTOHASH_SHA256_SIZE]) {
   Verify(context->state != nullptr && EVP_DigestFinal_ex(StateOf(context), outDigest, nullptr) == 1,
          "CryptoHash_FinalSHA256");
   EVP_MD_CTX_free(StateOf(context));
   context->state = nullptr;
}
