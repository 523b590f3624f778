#include "store/ChangeReader.h"

#include "store/RecordReader.h"

namespace vesk::tarnhive::store {
namespace {

using orlo::WideString;

// The full name in the record at `offset`; empty for an empty record.
WideString nameAt(orlo::osdep::BinaryFile& file, std::int64_t offset, std::int64_t validEnd) {
  orlo::RefPtr<IBucket> bucket = bucketOfRecord(readRecordBytes(file, offset, validEnd));
  return bucket ? bucket->getFullName() : WideString();
}

}  // namespace

std::vector<StoreChange> describeCommits(StoreState& state,
                                         const std::vector<CommitDigests>& commits,
                                         bool withNames) {
  std::vector<StoreChange> changes;
  changes.reserve(commits.size());
  for (const CommitDigests& commit : commits) {
    StoreChange& change = changes.emplace_back();
    change.touched = commit.written;
    change.touched.insert(change.touched.end(), commit.deleted.begin(), commit.deleted.end());
    if (!withNames) continue;
    for (const std::int64_t offset : commit.writtenAt) {
      WideString name = nameAt(state.file, offset, state.validEnd);
      if (!name.empty()) change.written.push_back(std::move(name));
    }
    for (const std::int64_t offset : commit.deletedFrom) {
      if (offset < 0) continue;
      WideString name = nameAt(state.file, offset, state.validEnd);
      if (!name.empty()) change.deleted.push_back(std::move(name));
    }
  }
  return changes;
}

StoreChange netChange(const LiveIndex& before, orlo::osdep::BinaryFile& beforeFile,
                      std::int64_t beforeEnd, StoreState& now) {
  StoreChange change;
  change.net = true;
  for (const auto& [digest, location] : now.liveIndex) {
    std::vector<std::uint8_t> bytes = readRecordBytes(now.file, location.recordOffset, now.validEnd);
    const auto old = before.find(digest);
    if (old != before.end() &&
        readRecordBytes(beforeFile, old->second.recordOffset, beforeEnd) == bytes) {
      continue;
    }
    orlo::RefPtr<IBucket> bucket = bucketOfRecord(bytes);
    if (bucket) change.written.push_back(bucket->getFullName());
  }
  for (const auto& [digest, location] : before) {
    if (now.liveIndex.count(digest)) continue;
    WideString name = nameAt(beforeFile, location.recordOffset, beforeEnd);
    if (!name.empty()) change.deleted.push_back(std::move(name));
  }
  return change;
}

}  // namespace vesk::tarnhive::store
