#include "lib/corvanebase/corvanebase.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace {

std::string Hex(const std::array<uint8_t, CRYPTOHASH_SHA256_SIZE> &digest) {
   std::string text;
   for (const uint8_t byte : digest) {
      constexpr std::string_view kDigits = "0123456789abcdef";
      text += kDigits[byte >> 4U];
      text += kDigits[byte & 15U];
   }
   return text;
}

std::string Hash(std::string_view data, size_t piece) {
   CryptoHashSHA256 context{};
   CryptoHash_InitSHA256(&context);
   while (!data.empty()) {
      const size_t size = std::min(piece, data.size());
      CryptoHash_UpdateSHA256(&context, data.data(), size);
      data.remove_prefix(size);
   }
   std::array<uint8_t, CRYPTOHASH_SHA256_SIZE> digest{};
   CryptoHash_FinalSHA256(&context, digest.data());
   EXPECT_EQ(context.state, nullptr);
   return Hex(digest);
}

// The examples of the standard.
TEST(CryptoHashSHA256, GivesThePublishedDigests) {
   EXPECT_EQ(Hash("", 1), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
   EXPECT_EQ(Hash("abc", 100), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
   EXPECT_EQ(Hash("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", 100),
             "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(CryptoHashSHA256, DoesNotDependOnThePieces) {
   const std::string data(1000, 'a');
   const std::string whole = Hash(data, 1000);
   for (const size_t piece : {1U, 3U, 63U, 64U, 65U, 999U}) {
      EXPECT_EQ(Hash(data, piece), whole) << piece;
   }
}

TEST(CryptoHashSHA256, TakesNoBytesAtAll) {
   CryptoHashSHA256 context{};
   CryptoHash_InitSHA256(&context);
   CryptoHash_UpdateSHA256(&context, nullptr, 0);
   std::array<uint8_t, CRYPTOHASH_SHA256_SIZE> digest{};
   CryptoHash_FinalSHA256(&context, digest.data());
   EXPECT_EQ(Hex(digest), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(CryptoHashSHA256DeathTest, ClearedContextEndsTheProcess) {
   CryptoHashSHA256 context{};
   EXPECT_EXIT(CryptoHash_UpdateSHA256(&context, "a", 1), testing::KilledBySignal(SIGABRT), "CryptoHash_UpdateSHA256");
}

} // namespace
