// BucketManager: the one object through which a process reads and changes a
// registry directory. It owns the options, the memory cache, the update
// cache, the persistent store, the machine-wide lock and the optional
// callback library.
//
// Lock order: the guard, then the fill lock, then the update cache, then the
// memory cache or the store, then a bucket. Across processes the
// machine-wide lock serialises changes; it is held from
// acquireLock/tryAcquireLock to releaseLock, and around the store's open at
// construction.
//
// The tree invariant: after every commit, every committed bucket other than
// "/" is reachable from "/" through child links, and every child link names
// a bucket that exists. The changing operations keep it: names are brought
// to normal form before anything is stored, linked or looked up; writing a
// bucket links it into its parent (making missing parents) and gives it the
// child links that the manager holds for it, not those of the client's
// copy; deleting a bucket deletes its subtree and unlinks it from its
// parent. Tests check the invariant after every commit of long random
// sequences of changes.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <vector>

#include "manager/CallbackLibrary.h"
#include "manager/ChangeJournal.h"
#include "manager/Options.h"
#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/osdep/CriticalSection.h"
#include "vesk/orlo/osdep/Mutex.h"
#include "status/StatusGuard.h"
#include "vesk/tarnhive/Export.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/IBucketManager.h"

namespace vesk::tarnhive {

class BucketCache;
class BucketUpdateCache;
namespace store {
struct StoreChange;
}
class IBucketStore;
class SingleFileBucketStore;

class BucketManager
    : public orlo::RefCountedImplementation<IBucketManager, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  // Builds the manager for `directory` (empty: the default directory) with
  // the options of `iniFile` (empty: the default configuration file). A
  // failure leaves its code in `status` and a manager without a store.
  BucketManager(const WideString& directory, const WideString& iniFile, TarnhiveStatus* status);
  ~BucketManager() override;
  BucketManager(const BucketManager&) = delete;
  BucketManager& operator=(const BucketManager&) = delete;

  // Deletes every file of the registry directory except "debugRunCounter.txt"
  // (and a callback library of that directory). Takes no lock and reports
  // nothing.
  VESK_TARNHIVE_EXPORT void purgeStore();

  bool tryAcquireLock(Guid* token, TarnhiveStatus* status) override;
  bool acquireLock(Guid* token, TarnhiveStatus* status) override;
  bool releaseLock(const Guid& token, TarnhiveStatus* status) override;
  bool getLockToken(Guid* token, TarnhiveStatus* status) override;
  bool beginUpdate(const Guid& token, TarnhiveStatus* status) override;
  bool commitUpdate(const Guid& token, TarnhiveStatus* status) override;

  bool newBucket(IBucket** bucket, const WideString& fullName, TarnhiveStatus* status) override;
  bool createBucket(IBucket** bucket, const WideString& fullName, bool openIfExists,
                    bool persistent, TarnhiveStatus* status) override;
  bool newEmptyBucket(IBucket** bucket, TarnhiveStatus* status) override;
  bool newBucketCase(IBucketCase** collection, TarnhiveStatus* status) override;
  bool newDigest(Digest** digest, TarnhiveStatus* status) override;
  bool getBucket(IBucket** bucket, const Digest& digest, TarnhiveStatus* status) override;
  bool collectBucket(const Digest& digest, IBucketCase* collection,
                     TarnhiveStatus* status) override;
  bool getBucketByName(IBucket** bucket, const WideString& fullName,
                       TarnhiveStatus* status) override;
  bool collectBucketByName(const WideString& fullName, IBucketCase* collection,
                           TarnhiveStatus* status) override;
  bool getBucketTree(const WideString& fullName, IBucketCase* collection,
                     TarnhiveStatus* status) override;
  bool writeBucket(IBucket* bucket, bool flag, const Guid& token, TarnhiveStatus* status) override;
  bool deleteBucket(const WideString& fullName, const Guid& token,
                    TarnhiveStatus* status) override;
  bool deleteBucketByName(IBucket* bucket, const Guid& token, TarnhiveStatus* status) override;
  bool bucketExists(const WideString& fullName, TarnhiveStatus* status) override;
  bool writeBuckets(IBucketCase* collection, bool flag, const Guid& token,
                    TarnhiveStatus* status) override;

