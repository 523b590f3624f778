// Enumerations of a bucket's values and of its child links. Each step hands
// out a fresh copy (values) or the link's digest (children).
#include "bucket/Bucket.h"
#include "status/StatusGuard.h"

namespace vesk::tarnhive {

using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

namespace {

constexpr auto kEveryValue = [](auto) { return true; };

// Replaces what `out` holds (releasing it) with `value`.
void handOut(IBucketValue*& out, IBucketValue* value) noexcept {
  if (out != nullptr) out->release();
  out = value;
}

}  // namespace

std::uint32_t Bucket::openEnumeration() {
  CriticalSectionLock hold(lock_);
  return cursors_.openHandle(nextHandle_);
}

bool Bucket::closeEnumeration(std::uint32_t handle) {
  CriticalSectionLock hold(lock_);
  return cursors_.close(handle);
}

// Runs whatever code the record holds: the record only receives the failure
// of copying the value.
bool Bucket::enumFirstValue(WideString& name, IBucketValue*& value, std::uint32_t handle,
                            TarnhiveStatus* status) {
  TarnhiveStatus own;
  const bool found = guardedCall(&own, false, [&] {
    CriticalSectionLock hold(lock_);
    const auto at = cursors_.first(handle, values_.begin(), values_.end(), kEveryValue);
    if (at == values_.end()) return false;
    IBucketValue* copy = copyForCaller(*(*at)->value, &own);
    if (copy == nullptr) return false;
    name = (*at)->name;
    handOut(value, copy);
    return true;
  });
  if (failed(&own)) setStatus(status, own.code);
  return found;
}

bool Bucket::enumNextValue(WideString& name, IBucketValue*& value, std::uint32_t handle,
                           TarnhiveStatus* status) {
  return guardedCall(status, false, [&] {
    CriticalSectionLock hold(lock_);
    const auto at = cursors_.next(handle, values_.end(), status, kEveryValue);
    if (at == values_.end()) return false;
    IBucketValue* copy = copyForCaller(*(*at)->value, status);
    if (copy == nullptr) return false;
    name = (*at)->name;
    handOut(value, copy);
    return true;
  });
}

bool Bucket::enumFirstChild(Digest& child, std::uint32_t handle) {
  return guardedCall(nullptr, false, [&] {
    CriticalSectionLock hold(lock_);
    const auto at = cursors_.first(handle, values_.begin(), values_.end(), isLink);
    if (at == values_.end()) return false;
    TarnhiveStatus own;
    child = (*at)->value->getDigest(&own);
    return true;
  });
}

bool Bucket::enumNextChild(Digest& child, std::uint32_t handle, TarnhiveStatus* status) {
  return guardedCall(status, false, [&] {
    CriticalSectionLock hold(lock_);
    const auto at = cursors_.next(handle, values_.end(), status, isLink);
    if (at == values_.end()) return false;
    TarnhiveStatus own;
    child = (*at)->value->getDigest(&own);
    return true;
  });
}

}  // namespace vesk::tarnhive
