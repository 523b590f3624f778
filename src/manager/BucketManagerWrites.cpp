// The bucket manager's changing operations. They gather their effect in the
// update cache until commitUpdate. Writing a bucket also links it into its
// parent (making the parent when it does not exist yet), and with the
// recursive flag writes its descendants again; deleting a bucket deletes its
// descendants and removes its link from the parent. So the child links of
// the tree always name buckets that exist.
#include "bucket/Bucket.h"
#include "bucket/BucketNames.h"
#include "manager/NameRules.h"
#include "cache/BucketCache.h"
#include "cache/BucketUpdateCache.h"
#include "entry/StatusGuard.h"
#include "manager/BucketManager.h"
#include "store/SingleFileBucketStore.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/IBucketValue.h"

#include <vector>

namespace vesk::tarnhive {
namespace {

// Codes that a step of a recursive operation may leave for a single bucket
// without ending the operation.
bool tolerated(std::int32_t code) {
  return code == kSTOREREJECTED || code == kSTORENOTFOUND || code == kWBUCKETNOTFOUND;
}

// Runs one step of a recursive operation with a record of its own and copies
// its code into `status` unless it is tolerated.
template <class Step>
void step(TarnhiveStatus* status, Step&& body) {
  TarnhiveStatus own;
  body(&own);
  if (own.code != 0 && !tolerated(own.code)) setStatus(status, own.code);
}

const orlo::WideString kRoot(u"/");

bool isRoot(const orlo::WideString& fullName) {
  return orlo::equalsIgnoreCase(fullName, kRoot);
}

// True when `name` lies below `ancestor` ("/a/b" below "/a"), ignoring case.
bool isBelow(const orlo::WideString& name, const orlo::WideString& ancestor) {
  const std::uint32_t n = ancestor.length();
  if (name.length() <= n + 1 || name[n] != u'/') return false;
  return orlo::equalsIgnoreCase(name.substring(0, n), ancestor);
}

}  // namespace

void BucketManager::linkIntoParent(IBucket& bucket, TarnhiveStatus* status) {
  const WideString fullName = bucket.getFullName();
  if (isRoot(fullName)) return;
  const WideString parentName = parentNameOf(fullName);
  orlo::RefPtr<IBucket> parent = findBucket(Digest(parentName), status);
  if (failed(status)) return;
  orlo::RefPtr<IBucket> changed(parent ? new Bucket(*parent) : new Bucket(parentName, true));
  TarnhiveStatus own;
  if (!changed->addChildLink(bucket.getShortName(), &own, true)) return;  // linked already
  if (failed(&own)) {
    setStatus(status, own.code);
    return;
  }
  const bool overwrite = true;
  updateCache_->addBucket(changed.get(), overwrite, status);
  if (!failed(status)) linkIntoParent(*changed, status);
}

void BucketManager::writeTree(IBucket& bucket, bool recursive, Visited& visited,
                              TarnhiveStatus* status) {
  if (!visited.insert(bucket.getDigest()).second) return;
  orlo::RefPtr<IBucket> copy(new Bucket(bucket));
  const bool overwrite = true;
  updateCache_->addBucket(copy.get(), overwrite, status);
  if (failed(status)) return;
  linkIntoParent(*copy, status);
  if (!recursive || failed(status)) return;
  const std::uint32_t handle = copy->openEnumeration();
  Digest child;
  bool more = copy->enumFirstChild(child, handle);
  while (more && !failed(status)) {
    step(status, [&](TarnhiveStatus* own) {
      orlo::RefPtr<IBucket> found = findBucket(child, own);
      if (found) writeTree(*found, true, visited, own);
    });
    more = copy->enumNextChild(child, handle, status);
  }
  copy->closeEnumeration(handle);
}

bool BucketManager::mayWrite(const Guid& token, const void* argument, TarnhiveStatus* status) {
  if (!mayChange(token, true, status)) return false;
  if (argument == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  if (store_->isOverDiskLimit()) {
    setStatus(status, kDISKFULL);
    return false;
  }
  return true;
}

bool BucketManager::writeBucket(IBucket* bucket, bool flag, const Guid& token,
                                TarnhiveStatus* status) {
  orlo::osdep::CriticalSectionLock hold(guard_);
  if (!mayWrite(token, bucket, status)) return false;
  return guardedCall(status, false, [&] {
    Visited visited;
    writeTree(*bucket, flag, visited, status);
    return !failed(status);
  });
}

bool BucketManager::writeBuckets(IBucketCase* collection, bool flag, const Guid& token,
                                 TarnhiveStatus* status) {
  orlo::osdep::CriticalSectionLock hold(guard_);
  if (!mayWrite(token, collection, status)) return false;
  // A pass that the enumeration reports invalidated starts again; writing a
  // bucket twice does no harm. A collection that keeps changing under the
  // pass is given up on.
  constexpr int kMaxPasses = 8;
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    TarnhiveStatus walk;
    const std::uint32_t handle = collection->openEnumeration();
    orlo::RefPtr<IBucket> bucket = orlo::RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle));
    while (bucket && !failed(status)) {
      writeBucket(bucket.get(), flag, token, status);
      bucket = orlo::RefPtr<IBucket>::adopt(collection->enumNextBucket(handle, &walk));
    }
    collection->closeEnumeration(handle);
    if (failed(status)) return false;
    if (walk.code != kWNOTFOUND && !failed(&walk)) return true;
  }
  setStatus(status, kPASSFAILED);
  return false;
}

