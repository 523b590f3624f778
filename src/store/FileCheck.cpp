#include "store/FileCheck.h"

#include <algorithm>
#include <map>
#include <set>

#include "store/FileImage.h"
#include "store/RecordReader.h"
#include "store/RegistryFormat.h"
#include "vesk/orlo/Utf8.h"
#include "vesk/orlo/osdep/Sha256.h"

namespace vesk::tarnhive::store {
namespace {

struct Entry {
  Digest digest;
  std::int64_t recordOffset;
};

struct CheckedBlock {
  std::int64_t start = 0;
  std::int64_t indexOffset = 0;
  std::vector<Entry> entries;
  std::vector<Digest> deleted;
};

class Checker {
 public:
  Checker(const FileImage& file, FileCheck& result) : file_(file), result_(result) {}

  // Reads the block that ends at `end`; false when its start cannot be
  // trusted, which ends the walk: nothing before it can be found.
  bool readBlock(std::int64_t end, CheckedBlock& block) {
    if (end < kBlockOverhead) {
      problem(0, "the " + std::to_string(end) + " bytes before offset " + std::to_string(end) +
                     " are too few for a block");
      return false;
    }
    const std::int64_t trailer = end - kBlockStartFromEnd;
    const std::uint8_t* marker = file_.bytesAt(end - kMarkerSize, kMarkerSize);
    if (marker == nullptr || !std::equal(marker, marker + kMarkerSize, kBlockMarker)) {
      problem(end - kMarkerSize, "the block marker is wrong");
    }
    const std::int64_t start = file_.i64At(trailer);
    if (start < 0 || start > end - kBlockOverhead) {
      problem(trailer, "the block start " + std::to_string(start) + " is out of range");
      return false;
    }
    block.start = start;
    if (file_.i64At(start) != trailer) {
      problem(start, "the block's trailer offset is not " + std::to_string(trailer));
    }
    const std::int64_t checksumAt = end - kChecksumFromEnd;
    const std::int64_t indexEnd = checksumAt - 8;
    unsigned char sum[kDigestSize] = {};
    const std::uint8_t* covered = file_.bytesAt(start, checksumAt - 1 - start);
    if (covered != nullptr) {
      orlo::osdep::sha256(covered, static_cast<std::size_t>(checksumAt - 1 - start), sum);
    }
    const std::uint8_t* stored = file_.bytesAt(checksumAt, kDigestSize);
    if (covered == nullptr || stored == nullptr || !std::equal(sum, sum + kDigestSize, stored)) {
      problem(checksumAt, "the block's checksum does not match its bytes");
    }
    const std::int64_t index = file_.i64At(start + 8);
    if (index < start + kBlockHeaderSize || index + kIndexHeaderSize > indexEnd) {
      problem(start + 8, "the index offset " + std::to_string(index) + " is out of range");
      return true;
    }
    block.indexOffset = index;
    const std::int64_t previous = file_.i64At(index);
    if (previous < 0 || previous > start) {
      problem(index, "the previous index offset " + std::to_string(previous) +
                         " lies after the block's start");
    }
    const std::int64_t written = file_.u32At(index + 8);
    const std::int64_t deleted = file_.u32At(index + 12);
    if (index + kIndexHeaderSize + kEntrySize * written + kDigestSize * deleted != indexEnd) {
      problem(index + 8, "the index counts (" + std::to_string(written) + " entries, " +
                             std::to_string(deleted) + " deletions) do not fill the index");
      return true;
    }
    if (file_.i64At(indexEnd) != index) problem(indexEnd, "the copy of the index offset differs");
    for (std::int64_t i = 0; i < written; ++i) {
      const std::int64_t at = index + kIndexHeaderSize + kEntrySize * i;
      const Entry entry{file_.digestAt(at), file_.i64At(at + kDigestSize)};
      if (entry.recordOffset < start + kBlockHeaderSize ||
          entry.recordOffset + kRecordHeaderSize > index) {
        problem(at + kDigestSize,
                "the record offset " + std::to_string(entry.recordOffset) + " is out of range");
        continue;
      }
      block.entries.push_back(entry);
    }
    for (std::int64_t i = 0; i < deleted; ++i) {
      block.deleted.push_back(
          file_.digestAt(index + kIndexHeaderSize + kEntrySize * written + kDigestSize * i));
    }
    return true;
  }

  // The bucket of an entry's record, or null with a problem.
  orlo::RefPtr<IBucket> decode(const CheckedBlock& block, const Entry& entry) {
    const std::int64_t length = file_.i64At(entry.recordOffset);
    if (length <= 0 || length > block.indexOffset - entry.recordOffset - kRecordHeaderSize) {
      problem(entry.recordOffset, "the record length " + std::to_string(length) +
                                      " does not fit the block's records");
      return nullptr;
    }
    const std::uint8_t* bytes = file_.bytesAt(entry.recordOffset + kRecordHeaderSize, length);
    orlo::RefPtr<IBucket> bucket;
    try {
      bucket = bucketOfRecord(std::vector<std::uint8_t>(bytes, bytes + length));
    } catch (...) {
      problem(entry.recordOffset, "the bucket record does not decode");
      return nullptr;
    }
    if (!(Digest(bucket->getFullName()) == entry.digest)) {
      problem(entry.recordOffset, "the record of \"" + utf8(bucket->getFullName()) +
                                      "\" is indexed under another name's digest");
      return nullptr;
    }
    return bucket;
  }

 private:
  static std::string utf8(const orlo::WideString& text) {
    return orlo::toUtf8(text).c_str();
  }
  void problem(std::int64_t offset, std::string message) {
    result_.problems.push_back({offset, std::move(message)});
  }

  const FileImage& file_;
  FileCheck& result_;
};

}  // namespace

FileCheck checkFile(StoreState& state) {
  FileCheck result;
  const FileImage file(state.file, 0, state.validEnd);
  Checker checker(file, result);
  std::vector<CheckedBlock> blocks;  // newest first
  for (std::int64_t end = state.validEnd; end > 0;) {
    CheckedBlock block;
    if (!checker.readBlock(end, block)) break;
    end = block.start;
    blocks.push_back(std::move(block));
  }
  result.blocks = static_cast<std::uint32_t>(blocks.size());
  // Every record is decoded, superseded ones too: damage there is damage.
  // The newest entry of a digest is its bucket, unless a newer block (or
  // its own) deleted it.
  std::set<Digest> decided;
  for (const CheckedBlock& block : blocks) {
    const std::set<Digest> deletedHere(block.deleted.begin(), block.deleted.end());
    for (const Entry& entry : block.entries) {
      orlo::RefPtr<IBucket> bucket = checker.decode(block, entry);
      if (decided.count(entry.digest) || deletedHere.count(entry.digest)) continue;
      decided.insert(entry.digest);
      if (bucket) result.live.push_back({entry.recordOffset, bucket});
    }
    decided.insert(deletedHere.begin(), deletedHere.end());
  }
  return result;
}

}  // namespace vesk::tarnhive::store
