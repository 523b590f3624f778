// Reference counting: destruction by the final release, from any thread, and
// the holding pointer.
#include "vesk/orlo/RefCounted.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "vesk/orlo/DLLAlloced.h"

namespace vesk::orlo {
namespace {

class IThing : public IRefCounted {
 public:
  virtual int value() const = 0;

 protected:
  ~IThing() = default;
};

class Thing : public RefCountedImplementation<IThing>, public DLLAlloced {
 public:
  explicit Thing(int* destroyed) : destroyed_(destroyed) {}
  ~Thing() override { ++*destroyed_; }
  int value() const override { return 7; }

 private:
  int* destroyed_;
};

// The final release destroys, whether counted by hand or by RefPtr, and
// also for an object from the nothrow allocation.
TEST(RefCountedTest, FinalReleaseDestroysOnce) {
  int destroyed = 0;
  IThing* thing = new (std::nothrow) Thing(&destroyed);
  ASSERT_NE(thing, nullptr);
  EXPECT_EQ(thing->addRef(), 1u);
  EXPECT_EQ(thing->addRef(), 2u);
  EXPECT_EQ(thing->release(), 1u);
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(thing->release(), 0u);
  EXPECT_EQ(destroyed, 1);
  {
    RefPtr<IThing> a(new Thing(&destroyed));
    RefPtr<IThing> b = a;
    EXPECT_EQ(b->value(), 7);
    a.reset();
    IThing* raw = b.detach();
    RefPtr<IThing> c = RefPtr<IThing>::adopt(raw);
    EXPECT_EQ(destroyed, 1);
  }
  EXPECT_EQ(destroyed, 2);
}

TEST(RefCountedTest, ReleasedFromManyThreads) {
  int destroyed = 0;
  IThing* thing = new Thing(&destroyed);
  constexpr int kThreads = 8;
  for (int i = 0; i < kThreads; ++i) thing->addRef();
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([thing] {
      for (int j = 0; j < 1000; ++j) {
        thing->addRef();
        thing->release();
      }
      thing->release();
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace vesk::orlo