// The full names of the children that `bucket` links to: its kDIGEST values
// are named by them.
std::vector<orlo::WideString> childNamesOf(IBucket& bucket, TarnhiveStatus* status) {
  std::vector<orlo::WideString> children;
  orlo::WideString name;
  IBucketValue* value = nullptr;
  const std::uint32_t handle = bucket.openEnumeration();
  for (bool more = bucket.enumFirstValue(name, value, handle, status); more;
       more = bucket.enumNextValue(name, value, handle, status)) {
    if (value->getType() == kDIGEST) children.push_back(name);
  }
  if (value != nullptr) value->release();
  bucket.closeEnumeration(handle);
  return children;
}

void BucketManager::deleteTree(const WideString& fullName, Visited& visited,
                                TarnhiveStatus* status) {
  if (!visited.insert(Digest(fullName)).second) return;
  orlo::RefPtr<IBucket> bucket = findBucket(Digest(fullName), status);
  if (failed(status)) return;
  if (bucket) {
    for (const WideString& child : childNamesOf(*bucket, status)) {
      // A link to anything but a descendant is not part of the subtree.
      if (!isBelow(child, fullName)) continue;
      step(status, [&](TarnhiveStatus* own) { deleteTree(child, visited, own); });
    }
  }
  memoryCache_->removeBucket(fullName);
  updateCache_->removeBucket(fullName);
}

void BucketManager::unlinkFromParent(const WideString& fullName, TarnhiveStatus* status) {
  const WideString parentName = parentNameOf(fullName);
  orlo::RefPtr<IBucket> parent = findBucket(Digest(parentName), status);
  if (!parent || failed(status)) return;
  orlo::RefPtr<IBucket> changed(new Bucket(*parent));
  if (!changed->removeValue(fullName)) return;
  const bool overwrite = true;
  updateCache_->addBucket(changed.get(), overwrite, status);
}

bool BucketManager::deleteBucket(const WideString& fullName, const Guid& token,
                                 TarnhiveStatus* status) {
  orlo::osdep::CriticalSectionLock hold(guard_);
  if (!mayChange(token, true, status)) return false;
  if (isRoot(fullName) || isRoot(normalizedNameOf(fullName))) {
    setStatus(status, kROOTBUCKET);
    return false;
  }
  return guardedCall(status, false, [&] {
    unlinkFromParent(fullName, status);
    Visited visited;
    deleteTree(fullName, visited, status);
    return !failed(status);
  });
}

bool BucketManager::deleteBucketByName(IBucket* bucket, const Guid& token,
                                       TarnhiveStatus* status) {
  if (failed(status)) return false;
  if (bucket == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  return deleteBucket(bucket->getFullName(), token, status);
}

}  // namespace vesk::tarnhive
