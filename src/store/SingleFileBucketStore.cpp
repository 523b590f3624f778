#include "store/SingleFileBucketStore.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <new>
#include <vector>

#include "bucket/Bucket.h"
#include "store/CommitMarks.h"
#include "store/CommitWriter.h"
#include "store/Compactor.h"
#include "store/FileImage.h"
#include "store/FileSet.h"
#include "store/RecordReader.h"
#include "store/IndexLoader.h"
#include "store/RegistryIo.h"
#include "store/StoreGuard.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive {

using orlo::osdep::CriticalSectionLock;
using store::storeRun;

SingleFileBucketStore::SingleFileBucketStore(const orlo::WideString& directory,
                                             const StoreLimits& limits) {
  state_.directory = directory;
  const auto indexKB = static_cast<std::uint32_t>(limits.indexLimitKB);
  state_.indexLimitBytes = static_cast<std::int32_t>(indexKB << 10);
  const auto diskKB = static_cast<std::uint32_t>(limits.diskLimitKB);
  state_.diskLimitBytes = static_cast<std::int32_t>(diskKB << 10);
  state_.flushEveryWrite = limits.flushEveryWrite;
}

SingleFileBucketStore::~SingleFileBucketStore() = default;

void SingleFileBucketStore::open(std::uint32_t openMode, TarnhiveStatus* status) {
  openFiles(openMode, true, status);
}

namespace {

// The name of the commit sequence of a directory: the lock's name and the
// digest of the directory's complete name, so that every process that uses
// the directory, under whatever name, shares one.
orlo::WideString sequenceName(const orlo::WideString& directory) {
  orlo::WideString digestText;
  Digest(orlo::osdep::path::canonical(directory)).getString(digestText);
  orlo::WideString name(u"__vesk_tarnhive_BucketManager_lock__.");
  name += digestText.substring(0, 32);
  return name;
}

}  // namespace

void SingleFileBucketStore::openFiles(std::uint32_t openMode, bool mayCompact,
                                      TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  if (state_.isOpen) return;
  state_.openMode = openMode;
  const bool opened = storeRun(status, [&] {
    store::scanCommitMarks(state_);
    store::openFileSet(state_);
    store::loadIndex(state_);
  });
  if (!opened) {
    state_.file.close();
    state_.clearIndex();
    return;
  }
  // Without the shared sequence every look counts as a change: reads stay
  // current, at the cost of a look at the files each time.
  if (!state_.sequence) {
    TarnhiveStatus ignored;
    storeRun(&ignored, [&] {
      state_.sequence = std::make_unique<orlo::osdep::SharedSequence>(sequenceName(state_.directory));
    });
  }
  state_.isOpen = true;
  // An empty file set gets a new mark at every open, which the others must
  // see; anything else the open found is what they know already.
  if (state_.fileSize == 0) {
    state_.announceChange();
  } else {
    state_.markCurrent();
  }
  if (mayCompact && store::compactionPays(state_)) {
    TarnhiveStatus compaction;
    store::compact(state_, &compaction);
  }
}

void SingleFileBucketStore::close(TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  state_.file.close();
  state_.clearIndex();
  state_.indexStale = false;
  state_.blockCount = 0;
  state_.commitMarkNumber = 0;
  state_.validEnd = 0;
  state_.isOpen = false;
}

IBucket* SingleFileBucketStore::readBucket(const Digest& digest) {
  if (state_.deletedSet.count(digest)) return nullptr;
  auto location = state_.liveIndex.find(digest);
  if (location == state_.liveIndex.end()) {
    if (state_.indexComplete) return nullptr;
    store::searchFile(state_, digest);
    location = state_.liveIndex.find(digest);
    if (location == state_.liveIndex.end()) return nullptr;
  }
  orlo::RefPtr<IBucket> bucket = store::bucketOfRecord(
      store::readRecordBytes(state_.file, location->second.recordOffset, state_.validEnd));
  if (!bucket) return nullptr;
  // A record under another bucket's digest is damage: handing it out would
  // put a bucket where its name does not lead.
  if (!(bucket->getDigest() == digest)) {
    orlo::exception::raise(orlo::exception::DeserializationError(),
                           "vesk/tarnhive/store/SingleFileBucketStore", __LINE__);
  }
  return bucket.detach();
}

bool SingleFileBucketStore::readyForUse(TarnhiveStatus* status) {
  if (!state_.isOpen) {
    setStatus(status, kSTOREMISSING);
    return false;
  }
  return storeRun(status, [&] {
    if (!state_.file.isOpen()) state_.file.open(state_.registryPath, orlo::osdep::BinaryFile::kREADWRITE);
    if (state_.indexStale) {
      store::loadIndex(state_);
      state_.indexStale = false;
    }
  });
}

IBucket* SingleFileBucketStore::loadBucket(const Digest& digest, TarnhiveStatus* status) {
  if (failed(status)) return nullptr;
  CriticalSectionLock hold(lock_);
  if (!readyForUse(status)) return nullptr;
  IBucket* bucket = nullptr;
  storeRun(status, [&] { bucket = readBucket(digest); });
  return bucket;
}

