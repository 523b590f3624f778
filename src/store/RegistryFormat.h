// The bytes of "registry.bin": a gapless sequence of commit blocks with no
// file header. All integers are little-endian; offsets and lengths are 64-bit
// and absolute, counts 32-bit. A block that starts at S, holding w index
// entries, d deleted digests and R bytes of records, is laid out as:
//
//   S+0    trailerOffset T                      8
//   S+8    indexOffset I = S + 16 + R           8
//   S+16   records: {u64 length, bytes}...      R
//   I+0    previousIndexOffset                  8
//   I+8    entryCount w                         4
//   I+12   deletedCount d                       4
//   I+16   entries {digest[32], u64 offset}     40 w
//   ...    deleted digests                      32 d
//   E      indexOffsetCopy (I again)            8
//   X=E+8  checksum: SHA-256 of [S, X-1)        32
//   T=X+32 blockStart S                         8
//   T+8    marker "@@@@SFBSMARK@@@@"            16
//
// The block ends at T + 24, so whoever knows where a block ends finds its
// start 24 bytes before that end, and the file is read from its valid end
// backwards. The last byte of indexOffsetCopy lies outside the checksum on
// purpose; readers never compare the checksum, the marker or the copy.
#pragma once

#include <cstdint>

namespace vesk::tarnhive::store {

inline constexpr char kRegistryFileName[] = "registry.bin";
inline constexpr char kCompactingFileName[] = "registry.bin.1";
inline constexpr char kPreviousFileName[] = "registry.bin.2";
inline constexpr char kCommitMarkPrefix[] = "commitmark";
inline constexpr char kNewCommitMarkName[] = "newCommitmark";
inline constexpr char kOldCommitMarkName[] = "oldCommitmark";

inline constexpr char kBlockMarker[] = "@@@@SFBSMARK@@@@";
inline constexpr std::uint32_t kMarkerSize = 16;
inline constexpr std::uint32_t kDigestSize = 32;
inline constexpr std::uint32_t kChecksumSize = 32;
inline constexpr std::uint32_t kEntrySize = 40;
inline constexpr std::uint32_t kBlockHeaderSize = 16;
inline constexpr std::uint32_t kIndexHeaderSize = 16;
inline constexpr std::uint32_t kRecordHeaderSize = 8;
// blockStart + marker, counted back from a block's end.
inline constexpr std::int64_t kBlockStartFromEnd = 24;
// checksum + blockStart + marker, counted back from a block's end.
inline constexpr std::int64_t kChecksumFromEnd = 56;
// The fixed part of a block: header, index header, index copy and trailer.
inline constexpr std::int64_t kBlockOverhead = 96;

// Where a block's parts lie, from its start, record bytes and counts.
struct BlockLayout {
  std::int64_t start = 0;             // S
  std::int64_t firstRecord = 0;       // S + 16
  std::int64_t indexOffset = 0;       // I
  std::int64_t entriesOffset = 0;     // I + 16
  std::int64_t deletedOffset = 0;     // I + 16 + 40 w
  std::int64_t indexCopyOffset = 0;   // E
  std::int64_t checksumOffset = 0;    // X
  std::int64_t trailerOffset = 0;     // T
  std::int64_t end = 0;               // T + 24
};

// The layout of a block that starts at `start`. `indexSize` is the size of
// the index part as a commit computes it in 32 bits (32 d + 40 w + 24).
inline BlockLayout layoutBlock(std::int64_t start, std::int64_t recordBytes,
                               std::uint32_t entryCount, std::uint32_t deletedCount,
                               std::uint32_t indexSize) {
  BlockLayout b;
  b.start = start;
  b.firstRecord = start + kBlockHeaderSize;
  b.indexOffset = b.firstRecord + recordBytes;
  b.entriesOffset = b.indexOffset + kIndexHeaderSize;
  b.deletedOffset = b.entriesOffset + std::int64_t{kEntrySize} * entryCount;
  b.indexCopyOffset = b.deletedOffset + std::int64_t{kDigestSize} * deletedCount;
  b.checksumOffset = b.indexOffset + indexSize;
  b.trailerOffset = b.checksumOffset + kChecksumSize;
  b.end = b.trailerOffset + kBlockStartFromEnd;
  return b;
}

// The index size as a commit computes it, in 32-bit arithmetic.
inline std::uint32_t indexSizeOf(std::uint32_t entryCount, std::uint32_t deletedCount) {
  return 32u * deletedCount + 40u * entryCount + 24u;
}

// Where the newest record of a digest lies.
struct RecordLocation {
  std::uint32_t blockNumber = 0;
  std::uint32_t entryNumber = 0;
  std::int64_t recordOffset = 0;
  // The bytes the record takes in the file, its length field included; 0
  // where it is not known (a record found by a walk of the file). The
  // store's count of live bytes, which decides when a compaction pays, is
  // their sum.
  std::int64_t recordBytes = 0;
};

// What the store knows of one block, in memory only.
struct BlockDescriptor {
  std::uint32_t blockNumber = 0;
  std::int64_t blockStart = 0;
  std::int64_t trailerOffset = 0;
  std::int64_t indexOffset = 0;
  std::int64_t firstRecordOffset = 0;
  std::int64_t checksumOffset = 0;
  std::int64_t blockLength = 0;
  std::int64_t previousIndexOffset = 0;
  std::uint32_t entryCount = 0;
  std::uint32_t deletedCount = 0;
  std::int64_t indexOffsetCopy = 0;
};

}  // namespace vesk::tarnhive::store
