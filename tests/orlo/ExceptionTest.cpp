// Messages, codes and locations of the exception hierarchy, and the error
// number tables of the OS exceptions.
#include "vesk/orlo/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo {
namespace {

using namespace exception;

TEST(ExceptionTest, RaiseAttachesTheLocationAndKeepsTheMessage) {
  try {
    raise(AccessDenied("registry.bin"), "vesk/orlo/osdep/path", 980);
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "Access denied: registry.bin");
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/path");
    EXPECT_EQ(e.sourceLine(), 980u);
    return;
  }
  FAIL();
}

TEST(ExceptionTest, OutOfRange2IsCaughtAsOutOfRange) {
  EXPECT_THROW(raise(OutOfRange2("String offset out of range"), "f", 1), OutOfRange);
}

TEST(ExceptionTest, WinErrorCodeTable) {
  const std::vector<std::pair<std::uint32_t, std::uint32_t>> table = {
      {0, 0},   {2, 7},   {3, 7},   {15, 7},  {4, 11},  {5, 0x80070005u}, {6, 1},
      {87, 1},  {8, 2},   {14, 2},  {11, 23}, {16, 8},  {19, 8},          {32, 8},
      {33, 8},  {20, 37}, {23, 0xFFFFFE04u},  {38, 4},  {39, 9},          {80, 0xFFFFFF9Eu},
      {1, 42},  {1234, 42}};
  for (auto [number, code] : table) {
    const osdep::WinError error(number);
    EXPECT_EQ(error.errorCode(), code) << number;
    EXPECT_EQ(error.osErrorCode(), number);
  }
}

TEST(ExceptionTest, PosixErrorFromErrno) {
  errno = ENOENT;
  const osdep::PosixError missing;
  EXPECT_EQ(missing.errorCode(), 7u);
  EXPECT_EQ(missing.osErrorCode(), static_cast<std::uint32_t>(ENOENT));
  EXPECT_STREQ(missing.what(), std::strerror(ENOENT));
  EXPECT_EQ(osdep::PosixError(0).errorCode(), 0u);
  EXPECT_EQ(osdep::PosixError(EACCES).errorCode(), 42u);
  try {
    raise(osdep::PosixError(EIO), "vesk/orlo/osdep/BinaryFile", 239);
  } catch (const osdep::OSException& e) {
    EXPECT_EQ(e.osErrorCode(), static_cast<std::uint32_t>(EIO));
    EXPECT_EQ(e.sourceLine(), 239u);
    EXPECT_STREQ(e.what(), std::strerror(EIO));
  }
}

}  // namespace
}  // namespace vesk::orlo
