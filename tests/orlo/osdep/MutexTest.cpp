// The machine-wide lock across processes and between objects of one process.
// Every test keeps its lock files in a directory of its own.
#include "vesk/orlo/osdep/Mutex.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

#include "support/ChildProcess.h"
#include "support/TempDirectory.h"

namespace vesk::orlo::osdep {
namespace {

constexpr const char16_t* kName = u"__vesk_tarnhive_BucketManager_lock__";

// Takes the lock with lock(), makes the file args[0] and waits to be killed.
TARNHIVE_CHILD_JOB(HoldTheMutex) {
  Mutex mutex(kName);
  mutex.lock();
  std::ofstream(args.at(0)) << "held";
  for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
}

class MutexTest : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("VESK_TARNHIVE_LOCK_DIR", dir_.path().c_str(), 1); }
  void TearDown() override {
    holder_.reset();
    ::unsetenv("VESK_TARNHIVE_LOCK_DIR");
  }

  // A child process that holds the lock; returns once it does.
  void startHolder() {
    holder_ = std::make_unique<test::ChildProcess>(test::ChildJob{"HoldTheMutex", {dir_.path("held")}});
    ASSERT_TRUE(test::waitForFile(dir_.path("held"))) << "the holder did not take the lock";
  }

  void killHolder() { holder_.reset(); }

  test::TempDirectory dir_;
  std::unique_ptr<test::ChildProcess> holder_;
};

TEST_F(MutexTest, TryLockFailsAtOnceWhileAnotherProcessHoldsIt) {
  Mutex mutex(kName);
  startHolder();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(mutex.tryLock());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
  killHolder();
  EXPECT_TRUE(mutex.tryLock()) << "a lock abandoned by a dead process is obtained";
  mutex.unlock();
  mutex.lock();
}

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
