// The bucket manager's reads: single buckets, subtrees, existence, and the
// making of new buckets and collections. Reads see committed state: the
// memory cache first, then the store, both brought up to date with other
// processes' commits when the shared commit sequence moved (ReadScope).
#include <new>

#include "bucket/Bucket.h"
#include "cache/BucketCache.h"
#include "cache/BucketCase.h"
#include "cache/BucketUpdateCache.h"
#include "status/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/NameRules.h"
#include "store/SingleFileBucketStore.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive {
namespace {

// Hands `object` to an out parameter with one reference for the caller.
template <class Interface, class Object>
bool handOut(Interface** out, Object* object) {
  if (object == nullptr) {
    errno = ENOMEM;
    return false;
  }
  object->addRef();
  *out = object;
  return true;
}

// A copy of `bucket` for a caller.
Bucket* copyOf(IBucket& bucket) { return new Bucket(bucket); }

// The name a new bucket gets: the normal form of a name; an empty name
// stays empty (no bucket can be written under it).
orlo::WideString clientNameOf(const orlo::WideString& fullName) {
  return fullName.empty() ? fullName : normalizedNameOf(fullName);
}

}  // namespace

// A miss fills the memory cache from the store under the fill lock, so that
// a commit (which changes both under that lock) cannot come between the
// load and the fill: the cache never takes an older copy than the store
// holds, nor one of a bucket just deleted.
orlo::RefPtr<IBucket> BucketManager::lookUp(const Digest& digest, TarnhiveStatus* status) {
  orlo::RefPtr<IBucket> bucket = orlo::RefPtr<IBucket>::adopt(memoryCache_->getBucketByDigest(digest));
  if (!bucket) {
    orlo::osdep::CriticalSectionLock fill(fillLock_);
    bucket = orlo::RefPtr<IBucket>::adopt(memoryCache_->getBucketByDigest(digest));
    if (!bucket) {
      TarnhiveStatus storeStatus;
      bucket = orlo::RefPtr<IBucket>::adopt(store_->loadBucket(digest, &storeStatus));
      if (failed(&storeStatus)) {
        setStatus(status, storeStatus.code);
        return nullptr;
      }
      if (bucket) {
        const bool overwrite = false;
        TarnhiveStatus fillStatus;
        memoryCache_->addBucket(bucket.get(), overwrite, &fillStatus);
      }
    }
  }
  if (!bucket) setStatus(status, kWBUCKETNOTFOUND);
  return bucket;
}

orlo::RefPtr<IBucket> BucketManager::findBucket(const Digest& digest, TarnhiveStatus* status) {
  orlo::RefPtr<IBucket> bucket = orlo::RefPtr<IBucket>::adopt(updateCache_->getBucketByDigest(digest));
  if (bucket) return bucket;
  bucket = orlo::RefPtr<IBucket>::adopt(memoryCache_->getBucketByDigest(digest));
  if (bucket) return bucket;
  return orlo::RefPtr<IBucket>::adopt(store_->loadBucket(digest, status));
}

bool BucketManager::getBucket(IBucket** out, const Digest& digest, TarnhiveStatus* status) {
  if (!startOut(out, true, status)) return false;
  ReadScope read(*this, status);
  return guardedCall(status, false, [&] {
    orlo::RefPtr<IBucket> found = lookUp(digest, status);
    return found && handOut(out, copyOf(*found));
  });
}

bool BucketManager::getBucketByName(IBucket** out, const WideString& fullName,
                                    TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) {
    if (out != nullptr) *out = nullptr;
    return false;
  }
  return guardedCall(status, false,
                     [&] { return getBucket(out, Digest(normalizedNameOf(fullName)), status); });
}

bool BucketManager::collectBucket(const Digest& digest, IBucketCase* collection,
                                  TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  if (collection == nullptr) {
    setStatus(status, kNOTAVAILABLE);
    return false;
  }
  ReadScope read(*this, status);
  return guardedCall(status, false, [&] {
    orlo::RefPtr<IBucket> found = lookUp(digest, status);
    if (!found) return false;
    orlo::RefPtr<IBucket> copy(copyOf(*found));
    const bool overwrite = true;
    collection->addBucket(copy.get(), overwrite, status);
    return !failed(status);
  });
}

