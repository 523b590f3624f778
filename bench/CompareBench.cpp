// The registry beside the embedded stores a user would pick instead, in one
// run on one machine: SQLite (WAL, synchronous=FULL) and LMDB (default,
// synchronous commits). The same workloads on each, for registries of n
// buckets of 10 typed values:
//
//   populate     n buckets in 100 commits
//   commit       200 commits of one value each (median)
//   open         opening the populated store (median of 5)
//   first open   opening after another writer appended a commit
//   live reads   random and hot reads while another writer commits once
//                a second, against the same reads without it (registry
//                only: the reader follows each commit)
//   refresh      the first read after another writer's one-bucket commit,
//                which brings the reader up to date (registry only)
//   read         random one-value reads, everything cached (rate)
//   hot read     one-value reads of one bucket over and over (rate)
//   read 1 MiB   the registry with its default 1 MiB memory cache
//
// Usage: tarnhive_compare [sizes...] (default 1000 10000 100000; the
// largest takes a few minutes). Stores live under
// $TARNHIVE_BENCH_DIR, else the system's temporary directory (not a memory
// file system: flushes must cost what they cost on disk).
#include <lmdb.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bucket/Bucket.h"
#include "manager/BucketManager.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using vesk::orlo::RefPtr;
using vesk::orlo::WideString;
using namespace vesk::tarnhive;

constexpr int kValues = 10;
constexpr int kPopulateCommits = 100;
constexpr int kSingleCommits = 200;
constexpr int kReads = 20000;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  return samples[samples.size() / 2];
}

std::string bucketName(int i) { return "/apps/app" + std::to_string(i % 100) + "/b" + std::to_string(i); }

WideString wide(const std::string& text) {
  return vesk::orlo::toWide(vesk::orlo::NarrowString(text.c_str()));
}

// What every store reports for one size.
struct Results {
  double populate = 0;
  double commit = 0;
  double open = 0;
  double firstOpen = 0;
  double readsPerSecond = 0;
  double hotReadsPerSecond = 0;
  double smallCacheReadsPerSecond = 0;
  // The registry only.
  double liveReadsPerSecond = 0;
  double liveHotReadsPerSecond = 0;
  double refresh = 0;
};

// Reads per second of calls of read(k) made for `seconds`.
template <class Read>
double rateFor(double seconds, Read&& read) {
  const auto start = Clock::now();
  int count = 0;
  while (secondsSince(start) < seconds) {
    for (int k = 0; k < 1000; ++k) read(count++);
  }
  return count / secondsSince(start);
}

// Reads per second of `count` calls of read(k).
template <class Read>
double rateOf(int count, Read&& read) {
  const auto start = Clock::now();
  for (int k = 0; k < count; ++k) read(k);
  return count / secondsSince(start);
}

