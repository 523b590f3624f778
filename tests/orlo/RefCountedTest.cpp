// Reference counting from many threads at once: the final release destroys
// the object once. (Leaks and double releases anywhere else are the leak
// checker's.)
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
