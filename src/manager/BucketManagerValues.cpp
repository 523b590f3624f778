// The value factories of the bucket manager: each makes a new value of one
// type with one reference for the caller. They need neither the store nor
// the lock.
#include <new>

#include "bucket/BucketValue.h"
#include "status/StatusGuard.h"
#include "manager/BucketManager.h"

namespace vesk::tarnhive {

template <class... Args>
bool BucketManager::makeValue(IBucketValue** out, TarnhiveStatus* status, const Args&... args) {
  if (!startOut(out, false, status)) return false;
  BucketValue* value = new (std::nothrow) BucketValue(args..., status);
  if (value == nullptr) {
    errno = ENOMEM;
    return false;
  }
  value->addRef();
  *out = value;
  return true;
}

bool BucketManager::newValue(IBucketValue** out, IBucketValue* source, TarnhiveStatus* status) {
  auto* typed = dynamic_cast<BucketValue*>(source);
  if (typed == nullptr) {
    if (out != nullptr) *out = nullptr;
    if (!failed(status)) setStatus(status, source == nullptr ? kNULLARGUMENT : kWRONGTYPE);
    return false;
  }
  return makeValue(out, status, *typed);
}

#define VESK_TARNHIVE_ARRAY_FACTORY(Element)                                            \
  bool BucketManager::newValue(IBucketValue** out, const Element* elements,              \
                               std::uint32_t count, TarnhiveStatus* status) {            \
    return makeValue(out, status, elements, count);                                     \
  }
#define VESK_TARNHIVE_SCALAR_FACTORY(Scalar)                                            \
  bool BucketManager::newValue(IBucketValue** out, Scalar scalar, TarnhiveStatus* status) { \
    return makeValue(out, status, scalar);                                              \
  }

VESK_TARNHIVE_ARRAY_FACTORY(double)
VESK_TARNHIVE_ARRAY_FACTORY(float)
VESK_TARNHIVE_ARRAY_FACTORY(std::uint64_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::int64_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::uint32_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::int32_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::uint16_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::int16_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::uint8_t)
VESK_TARNHIVE_ARRAY_FACTORY(std::int8_t)
VESK_TARNHIVE_ARRAY_FACTORY(bool)
VESK_TARNHIVE_ARRAY_FACTORY(orlo::WideString)
VESK_TARNHIVE_ARRAY_FACTORY(orlo::NarrowString)
VESK_TARNHIVE_SCALAR_FACTORY(double)
VESK_TARNHIVE_SCALAR_FACTORY(float)
VESK_TARNHIVE_SCALAR_FACTORY(std::uint64_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::int64_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::uint32_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::int32_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::uint16_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::int16_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::uint8_t)
VESK_TARNHIVE_SCALAR_FACTORY(std::int8_t)
VESK_TARNHIVE_SCALAR_FACTORY(bool)

#undef VESK_TARNHIVE_ARRAY_FACTORY
#undef VESK_TARNHIVE_SCALAR_FACTORY

bool BucketManager::newValue(IBucketValue** out, const std::uint8_t* bytes, std::uint32_t count,
                             bool, TarnhiveStatus* status) {
  return makeValue(out, status, BucketValue::kBlobData, bytes, count);
}

bool BucketManager::newValue(IBucketValue** out, const WideString& text, TarnhiveStatus* status) {
  return makeValue(out, status, text);
}

bool BucketManager::newValue(IBucketValue** out, const NarrowString& text,
                             TarnhiveStatus* status) {
  return makeValue(out, status, text);
}

bool BucketManager::newValue(IBucketValue** out, const Digest& digest, TarnhiveStatus* status) {
  return makeValue(out, status, digest);
}

bool BucketManager::newValue(IBucketValue** out, TarnhiveStatus* status) {
  if (!startOut(out, false, status)) return false;
  BucketValue* value = new (std::nothrow) BucketValue();
  if (value == nullptr) {
    errno = ENOMEM;
    return false;
  }
  value->addRef();
  *out = value;
  return true;
}

}  // namespace vesk::tarnhive
