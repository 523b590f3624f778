// The byte record of a value: u32 format word (written as 1, ignored when
// read), u32 kind, then the payload, little-endian and unaligned with no
// padding. Wide strings travel in the restricted UTF-8 of Utf8.h, narrow ones
// as their own bytes with a terminator (StringRecord.h).
#include <cstring>
#include <new>
#include <type_traits>

#include "bucket/BucketValue.h"
#include "bucket/ValuePayload.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/Serial.h"
#include "vesk/orlo/StringRecord.h"

namespace vesk::tarnhive {

using orlo::NarrowString;
using orlo::WideString;
using orlo::serial::saturatingAdd;

namespace {

constexpr char kBucketValueSource[] = "vesk/tarnhive/BucketValue";
constexpr std::uint32_t kFormatWord = 1;
constexpr std::uint32_t kHeaderSize = 8;

[[noreturn]] void readFailed() {
  orlo::exception::raise(orlo::exception::DeserializationError(), kBucketValueSource, 0);
}

[[noreturn]] void writeFailed() {
  orlo::exception::raise(orlo::exception::BufferOverflow(), kBucketValueSource, 0);
}

// Bytes between cursor and end measured in 32 bits, as the record writers
// measure their room.
void requireRoom32(const std::uint8_t* cursor, const std::uint8_t* end, std::uint64_t needed) {
  if (cursor == nullptr || cursor > end || static_cast<std::uint32_t>(end - cursor) < needed) {
    writeFailed();
  }
}

std::uint32_t saturated(std::uint64_t n) noexcept {
  return n > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(n);
}

std::uint32_t recordSizeOf(const NarrowString& text) noexcept {
  return orlo::narrowRecordSize(text);
}
std::uint32_t recordSizeOf(const WideString& text) noexcept { return orlo::wideRecordSize(text); }

void writeRecord(const NarrowString& text, std::uint8_t*& cursor, const std::uint8_t* end) {
  orlo::writeNarrowRecord(text, cursor, end);
}
void writeRecord(const WideString& text, std::uint8_t*& cursor, const std::uint8_t* end) {
  orlo::writeWideRecord(text, cursor, end);
}
void readRecord(NarrowString& text, const std::uint8_t*& cursor, const std::uint8_t* end) {
  orlo::readNarrowRecord(text, cursor, end);
}
void readRecord(WideString& text, const std::uint8_t*& cursor, const std::uint8_t* end) {
  orlo::readWideRecord(text, cursor, end);
}

// The smallest record of a string: the narrow one always carries its
// terminator.
template <class S>
constexpr std::uint32_t kMinimumRecord = std::is_same_v<S, NarrowString> ? 5 : 4;

template <class S>
std::uint32_t stringArraySize(const void* block, std::uint32_t count) noexcept {
  std::uint32_t total = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    total = saturatingAdd(total, recordSizeOf(static_cast<const S*>(block)[i]));
  }
  return total;
}

// One scalar of 1, 2, 4 or 8 bytes, from or into its host representation.
void writeUnit(std::uint8_t*& cursor, const std::uint8_t* end, const void* unit,
               std::uint32_t size) {
  std::uint64_t bits = 0;
  switch (size) {
    case 1: {
      std::uint8_t v;
      std::memcpy(&v, unit, 1);
      return orlo::serial::putFixed(cursor, end, v);
    }
    case 2: {
      std::uint16_t v;
      std::memcpy(&v, unit, 2);
      return orlo::serial::putFixed(cursor, end, v);
    }
    case 4: {
      std::uint32_t v;
      std::memcpy(&v, unit, 4);
      return orlo::serial::putFixed(cursor, end, v);
    }
    default:
      std::memcpy(&bits, unit, 8);
      return orlo::serial::putFixed(cursor, end, bits);
  }
}

void readUnit(const std::uint8_t*& cursor, const std::uint8_t* end, void* unit,
              std::uint32_t size) {
  switch (size) {
    case 1: {
      const auto v = orlo::serial::getFixed<std::uint8_t>(cursor, end);
      std::memcpy(unit, &v, 1);
      return;
    }
    case 2: {
      const auto v = orlo::serial::getFixed<std::uint16_t>(cursor, end);
      std::memcpy(unit, &v, 2);
      return;
    }
    case 4: {
      const auto v = orlo::serial::getFixed<std::uint32_t>(cursor, end);
      std::memcpy(unit, &v, 4);
      return;
    }
    default: {
      const auto v = orlo::serial::getFixed<std::uint64_t>(cursor, end);
      std::memcpy(unit, &v, 8);
      return;
    }
  }
}

}  // namespace