  bool getDirectory(WideString& directory, TarnhiveStatus* status) override;
  bool getDefaultDirectory(WideString& directory, TarnhiveStatus* status) override;
  bool normalizeName(WideString& normalized, const WideString& name,
                     TarnhiveStatus* status) override;
  bool parentName(WideString& parent, const WideString& name, TarnhiveStatus* status) override;
  bool ensureRootBucket(TarnhiveStatus* status) override;

  bool newValue(IBucketValue** value, IBucketValue* source, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const double* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const float* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::uint64_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::int64_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::uint32_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::int32_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::uint16_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::int16_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::uint8_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::int8_t* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const bool* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const WideString* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const NarrowString* elements, std::uint32_t count,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, double scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, float scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::uint64_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::int64_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::uint32_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::int32_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::uint16_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::int16_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::uint8_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, std::int8_t scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, bool scalar, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const std::uint8_t* bytes, std::uint32_t count, bool flag,
                TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const WideString& text, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const NarrowString& text, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, const Digest& digest, TarnhiveStatus* status) override;
  bool newValue(IBucketValue** value, TarnhiveStatus* status) override;

  // Other processes' commits. Reads answer from the newest committed state
  // of all processes: each read first looks whether the shared commit
  // sequence moved (one atomic load) and, when it did, catches up: under
  // the machine-wide lock, taken briefly, the store reads the new blocks'
  // indexes (or the file a compaction put in place), the memory cache drops
  // what changed, and the change journal takes the commits when a feed is
  // open. A process that holds the lock is current already. A failure
  // leaves its code; the next read tries again.
  void catchUp(TarnhiveStatus* status);
  // Waits until the shared commit sequence moves, at most `milliseconds`.
  void waitForCommit(std::uint32_t milliseconds);
  ChangeJournal& changeJournal() noexcept { return journal_; }
  // Compacts the registry file now. Needs the lock token.
  bool compactRegistry(const Guid& token, TarnhiveStatus* status);

 private:
  // Held by each read operation for its whole work, so that it sees one
  // committed state: the outermost read of a thread catches up first and
  // then holds the state lock shared; commits and catching up hold it
  // exclusively. Reads nested in reads do neither.
  class ReadScope {
   public:
    ReadScope(BucketManager& manager, TarnhiveStatus* status);
    ~ReadScope();
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

   private:
    BucketManager& manager_;
    bool outermost_;
  };
  // Applies what the store found when it caught up: drops the changed
  // buckets from the memory cache (all of them after a compaction) and
  // hands the commits to the journal. REQUIRES: the state lock, exclusive.
  void takeChanges(std::vector<store::StoreChange>& changes, bool replaced);
  // Construction steps.
  void construct(const WideString& iniFile, TarnhiveStatus* status);
  bool prepareDirectory(TarnhiveStatus* status);
  bool openStore(TarnhiveStatus* status);
  void runStartupCheck();

  // The lock protocol: waits (or tries) for the machine-wide lock and hands
  // out a fresh token.
  bool takeLock(Guid* token, bool wait, TarnhiveStatus* status);
  // Brings the caches and the store up to date with what other processes
  // committed since this one last looked. REQUIRES: the machine-wide lock.
  void followOtherProcesses(TarnhiveStatus* status);
  // The checks of the changing operations: a store, the holder's token and,
  // with `needUpdate`, an open update.
  bool mayChange(const Guid& token, bool needUpdate, TarnhiveStatus* status);
  // Runs the update cache's commit and the post-commit callback.
  bool commit(TarnhiveStatus* status);