fs::path freshDirectory(const std::string& name) {
  const char* base = std::getenv("TARNHIVE_BENCH_DIR");
  const fs::path dir = fs::path(base ? base : fs::temp_directory_path().string()) /
                       ("tarnhive-compare-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// --- the registry ---------------------------------------------------------------

class Registry {
 public:
  explicit Registry(int n) : n_(n), dir_(freshDirectory("registry")) {
    for (int i = 0; i < n; ++i) names_.push_back(wide(bucketName(i)));
    ::setenv("VESK_TARNHIVE_LOCK_DIR", dir_.c_str(), 1);
    writeOptions(dir_ / "big.ini", 1 << 20);
    writeOptions(dir_ / "default.ini", 1024);
  }
  ~Registry() { fs::remove_all(dir_); }

  RefPtr<BucketManager> open(const char* ini) {
    TarnhiveStatus status;
    RefPtr<BucketManager> manager(new BucketManager(wide((dir_ / "data").string()),
                                                    wide((dir_ / ini).string()), &status));
    if (status.code < 0) std::fprintf(stderr, "registry open failed: %d\n", status.code);
    return manager;
  }

  Results run() {
    Results r;
    fs::create_directories(dir_ / "data");
    {
      RefPtr<BucketManager> manager = open("big.ini");
      const auto start = Clock::now();
      const int perCommit = n_ / kPopulateCommits;
      for (int c = 0; c < kPopulateCommits; ++c) {
        change(*manager, [&](const Guid& token, TarnhiveStatus* status) {
          for (int i = c * perCommit; i < (c + 1) * perCommit; ++i) {
            RefPtr<IBucket> bucket(new Bucket(wide(bucketName(i)), true));
            fill(*bucket, i, status);
            manager->writeBucket(bucket.get(), false, token, status);
          }
        });
      }
      r.populate = secondsSince(start);
      std::vector<double> commits;
      for (int c = 0; c < kSingleCommits; ++c) {
        const auto one = Clock::now();
        change(*manager, [&](const Guid& token, TarnhiveStatus* status) {
          IBucket* found = nullptr;
          manager->getBucketByName(&found, wide(bucketName(c * 37 % n_)), status);
          RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(found);
          bucket->setInt32(u"v0", c, status, true);
          manager->writeBucket(bucket.get(), false, token, status);
        });
        commits.push_back(secondsSince(one));
      }
      r.commit = median(commits);
    }
    std::vector<double> opens;
    for (int i = 0; i < 5; ++i) {
      const auto start = Clock::now();
      RefPtr<BucketManager> manager = open("big.ini");
      opens.push_back(secondsSince(start));
    }
    r.open = median(opens);
    {
      // Another writer appends one commit; the next open compacts.
      RefPtr<BucketManager> writer = open("big.ini");
      change(*writer, [&](const Guid& token, TarnhiveStatus* status) {
        RefPtr<IBucket> bucket(new Bucket(wide(bucketName(1)), true));
        fill(*bucket, 1, status);
        writer->writeBucket(bucket.get(), false, token, status);
      });
    }
    {
      const auto start = Clock::now();
      RefPtr<BucketManager> manager = open("big.ini");
      r.firstOpen = secondsSince(start);
      readAll(*manager);  // warm the cache
      r.readsPerSecond = readRate(*manager);
      r.hotReadsPerSecond = rateOf(kReads, [&](int) { readOne(*manager, 0); });
    }
    {
      RefPtr<BucketManager> manager = open("default.ini");
      r.smallCacheReadsPerSecond = readRate(*manager);
    }
    liveReads(r);
    return r;
  }

 private:
  // A reader and, on a thread of its own with a manager of its own (as
  // another process would), a writer.
  void liveReads(Results& r) {
    RefPtr<BucketManager> reader = open("big.ini");
    RefPtr<BucketManager> writer = open("big.ini");
    readAll(*reader);
    int next = 0;
    const auto commitOne = [&] {
      const int i = (next++ * 37) % n_;
      change(*writer, [&](const Guid& token, TarnhiveStatus* status) {
        IBucket* found = nullptr;
        writer->getBucketByName(&found, names_[static_cast<std::size_t>(i)], status);
        RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(found);
        bucket->setInt32(u"v0", next, status, true);
        writer->writeBucket(bucket.get(), false, token, status);
      });
    };
    std::vector<double> refreshes;
    for (int k = 0; k < 50; ++k) {
      commitOne();
      const auto start = Clock::now();
      readOne(*reader, 0);
      refreshes.push_back(secondsSince(start));
    }
    r.refresh = median(refreshes);
    std::atomic<bool> stop{false};
    std::thread committing([&] {
      while (!stop) {
        commitOne();
        for (int t = 0; t < 100 && !stop; ++t) std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    });
    std::mt19937 random(7);
    r.liveReadsPerSecond = rateFor(3.0, [&](int) { readOne(*reader, static_cast<int>(random() % n_)); });
    r.liveHotReadsPerSecond = rateFor(3.0, [&](int) { readOne(*reader, 0); });
    stop = true;
    committing.join();
  }

  void writeOptions(const fs::path& file, int cacheKB) {
    std::ofstream(file) << "[Tarnhive]\nMemoryCacheSizeLimitKB=" << cacheKB
                        << "\nDiskMaxRegistryFileSizeKB=2000000\n";
  }

  void change(BucketManager& manager, const std::function<void(const Guid&, TarnhiveStatus*)>& body) {
    TarnhiveStatus status;
    Guid token;
    manager.acquireLock(&token, &status);
    manager.beginUpdate(token, &status);
    body(token, &status);
    manager.commitUpdate(token, &status);
    manager.releaseLock(token, &status);
    if (status.code < 0) std::fprintf(stderr, "registry commit failed: %d\n", status.code);
  }

  static void fill(IBucket& bucket, int i, TarnhiveStatus* status) {
    bucket.setInt32(u"v0", i, status, true);
    bucket.setInt64(u"v1", std::int64_t{i} << 20, status, true);
    bucket.setFloat64(u"v2", i * 0.5, status, true);
    bucket.setBool(u"v3", i % 2 == 0, status, true);
    bucket.setString(u"v4", wide("value " + std::to_string(i)), status, true);
    bucket.setUInt16(u"v5", static_cast<std::uint16_t>(i), status, true);
    bucket.setInt8(u"v6", static_cast<std::int8_t>(i), status, true);
    bucket.setFloat32(u"v7", static_cast<float>(i), status, true);
    bucket.setUInt64(u"v8", static_cast<std::uint64_t>(i) * 3, status, true);
    bucket.setAnsiString(u"v9", vesk::orlo::NarrowString("narrow"), status, true);
  }

  void readAll(BucketManager& manager) {
    for (int i = 0; i < n_; ++i) readOne(manager, i);
  }

  std::int32_t readOne(BucketManager& manager, int i) {
    TarnhiveStatus status;
    IBucket* found = nullptr;
    manager.getBucketByName(&found, names_[static_cast<std::size_t>(i)], &status);
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(found);
    if (!bucket) return -1;
    RefPtr<IBucketValue> value = RefPtr<IBucketValue>::adopt(bucket->getValue(u"v0", &status));
    return value ? value->getInt32(&status) : -1;
  }

  double readRate(BucketManager& manager) {
    std::mt19937 random(7);
    return rateOf(kReads, [&](int) { readOne(manager, static_cast<int>(random() % n_)); });
  }

  int n_;
  fs::path dir_;
  std::vector<WideString> names_;
};

// --- SQLite -----------------------------------------------------------------------

class Sqlite {
 public:
  explicit Sqlite(int n) : n_(n), dir_(freshDirectory("sqlite")) {}
  ~Sqlite() { fs::remove_all(dir_); }

  Results run() {
    Results r;
    sqlite3* db = open();
    exec(db, "CREATE TABLE kv(bucket TEXT, name TEXT, type INTEGER, value BLOB,"
             " PRIMARY KEY(bucket, name)) WITHOUT ROWID");
    sqlite3_stmt* put = prepare(db, "INSERT OR REPLACE INTO kv VALUES(?, ?, ?, ?)");
    auto start = Clock::now();
    const int perCommit = n_ / kPopulateCommits;
    for (int c = 0; c < kPopulateCommits; ++c) {
      exec(db, "BEGIN");
      for (int i = c * perCommit; i < (c + 1) * perCommit; ++i) {
        for (int v = 0; v < kValues; ++v) row(put, bucketName(i), v, i);
      }
      exec(db, "COMMIT");
    }
    r.populate = secondsSince(start);
    std::vector<double> commits;
    for (int c = 0; c < kSingleCommits; ++c) {
      const auto one = Clock::now();
      exec(db, "BEGIN");
      row(put, bucketName(c * 37 % n_), 0, c);
      exec(db, "COMMIT");
      commits.push_back(secondsSince(one));
    }
    r.commit = median(commits);
    sqlite3_finalize(put);
    sqlite3_close(db);
    std::vector<double> opens;
    for (int i = 0; i < 5; ++i) {
      start = Clock::now();
      sqlite3* again = open();
      sqlite3_stmt* get = prepare(again, "SELECT value FROM kv WHERE bucket = ? AND name = ?");
      readOne(get, 0);
      opens.push_back(secondsSince(start));
      sqlite3_finalize(get);
      sqlite3_close(again);
    }
    r.open = median(opens);
    r.firstOpen = r.open;
    db = open();
    sqlite3_stmt* get = prepare(db, "SELECT value FROM kv WHERE bucket = ? AND name = ?");
    std::mt19937 random(7);
    r.readsPerSecond = rateOf(kReads, [&](int) { readOne(get, static_cast<int>(random() % n_)); });
    r.hotReadsPerSecond = rateOf(kReads, [&](int) { readOne(get, 0); });
    sqlite3_finalize(get);
    sqlite3_close(db);
    return r;
  }

 private:
  sqlite3* open() {
    sqlite3* db = nullptr;
    sqlite3_open((dir_ / "kv.db").c_str(), &db);
    exec(db, "PRAGMA journal_mode=WAL");
    exec(db, "PRAGMA synchronous=FULL");
    return db;
  }
  static void exec(sqlite3* db, const char* sql) {
    char* error = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
      std::fprintf(stderr, "sqlite: %s\n", error);
      sqlite3_free(error);
    }
  }
  static sqlite3_stmt* prepare(sqlite3* db, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
    return statement;
  }
  static void row(sqlite3_stmt* put, const std::string& bucket, int v, int value) {
    const std::string name = "v" + std::to_string(v);
    sqlite3_bind_text(put, 1, bucket.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(put, 2, name.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(put, 3, v);
    sqlite3_bind_blob(put, 4, &value, sizeof value, SQLITE_TRANSIENT);
    sqlite3_step(put);
    sqlite3_reset(put);
  }
  static void readOne(sqlite3_stmt* get, int i) {
    const std::string bucket = bucketName(i);
    sqlite3_bind_text(get, 1, bucket.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(get, 2, "v0", -1, SQLITE_STATIC);
    sqlite3_step(get);
    sqlite3_reset(get);
  }

  int n_;
  fs::path dir_;
};

// --- LMDB -------------------------------------------------------------------------

class Lmdb {
 public:
  explicit Lmdb(int n) : n_(n), dir_(freshDirectory("lmdb")) {}
  ~Lmdb() { fs::remove_all(dir_); }

  Results run() {
    Results r;
    MDB_env* env = open();
    auto start = Clock::now();
    const int perCommit = n_ / kPopulateCommits;
    for (int c = 0; c < kPopulateCommits; ++c) {
      MDB_txn* txn = nullptr;
      mdb_txn_begin(env, nullptr, 0, &txn);
      MDB_dbi dbi;
      mdb_dbi_open(txn, nullptr, 0, &dbi);
      for (int i = c * perCommit; i < (c + 1) * perCommit; ++i) {
        for (int v = 0; v < kValues; ++v) put(txn, dbi, bucketName(i), v, i);
      }
      mdb_txn_commit(txn);
    }
    r.populate = secondsSince(start);
    std::vector<double> commits;
    for (int c = 0; c < kSingleCommits; ++c) {
      const auto one = Clock::now();
      MDB_txn* txn = nullptr;
      mdb_txn_begin(env, nullptr, 0, &txn);
      MDB_dbi dbi;
      mdb_dbi_open(txn, nullptr, 0, &dbi);
      put(txn, dbi, bucketName(c * 37 % n_), 0, c);
      mdb_txn_commit(txn);
      commits.push_back(secondsSince(one));
    }
    r.commit = median(commits);
    mdb_env_close(env);
    std::vector<double> opens;
    for (int i = 0; i < 5; ++i) {
      start = Clock::now();
      MDB_env* again = open();
      readOne(again, 0);
      opens.push_back(secondsSince(start));
      mdb_env_close(again);
    }
    r.open = median(opens);
    r.firstOpen = r.open;
    env = open();
    std::mt19937 random(7);
    r.readsPerSecond = rateOf(kReads, [&](int) { readOne(env, static_cast<int>(random() % n_)); });
    r.hotReadsPerSecond = rateOf(kReads, [&](int) { readOne(env, 0); });
    mdb_env_close(env);
    return r;
  }

 private:
  MDB_env* open() {
    MDB_env* env = nullptr;
    mdb_env_create(&env);
    mdb_env_set_mapsize(env, std::size_t{1} << 32);
    mdb_env_open(env, dir_.c_str(), 0, 0664);
    return env;
  }
  static void put(MDB_txn* txn, MDB_dbi dbi, const std::string& bucket, int v, int value) {
    std::string key = bucket + '\0' + "v" + std::to_string(v);
    MDB_val k{key.size(), key.data()};
    MDB_val d{sizeof value, &value};
    mdb_put(txn, dbi, &k, &d, 0);
  }
  static void readOne(MDB_env* env, int i) {
    MDB_txn* txn = nullptr;
    mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn);
    MDB_dbi dbi;
    mdb_dbi_open(txn, nullptr, 0, &dbi);
    std::string key = bucketName(i) + '\0' + "v0";
    MDB_val k{key.size(), key.data()};
    MDB_val d;
    mdb_get(txn, dbi, &k, &d);
    mdb_txn_abort(txn);
  }

  int n_;
  fs::path dir_;
};

void printRow(const char* work, const char* unit, double ours, double sqlite, double lmdb) {
  std::printf("| %-22s | %12.4g %-3s | %12.4g | %12.4g | %6.2fx |\n", work, ours, unit, sqlite, lmdb,
              ours / sqlite);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {1000, 10000, 100000};
  for (const int n : sizes) {
    std::printf("\n%d buckets of %d values\n\n", n, kValues);
    const Results ours = Registry(n).run();
    const Results sqlite = Sqlite(n).run();
    const Results lmdb = Lmdb(n).run();
    std::printf("| work                   | registry         |       SQLite |         LMDB | vs SQLite |\n");
    std::printf("|---|---:|---:|---:|---:|\n");
    printRow("populate (100 commits)", "s", ours.populate, sqlite.populate, lmdb.populate);
    printRow("one-value commit", "s", ours.commit, sqlite.commit, lmdb.commit);
    printRow("open", "s", ours.open, sqlite.open, lmdb.open);
    printRow("first open after write", "s", ours.firstOpen, sqlite.firstOpen, lmdb.firstOpen);
    printRow("random reads", "/s", ours.readsPerSecond, sqlite.readsPerSecond, lmdb.readsPerSecond);
    printRow("hot reads", "/s", ours.hotReadsPerSecond, sqlite.hotReadsPerSecond,
             lmdb.hotReadsPerSecond);
    printRow("reads, 1 MiB cache", "/s", ours.smallCacheReadsPerSecond, sqlite.readsPerSecond,
             lmdb.readsPerSecond);
    std::printf("\nThe registry while another writer commits once a second:\n\n");
    std::printf("| work                   | with writer | without | ratio |\n|---|---:|---:|---:|\n");
    std::printf("| random reads           | %9.4g/s | %7.4g/s | %5.2f |\n", ours.liveReadsPerSecond,
                ours.readsPerSecond, ours.liveReadsPerSecond / ours.readsPerSecond);
    std::printf("| hot reads              | %9.4g/s | %7.4g/s | %5.2f |\n", ours.liveHotReadsPerSecond,
                ours.hotReadsPerSecond, ours.liveHotReadsPerSecond / ours.hotReadsPerSecond);
    std::printf("| first read after a one-bucket commit (catch-up) | %.4g ms |\n", ours.refresh * 1000);
    std::printf("| first open after write / open | %.2fx |\n", ours.firstOpen / ours.open);
  }
  std::printf("\nTimes: lower is better; rates: higher is better. The last column is the\n"
              "registry's figure divided by SQLite's.\n");
  return 0;
}
