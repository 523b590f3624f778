// The entry function as a client sees it: linked against the shared library,
// through the public headers only.
#include <gtest/gtest.h>

#include <new>

#include "vesk/tarnhive/Tarnhive.h"

namespace {

using namespace vesk::tarnhive;

void fill(TarnhiveStatus& status, std::int32_t code) {
  status.code = code;
  void* block = vesk::orlo::osdep::taskAlloc(sizeof(vesk::orlo::WideString));
  status.message = new (block) vesk::orlo::WideString(u"old");
  status.extra = new (vesk::orlo::osdep::taskAlloc(sizeof(TarnhiveStatusExtra))) TarnhiveStatusExtra;
}

// Versions 1 and 2 give the same object and clear the record whatever it
// held; any other version gives null and the unsupported-version code.
TEST(GetInterfaceTest, VersionsOneToThreeOnly) {
  for (std::uint32_t version : {0u, 4u, 0xFFFFFFFFu}) {
    TarnhiveStatus status;
    fill(status, 0);
    EXPECT_EQ(GetInterface(version, &status), nullptr);
    EXPECT_EQ(static_cast<std::uint32_t>(status.code), 0x8ABC7001u);
    EXPECT_EQ(status.message, nullptr);
    EXPECT_EQ(status.extra, nullptr);
  }
  TarnhiveStatus first;
  fill(first, kOSERROR);
  ITarnhive2* registry = GetInterface(2, &first);
  ASSERT_NE(registry, nullptr);
  EXPECT_EQ(first.code, 0);
  EXPECT_EQ(first.message, nullptr);
  EXPECT_EQ(first.extra, nullptr);
  TarnhiveStatus second;
  second.code = kUNSUPPORTEDVERSION;
  EXPECT_EQ(GetInterface(1, &second), static_cast<ITarnhive*>(registry));
  EXPECT_EQ(second.code, 0);
  // Version 3 is the same object, seen with the slots that follow.
  TarnhiveStatus third;
  EXPECT_EQ(static_cast<ITarnhive2*>(GetInterface3(&third)), registry);
  EXPECT_EQ(third.code, 0);
}

}  // namespace
