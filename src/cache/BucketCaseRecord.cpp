// The byte record of a bucket collection: u32 format (written as 1, ignored
// when read), u32 bucket count, then that many bucket records in name order.
#include <cerrno>
#include <new>

#include "bucket/Bucket.h"
#include "cache/BucketCase.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/Serial.h"

namespace vesk::tarnhive {

using orlo::RefPtr;
using orlo::osdep::CriticalSectionLock;
using orlo::serial::saturatingAdd;

namespace {

constexpr char kBucketCaseSource[] = "vesk/tarnhive/BucketCase";
constexpr std::uint32_t kFormatWord = 1;
// The format and count words.
constexpr std::uint32_t kHeaderSize = 8;

}  // namespace

std::uint32_t BucketCase::serializationSize() {
  CriticalSectionLock hold(lock_);
  std::uint32_t size = kHeaderSize;
  for (const auto& entry : byName_)
    size = saturatingAdd(size, entry.second.bucket->serializationSize());
  return size;
}

// Throws BufferOverflow, before writing anything, when the room between
// cursor and end (measured in 32 bits) is below serializationSize.
void BucketCase::serialize(std::uint8_t*& cursor, const std::uint8_t* end) {
  CriticalSectionLock hold(lock_);
  if (cursor == nullptr || cursor > end ||
      static_cast<std::uint32_t>(end - cursor) < serializationSize()) {
    orlo::exception::raise(orlo::exception::BufferOverflow(), kBucketCaseSource, 0);
  }
  orlo::serial::putU32(cursor, end, kFormatWord);
  orlo::serial::putU32(cursor, end, static_cast<std::uint32_t>(byName_.size()));
  for (const auto& entry : byName_) entry.second.bucket->serialize(cursor, end);
}

// Empties the collection (through the most-derived clearBuckets), then reads
// it. A count that is 0 or negative as a signed number reads no bucket. A
// failure throws what the bucket records throw, leaves the cursor where it
// was and keeps the buckets read before it.
void BucketCase::deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) {
  CriticalSectionLock hold(lock_);
  clearBuckets();
  const std::uint8_t* at = cursor;
  orlo::serial::getU32(at, end);  // the format word
  const auto count = static_cast<std::int32_t>(orlo::serial::getU32(at, end));
  for (std::int32_t i = 0; i < count; ++i) readBucket(at, end);
  cursors_.invalidateAll();
  cursor = at;
}

void BucketCase::readBucket(const std::uint8_t*& cursor, const std::uint8_t* end) {
  RefPtr<Bucket> bucket(new (std::nothrow) Bucket());
  if (!bucket) {
    errno = ENOMEM;
    orlo::exception::raise(orlo::exception::DeserializationError(), kBucketCaseSource, 0);
  }
  bucket->deserialize(cursor, end);
  const std::uint32_t memUsage = bucket->getMemUsage();
  const orlo::WideString name = bucket->getFullName();
  const Digest digest = bucket->getDigest();
  if (byName_.count(name) != 0 || byDigest_.count(digest) != 0) return;
  insertEntry(name, digest, RefPtr<IBucket>(bucket.get()), memUsage);
}

}  // namespace vesk::tarnhive
