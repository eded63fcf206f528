#include "lib/mfw/common/coreException.h"

#include "lib/mfw/common/corestring.h"
#include "tests/kit/Faults.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

using CORE::coreException;

namespace {

std::string Described(const coreException &exception) {
   return CORE::Describe(exception).Text();
}

static_assert(std::has_virtual_destructor_v<coreException>);
static_assert(sizeof(coreException) == 3 * sizeof(void *));

TEST(CoreException, HoldsACopyOfTheMessageOrACode) {
   char message[] = "message";
   const coreException text(message);
   message[0] = 'x';
   EXPECT_STREQ(text.Message(), "message");
   EXPECT_EQ(text.Code(), 0);

   const coreException code(5);
   EXPECT_EQ(code.Message(), nullptr);
   EXPECT_EQ(code.Code(), 5);

   const coreException none(nullptr);
   EXPECT_EQ(none.Message(), nullptr);
   EXPECT_EQ(none.Code(), 0);
}

TEST(CoreException, CopiesAreDeep) {
   const coreException original("message");
   const coreException copy(original);
   EXPECT_STREQ(copy.Message(), "message");
   EXPECT_NE(copy.Message(), original.Message());
   EXPECT_EQ(coreException(coreException(-7)).Code(), -7);
   EXPECT_EQ(coreException(coreException(5)).Message(), nullptr);
}

TEST(CoreException, TravelsByValue) {
   try {
      const coreException local("message");
      throw coreException(local);
   } catch (const coreException &caught) {
      EXPECT_STREQ(caught.Message(), "message");
   }
}

TEST(CoreException, HasNoMessageWithoutMemory) {
   const coreException original("message");
   for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
      const kit::FailNth fault(kit::Fault::Allocation, 1, repeat);
      const coreException exception("message");
      EXPECT_TRUE(fault.Struck());
      EXPECT_EQ(exception.Message(), nullptr);
   }
   kit::FailNth fault(kit::Fault::Allocation, 1);
   const coreException copy(original);
   fault.Disarm();
   EXPECT_EQ(copy.Message(), nullptr);
   EXPECT_EQ(Described(copy), "");
}

TEST(CoreException, IsDescribedByMessageCodeAndTheSystemsText) {
   EXPECT_EQ(Described(coreException("message")), "message");
   EXPECT_EQ(Described(coreException("")), "");
   EXPECT_EQ(Described(coreException(nullptr)), "");
   EXPECT_EQ(CORE::Describe(coreException(nullptr)).Data(), nullptr);
   EXPECT_EQ(Described(coreException(0)), "");
   EXPECT_EQ(Described(coreException(5)), std::string(", Error = 5 (") + std::strerror(5) + ")");
   EXPECT_EQ(Described(coreException(ENOMEM)),
             ", Error = " + std::to_string(ENOMEM) + " (" + std::strerror(ENOMEM) + ")");
   EXPECT_EQ(Described(coreException(INT32_MAX)),
             std::string(", Error = 2147483647 (") + std::strerror(INT32_MAX) + ")");
}

// The platform's %p brings "0x" along.
TEST(CoreException, CodeBelowZeroIsRequiredToBeDescribedAsAnAddressBehind0x) {
   EXPECT_EQ(Described(coreException(-1)), std::string(", Error = 0x0xffffffff (") + std::strerror(-1) + ")");
   EXPECT_EQ(Described(coreException(INT32_MIN)),
             std::string(", Error = 0x0x80000000 (") + std::strerror(INT32_MIN) + ")");
}

TEST(CoreException, DescriptionWithoutMemoryIsAnException) {
   for (uint64_t nth = 1;; ++nth) {
      ASSERT_LT(nth, 20U);
      const coreException exception(5);
      kit::FailNth fault(kit::Fault::Allocation, nth);
      bool thrown = false;
      try {
         (void)CORE::Describe(exception);
      } catch (const coreException &error) {
         thrown = std::string(error.Message()) == "OutOfMem";
      }
      const bool struck = fault.Struck();
      fault.Disarm();
      EXPECT_EQ(thrown, struck);
      if (!struck) {
         break;
      }
   }
}

} // namespace
