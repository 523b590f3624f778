// The codes, error numbers and texts of the OS exceptions.
#include "vesk/orlo/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo {
namespace {

using namespace exception;

TEST(ExceptionTest, OsErrorsKeepTheirNumberAndMapItToACode) {
  // A mapped Win32 number, success and an unknown number.
  for (auto [number, code] : {std::pair{5u, 0x80070005u}, {0u, 0u}, {2u, 7u}, {1234u, 42u}}) {
    const osdep::WinError error(number);
    EXPECT_EQ(error.errorCode(), code) << number;
    EXPECT_EQ(error.osErrorCode(), number);
  }
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
