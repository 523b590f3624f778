// The buckets a snapshot of "registry.bin" holds, decoded by the tool: for
// every live digest, where its record lies and what it says.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BlockReader.h"
#include "BucketRecord.h"

namespace vesk::tarnhive::tool {

struct StoredBucket {
  std::uint64_t recordOffset = 0;
  BucketRecord record;
};

// Digest (32 bytes) to bucket.
using StoredBuckets = std::map<std::string, StoredBucket>;

// Decodes the record of one entry of `block`. Nothing, with a problem, when
// it does not decode or its name's digest is not the entry's.
std::optional<BucketRecord> decodeEntry(std::string_view file, const Block& block,
                                        const IndexEntry& entry, std::vector<Problem>& problems);

// Decodes the record of every entry in `entries` (digest to entry, as
// liveEntries gives them). A record that does not decode, or whose name's
// digest is not the one its entry gives, is a problem and is left out.
StoredBuckets decodeBuckets(std::string_view file, const std::vector<Block>& blocks,
                            const std::map<std::string, const IndexEntry*>& entries,
                            std::vector<Problem>& problems);

// The 32-byte digest of a full name, as the registry computes it.
std::string digestOf(const std::u16string& fullName);

}  // namespace vesk::tarnhive::tool
