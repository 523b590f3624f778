// The values of a bucket: the typed setters and their common store path,
// removal, and copies handed to callers.
#include <algorithm>
#include <cerrno>
#include <new>

#include "bucket/Bucket.h"
#include "bucket/BucketClock.h"
#include "status/StatusGuard.h"
#include "vesk/orlo/Serial.h"
#include "vesk/orlo/StringRecord.h"

namespace vesk::tarnhive {

using orlo::NarrowString;
using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

// Codes: kEMPTYVALUENAME, kNULLVALUE (the value could not be made), kWRONGTYPE
// (an unset value), kVALUEEXISTS (a different value is stored and overwrite
// is false), kWVALUEREPLACED (it was replaced). An equal stored value leaves
// everything untouched and returns false without a code.
bool Bucket::storeValue(const WideString& name, ValuePtr& value, TarnhiveStatus* status,
                        bool overwrite) {
  if (failed(status) || !storable(name, value, status)) return false;
  return guardedCall(status, false, [&] {
    CriticalSectionLock hold(lock_);
    if (!placeValue(name, value, status, overwrite)) return false;
    touch();
    return true;
  });
}

bool Bucket::storable(const WideString& name, const ValuePtr& value, TarnhiveStatus* status) {
  if (name.empty()) {
    setStatus(status, kEMPTYVALUENAME);
    return false;
  }
  if (!value) {
    setStatus(status, kNULLVALUE);
    return false;
  }
  if (value->getType() == kNOTSET) {
    setStatus(status, kWRONGTYPE);
    return false;
  }
  return true;
}

// The new entry is made before anything changes, so a failure loses
// nothing; a replacing entry takes the new name's spelling.
bool Bucket::placeValue(const WideString& name, ValuePtr& value, TarnhiveStatus* status,
                        bool overwrite) {
  const auto at = lowerBound(name);
  const bool held = at != values_.end() && !orlo::IgnoreCaseLess()(name, (*at)->name);
  if (held && BucketValue::valuesEqual(*(*at)->value, *value)) return false;
  if (held && !overwrite) {
    setStatus(status, kVALUEEXISTS);
    return false;
  }
  SharedEntry entry = std::make_shared<const ValueEntry>(name, std::move(value));
  const std::uint32_t added = entry->memUsage;
  if (held) {
    valuesUsage_ -= (*at)->memUsage;
    *at = std::move(entry);
    setStatus(status, kWVALUEREPLACED);
  } else {
    values_.insert(at, std::move(entry));
  }
  valuesUsage_ += added;
  return true;
}

Bucket::ValueEntry::ValueEntry(const WideString& entryName, ValuePtr entryValue)
    : name(entryName),
      value(std::move(entryValue)),
      recordSize(
          orlo::serial::saturatingAdd(orlo::wideRecordSize(name), value->serializationSize())),
      memUsage(2 * name.length() + value->getMemUsage()) {}

void Bucket::recountUsage() noexcept {
  valuesUsage_ = 0;
  for (const SharedEntry& entry : values_) valuesUsage_ += entry->memUsage;
}

Bucket::ValueList::iterator Bucket::lowerBound(const WideString& name) {
  // Records and copies list values in name order: reading one appends.
  if (values_.empty() || orlo::IgnoreCaseLess()(values_.back()->name, name)) return values_.end();
  return std::lower_bound(values_.begin(), values_.end(), name,
                          [](const SharedEntry& entry, const WideString& key) {
                            return orlo::IgnoreCaseLess()(entry->name, key);
                          });
}

Bucket::ValueList::iterator Bucket::findValue(const WideString& name) {
  const auto at = lowerBound(name);
  if (at == values_.end() || orlo::IgnoreCaseLess()(name, (*at)->name)) return values_.end();
  return at;
}

// A value that cannot be allocated reaches storeValue as null (kNULLVALUE)
// with errno set to ENOMEM; one whose content cannot be copied reports the
// code its constructor set.
template <class... Args>
bool Bucket::setBuilt(const WideString& name, TarnhiveStatus* status, bool overwrite,
                      Args&&... args) {
  if (failed(status)) return false;
  ValuePtr value(new (std::nothrow) BucketValue(std::forward<Args>(args)..., status));
  if (!value) errno = ENOMEM;
  if (failed(status)) return false;
  return storeValue(name, value, status, overwrite);
}

bool Bucket::setFloat64Array(const WideString& name, const double* elements, std::uint32_t count,
                             TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setFloat32Array(const WideString& name, const float* elements, std::uint32_t count,
                             TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setUInt64Array(const WideString& name, const std::uint64_t* elements,
                            std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setInt64Array(const WideString& name, const std::int64_t* elements,
                           std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setUInt32Array(const WideString& name, const std::uint32_t* elements,
                            std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setInt32Array(const WideString& name, const std::int32_t* elements,
                           std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setUInt16Array(const WideString& name, const std::uint16_t* elements,
                            std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setInt16Array(const WideString& name, const std::int16_t* elements,
                           std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setUInt8Array(const WideString& name, const std::uint8_t* elements,
                           std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setInt8Array(const WideString& name, const std::int8_t* elements, std::uint32_t count,
                          TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setBoolArray(const WideString& name, const bool* elements, std::uint32_t count,
                          TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setStringArray(const WideString& name, const WideString* elements, std::uint32_t count,
                            TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setAnsiStringArray(const WideString& name, const NarrowString* elements,
                                std::uint32_t count, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, elements, count);
}
bool Bucket::setFloat64(const WideString& name, double value, TarnhiveStatus* status,
                        bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setFloat32(const WideString& name, float value, TarnhiveStatus* status,
                        bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setUInt64(const WideString& name, std::uint64_t value, TarnhiveStatus* status,
                       bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setInt64(const WideString& name, std::int64_t value, TarnhiveStatus* status,
                      bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setUInt32(const WideString& name, std::uint32_t value, TarnhiveStatus* status,
                       bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setInt32(const WideString& name, std::int32_t value, TarnhiveStatus* status,
                      bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setUInt16(const WideString& name, std::uint16_t value, TarnhiveStatus* status,
                       bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setInt16(const WideString& name, std::int16_t value, TarnhiveStatus* status,
                      bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setUInt8(const WideString& name, std::uint8_t value, TarnhiveStatus* status,
                      bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setInt8(const WideString& name, std::int8_t value, TarnhiveStatus* status,
                     bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setBool(const WideString& name, bool value, TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setString(const WideString& name, const WideString& value, TarnhiveStatus* status,
                       bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setAnsiString(const WideString& name, const NarrowString& value,
                           TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setDigest(const WideString& name, const Digest& value, TarnhiveStatus* status,
                       bool overwrite) {
  return setBuilt(name, status, overwrite, value);
}
bool Bucket::setBlob(const WideString& name, const std::uint8_t* bytes, std::uint32_t count,
                     TarnhiveStatus* status, bool overwrite) {
  return setBuilt(name, status, overwrite, BucketValue::kBlobData, bytes, count);
}

// Values of other implementations than BucketValue are refused as invalid.
bool Bucket::setValue(const WideString& name, IBucketValue* value, TarnhiveStatus* status,
                      bool overwrite) {
  if (failed(status)) return false;
  if (value == nullptr) {
    setStatus(status, kNULLVALUE);
    return false;
  }
  const auto* source = dynamic_cast<const BucketValue*>(value);
  if (source == nullptr) {
    setStatus(status, kWRONGTYPE);
    return false;
  }
  return setBuilt(name, status, overwrite, *source);
}

bool Bucket::removeValue(const WideString& name) {
  CriticalSectionLock hold(lock_);
  const auto found = findValue(name);
  if (found == values_.end()) return false;
  valuesUsage_ -= (*found)->memUsage;
  values_.erase(found);
  touch();
  return true;
}

bool Bucket::hasValue(const WideString& name) {
  CriticalSectionLock hold(lock_);
  return findValue(name) != values_.end();
}

void Bucket::clearValues() {
  CriticalSectionLock hold(lock_);
  dropAllValues();
}

void Bucket::dropAllValues() noexcept {
  if (values_.empty()) return;
  touch();
  values_.clear();
  valuesUsage_ = 0;
}

void Bucket::clearDataValues() {
  CriticalSectionLock hold(lock_);
  const std::size_t before = values_.size();
  std::erase_if(values_,
                [](const SharedEntry& entry) { return entry->value->getType() != kDIGEST; });
  if (values_.size() == before) return;
  recountUsage();
  touch();
}

bool Bucket::isLink(ValueList::const_iterator entry) noexcept {
  return (*entry)->value->getType() == kDIGEST;
}

IBucketValue* Bucket::getValue(const WideString& name, TarnhiveStatus* status) {
  return guardedCall(status, static_cast<IBucketValue*>(nullptr), [&]() -> IBucketValue* {
    CriticalSectionLock hold(lock_);
    const auto found = findValue(name);
    if (found == values_.end()) return nullptr;
    return copyForCaller(*(*found)->value, status);
  });
}

IBucketValue* Bucket::copyForCaller(const BucketValue& value, TarnhiveStatus* status) {
  TarnhiveStatus own;
  orlo::RefPtr<BucketValue> copy(new BucketValue(value, &own));
  if (failed(&own)) {
    setStatus(status, own.code);
    return nullptr;
  }
  return copy.detach();
}

}  // namespace vesk::tarnhive
