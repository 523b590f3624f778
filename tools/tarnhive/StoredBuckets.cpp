// Decoding the live buckets of a snapshot.
#include "StoredBuckets.h"

#include "Names.h"
#include "ValueAccess.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::tool {
namespace {

const Block* blockHolding(const std::vector<Block>& blocks, std::uint64_t offset) {
  for (const Block& block : blocks) {
    if (offset >= block.start && offset < block.end) return &block;
  }
  return nullptr;
}

}  // namespace

std::string digestOf(const std::u16string& fullName) {
  const Digest digest(toWide(fullName));
  return std::string(reinterpret_cast<const char*>(digest.bytes()), Digest::kSize);
}

std::optional<BucketRecord> decodeEntry(std::string_view file, const Block& block,
                                        const IndexEntry& entry, std::vector<Problem>& problems) {
  const std::string_view bytes = recordAt(file, block, entry, problems);
  if (bytes.empty()) return std::nullopt;
  std::string error;
  auto record = decodeBucket(bytes, error);
  if (!record) {
    problems.push_back({entry.recordOffset, "the bucket record does not decode: " + error});
  } else if (digestOf(record->fullName) != entry.digest) {
    problems.push_back({entry.recordOffset, "the record of " + displayName(record->fullName) +
                                                " is indexed under another name's digest"});
    record.reset();
  }
  return record;
}

StoredBuckets decodeBuckets(std::string_view file, const std::vector<Block>& blocks,
                            const std::map<std::string, const IndexEntry*>& entries,
                            std::vector<Problem>& problems) {
  StoredBuckets buckets;
  for (const auto& [digest, entry] : entries) {
    const Block* block = blockHolding(blocks, entry->recordOffset);
    if (block == nullptr) continue;
    if (auto record = decodeEntry(file, *block, *entry, problems)) {
      buckets.emplace(digest, StoredBucket{entry->recordOffset, std::move(*record)});
    }
  }
  return buckets;
}

}  // namespace vesk::tarnhive::tool
