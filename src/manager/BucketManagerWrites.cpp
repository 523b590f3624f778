// The bucket manager's changing operations. They gather their effect in the
// update cache until commitUpdate, and keep the tree whole (see the
// invariant in BucketManager.h):
//
// - A written bucket is stored under the normal form of its name and linked
//   into its parent, making missing parents; with the recursive flag its
//   descendants are written again.
// - The child links of a written bucket (see childLinksOf) are the
//   manager's: they are those of the bucket as the update sees it (pending
//   or committed), whatever links the client's copy holds. A stale copy
//   neither drops a child made since nor brings back one deleted since.
//   Other kDIGEST values are the client's data and are kept.
// - Deleting a bucket deletes its descendants and removes its link from the
//   parent.
#include <vector>

#include "bucket/Bucket.h"
#include "bucket/BucketNames.h"
#include "cache/BucketCache.h"
#include "cache/BucketUpdateCache.h"
#include "status/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/NameRules.h"
#include "store/SingleFileBucketStore.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace vesk::tarnhive {
namespace {

using orlo::RefPtr;

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

bool isRoot(const orlo::WideString& normal) { return normal == orlo::WideString(kRootName); }

// True when `name` lies below `ancestor` ("/a/b" below "/a"), ignoring case.
bool isBelow(const orlo::WideString& name, const orlo::WideString& ancestor) {
  const std::uint32_t n = ancestor.length();
  if (name.length() <= n + 1 || name[n] != kNameSeparator) return false;
  return orlo::equalsIgnoreCase(name.substring(0, n), ancestor);
}

// Gives `copy` the child links of `current` (none when it is null) in place
// of its own.
void takeLinks(IBucket& copy, IBucket* current, TarnhiveStatus* status) {
  for (const orlo::WideString& link : childLinksOf(copy)) copy.removeValue(link);
  if (current == nullptr) return;
  for (const orlo::WideString& link : childLinksOf(*current)) {
    TarnhiveStatus own;
    copy.setDigest(link, Digest(link), &own, true);
    if (failed(&own)) {
      setStatus(status, own.code);
      return;
    }
  }
}

}  // namespace

RefPtr<IBucket> BucketManager::pendingBucket(const WideString& normal, TarnhiveStatus* status,
                                             bool* pending) {
  if (pending != nullptr) *pending = false;
  RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(updateCache_->getBucketByName(normal));
  if (bucket && pending != nullptr) *pending = true;
  if (bucket || updateCache_->isRemoved(normal)) return bucket;
  const Digest digest(normal);
  bucket = RefPtr<IBucket>::adopt(memoryCache_->getBucketByDigest(digest));
  if (bucket) return bucket;
  return RefPtr<IBucket>::adopt(store_->loadBucket(digest, status));
}

// Walks up from `normal` while parents are missing or lack the link, so it
// costs time linear in the name. A parent that the update already changed
// takes the link in place; another is copied to take it. What is to change
// goes into `changes`, nothing into the update cache.
void BucketManager::linkIntoParent(const WideString& normal, Changes& changes,
                                   TarnhiveStatus* status) {
  WideString child = normal;
  while (!isRoot(child)) {
    const WideString parentName = parentOfNormal(child);
    bool pending = false;
    RefPtr<IBucket> parent = pendingBucket(parentName, status, &pending);
    if (failed(status)) return;
    if (parent && parent->hasValue(child)) return;
    if (pending) {
      changes.push_back({parent, shortNameOf(child)});
      return;
    }
    RefPtr<IBucket> changed(parent ? new Bucket(*parent) : new Bucket(parentName, true));
    TarnhiveStatus own;
    changed->addChildLink(shortNameOf(child), &own, true);
    if (failed(&own)) {
      setStatus(status, own.code);
      return;
    }
    changes.push_back({changed, WideString()});
    // An existing parent is linked into its own parent already.
    if (parent) return;
    child = parentName;
  }
}

