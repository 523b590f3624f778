// Bucket's life and identity: construction and copies, the derived names,
// the plain getters, merging, comparison and the memory estimate.
#include "bucket/Bucket.h"

#include <functional>
#include <new>

#include "bucket/BucketClock.h"
#include "bucket/BucketNames.h"
#include "status/StatusGuard.h"

namespace vesk::tarnhive {

using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

namespace {

// The modes of mergeFrom.
constexpr std::uint32_t kMergeReplacingAll = 1;
constexpr std::uint32_t kMergeOverwriting = 2;
constexpr std::uint32_t kMergeKeeping = 3;

}  // namespace

Bucket::Bucket() : timestamp_(clock::now()) {}

Bucket::Bucket(const WideString& fullName, bool persistent)
    : fullName_(fullName), persistentFlag_(persistent), timestamp_(clock::now()) {
  deriveNames();
}

Bucket::Bucket(IBucket& source)
    : fullName_(source.getFullName()),
      parent_(source.getParentDigest()),
      persistentFlag_(source.getPersistentFlag()),
      version_(source.getVersion()),
      modified_(source.isModified()),
      timestamp_(clock::now()) {
  // The copy must come out exactly as modified as its source, whatever the
  // copying of the values did to the flag.
  const bool sourceModified = modified_;
  if (auto* bucket = dynamic_cast<Bucket*>(&source)) {
    copyFromBucket(*bucket);
  } else {
    shortName_ = shortNameOf(fullName_);
    digest_ = Digest(fullName_);
    TarnhiveStatus ignored;
    copyValuesFrom(source, true, &ignored);
  }
  modified_ = sourceModified;
}

// Every read hands out such a copy: the entries are shared with the source
// (they never change once stored), so a copy costs one array and a
// reference per value, and no time stamp per value. A value of an unknown
// kind is left out, as setValue would refuse it.
void Bucket::copyFromBucket(Bucket& source) {
  CriticalSectionLock hold(source.lock_);
  shortName_ = source.shortName_;
  digest_ = source.digest_;
  values_.reserve(source.values_.size());
  for (const SharedEntry& entry : source.values_) {
    if (entry->value->getType() <= kFLOAT64ARRAY) values_.push_back(entry);
  }
  valuesUsage_ = source.valuesUsage_;
  if (values_.size() != source.values_.size()) recountUsage();
}

Bucket::Bucket(IBucket& source, const WideString& fullName) : Bucket(source) {
  fullName_ = fullName;
  deriveNames();
}

Bucket::~Bucket() { values_.clear(); }

void Bucket::deriveNames() {
  shortName_ = shortNameOf(fullName_);
  DigestString text;
  Digest::calculateDigest(fullName_, digest_, text);
  Digest::calculateDigest(parentNameOf(fullName_), parent_, text);
}

void Bucket::touch() noexcept {
  modified_ = true;
  timestamp_ = clock::now();
  cursors_.invalidateAll();
}

WideString Bucket::getFullName() {
  CriticalSectionLock hold(lock_);
  return fullName_;
}

WideString Bucket::getShortName() {
  CriticalSectionLock hold(lock_);
  return shortName_;
}

Digest Bucket::getDigest() {
  CriticalSectionLock hold(lock_);
  return digest_;
}

Digest Bucket::getParentDigest() {
  CriticalSectionLock hold(lock_);
  return parent_;
}

WideString Bucket::getFileName() {
  CriticalSectionLock hold(lock_);
  if (fileName_.empty()) {
    Digest digest;
    DigestString text;
    Digest::calculateDigest(fullName_, digest, text);
    WideString name;
    for (const char* part : {text.c_str(), ".bucket"}) {
      for (const char* c = part; *c != 0; ++c) name += static_cast<orlo::WChar>(*c);
    }
    fileName_.swap(name);
  }
  return fileName_;
}

bool Bucket::getPersistentFlag() {
  CriticalSectionLock hold(lock_);
  return persistentFlag_;
}

std::uint32_t Bucket::getNumValues() {
  CriticalSectionLock hold(lock_);
  return static_cast<std::uint32_t>(values_.size());
}

std::uint32_t Bucket::getVersion() {
  CriticalSectionLock hold(lock_);
  return version_;
}

bool Bucket::isModified() {
  CriticalSectionLock hold(lock_);
  return modified_;
}

AbsoluteTime Bucket::getTimestamp() {
  CriticalSectionLock hold(lock_);
  return timestamp_;
}

bool Bucket::equalBuckets(IBucket* a, IBucket* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->isEqual(b);
}

bool Bucket::isEqual(IBucket* other) {
  auto* that = dynamic_cast<Bucket*>(other);
  if (that == nullptr) return false;
  bool equal = false;
  guardedRun(nullptr, [&] {
    if (!(getFullName() == that->getFullName())) return;
    if (serializationSize() != that->serializationSize()) return;
    // Address order, so that comparing a with b and b with a at the same
    // time cannot deadlock.
    const bool thisFirst = std::less<const void*>()(&lock_, &that->lock_);
    CriticalSectionLock first(thisFirst ? lock_ : that->lock_);
    CriticalSectionLock second(thisFirst ? that->lock_ : lock_);
    if (values_.size() != that->values_.size()) return;
    for (const SharedEntry& entry : values_) {
      const auto found = that->findValue(entry->name);
      if (found == that->values_.end()) return;
      if (!BucketValue::valuesEqual(*entry->value, *(*found)->value)) return;
    }
    equal = true;
  });
  return equal;
}

bool Bucket::mergeFrom(IBucket* source, std::uint32_t mode, TarnhiveStatus* status) {
  if (failed(status) || source == nullptr) return false;
  return guardedCall(status, false, [&] {
    if (!orlo::equalsIgnoreCase(source->getFullName(), getFullName())) return false;
    if (mode == kMergeReplacingAll) {
      clearValues();
    } else if (mode != kMergeOverwriting && mode != kMergeKeeping) {
      setStatus(status, kBADVALUEKIND);
      return false;
    }
    if (!copyValuesFrom(*source, mode != kMergeKeeping, status)) return false;
    const std::uint32_t version = source->getVersion();
    CriticalSectionLock hold(lock_);
    cursors_.invalidateAll();
    version_ = version;
    timestamp_ = clock::now();
    return true;
  });
}

// The source is walked under a handle of this bucket, and that handle is
// closed on this bucket afterwards, not on the source: the source keeps the
// cursor until the handle is reused there or the source is destroyed.
bool Bucket::copyValuesFrom(IBucket& source, bool overwrite, TarnhiveStatus* status) {
  const std::uint32_t handle = openEnumeration();
  bool stored = false;
  std::int32_t refused = 0;
  WideString name;
  IBucketValue* value = nullptr;
  for (bool more = source.enumFirstValue(name, value, handle, status); more;
       more = source.enumNextValue(name, value, handle, status)) {
    TarnhiveStatus own;
    if (setValue(name, value, &own, overwrite)) stored = true;
    // A value of an unknown kind is refused and left out; the others are
    // still copied.
    if (own.code == kWRONGTYPE) {
      refused = kWRONGTYPE;
    } else if (own.code < 0 && own.code != kVALUEEXISTS) {
      setStatus(status, own.code);
      break;
    }
  }
  if (value != nullptr) value->release();
  closeEnumeration(handle);
  if (refused != 0) setStatus(status, refused);
  return stored;
}

std::vector<std::pair<WideString, Digest>> Bucket::digestValues() {
  CriticalSectionLock hold(lock_);
  std::vector<std::pair<WideString, Digest>> found;
  for (const SharedEntry& entry : values_) {
    if (entry->value->getType() != kDIGEST) continue;
    TarnhiveStatus own;
    found.emplace_back(entry->name, entry->value->getDigest(&own));
  }
  return found;
}

bool Bucket::addChildLink(const WideString& childShortName, TarnhiveStatus* status,
                          bool overwrite) {
  if (failed(status)) return false;
  if (childShortName.empty()) {
    setStatus(status, kEMPTYVALUENAME);
    return false;
  }
  return guardedCall(status, false, [&] {
    const WideString childName = childNameOf(getFullName(), childShortName);
    return setDigest(childName, Digest(childName), status, overwrite);
  });
}

std::uint32_t Bucket::getMemUsage() {
  constexpr std::uint32_t kPerCursor = 20;
  constexpr std::uint32_t kPerBucket = 296;
  CriticalSectionLock hold(lock_);
  std::uint32_t usage = 2 * (fileName_.length() + shortName_.length() + fullName_.length());
  return usage + valuesUsage_ + kPerCursor * cursors_.size() + kPerBucket;
}

}  // namespace vesk::tarnhive
