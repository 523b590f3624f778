// Messages, codes and locations of the exception hierarchy, and the error
// number tables of the OS exceptions.
#include "vesk/orlo/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo {
namespace {

using namespace exception;

struct Expected {
  std::shared_ptr<Exception> error;
  const char* text;
  std::uint32_t code;
};

TEST(ExceptionTest, MessagesAndCodes) {
  const std::vector<Expected> table = {
      {std::make_shared<Exception>(), "unspecified exception", 0xFFFFFFFFu},
      {std::make_shared<OutOfRange>(), "Out of range", 0x8ABC7007u},
      {std::make_shared<OutOfRange2>("x"), "Out of range: x", 0x8ABC7007u},
      {std::make_shared<ObjectAlreadyExists>(), "Object already exists", 0x8ABC7009u},
      {std::make_shared<InvalidOperation>(), "Invalid operation", 0x8ABC700Eu},
      {std::make_shared<InvalidArgument>(), "Invalid argument(s)", 0x8ABC700Fu},
      {std::make_shared<InitializationFailure>(), "Initialization failed", 0x8ABC7010u},
      {std::make_shared<DeserializationError>(), "Failed to deserialize", 0x8ABC7014u},
      {std::make_shared<BufferOverflow>(), "Buffer overflowed", 0x8ABC7017u},
      {std::make_shared<AccessDenied>("/etc/x"), "Access denied: /etc/x", 0x8ABC7019u},
      {std::make_shared<InvalidLocale>(), "Invalid locale", 0x8ABC7024u},
      {std::make_shared<InvalidSequence>(), "Invalid UTF8 encoding sequence", 0x8ABC7030u},
      {std::make_shared<UnableToConvert>(), "Unable to convert.", 0x8ABC7034u},
      {std::make_shared<NotImplemented>(), "Not implemented", 0x80004001u},
      {std::make_shared<osdep::NotResolvedException>(),
       "Not able to resolve the network name or address", 0xFFFFFFFFu},
  };
  for (const auto& row : table) {
    EXPECT_STREQ(row.error->what(), row.text);
    EXPECT_EQ(row.error->errorCode(), row.code) << row.text;
    EXPECT_EQ(row.error->sourceFile(), nullptr);
    EXPECT_EQ(row.error->sourceLine(), 0u);
  }
}

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