// Every copy a write needs is made before the update cache takes any of
// them: a failure on the way leaves the update as it was, never a bucket
// without its link or a link without its bucket.
void BucketManager::writeTree(IBucket& source, const WideString& normal, bool recursive,
                              Visited& visited, TarnhiveStatus* status) {
  if (!visited.insert(Digest(normal)).second) return;
  RefPtr<IBucket> current = pendingBucket(normal, status);
  if (failed(status)) return;
  RefPtr<IBucket> copy(new Bucket(source, normal));
  takeLinks(*copy, current.get(), status);
  Changes changes{{copy, WideString()}};
  linkIntoParent(normal, changes, status);
  if (failed(status)) return;
  // The link that a pending parent takes in place goes first: should it
  // fail, nothing else has changed.
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    if (!change->link.empty()) change->bucket->addChildLink(change->link, status, true);
    if (failed(status)) return;
    const bool overwrite = true;
    updateCache_->addBucket(change->bucket.get(), overwrite, status);
  }
  if (!recursive) return;
  for (const WideString& link : childLinksOf(*copy)) {
    if (failed(status)) return;
    step(status, [&](TarnhiveStatus* own) {
      const WideString child = normalizedNameOf(link);
      RefPtr<IBucket> found = pendingBucket(child, own);
      if (found) writeTree(*found, child, true, visited, own);
    });
  }
}

bool BucketManager::mayWrite(const Guid& token, const void* argument, TarnhiveStatus* status) {
  if (!mayChange(token, true, status)) return false;
  if (argument == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  if (store_->isOverDiskLimit()) {
    setStatus(status, kDISKFULL,
              "the registry file is over DiskMaxRegistryFileSizeKB even after compaction; "
              "delete buckets or raise DiskMaxRegistryFileSizeKB in the [Tarnhive] section");
    return false;
  }
  return true;
}

bool BucketManager::writeBucket(IBucket* bucket, bool flag, const Guid& token,
                                TarnhiveStatus* status) {
  orlo::osdep::CriticalSectionLock hold(guard_);
  if (!mayWrite(token, bucket, status)) return false;
  return guardedCall(status, false, [&] {
    WideString normal;
    if (!writableNameOf(bucket->getFullName(), normal)) {
      setStatus(status, kSTOREREJECTED);
      return false;
    }
    Visited visited;
    writeTree(*bucket, normal, flag, visited, status);
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
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle));
    while (bucket && !failed(status)) {
      writeBucket(bucket.get(), flag, token, status);
      bucket = RefPtr<IBucket>::adopt(collection->enumNextBucket(handle, &walk));
    }
    collection->closeEnumeration(handle);
    if (failed(status)) return false;
    if (walk.code != kWNOTFOUND && !failed(&walk)) return true;
  }
  setStatus(status, kPASSFAILED);
  return false;
}

void BucketManager::deleteTree(const WideString& normal, Visited& visited,
                               TarnhiveStatus* status) {
  if (!visited.insert(Digest(normal)).second) return;
  RefPtr<IBucket> bucket = pendingBucket(normal, status);
  if (failed(status)) return;
  if (bucket) {
    for (const WideString& link : childLinksOf(*bucket)) {
      const WideString child = normalizedNameOf(link);
      // A link to anything but a descendant is not part of the subtree.
      if (!isBelow(child, normal)) continue;
      step(status, [&](TarnhiveStatus* own) { deleteTree(child, visited, own); });
    }
  }
  memoryCache_->removeBucket(normal);
  updateCache_->removeBucket(normal);
}

void BucketManager::unlinkFromParent(const WideString& normal, TarnhiveStatus* status) {
  RefPtr<IBucket> parent = pendingBucket(parentOfNormal(normal), status);
  if (!parent || failed(status) || !parent->hasValue(normal)) return;
  RefPtr<IBucket> changed(new Bucket(*parent));
  changed->removeValue(normal);
  const bool overwrite = true;
  updateCache_->addBucket(changed.get(), overwrite, status);
}

bool BucketManager::deleteBucket(const WideString& fullName, const Guid& token,
                                 TarnhiveStatus* status) {
  orlo::osdep::CriticalSectionLock hold(guard_);
  if (!mayChange(token, true, status)) return false;
  return guardedCall(status, false, [&] {
    const WideString normal = normalizedNameOf(fullName);
    if (isRoot(normal)) {
      setStatus(status, kROOTBUCKET);
      return false;
    }
    unlinkFromParent(normal, status);
    Visited visited;
    deleteTree(normal, visited, status);
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