IBucket* SingleFileBucketStore::loadBucketByName(const orlo::WideString& fullName,
                                                 TarnhiveStatus* status) {
  if (failed(status)) return nullptr;
  IBucket* bucket = nullptr;
  storeRun(status, [&] { bucket = loadBucket(Digest(fullName), status); });
  return bucket;
}

void SingleFileBucketStore::commit(const BucketsByName& written, const NameSet& deleted,
                                   TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  // An empty commit writes nothing, but a store that is not open says so.
  if (!state_.isOpen) {
    setStatus(status, kSTOREMISSING);
    return;
  }
  if (written.empty() && deleted.empty()) return;
  if (!readyForUse(status)) return;
  storeRun(status, [&] { store::commitBlock(state_, written, deleted, status); });
}

bool SingleFileBucketStore::hasLiveRecord(const Digest& digest) {
  if (state_.deletedSet.count(digest)) return false;
  if (state_.liveIndex.count(digest)) return true;
  if (state_.indexComplete) return false;
  store::searchFile(state_, digest);
  return state_.liveIndex.count(digest) != 0;
}

bool SingleFileBucketStore::containsName(const orlo::WideString& fullName,
                                         TarnhiveStatus* status) {
  if (failed(status)) return false;
  CriticalSectionLock hold(lock_);
  if (!readyForUse(status)) return false;
  bool found = false;
  storeRun(status, [&] { found = hasLiveRecord(Digest(fullName)); });
  return found;
}

bool SingleFileBucketStore::containsBucket(IBucket* bucket, TarnhiveStatus* status) {
  if (failed(status)) return false;
  if (bucket == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  bool found = false;
  storeRun(status, [&] { found = containsName(bucket->getFullName(), status); });
  return found;
}

bool SingleFileBucketStore::refresh(bool withNames, bool lookAtFiles,
                                    std::vector<store::StoreChange>& changes, bool* replaced,
                                    TarnhiveStatus* status) {
  if (replaced != nullptr) *replaced = false;
  if (failed(status)) return false;
  CriticalSectionLock hold(lock_);
  if (!state_.isOpen && !reopenPending_) return false;
  if (!reopenPending_) {
    if (!lookAtFiles && state_.isCurrent()) return false;
    store::MarkInForce mark;
    bool sameFile = false;
    TarnhiveStatus peek;
    storeRun(&peek, [&] {
      mark = store::peekCommitMark(state_);
      sameFile = state_.file.isFileAt(state_.registryPath);
    });
    const bool appendedTo = !failed(&peek) && sameFile && !state_.indexStale &&
                            state_.indexComplete && mark.validEnd >= state_.validEnd;
    if (appendedTo && mark.validEnd == state_.validEnd) {
      state_.commitMarkNumber = mark.number;
      state_.markCurrent();
      return false;
    }
    if (appendedTo) {
      TarnhiveStatus read;
      std::vector<store::CommitDigests> commits;
      storeRun(&read, [&] {
        commits = store::loadNewBlocks(state_, mark.validEnd);
        state_.commitMarkNumber = mark.number;
        state_.fileSize = mark.validEnd;
        changes = store::describeCommits(state_, commits, withNames);
      });
      if (!failed(&read)) {
        state_.markCurrent();
        return true;
      }
      // A block that does not read as the continuation of the known ones:
      // the file is opened again and its index loaded whole.
    }
  }
  // The file the store knew stays open until the new one is read, for the
  // comparison that tells a change feed what changed.
  store::LiveIndex before;
  orlo::osdep::BinaryFile beforeFile;
  const std::int64_t beforeEnd = state_.validEnd;
  const bool compare = withNames && state_.isOpen && state_.indexComplete;
  if (compare) {
    before = state_.liveIndex;
    beforeFile.swap(state_.file);
  }
  const std::uint32_t openMode = state_.openMode;
  close(status);
  openFiles(openMode, false, status);
  reopenPending_ = failed(status);
  if (compare && !reopenPending_) {
    storeRun(status, [&] { changes.push_back(store::netChange(before, beforeFile, beforeEnd, state_)); });
  }
  if (replaced != nullptr) *replaced = true;
  return true;
}

void SingleFileBucketStore::waitForChange(std::uint32_t milliseconds) const noexcept {
  if (state_.sequence) {
    state_.sequence->waitForChange(state_.seenSequence.load(), milliseconds);
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min<std::uint32_t>(milliseconds, 10)));
  }
}

void SingleFileBucketStore::check(store::FileCheck& result, TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  if (!readyForUse(status)) return;
  storeRun(status, [&] { result = store::checkFile(state_); });
}

void SingleFileBucketStore::describe(store::FileSetDescription& result, TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  if (!readyForUse(status)) return;
  storeRun(status, [&] { result = store::describeFileSet(state_); });
}

void SingleFileBucketStore::backupTo(const orlo::WideString& destination, TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  if (!readyForUse(status)) return;
  storeRun(status, [&] { store::copyFileSet(state_, destination); });
}

void SingleFileBucketStore::compactNow(TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  if (!readyForUse(status)) return;
  if (state_.blockCount == 0) return;
  storeRun(status, [&] { store::compact(state_, status); });
}

}  // namespace vesk::tarnhive
