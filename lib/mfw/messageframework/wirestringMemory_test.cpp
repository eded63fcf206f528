// What the reader of wire strings takes of memory, and what it does without.

#include "lib/mfw/messageframework/wirestring.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/Faults.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <vector>

namespace CORE {
namespace {

// nth allocation by nth, the reader fails whole or succeeds.
bool SaysWhenMemoryIsOut(uint32_t encoding, uint32_t units) {
   std::vector<uint8_t> bytes(size_t{units} * 2, 'a');
   for (uint64_t nth = 1;; ++nth) {
      bytecursor cursor;
      cursor.Init(bytes.data(), static_cast<uint32_t>(bytes.size()));
      corestring text;
      kit::FailNth fault(kit::Fault::Allocation, nth);
      const bool reads = ReadString(text, cursor, units, encoding);
      fault.Disarm();
      if (reads || !fault.Struck()) {
         return reads && !fault.Struck() && nth > 1 && cursor.mCount == units;
      }
      EXPECT_EQ(cursor.GetConsumed(), 0U);
      EXPECT_EQ(cursor.mCount, 0U);
      EXPECT_TRUE(text.IsEmpty());
   }
}

TEST(WireStringMemory, TheReaderOfUtf8SaysThatItIsOutAndStays) {
   const kit::LogCapture log;
   EXPECT_TRUE(SaysWhenMemoryIsOut(Utf8, 300));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Failed to allocate memory(Utf8 to Utf8)")) << log.Dump();
}

TEST(WireStringMemory, TheReaderOfUtf16SaysThatItIsOutAndStays) {
   for (const uint32_t units : {100U, 300U}) { // on the stack, and in a block
      const kit::LogCapture log;
      EXPECT_TRUE(SaysWhenMemoryIsOut(Utf16, units));
      EXPECT_TRUE(log.Saw(logger::ERROR, "Failed to allocate memory(Utf16 to Utf8)")) << log.Dump();
   }
}

TEST(WireStringMemory, ShortStringsTakeNoneOnceTheTextHasRoom) {
   std::vector<uint8_t> bytes(200, 'a');
   bytecursor cursor;
   corestring text;
   text.SetLength(300, true);
   uint32_t chars = 0;
   const uint64_t before = kit::AllocationCount();
   cursor.Init(bytes.data(), 200);
   EXPECT_TRUE(ReadString(text, cursor, 100, Utf8));
   EXPECT_TRUE(ReadString(text, cursor, 50, Utf16));
   cursor.Init(bytes.data(), 200);
   EXPECT_TRUE(WriteString(text, Utf16, cursor, chars));
   EXPECT_EQ(kit::AllocationCount(), before);
}

TEST(WireStringMemory, ASecureStringIsReadIntoABlockThatIsWipedAndNotOntoTheStack) {
   std::vector<uint8_t> bytes(200, 'a');
   bytecursor cursor;
   cursor.Init(bytes.data(), 200);
   corestring text;
   text.SetLength(300, true);
   text.SetSecure();
   const uint64_t before = kit::AllocationCount();
   EXPECT_TRUE(ReadString(text, cursor, 100, Utf16));
   EXPECT_GT(kit::AllocationCount(), before);
   EXPECT_TRUE(text.IsSecure());
   EXPECT_EQ(text.Length(), 300U);
}

} // namespace
} // namespace CORE
