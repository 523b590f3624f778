// The status discipline and the conversion of exceptions into codes.
#include "status/StatusGuard.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/OSException.h"

namespace vesk::tarnhive {
namespace {

using namespace vesk::orlo;

void attachMessage(TarnhiveStatus& status) {
  void* block = osdep::taskAlloc(sizeof(WideString));
  status.message = new (block) WideString(u"stale");
}

template <class E>
std::int32_t codeFor(const E& error) {
  TarnhiveStatus status;
  attachMessage(status);
  const bool result = guardedCall(&status, false, [&]() -> bool { throw error; });
  EXPECT_FALSE(result);
  EXPECT_EQ(status.message, nullptr) << "a new code never keeps a stale message";
  return status.code;
}

TEST(StatusGuardTest, ConvertsEachKindOfException) {
  EXPECT_EQ(codeFor(BadAllocation()), kOUTOFMEMORY);
  EXPECT_EQ(codeFor(std::bad_alloc()), kOUTOFMEMORY);
  EXPECT_EQ(codeFor(osdep::PosixError(EIO)), kOSERROR);
  EXPECT_EQ(codeFor(osdep::WinError(5)), kOSERROR);
  EXPECT_EQ(codeFor(exception::DeserializationError()), kSTOREDAMAGED);
  EXPECT_EQ(codeFor(exception::InvalidArgument()), kINTERNALERROR);
  EXPECT_EQ(codeFor(exception::OutOfRange2("x")), kINTERNALERROR);
  EXPECT_EQ(codeFor(42), kINTERNALERROR);
}

// A negative code makes the operation a no-op that leaves the record alone;
// a warning does not stop it, and success writes nothing. A null record is
// tolerated.
TEST(StatusGuardTest, StatusDiscipline) {
  TarnhiveStatus failed;
  failed.code = kOUTOFMEMORY;
  attachMessage(failed);
  bool ran = false;
  EXPECT_EQ(guardedCall(&failed, -1, [&] {
              ran = true;
              return 5;
            }),
            -1);
  EXPECT_FALSE(ran);
  EXPECT_EQ(failed.code, kOUTOFMEMORY);
  ASSERT_NE(failed.message, nullptr) << "not even the message changes";

  TarnhiveStatus warned;
  warned.code = kWVALUEREPLACED;
  EXPECT_EQ(guardedCall(&warned, 0, [] { return 9; }), 9);
  EXPECT_EQ(warned.code, kWVALUEREPLACED);
  guardedRun(&warned, [] {});
  EXPECT_EQ(warned.code, kWVALUEREPLACED);

  setStatus(nullptr, kOSERROR);
  EXPECT_EQ(guardedCall(static_cast<TarnhiveStatus*>(nullptr), 0, []() -> int { throw 1; }), 0);
}

TEST(StatusGuardTest, LockCallReleasesAndRethrowsForeignExceptionsOnly) {
  int cleanups = 0;
  TarnhiveStatus status;
  EXPECT_THROW(guardedLockCall(&status, false, []() -> bool { throw 1; }, [&] { ++cleanups; }),
               int);
  EXPECT_EQ(cleanups, 1);
  EXPECT_EQ(status.code, 0);
  EXPECT_FALSE(guardedLockCall(
      &status, false, []() -> bool { throw osdep::PosixError(EINTR); }, [&] { ++cleanups; }));
  EXPECT_EQ(cleanups, 1);
  EXPECT_EQ(status.code, kOSERROR);
}

}  // namespace
}  // namespace vesk::tarnhive
