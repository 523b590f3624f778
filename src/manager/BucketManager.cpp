// Construction and destruction of the bucket manager, the lock protocol and
// the update protocol.
#include "manager/BucketManager.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "bucket/Bucket.h"
#include "cache/BucketCache.h"
#include "cache/BucketUpdateCache.h"
#include "status/StatusGuard.h"
#include "store/ChangeReader.h"
#include "store/SingleFileBucketStore.h"
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"
#include "vesk/orlo/osdep/MakeGUID.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive {
namespace {

namespace path = orlo::osdep::path;
using orlo::osdep::CriticalSectionLock;

constexpr orlo::WChar kLockName[] = VESK_WIDE("__vesk_tarnhive_BucketManager_lock__");

// Holds the machine-wide lock for a scope.
class ProcessLockScope {
 public:
  explicit ProcessLockScope(orlo::osdep::Mutex& lock) : lock_(lock) { lock_.lock(); }
  ~ProcessLockScope() { lock_.unlock(); }
  ProcessLockScope(const ProcessLockScope&) = delete;
  ProcessLockScope& operator=(const ProcessLockScope&) = delete;

 private:
  orlo::osdep::Mutex& lock_;
};

Guid freshToken() {
  const auto bytes = orlo::osdep::MakeGUID();
  Guid token;
  std::memcpy(&token, bytes.data(), sizeof token);
  return token;
}

}  // namespace

BucketManager::BucketManager(const WideString& directory, const WideString& iniFile,
                             TarnhiveStatus* status)
    : directory_(directory),
      processLock_(WideString(kLockName)),
      refreshLock_(WideString(kLockName)) {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  guardedRun(status, [&] { construct(iniFile, status); });
}

void BucketManager::construct(const WideString& iniFile, TarnhiveStatus* status) {
  options_ = std::make_unique<Options>(configurationPath(iniFile), status);
  memoryCache_ = orlo::RefPtr<BucketCache>(new BucketCache(options_->memoryCacheLimitBytes()));
  updateCache_ =
      orlo::RefPtr<BucketUpdateCache>(new BucketUpdateCache(options_->updateCacheLimitBytes()));
  if (failed(status) || !prepareDirectory(status)) return;
  const WideString& callbackName = options_->text(kCALLBACKDLLNAME);
  if (!callbackName.empty()) {
    callbacks_ = CallbackLibrary::load(callbackName);
    if (!callbacks_) {
      setStatus(status, kCALLBACKLIBRARY);
      return;
    }
    callbacks_->preInit(directory_);
  }
  if (!openStore(status)) return;
  runStartupCheck();
}

bool BucketManager::prepareDirectory(TarnhiveStatus* status) {
  if (directory_.empty()) {
    directory_ = path::join(orlo::osdep::GetCommonAppDataDirectory(), WideString(u"Tarnhive"));
  }
  if (!path::isDirectory(directory_)) {
    TarnhiveStatus ignored;
    guardedRun(&ignored, [&] { path::createDirectories(directory_); });
  }
  if (!path::isDirectory(directory_)) {
    setStatus(status, kBADDIRECTORY);
    return false;
  }
  return true;
}

// Opens the store and makes sure the root bucket exists. Other processes may
// open or commit to the same directory meanwhile, so this runs under the
// machine-wide lock.
bool BucketManager::openStore(TarnhiveStatus* status) {
  StoreLimits limits;
  limits.indexLimitKB = options_->integerValue(kMEMORYINDICESSIZELIMITKB);
  limits.diskLimitKB = options_->integerValue(kDISKMAXREGISTRYFILESIZEKB);
  limits.flushEveryWrite = options_->booleanValue(kFLUSHEVERYWRITE);
  auto store = std::make_unique<SingleFileBucketStore>(directory_, limits);
  ProcessLockScope hold(processLock_);
  store->open(storeFlags_[0], status);
  if (failed(status)) return false;
  store_ = std::move(store);
  ensureRootBucket(status);
  return !failed(status);
}

BucketManager::~BucketManager() {
  callbacks_.reset();
  if (store_) {
    TarnhiveStatus ignored;
    store_->close(&ignored);
    store_.reset();
  }
  if (memoryCache_) memoryCache_->clearBuckets();
  memoryCache_.reset();
  if (updateCache_) updateCache_->clearBuckets();
  updateCache_.reset();
  options_.reset();
}