std::uint32_t BucketValue::serializationSize() { return recordSize(); }

std::uint32_t BucketValue::recordSize() const noexcept {
  switch (type_) {
    case kDIGEST:
      return kHeaderSize + Digest::kSize;
    case kANSISTRING: {
      const auto* text = payloadAs<NarrowString>();
      return saturatingAdd(kHeaderSize, text ? recordSizeOf(*text) : 5);
    }
    case kSTRING: {
      const auto* text = payloadAs<WideString>();
      return saturatingAdd(kHeaderSize, text ? recordSizeOf(*text) : 4);
    }
    case kBLOB:
      return saturatingAdd(blobLength_, kHeaderSize + 4);
    case kANSISTRINGARRAY:
      return saturatingAdd(kHeaderSize + 4, stringArraySize<NarrowString>(arrayData_, arrayCount_));
    case kSTRINGARRAY:
      return saturatingAdd(kHeaderSize + 4, stringArraySize<WideString>(arrayData_, arrayCount_));
    default:
      break;
  }
  if (payload::isScalar(type_)) return kHeaderSize + payload::elementSize(type_);
  if (payload::isNumericArray(type_)) {
    return saturatingAdd(kHeaderSize + 4,
                         saturated(std::uint64_t{arrayCount_} * payload::elementSize(type_)));
  }
  return kHeaderSize;
}

void BucketValue::requirePayload() const {
  if (type_ >= kDIGEST && type_ <= kBLOB && pointer() == nullptr) {
    orlo::exception::raise(orlo::exception::InvalidOperation(), kBucketValueSource, 0);
  }
}

void BucketValue::serialize(std::uint8_t*& cursor, const std::uint8_t* end) {
  requireRoom32(cursor, end, recordSize());
  requirePayload();
  orlo::serial::putU32(cursor, end, kFormatWord);
  orlo::serial::putU32(cursor, end, type_);
  writePayload(cursor, end);
}

void BucketValue::writePayload(std::uint8_t*& cursor, const std::uint8_t* end) const {
  switch (type_) {
    case kDIGEST:
      return payloadAs<Digest>()->serialize(cursor, end);
    case kANSISTRING:
      return writeRecord(*payloadAs<NarrowString>(), cursor, end);
    case kSTRING:
      return writeRecord(*payloadAs<WideString>(), cursor, end);
    case kBLOB:
      requireRoom32(cursor, end, std::uint64_t{blobLength_} + 4);
      orlo::serial::putU32(cursor, end, blobLength_);
      return orlo::serial::putBytes(cursor, end, pointer(), blobLength_);
    case kBOOL:
      return orlo::serial::putFixed<std::uint8_t>(cursor, end, storedBool() ? 1 : 0);
    case kANSISTRINGARRAY:
    case kSTRINGARRAY:
      orlo::serial::putU32(cursor, end, arrayCount_);
      for (std::uint32_t i = 0; i < arrayCount_; ++i) {
        if (type_ == kSTRINGARRAY) {
          writeRecord(static_cast<const WideString*>(arrayData_)[i], cursor, end);
        } else {
          writeRecord(static_cast<const NarrowString*>(arrayData_)[i], cursor, end);
        }
      }
      return;
    default:
      break;
  }
  if (payload::isScalar(type_)) return writeUnit(cursor, end, scalar_, payload::elementSize(type_));
  if (payload::isNumericArray(type_)) writeNumericArray(cursor, end);
}

void BucketValue::writeNumericArray(std::uint8_t*& cursor, const std::uint8_t* end) const {
  const std::uint32_t size = payload::elementSize(type_);
  const auto* elements = static_cast<const std::uint8_t*>(arrayData_);
  orlo::serial::putU32(cursor, end, arrayCount_);
  for (std::uint32_t i = 0; i < arrayCount_; ++i) {
    if (type_ == kBOOLARRAY) {
      orlo::serial::putFixed<std::uint8_t>(cursor, end, elements[i] != 0 ? 1 : 0);
    } else {
      writeUnit(cursor, end, elements + std::size_t{i} * size, size);
    }
  }
}

// The cursor moves only when the whole record was read (or the blob's read
// stopped quietly after its count).
void BucketValue::deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) {
  clearValue();
  const std::uint8_t* p = cursor;
  orlo::serial::getU32(p, end);  // the format word: every version reads alike
  type_ = static_cast<BucketValueType>(orlo::serial::getU32(p, end));
  readPayload(p, end);
  cursor = p;
}

