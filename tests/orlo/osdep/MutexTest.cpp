// The machine-wide lock across processes and between objects of one process.
// Every test keeps its lock files in a directory of its own.
#include "vesk/orlo/osdep/Mutex.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "support/TempDirectory.h"

namespace vesk::orlo::osdep {
namespace {

constexpr const char16_t* kName = u"__vesk_tarnhive_BucketManager_lock__";

class MutexTest : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("VESK_TARNHIVE_LOCK_DIR", dir_.path().c_str(), 1); }
  void TearDown() override {
    if (holder_ > 0) killHolder();
    ::unsetenv("VESK_TARNHIVE_LOCK_DIR");
  }

  // Forks a child that takes the lock with lock() and then waits to be
  // killed; returns once the child holds it.
  void startHolder() {
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    holder_ = ::fork();
    ASSERT_NE(holder_, -1);
    if (holder_ == 0) {
      try {
        Mutex mutex(kName);
        mutex.lock();
        const char byte = 1;
        if (::write(ready[1], &byte, 1) == 1) {
          while (true) ::pause();
        }
      } catch (...) {
      }
      ::_exit(2);
    }
    ::close(ready[1]);
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1) << "the holder did not take the lock";
    ::close(ready[0]);
  }

  void killHolder() {
    ::kill(holder_, SIGKILL);
    ::waitpid(holder_, nullptr, 0);
    holder_ = 0;
  }

  test::TempDirectory dir_;
  pid_t holder_ = 0;
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
