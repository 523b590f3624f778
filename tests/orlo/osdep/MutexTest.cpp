// The machine-wide lock between objects of one process, and its lock file.
// (Across processes it is held, abandoned by a killed holder and waited for
// in ManagerClientTest and RegistryToolTest.) Every test keeps its lock
// files in a directory of its own.
#include "vesk/orlo/osdep/Mutex.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "support/TempDirectory.h"

namespace vesk::orlo::osdep {
namespace {

constexpr const char16_t* kName = u"__vesk_tarnhive_BucketManager_lock__";

class MutexTest : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("VESK_TARNHIVE_LOCK_DIR", dir_.path().c_str(), 1); }
  void TearDown() override { ::unsetenv("VESK_TARNHIVE_LOCK_DIR"); }
  test::TempDirectory dir_;
};

TEST_F(MutexTest, ObjectsOfOneProcessExcludeEachOther) {
  Mutex first(kName);
  Mutex second(kName);
  ASSERT_TRUE(first.tryLock());
  EXPECT_TRUE(first.tryLock()) << "the holder may take it again";
  EXPECT_FALSE(second.tryLock());
  { Mutex third(kName); }  // opening and closing the file must not drop the lock
  EXPECT_FALSE(second.tryLock());
  first.unlock();
  EXPECT_TRUE(second.tryLock());
}

TEST_F(MutexTest, LockFileIsOpenToEverybodyWhateverTheUmask) {
  const mode_t old = ::umask(077);
  { Mutex mutex(kName); }
  ::umask(old);
  struct stat status {};
  ASSERT_EQ(::stat(dir_.path("__vesk_tarnhive_BucketManager_lock__.lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666u);
}

}  // namespace
}  // namespace vesk::orlo::osdep