void BucketValue::readPayload(const std::uint8_t*& cursor, const std::uint8_t* end) {
  switch (type_) {
    case kDIGEST: {
      payload::BlockPtr block(payload::allocate(sizeof(Digest)));
      if (!block) readFailed();
      ::new (block.get()) Digest(cursor, end);
      return adoptPointer(kDIGEST, block.release());
    }
    case kANSISTRING:
      return readString<NarrowString>(cursor, end);
    case kSTRING:
      return readString<WideString>(cursor, end);
    case kBLOB:
      return readBlob(cursor, end);
    case kBOOL:
      scalar_[0] = orlo::serial::getFixed<std::uint8_t>(cursor, end) != 0 ? 1 : 0;
      return;
    case kANSISTRINGARRAY:
      return readStringArray<NarrowString>(cursor, end);
    case kSTRINGARRAY:
      return readStringArray<WideString>(cursor, end);
    default:
      break;
  }
  // kNOTSET and codes beyond the known kinds carry no payload.
  if (payload::isScalar(type_)) return readUnit(cursor, end, scalar_, payload::elementSize(type_));
  if (payload::isNumericArray(type_)) readNumericArray(cursor, end);
}

// A blob whose block cannot be had stops the read quietly: the value keeps
// its kind and count without data (getBlob reports kNODATA) and the bytes
// stay unread. As for arrays, the count is checked against the bytes left
// first: a damaged count never asks for memory the record could not fill.
void BucketValue::readBlob(const std::uint8_t*& cursor, const std::uint8_t* end) {
  const std::uint32_t n = orlo::serial::getU32(cursor, end);
  if (n > static_cast<std::size_t>(end - cursor)) readFailed();
  payload::BlockPtr block(payload::allocate(n));
  if (block) orlo::serial::getBytes(cursor, end, block.get(), n);
  adoptPointer(kBLOB, block.release());
  blobLength_ = n;
}

// The count is checked against the bytes left before the block is allocated,
// so a damaged count cannot ask for more memory than the record could fill.
void BucketValue::readNumericArray(const std::uint8_t*& cursor, const std::uint8_t* end) {
  const BucketValueType type = type_;
  const std::uint32_t size = payload::elementSize(type);
  const std::uint32_t count = orlo::serial::getU32(cursor, end);
  if (count > static_cast<std::size_t>(end - cursor) / size) readFailed();
  payload::BlockPtr block(payload::allocate(std::size_t{count} * size));
  if (!block) readFailed();
  auto* elements = static_cast<std::uint8_t*>(block.get());
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint8_t* unit = elements + std::size_t{i} * size;
    readUnit(cursor, end, unit, size);
    if (type == kBOOLARRAY) *unit = *unit != 0 ? 1 : 0;
  }
  adoptArray(type, block.release(), count);
}

template <class S>
void BucketValue::readString(const std::uint8_t*& cursor, const std::uint8_t* end) {
  payload::BlockPtr block(payload::allocate(sizeof(S)));
  if (!block) readFailed();
  S* text = nullptr;
  try {
    text = ::new (block.get()) S();
  } catch (const std::bad_alloc&) {
    readFailed();
  }
  block.release();
  try {
    readRecord(*text, cursor, end);
  } catch (const std::bad_alloc&) {
    payload::destroy(text);
    readFailed();
  } catch (...) {
    // DeserializationError and, for a wide string, InvalidSequence pass on.
    payload::destroy(text);
    throw;
  }
  adoptPointer(type_, text);
}

// Any failure inside the array, malformed UTF-8 included, becomes a
// DeserializationError once the strings read so far are gone.
template <class S>
void BucketValue::readStringArray(const std::uint8_t*& cursor, const std::uint8_t* end) {
  const BucketValueType type = type_;
  const std::uint32_t count = orlo::serial::getU32(cursor, end);
  if (count > static_cast<std::size_t>(end - cursor) / kMinimumRecord<S>) readFailed();
  auto* block = static_cast<S*>(payload::allocate(std::size_t{count} * sizeof(S)));
  if (block == nullptr) readFailed();
  std::uint32_t made = 0;
  try {
    while (made < count) {
      S* text = ::new (block + made) S();
      ++made;
      readRecord(*text, cursor, end);
    }
  } catch (...) {
    payload::destroyStrings(block, made);
    readFailed();
  }
  adoptArray(type, block, count);
}

}  // namespace vesk::tarnhive
