// Equality of values: the comparison that isEqual offers clients and that
// buckets use when they compare their values.
#include <cmath>
#include <cstring>
#include <type_traits>

#include "bucket/BucketValue.h"
#include "bucket/ValuePayload.h"

namespace vesk::tarnhive {

using orlo::NarrowString;
using orlo::WideString;

bool BucketValue::isEqual(IBucketValue* const& a, IBucketValue* const& b) {
  if (a == nullptr || b == nullptr) return a == b;
  // Only the library's own values can be compared by content.
  const auto* x = dynamic_cast<const BucketValue*>(a);
  const auto* y = dynamic_cast<const BucketValue*>(b);
  return x != nullptr && y != nullptr && valuesEqual(*x, *y);
}

namespace {

// Equal as numbers: NaN equals nothing, +0 equals -0.
template <class F>
bool sameNumber(F x, F y) noexcept {
  return !std::isnan(x) && !std::isnan(y) && !(x < y) && !(x > y);
}

// Payload objects compare by content; a missing payload equals only another.
template <class T>
bool samePayload(const T* x, const T* y) noexcept {
  return x == nullptr || y == nullptr ? x == y : *x == *y;
}

template <class T>
bool sameElements(const void* x, const void* y, std::uint32_t count) noexcept {
  const auto* a = static_cast<const T*>(x);
  const auto* b = static_cast<const T*>(y);
  for (std::uint32_t i = 0; i < count; ++i) {
    if constexpr (std::is_floating_point_v<T>) {
      if (!sameNumber(a[i], b[i])) return false;
    } else if (!(a[i] == b[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool BucketValue::valuesEqual(const BucketValue& a, const BucketValue& b) noexcept {
  if (a.type_ != b.type_ || a.recordSize() != b.recordSize()) return false;
  const BucketValueType type = a.type_;
  if (type >= kANSISTRINGARRAY && type <= kFLOAT64ARRAY && a.arrayCount_ != b.arrayCount_) {
    return false;
  }
  const std::uint32_t count = a.arrayCount_;
  switch (type) {
    case kNOTSET:
      return true;
    case kDIGEST:
      return samePayload(a.payloadAs<Digest>(), b.payloadAs<Digest>());
    case kANSISTRING:
      return samePayload(a.payloadAs<NarrowString>(), b.payloadAs<NarrowString>());
    case kSTRING:
      return samePayload(a.payloadAs<WideString>(), b.payloadAs<WideString>());
    case kBLOB:
      if (a.pointer() == nullptr || b.pointer() == nullptr) return a.pointer() == b.pointer();
      return a.blobLength_ == b.blobLength_ &&
             (a.blobLength_ == 0 || std::memcmp(a.pointer(), b.pointer(), a.blobLength_) == 0);
    case kFLOAT32:
      return sameNumber(a.loadScalar<float>(), b.loadScalar<float>());
    case kFLOAT64:
      return sameNumber(a.loadScalar<double>(), b.loadScalar<double>());
    case kANSISTRINGARRAY:
      return sameElements<NarrowString>(a.arrayData_, b.arrayData_, count);
    case kSTRINGARRAY:
      return sameElements<WideString>(a.arrayData_, b.arrayData_, count);
    case kFLOAT32ARRAY:
      return sameElements<float>(a.arrayData_, b.arrayData_, count);
    case kFLOAT64ARRAY:
      return sameElements<double>(a.arrayData_, b.arrayData_, count);
    default:
      break;
  }
  // Integers and bools compare their stored bits, bools by the stored byte.
  if (payload::isScalar(type)) {
    return std::memcmp(a.scalar_, b.scalar_, payload::elementSize(type)) == 0;
  }
  if (payload::isNumericArray(type)) {
    const std::size_t bytes = std::size_t{count} * payload::elementSize(type);
    return bytes == 0 || std::memcmp(a.arrayData_, b.arrayData_, bytes) == 0;
  }
  return false;
}

}  // namespace vesk::tarnhive
