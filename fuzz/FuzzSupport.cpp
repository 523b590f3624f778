// Reading values and buckets through their interfaces, and scratch directories.
#include "FuzzSupport.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "vesk/orlo/osdep/TaskAllocator.h"
#include "vesk/tarnhive/StatusCodes.h"

namespace vesk::tarnhive::fuzz {
namespace {

using orlo::NarrowString;
using orlo::WideString;

// An element getter and the whole-array getter of one array kind.
template <class T>
struct ArrayGetters {
  T (IBucketValue::*element)(std::uint32_t, TarnhiveStatus*);
  std::uint32_t (IBucketValue::*whole)(T**, TarnhiveStatus*);
};

// Every element reads, the element past the end is refused, and the whole
// array holds the same elements (compared as bytes: NaN is not equal to
// itself).
template <class T>
void readNumericArray(IBucketValue& value, ArrayGetters<T> getters) {
  const std::uint32_t count = value.getArraySize();
  TarnhiveStatus status;
  T* block = nullptr;
  const std::uint32_t got = (value.*getters.whole)(&block, &status);
  expect(count == 0 ? status.code == kNODATA && block == nullptr : got == count && block != nullptr,
         "the whole array holds getArraySize elements, or none for an empty array");
  for (std::uint32_t i = 0; i < count; ++i) {
    TarnhiveStatus own;
    const T element = (value.*getters.element)(i, &own);
    expect(own.code == 0, "every element below getArraySize reads");
    expect(std::memcmp(&element, block + i, sizeof(T)) == 0, "elements read alike one by one");
  }
  TarnhiveStatus past;
  (value.*getters.element)(count, &past);
  expect(past.code == kINDEXOUTOFRANGE, "the element at getArraySize is out of range");
  orlo::osdep::taskFree(block);
}

template <class S>
void readStringArray(IBucketValue& value, ArrayGetters<S> getters,
                     void (IBucketValue::*release)(S*, TarnhiveStatus*)) {
  const std::uint32_t count = value.getArraySize();
  TarnhiveStatus status;
  S* block = nullptr;
  const std::uint32_t got = (value.*getters.whole)(&block, &status);
  expect(count == 0 ? status.code == kNODATA && block == nullptr : got == count && block != nullptr,
         "the whole array holds getArraySize strings, or none for an empty array");
  for (std::uint32_t i = 0; i < count; ++i) {
    TarnhiveStatus own;
    const S element = (value.*getters.element)(i, &own);
    expect(own.code == 0 && element == block[i], "strings read alike one by one");
  }
  TarnhiveStatus past;
  (value.*getters.element)(count, &past);
  expect(past.code == kINDEXOUTOFRANGE, "the string at getArraySize is out of range");
  TarnhiveStatus freed;
  (value.*release)(block, &freed);
  expect(freed.code == 0, "a string block is freed through the value that made it");
}

// The single-payload kinds: a payload, or kNODATA after a read that failed.
void readPayload(IBucketValue& value) {
  TarnhiveStatus status;
  switch (value.getType()) {
    case kDIGEST:
      value.getDigest(&status);
      break;
    case kANSISTRING:
      value.getAnsiString(&status);
      break;
    case kSTRING:
      value.getString(&status);
      break;
    default: {
      const std::uint32_t size = value.getBlobSize(&status);
      if (status.code != 0) break;
      std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[size + 1]);
      expect(value.getBlob(buffer.get(), size + 1, &status) == size, "a blob reads its size");
      break;
    }
  }
  expect(status.code == 0 || status.code == kNODATA, "a payload reads, or is missing");
}

void readScalar(IBucketValue& value) {
  TarnhiveStatus status;
  // clang-format off
  switch (value.getType()) {
    case kBOOL: value.getBool(&status); break;
    case kINT8: value.getInt8(&status); break;
    case kUINT8: value.getUInt8(&status); break;
    case kINT16: value.getInt16(&status); break;
    case kUINT16: value.getUInt16(&status); break;
    case kINT32: value.getInt32(&status); break;
    case kUINT32: value.getUInt32(&status); break;
    case kINT64: value.getInt64(&status); break;
    case kUINT64: value.getUInt64(&status); break;
    case kFLOAT32: value.getFloat32(&status); break;
    default: value.getFloat64(&status); break;
  }
  // clang-format on
  expect(status.code == 0, "a scalar of the value's kind reads");
}

void readArray(IBucketValue& value) {
  using V = IBucketValue;
  switch (value.getType()) {
    case kANSISTRINGARRAY:
      return readStringArray<NarrowString>(
          value, {&V::getAnsiStringArrayElement, &V::getAnsiStringArray}, &V::freeAnsiStringArray);
    case kSTRINGARRAY:
      return readStringArray<WideString>(value, {&V::getStringArrayElement, &V::getStringArray},
                                         &V::freeStringArray);
    case kBOOLARRAY:
      return readNumericArray<bool>(value, {&V::getBoolArrayElement, &V::getBoolArray});
    case kINT8ARRAY:
      return readNumericArray<std::int8_t>(value, {&V::getInt8ArrayElement, &V::getInt8Array});
    case kUINT8ARRAY:
      return readNumericArray<std::uint8_t>(value, {&V::getUInt8ArrayElement, &V::getUInt8Array});
    case kINT16ARRAY:
      return readNumericArray<std::int16_t>(value, {&V::getInt16ArrayElement, &V::getInt16Array});
    case kUINT16ARRAY:
      return readNumericArray<std::uint16_t>(value,
                                             {&V::getUInt16ArrayElement, &V::getUInt16Array});
    case kINT32ARRAY:
      return readNumericArray<std::int32_t>(value, {&V::getInt32ArrayElement, &V::getInt32Array});
    case kUINT32ARRAY:
      return readNumericArray<std::uint32_t>(value,
                                             {&V::getUInt32ArrayElement, &V::getUInt32Array});
    case kINT64ARRAY:
      return readNumericArray<std::int64_t>(value, {&V::getInt64ArrayElement, &V::getInt64Array});
    case kUINT64ARRAY:
      return readNumericArray<std::uint64_t>(value,
                                             {&V::getUInt64ArrayElement, &V::getUInt64Array});
    case kFLOAT32ARRAY:
      return readNumericArray<float>(value, {&V::getFloat32ArrayElement, &V::getFloat32Array});
    default:
      return readNumericArray<double>(value, {&V::getFloat64ArrayElement, &V::getFloat64Array});
  }
}

}  // namespace

void expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

void readValue(IBucketValue& value) {
  const BucketValueType type = value.getType();
  if (type >= kDIGEST && type <= kBLOB) readPayload(value);
  if (type >= kBOOL && type <= kFLOAT64) readScalar(value);
  if (type >= kANSISTRINGARRAY && type <= kFLOAT64ARRAY) {
    readArray(value);
  } else {
    expect(value.getArraySize() == 0, "a value that is no array has no elements");
  }
  TarnhiveStatus other;
  if (type == kINT32) {
    value.getUInt32(&other);
  } else {
    value.getInt32(&other);
  }
  expect(other.code == kWRONGTYPE, "a getter of another kind is refused");
  WideString text;
  value.toString(text);
  value.getMemUsage();
  value.serializationSize();
}

void readBucket(IBucket& bucket) {
  bucket.getFullName();
  bucket.getShortName();
  bucket.getDigest();
  bucket.getParentDigest();
  bucket.getVersion();
  TarnhiveStatus status;
  WideString name;
  IBucketValue* value = nullptr;
  std::vector<WideString> names;
  const std::uint32_t handle = bucket.openEnumeration();
  for (bool more = bucket.enumFirstValue(name, value, handle, &status); more;
       more = bucket.enumNextValue(name, value, handle, &status)) {
    readValue(*value);
    names.push_back(name);
  }
  if (value != nullptr) value->release();
  expect(status.code >= 0, "the values of a bucket enumerate");
  Digest child;
  for (bool more = bucket.enumFirstChild(child, handle); more;
       more = bucket.enumNextChild(child, handle, &status)) {
  }
  bucket.closeEnumeration(handle);
  expect(names.size() == bucket.getNumValues(), "the enumeration lists getNumValues values");
  for (const WideString& listed : names) {
    TarnhiveStatus own;
    IBucketValue* found = bucket.getValue(listed, &own);
    expect(found != nullptr && bucket.hasValue(listed), "every value listed is found by name");
    found->release();
  }
}

bool comparesEqualToItself(IBucket& bucket) {
  TarnhiveStatus status;
  WideString name;
  IBucketValue* value = nullptr;
  bool equal = true;
  const std::uint32_t handle = bucket.openEnumeration();
  for (bool more = bucket.enumFirstValue(name, value, handle, &status); more && equal;
       more = bucket.enumNextValue(name, value, handle, &status)) {
    // A value of an unknown kind is handed out as a kNOTSET copy, which no
    // bucket stores otherwise.
    equal = value->getType() != kNOTSET && value->isEqual(value, value);
  }
  if (value != nullptr) value->release();
  bucket.closeEnumeration(handle);
  return equal;
}

namespace {

constexpr char kScratchPrefix[] = "tarnhive-fuzz-";

// Removes the scratch directories of processes that no longer run: a run
// that crashes, or that runs single inputs, ends without removing its own.
void removeAbandoned(const std::filesystem::path& base) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(base, error)) {
    const std::string name = entry.path().filename().string();
    const std::size_t dash = name.rfind('-');
    if (!name.starts_with(kScratchPrefix) || dash == std::string::npos) continue;
    const long pid = std::strtol(name.c_str() + dash + 1, nullptr, 10);
    if (pid > 0 && ::kill(static_cast<pid_t>(pid), 0) == -1 && errno == ESRCH) {
      std::filesystem::remove_all(entry.path(), error);
    }
  }
}

}  // namespace

ScratchDirectory::ScratchDirectory(const std::string& purpose) {
  namespace fs = std::filesystem;
  const fs::path base =
      fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
  removeAbandoned(base);
  path_ = base / (kScratchPrefix + purpose + "-" + std::to_string(::getpid()));
  fs::remove_all(path_);
  fs::create_directories(path_);
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void ScratchDirectory::clear() const {
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    std::filesystem::remove_all(entry.path());
  }
}

void useOwnLockDirectory() {
  static const ScratchDirectory locks("locks");
  ::setenv("VESK_TARNHIVE_LOCK_DIR", locks.path().c_str(), 1);
}

}  // namespace vesk::tarnhive::fuzz