  // Lookups for the manager's own recursive operations: the update cache,
  // then the memory cache, then the store. Null when nowhere.
  orlo::RefPtr<IBucket> findBucket(const Digest& digest, TarnhiveStatus* status);
  // The bucket of a name in normal form as the open update sees it: changed
  // in it, deleted in it (null), or else as committed. Null when nowhere.
  // `pending`, when given, tells whether it is the update cache's own.
  orlo::RefPtr<IBucket> pendingBucket(const WideString& normal, TarnhiveStatus* status,
                                      bool* pending = nullptr);
  // The client-facing lookup: the memory cache, then the store (which fills
  // the memory cache). Null and kWBUCKETNOTFOUND when nowhere.
  orlo::RefPtr<IBucket> lookUp(const Digest& digest, TarnhiveStatus* status);
  // The walks over child links carry the digests they have visited: links
  // are values a client may set to anything, cycles included.
  using Visited = std::set<Digest>;
  bool collectTree(const Digest& digest, IBucketCase& collection, bool first, Visited& visited,
                   TarnhiveStatus* status);
  // The walks take names in normal form.
  void writeTree(IBucket& source, const WideString& normal, bool recursive, Visited& visited,
                 TarnhiveStatus* status);
  // A bucket a write puts into the update cache, and the short name of a
  // child it is to link first (empty: none).
  struct Change {
    orlo::RefPtr<IBucket> bucket;
    WideString link;
  };
  using Changes = std::vector<Change>;
  void linkIntoParent(const WideString& normal, Changes& changes, TarnhiveStatus* status);
  void deleteTree(const WideString& normal, Visited& visited, TarnhiveStatus* status);
  void unlinkFromParent(const WideString& normal, TarnhiveStatus* status);
  bool hasStore() const noexcept { return store_ != nullptr; }
  // The start of every operation that hands an object out: clears *out, and
  // is false on a negative status, without a store when `needStore`, and
  // (with kNULLARGUMENT) for a null `out`.
  template <class T>
  bool startOut(T** out, bool needStore, TarnhiveStatus* status) {
    if (out != nullptr) *out = nullptr;
    if (failed(status) || (needStore && !hasStore())) return false;
    if (out == nullptr) {
      setStatus(status, kNULLARGUMENT);
      return false;
    }
    return true;
  }
  // The checks of writeBucket and writeBuckets: the changing operation's
  // token and update, a non-null argument, and room in the store.
  bool mayWrite(const Guid& token, const void* argument, TarnhiveStatus* status);

  template <class... Args>
  bool makeValue(IBucketValue** value, TarnhiveStatus* status, const Args&... args);

  WideString directory_;
  std::unique_ptr<SingleFileBucketStore> store_;
  orlo::RefPtr<BucketCache> memoryCache_;
  orlo::RefPtr<BucketUpdateCache> updateCache_;
  orlo::osdep::Mutex processLock_;
  Guid lockToken_ = kNoLockToken;
  orlo::osdep::CriticalSection guard_;
  // Held while the memory cache takes buckets from the store on a read, and
  // while a commit or a reopen changes the memory cache and the store: a
  // read can then never put an older copy over a newer one. Reads take it
  // without the guard, which acquireLock holds while it waits.
  orlo::osdep::CriticalSection fillLock_;
  // The lock that catching up takes: the machine-wide lock, through an
  // object of its own, so that a reading thread never shares processLock_
  // with a thread that changes the registry.
  orlo::osdep::Mutex refreshLock_;
  // Serialises catching up between the threads of the process, and with
  // the taking of the lock (see takeLock).
  std::mutex refreshMutex_;
  std::shared_mutex stateLock_;
  // Set while a thread of this process holds the machine-wide lock and the
  // process is current: reads then need not catch up.
  std::atomic<bool> lockHeld_{false};
  ChangeJournal journal_;
  bool updateOpen_ = false;
  std::unique_ptr<Options> options_;
  bool storeFlags_[7] = {false, false, false, false, false, false, false};
  std::unique_ptr<CallbackLibrary> callbacks_;
};

}  // namespace vesk::tarnhive
