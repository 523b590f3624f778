// Costs of the persistent store: commit latency for 1 and 100 buckets, the
// open of a registry of 10,000 buckets, and loadBucket throughput.
//
// The registries live under $TARNHIVE_BENCH_DIR, else /dev/shm, else the
// temporary directory. Every write of a commit is flushed to disk, so on a
// real disk the commit figures measure the disk's flush latency.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "bucket/Bucket.h"
#include "store/SingleFileBucketStore.h"
#include "vesk/orlo/StringConversion.h"

namespace {

namespace fs = std::filesystem;
using namespace vesk::tarnhive;
using vesk::orlo::RefPtr;
using vesk::orlo::WideString;

WideString wide(const std::string& text) {
  return vesk::orlo::toWide(vesk::orlo::NarrowString(text.c_str()));
}

// A fresh registry directory whose stores never compact.
class Registry {
 public:
  explicit Registry(const std::string& name) {
    const char* base = std::getenv("TARNHIVE_BENCH_DIR");
    fs::path root = base ? fs::path(base)
                         : (fs::is_directory("/dev/shm") ? fs::path("/dev/shm")
                                                         : fs::temp_directory_path());
    dir_ = root / ("tarnhive-bench-" + name + "-" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  ~Registry() { fs::remove_all(dir_); }

  std::unique_ptr<SingleFileBucketStore> open() {
    StoreLimits limits;
    limits.diskLimitKB = 2000000;
    auto store = std::make_unique<SingleFileBucketStore>(wide(dir_.string()), limits);
    TarnhiveStatus status;
    store->open(0, &status);
    return store;
  }

 private:
  fs::path dir_;
};

std::string nameOf(int i) { return "/bench/bucket" + std::to_string(i); }

BucketsByName makeBuckets(int count, int first = 0) {
  BucketsByName buckets;
  for (int i = first; i < first + count; ++i) {
    RefPtr<IBucket> bucket(new Bucket(wide(nameOf(i)), true));
    TarnhiveStatus status;
    bucket->setInt32(u"value", i, &status, true);
    bucket->setString(u"label", u"a setting of moderate length", &status, true);
    buckets[bucket->getFullName()].bucket = bucket;
  }
  return buckets;
}

void commitLatency(benchmark::State& state) {
  Registry registry("commit");
  auto store = registry.open();
  const BucketsByName buckets = makeBuckets(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    TarnhiveStatus status;
    store->commit(buckets, {}, &status);
    if (status.code != 0) state.SkipWithError("commit failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(commitLatency)->Arg(1)->Arg(100)->Unit(benchmark::kMillisecond);

void openTenThousand(benchmark::State& state) {
  Registry registry("open");
  {
    auto store = registry.open();
    TarnhiveStatus status;
    store->commit(makeBuckets(10000), {}, &status);
  }
  for (auto _ : state) benchmark::DoNotOptimize(registry.open());
}
BENCHMARK(openTenThousand)->Unit(benchmark::kMillisecond);

void loadBucket(benchmark::State& state) {
  Registry registry("load");
  constexpr int kBuckets = 1000;
  auto store = registry.open();
  TarnhiveStatus status;
  store->commit(makeBuckets(kBuckets), {}, &status);
  int i = 0;
  for (auto _ : state) {
    TarnhiveStatus read;
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(store->loadBucketByName(wide(nameOf(i)), &read));
    benchmark::DoNotOptimize(bucket.get());
    i = (i + 1) % kBuckets;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(loadBucket);

}  // namespace