// --- lock protocol ---------------------------------------------------------------

bool BucketManager::takeLock(Guid* token, bool wait, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  if (token == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  CriticalSectionLock hold(guard_);
  if (!(lockToken_ == kNoLockToken)) return false;  // not re-entrant
  // Reads that catch up meanwhile wait until the process holds the lock and
  // is current, and then need not catch up themselves.
  std::lock_guard<std::mutex> refreshing(refreshMutex_);
  bool obtained = false;
  if (!guardedLockCall(
          status, false,
          [&] {
            if (wait) {
              processLock_.lock();
              obtained = true;
            } else {
              obtained = processLock_.tryLock();
            }
            return true;
          },
          [] {})) {
    return false;
  }
  if (!obtained) return false;
  const bool tokenMade = guardedLockCall(
      status, false,
      [&] {
        lockToken_ = freshToken();
        return true;
      },
      [&] { processLock_.unlock(); });
  if (!tokenMade) {
    processLock_.unlock();
    return false;
  }
  guardedRun(status, [&] { followOtherProcesses(status); });
  if (failed(status)) {
    lockToken_ = kNoLockToken;
    processLock_.unlock();
    return false;
  }
  lockHeld_.store(true);
  *token = lockToken_;
  return true;
}

// A file replaced by a compaction, or a failed catch-up, leaves caches that
// were filled from what is gone: they start again, and the root bucket is
// taken from the store anew (a failed catch-up is tried again at the next
// lock or read).
void BucketManager::followOtherProcesses(TarnhiveStatus* status) {
  bool replaced = false;
  {
    std::unique_lock<std::shared_mutex> exclusive(stateLock_);
    CriticalSectionLock fill(fillLock_);
    std::vector<store::StoreChange> changes;
    // Under the lock the files are looked at whatever the shared sequence
    // says: a process that could not count its commit there (or a sequence
    // made anew) must not keep this one behind.
    if (!store_->refresh(journal_.active(), true, changes, &replaced, status)) return;
    updateCache_->clearBuckets();
    takeChanges(changes, replaced);
  }
  if (replaced) ensureRootBucket(status);
}

void BucketManager::takeChanges(std::vector<store::StoreChange>& changes, bool replaced) {
  if (replaced) {
    memoryCache_->clearBuckets();
  } else {
    for (const store::StoreChange& change : changes) {
      for (const Digest& digest : change.touched) {
        orlo::RefPtr<IBucket> cached = orlo::RefPtr<IBucket>::adopt(memoryCache_->getBucketByDigest(digest));
        if (cached) memoryCache_->removeBucket(cached->getFullName());
      }
    }
  }
  if (!journal_.active()) return;
  for (store::StoreChange& change : changes) {
    journal_.add(change.net, std::move(change.written), std::move(change.deleted));
  }
}

void BucketManager::catchUp(TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return;
  if (lockHeld_.load() || store_->isCurrent()) return;
  std::lock_guard<std::mutex> serial(refreshMutex_);
  if (lockHeld_.load() || store_->isCurrent()) return;
  guardedRun(status, [&] {
    ProcessLockScope hold(refreshLock_);
    std::unique_lock<std::shared_mutex> exclusive(stateLock_);
    CriticalSectionLock fill(fillLock_);
    std::vector<store::StoreChange> changes;
    bool replaced = false;
    if (store_->refresh(journal_.active(), false, changes, &replaced, status)) {
      takeChanges(changes, replaced);
    }
  });
}

void BucketManager::waitForCommit(std::uint32_t milliseconds) {
  if (hasStore()) store_->waitForChange(milliseconds);
}

bool BucketManager::compactRegistry(const Guid& token, TarnhiveStatus* status) {
  CriticalSectionLock hold(guard_);
  if (!mayChange(token, false, status)) return false;
  std::unique_lock<std::shared_mutex> exclusive(stateLock_);
  CriticalSectionLock fill(fillLock_);
  guardedRun(status, [&] { store_->compactNow(status); });
  return !failed(status);
}

namespace {

// How deep the calling thread is in read operations of the manager.
thread_local int tReadDepth = 0;

}  // namespace

BucketManager::ReadScope::ReadScope(BucketManager& manager, TarnhiveStatus* status)
    : manager_(manager), outermost_(tReadDepth == 0) {
  ++tReadDepth;
  if (!outermost_) return;
  manager_.catchUp(status);
  manager_.stateLock_.lock_shared();
}

BucketManager::ReadScope::~ReadScope() {
  --tReadDepth;
  if (outermost_) manager_.stateLock_.unlock_shared();
}

bool BucketManager::tryAcquireLock(Guid* token, TarnhiveStatus* status) {
  return takeLock(token, false, status);
}

bool BucketManager::acquireLock(Guid* token, TarnhiveStatus* status) {
  return takeLock(token, true, status);
}

bool BucketManager::releaseLock(const Guid& token, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  CriticalSectionLock hold(guard_);
  updateOpen_ = false;
  if (!(token == lockToken_)) return false;
  // kNoLockToken while nobody holds the lock matches too: there is nothing
  // to release then, and the call succeeds.
  updateCache_->clearBuckets();
  if (lockToken_ == kNoLockToken) return true;
  lockToken_ = kNoLockToken;
  lockHeld_.store(false);
  processLock_.unlock();
  return true;
}

bool BucketManager::getLockToken(Guid* token, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  if (token == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  CriticalSectionLock hold(guard_);
  *token = lockToken_;
  return !(lockToken_ == kNoLockToken);
}

// --- updates -------------------------------------------------------------------------

bool BucketManager::mayChange(const Guid& token, bool needUpdate, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  if (!(token == lockToken_) || lockToken_ == kNoLockToken) {
    setStatus(status, kNOTLOCKOWNER);
    return false;
  }
  if (needUpdate && !updateOpen_) {
    setStatus(status, kNOUPDATE);
    return false;
  }
  return true;
}

bool BucketManager::beginUpdate(const Guid& token, TarnhiveStatus* status) {
  CriticalSectionLock hold(guard_);
  if (!mayChange(token, false, status)) return false;
  if (updateOpen_) {
    setStatus(status, kUPDATEACTIVE);
    return false;
  }
  updateOpen_ = true;
  updateCache_->clearBuckets();
  return true;
}

bool BucketManager::commitUpdate(const Guid& token, TarnhiveStatus* status) {
  CriticalSectionLock hold(guard_);
  if (!mayChange(token, true, status)) return false;
  return commit(status);
}

bool BucketManager::commit(TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  {
    std::unique_lock<std::shared_mutex> exclusive(stateLock_);
    CriticalSectionLock fill(fillLock_);
    // The process's own commits go to the change feeds too, by name.
    const bool feeding = journal_.active();
    std::vector<WideString> writtenNames;
    std::vector<WideString> deletedNames;
    guardedRun(status, [&] {
      updateCache_->applyTo(
          *memoryCache_,
          [&](const BucketsByName& written, const NameSet& deleted, TarnhiveStatus* result) {
            store_->commit(written, deleted, result);
            if (!feeding || failed(result)) return;
            for (const auto& [name, entry] : written) {
              if (!deleted.count(name)) writtenNames.push_back(name);
            }
            deletedNames.assign(deleted.begin(), deleted.end());
          },
          status);
    });
    // The memory cache took the changed buckets before the store wrote them;
    // after a failed commit it would show what is not on disk, so it starts
    // again from the store.
    if (failed(status)) {
      memoryCache_->clearBuckets();
    } else if (!writtenNames.empty() || !deletedNames.empty()) {
      journal_.add(false, std::move(writtenNames), std::move(deletedNames));
    }
  }
  updateOpen_ = false;
  if (callbacks_ && !failed(status)) callbacks_->postCommit(directory_);
  return true;
}

bool BucketManager::ensureRootBucket(TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  CriticalSectionLock hold(guard_);
  return guardedCall(status, false, [&] {
    updateCache_->clearBuckets();
    memoryCache_->clearBuckets();
    const WideString root(u"/");
    orlo::RefPtr<IBucket> stored = orlo::RefPtr<IBucket>::adopt(store_->loadBucketByName(root, status));
    if (failed(status)) return false;
    const bool overwrite = true;
    if (stored) {
      memoryCache_->addBucket(stored.get(), overwrite, status);
      return !failed(status);
    }
    orlo::RefPtr<IBucket> created(new Bucket(root, true));
    updateCache_->addBucket(created.get(), overwrite, status);
    return commit(status) && !failed(status);
  });
}

}  // namespace vesk::tarnhive
