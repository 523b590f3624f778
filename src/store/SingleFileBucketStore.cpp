#include "store/SingleFileBucketStore.h"

#include <algorithm>
#include <new>
#include <vector>

#include "bucket/Bucket.h"
#include "store/CommitMarks.h"
#include "store/CommitWriter.h"
#include "store/Compactor.h"
#include "store/FileImage.h"
#include "store/FileSet.h"
#include "store/IndexLoader.h"
#include "store/RegistryIo.h"
#include "store/StoreGuard.h"

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
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  if (state_.isOpen) return;
  state_.openMode = openMode;
  const bool repaired = storeRun(status, [&] {
    store::scanCommitMarks(state_);
    store::openFileSet(state_);
  });
  if (!repaired) {
    state_.file.close();
    return;
  }
  TarnhiveStatus compaction;
  const bool loaded = store::compact(state_, &compaction);
  if (failed(&compaction) || !loaded) storeRun(status, [&] { store::loadIndex(state_); });
  if (failed(status)) {
    state_.file.close();
    state_.clearIndex();
    return;
  }
  state_.isOpen = true;
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
  const std::int64_t offset = location->second.recordOffset;
  if (offset < 0 || offset > state_.validEnd) {
    orlo::exception::raise(orlo::exception::DeserializationError(),
                           "vesk/tarnhive/store/SingleFileBucketStore", __LINE__);
  }
  // The record is read with one read of a size that holds most buckets,
  // and a second one only for a larger bucket.
  constexpr std::int64_t kFirstRead = 4096;
  store::FileImage image(state_.file, offset, std::min(offset + kFirstRead, state_.validEnd));
  const std::int64_t length = image.i64At(offset);
  if (length <= 0) return nullptr;
  // A length beyond the file can only come from damage; do not try to
  // allocate it.
  if (length > state_.validEnd) {
    orlo::exception::raise(orlo::exception::DeserializationError(),
                           "vesk/tarnhive/store/SingleFileBucketStore", __LINE__);
  }
  const std::int64_t first = offset + store::kRecordHeaderSize;
  if (image.bytesAt(first, length) == nullptr) {
    image = store::FileImage(state_.file, offset, first + length);
  }
  orlo::RefPtr<Bucket> bucket(new Bucket());
  const std::uint8_t* cursor = image.bytesAt(first, length);
  bucket->deserialize(cursor, cursor + length);
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

bool SingleFileBucketStore::reopenIfChanged(TarnhiveStatus* status) {
  if (failed(status)) return false;
  CriticalSectionLock hold(lock_);
  if (!state_.isOpen && !reopenPending_) return false;
  if (!reopenPending_) {
    bool current = false;
    TarnhiveStatus peek;
    storeRun(&peek, [&] {
      current = store::peekValidEnd(state_) == state_.validEnd &&
                state_.file.isFileAt(state_.registryPath);
    });
    if (current) return false;
  }
  const std::uint32_t openMode = state_.openMode;
  close(status);
  open(openMode, status);
  reopenPending_ = failed(status);
  return true;
}

}  // namespace vesk::tarnhive
