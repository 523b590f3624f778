// The byte record of a bucket, little-endian and unaligned:
//
//   u32 format (written as 1, ignored when read)
//   u32 version
//   wide string record: the full name
//   u32 value count
//   per value, in name order: wide string record of its name, value record
//
// Nothing else is stored: the short name, both digests and the file name are
// derived from the full name, and the persistent flag, the modified flag and
// the time stamp are not part of the record.
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <new>

#include "bucket/Bucket.h"
#include "bucket/BucketClock.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/Serial.h"
#include "vesk/orlo/StringRecord.h"

namespace vesk::tarnhive {

using orlo::WideString;
using orlo::osdep::CriticalSectionLock;
using orlo::serial::saturatingAdd;

namespace {

constexpr char kBucketSource[] = "vesk/tarnhive/Bucket";
constexpr std::uint32_t kFormatWord = 1;
// The format, version and count words.
constexpr std::uint32_t kFixedWords = 12;
// An entry holds at least its name's length word and its value's type word.
constexpr std::size_t kSmallestEntry = 8;

[[noreturn]] void readFailed() {
  orlo::exception::raise(orlo::exception::DeserializationError(), kBucketSource, 0);
}

}  // namespace

std::uint32_t Bucket::serializationSize() {
  CriticalSectionLock hold(lock_);
  std::uint32_t size = saturatingAdd(orlo::wideRecordSize(fullName_), kFixedWords);
  for (const SharedEntry& entry : values_) size = saturatingAdd(size, entry->recordSize);
  return size;
}

// Throws BufferOverflow, before writing anything, when the room between
// cursor and end (measured in 32 bits) is below serializationSize.
void Bucket::serialize(std::uint8_t*& cursor, const std::uint8_t* end) {
  CriticalSectionLock hold(lock_);
  if (cursor == nullptr || cursor > end ||
      static_cast<std::uint32_t>(end - cursor) < serializationSize()) {
    orlo::exception::raise(orlo::exception::BufferOverflow(), kBucketSource, 0);
  }
  orlo::serial::putU32(cursor, end, kFormatWord);
  orlo::serial::putU32(cursor, end, version_);
  orlo::writeWideRecord(fullName_, cursor, end);
  orlo::serial::putU32(cursor, end, static_cast<std::uint32_t>(values_.size()));
  for (const SharedEntry& entry : values_) {
    orlo::writeWideRecord(entry->name, cursor, end);
    entry->value->serialize(cursor, end);
  }
}

// Replaces the whole bucket with the record. On failure (DeserializationError,
// or InvalidSequence for a name that is not valid UTF-8) the cursor stays
// where it was, and the bucket keeps what was read so far: possibly its new
// name, with none or some of its values.
void Bucket::deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) {
  if (cursor == nullptr || end == nullptr) readFailed();
  CriticalSectionLock hold(lock_);
  const std::uint8_t* at = cursor;
  orlo::serial::getU32(at, end);  // the format word
  const std::uint32_t version = orlo::serial::getU32(at, end);
  WideString fullName;
  orlo::readWideRecord(fullName, at, end);
  version_ = version;
  fullName_.swap(fullName);
  fileName_.clear();
  deriveNames();
  cursors_.invalidateAll();
  values_.clear();
  valuesUsage_ = 0;
  const std::uint32_t count = orlo::serial::getU32(at, end);
  // A damaged count must not reserve more than the record can hold.
  values_.reserve(
      std::min<std::size_t>(count, static_cast<std::size_t>(end - at) / kSmallestEntry));
  for (std::uint32_t i = 0; i < count; ++i) readEntry(at, end);
  timestamp_ = clock::now();
  modified_ = false;
  cursor = at;
}

// An entry that cannot be stored (an unset value, an empty name) is skipped;
// a later entry of the same name replaces an earlier one. The bucket is
// stamped once for the whole record, not per entry.
void Bucket::readEntry(const std::uint8_t*& cursor, const std::uint8_t* end) {
  ValuePtr value(new (std::nothrow) BucketValue());
  if (!value) {
    errno = ENOMEM;
    readFailed();
  }
  WideString name;
  orlo::readWideRecord(name, cursor, end);
  value->deserialize(cursor, end);
  TarnhiveStatus own;
  if (!storable(name, value, &own)) return;
  guardedRun(&own, [&] { placeValue(name, value, &own, true); });
}

}  // namespace vesk::tarnhive
