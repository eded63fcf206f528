// The base library without memory: a text that can't be made ends the process and says for how many bytes; what can say
// no says no.

#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"
#include "tests/kit/Faults.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

using kit::FailNth;
using kit::Fault;
using kit::Repeat;

namespace {

const testing::KilledBySignal kAborted(SIGABRT);

void WithoutMemory(void (*make)()) {
   const FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
   make();
}

TEST(MemoryDeathTest, ATextThatCannotBeMadeEndsTheProcess) {
   EXPECT_EXIT(WithoutMemory([] { std::free(Str_SafeAsprintf(nullptr, "%s-%d", "ab", 7)); }), kAborted,
               "^FormatHeap: out of memory for 5 bytes\n$");
   EXPECT_EXIT(WithoutMemory([] { std::free(UtilSafeStrdup0("abc")); }), kAborted,
               "^HeapCopy: out of memory for 4 bytes\n$");
   EXPECT_EXIT(WithoutMemory([] { Dictionary_Free(Dictionary_Create()); }), kAborted,
               "^Dictionary_Create: out of memory\n$");
}

TEST(Memory, ABufferThatCannotGrowKeepsWhatItHas) {
   DynBuf buffer;
   DynBuf_Init(&buffer);
   const std::string more(1000, 'x');
   ASSERT_EQ(DynBuf_Append(&buffer, "abc", 3), 1);
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_EQ(DynBuf_Append(&buffer, more.data(), more.size()), 0);
   }
   EXPECT_EQ(std::string(buffer.data, buffer.size), "abc");
   EXPECT_EQ(DynBuf_Append(&buffer, "", 0), 1) << "nothing needs no memory";
   EXPECT_EQ(DynBuf_Append(&buffer, "d", 1), 1);
   EXPECT_EQ(std::string(buffer.data, buffer.size), "abcd");
   DynBuf_Destroy(&buffer);
}

} // namespace
