// SingleFileBucketStore: the registry's persistent store. It keeps every
// bucket of a registry directory in one append-only log, "registry.bin", of
// self-checking commit blocks, with a commit mark naming how far the log is
// complete; see RegistryFormat.h for the bytes and the protocol files for
// the order of writes that makes a crash at any step recoverable.
//
// The whole index of the log is held in memory while the store is open;
// bucket data are read from the file on each load and never cached here.
#pragma once

#include <cstdint>
#include <vector>

#include "store/ChangeReader.h"
#include "store/IBucketStore.h"
#include "store/StoreState.h"
#include "vesk/orlo/osdep/CriticalSection.h"

namespace vesk::tarnhive {

// The settings the store is given: "MemoryIndicesSizeLimitKB" (kept, not
// consulted), "DiskMaxRegistryFileSizeKB" (the size past which a commit
// compacts the file) and "FlushEveryWrite" (the literal write mode).
struct StoreLimits {
  std::int32_t indexLimitKB = 1024;
  std::int32_t diskLimitKB = 1024;
  bool flushEveryWrite = false;
};

class SingleFileBucketStore : public IBucketStore {
 public:
  // Nothing touches the disk until open.
  SingleFileBucketStore(const orlo::WideString& directory, const StoreLimits& limits);
  ~SingleFileBucketStore() override;
  SingleFileBucketStore(const SingleFileBucketStore&) = delete;
  SingleFileBucketStore& operator=(const SingleFileBucketStore&) = delete;

  void open(std::uint32_t openMode, TarnhiveStatus* status) override;
  void close(TarnhiveStatus* status) override;
  IBucket* loadBucket(const Digest& digest, TarnhiveStatus* status) override;
  IBucket* loadBucketByName(const orlo::WideString& fullName, TarnhiveStatus* status) override;
  void commit(const BucketsByName& written, const NameSet& deleted,
              TarnhiveStatus* status) override;
  bool containsName(const orlo::WideString& fullName, TarnhiveStatus* status) override;
  bool containsBucket(IBucket* bucket, TarnhiveStatus* status) override;
  bool wasReset() override { return state_.resetFlag; }

  // Other processes commit to and compact the same directory while this
  // store is open. Brings the index up to date with the files and returns
  // true when they changed since this store last read or wrote them:
  // commits appended to the same file are read block by block (their
  // indexes only); a file replaced by a compaction is opened and its index
  // loaded, without compacting or writing anything, and `*replaced` is
  // set. Each commit read is described in `changes`, oldest first, with
  // the names of its buckets when `withNames`; a replaced file, when
  // `withNames`, as one net change. A failure leaves its
  // code and the store closed; the next call opens it again (and returns
  // true). REQUIRES: the caller holds the machine-wide lock, so that
  // nobody writes meanwhile.
  // Without `lookAtFiles` a store that the shared commit sequence says is
  // current does not look at the files at all.
  bool refresh(bool withNames, bool lookAtFiles, std::vector<store::StoreChange>& changes,
               bool* replaced, TarnhiveStatus* status);
  // True when no process committed or compacted since this store last
  // looked: one atomic load of the shared commit sequence, no system call.
  bool isCurrent() const noexcept { return state_.isCurrent(); }
  // Waits until another process commits or compacts, at most
  // `milliseconds` (without the shared sequence: sleeps a little).
  void waitForChange(std::uint32_t milliseconds) const noexcept;
  // Compacts the file now, whatever it holds. REQUIRES: the machine-wide
  // lock.
  void compactNow(TarnhiveStatus* status);
  bool isOverDiskLimit() override { return state_.overLimitFlag; }

 private:
  // The open: marks, file set, index; and, with `mayCompact`, a compaction
  // when one pays.
  void openFiles(std::uint32_t openMode, bool mayCompact, TarnhiveStatus* status);
  IBucket* readBucket(const Digest& digest);
  bool hasLiveRecord(const Digest& digest);
  // The start of slots 3 to 7 under the lock: an open store, with its file
  // open and its index current (a compaction may have left either to do).
  // False with the code set otherwise.
  bool readyForUse(TarnhiveStatus* status);

  orlo::osdep::CriticalSection lock_;
  store::StoreState state_;
  // An open that reopenIfChanged made failed: the next one tries again.
  bool reopenPending_ = false;
};

}  // namespace vesk::tarnhive