bool BucketManager::collectBucketByName(const WideString& fullName, IBucketCase* collection,
                                        TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  return guardedCall(status, false,
                     [&] {
                       return collectBucket(Digest(normalizedNameOf(fullName)), collection,
                                            status);
                     });
}

bool BucketManager::collectTree(const Digest& digest, IBucketCase& collection, bool first,
                                Visited& visited, TarnhiveStatus* status) {
  if (!visited.insert(digest).second) return true;
  orlo::RefPtr<IBucket> bucket = findBucket(digest, status);
  if (failed(status)) return false;
  if (!bucket) {
    setStatus(status, first ? kBUCKETREJECTED : kSTORECHILDMISSING);
    return false;
  }
  orlo::RefPtr<IBucket> copy(copyOf(*bucket));
  const bool overwrite = true;
  collection.addBucket(copy.get(), overwrite, status);
  if (failed(status)) return false;
  for (const WideString& link : childLinksOf(*copy)) {
    if (failed(status)) break;
    collectTree(Digest(link), collection, false, visited, status);
  }
  return !failed(status);
}

bool BucketManager::getBucketTree(const WideString& fullName, IBucketCase* collection,
                                  TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  if (collection == nullptr) {
    setStatus(status, kNOTAVAILABLE);
    return false;
  }
  orlo::osdep::CriticalSectionLock hold(guard_);
  ReadScope read(*this, status);
  return guardedCall(status, false,
                     [&] {
                       Visited visited;
                       return collectTree(Digest(normalizedNameOf(fullName)), *collection, true,
                                          visited, status);
                     });
}

bool BucketManager::bucketExists(const WideString& fullName, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  ReadScope read(*this, status);
  return guardedCall(status, false, [&] {
    const WideString normal = normalizedNameOf(fullName);
    if (memoryCache_->hasBucket(normal)) return true;
    return store_->containsName(normal, status);
  });
}

bool BucketManager::newBucket(IBucket** out, const WideString& fullName, TarnhiveStatus* status) {
  if (!startOut(out, true, status)) return false;
  return guardedCall(status, false, [&] {
    return handOut(out, new (std::nothrow) Bucket(clientNameOf(fullName), true));
  });
}

bool BucketManager::createBucket(IBucket** out, const WideString& fullName, bool openIfExists,
                                 bool persistent, TarnhiveStatus* status) {
  if (!startOut(out, true, status)) return false;
  // The test and the copy see one committed state.
  ReadScope read(*this, status);
  if (bucketExists(fullName, status)) {
    return openIfExists && getBucketByName(out, fullName, status);
  }
  if (failed(status)) return false;
  return guardedCall(status, false, [&] {
    return handOut(out, new (std::nothrow) Bucket(clientNameOf(fullName), persistent));
  });
}

bool BucketManager::newEmptyBucket(IBucket** out, TarnhiveStatus* status) {
  if (!startOut(out, true, status)) return false;
  return guardedCall(status, false, [&] { return handOut(out, new (std::nothrow) Bucket()); });
}

bool BucketManager::newBucketCase(IBucketCase** out, TarnhiveStatus* status) {
  if (!startOut(out, false, status)) return false;
  BucketCase* collection = new (std::nothrow) BucketCase();
  if (collection == nullptr) {
    errno = ENOMEM;
    setStatus(status, kOUTOFMEMORY);
    return false;
  }
  return handOut(out, collection);
}

bool BucketManager::newDigest(Digest** out, TarnhiveStatus* status) {
  if (!startOut(out, false, status)) return false;
  // A counted digest lives on the runtime heap; its allocation failure is
  // reported like any other.
  return guardedCall(status, false, [&] { return handOut(out, new Digest()); });
}

}  // namespace vesk::tarnhive
