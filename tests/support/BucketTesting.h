// Helpers for the tests of buckets and collections: making buckets, reading
// names as plain text, whole records, and a clock the test sets.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bucket/Bucket.h"
#include "bucket/BucketClock.h"

namespace vesk::tarnhive::test {

using BucketPtr = orlo::RefPtr<Bucket>;
using Bytes = std::vector<std::uint8_t>;

inline BucketPtr newBucket(const orlo::WideString& fullName, bool persistent = true) {
  return BucketPtr(new Bucket(fullName, persistent));
}

// The units of an ASCII wide string as plain text.
inline std::string ascii(const orlo::WideString& text) {
  return std::string(text.begin(), text.end());
}

// Plain ASCII text as a wide string.
inline orlo::WideString wide(const std::string& text) {
  orlo::WideString out;
  for (char c : text) out += static_cast<orlo::WChar>(c);
  return out;
}

// The whole record of a bucket or a collection.
template <class T>
Bytes recordOf(T& object) {
  Bytes out(object.serializationSize());
  std::uint8_t* cursor = out.data();
  object.serialize(cursor, out.data() + out.size());
  EXPECT_EQ(cursor, out.data() + out.size()) << "serializationSize is exact";
  return out;
}

// Reads the first `length` bytes of `record` into a bucket or collection from
// a heap block of exactly that size, so that a read past its end is caught by
// the address sanitizer. A successful read must consume all of them, and a
// failed one must leave the cursor where it was.
template <class T>
void readFrom(T& object, const Bytes& record, std::size_t length) {
  std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[length]);
  if (length != 0) std::memcpy(block.get(), record.data(), length);
  const std::uint8_t* cursor = block.get();
  try {
    object.deserialize(cursor, block.get() + length);
  } catch (...) {
    EXPECT_EQ(cursor, block.get()) << "a failed read leaves the cursor";
    throw;
  }
  EXPECT_EQ(cursor, block.get() + length);
}

template <class T>
void readFrom(T& object, const Bytes& record) {
  readFrom(object, record, record.size());
}

// A new bucket read from `record`.
inline BucketPtr bucketFrom(const Bytes& record) {
  BucketPtr bucket(new Bucket());
  readFrom(*bucket, record);
  return bucket;
}

// While a TestClock lives, buckets are stamped with the time it is set to.
// Single-threaded tests only.
class TestClock {
 public:
  explicit TestClock(std::int64_t seconds = 1000, std::uint64_t fraction = 0) {
    set(seconds, fraction);
    clock::useForTesting(&read);
  }
  ~TestClock() { clock::useForTesting(nullptr); }
  TestClock(const TestClock&) = delete;
  TestClock& operator=(const TestClock&) = delete;

  static void set(std::int64_t seconds, std::uint64_t fraction = 0) {
    current().seconds = seconds;
    current().fraction = fraction;
  }

 private:
  static AbsoluteTime& current() {
    static AbsoluteTime time;
    return time;
  }
  static AbsoluteTime read() { return current(); }
};

}  // namespace vesk::tarnhive::test
