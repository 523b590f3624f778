// Commit marks: commitmark.N holds the decimal length up to which
// "registry.bin" consists of complete blocks (its valid end). A commit counts
// once the next mark is written; the old mark is deleted after it. At open
// the newest mark wins and the others are removed.
#pragma once

#include <cstdint>

#include "store/StoreState.h"

namespace vesk::tarnhive::store {

// The path of commitmark.`number`.
orlo::WideString commitMarkPath(const StoreState& state, std::int64_t number);

// The largest number a commit mark may carry: what a 32-bit conversion
// reads back. The mark after it is commitmark.1 again.
inline constexpr std::int64_t kMaxCommitMarkNumber = 0xFFFFFFFFll;

// The number of the mark that follows commitmark.`number`.
std::int64_t nextCommitMarkNumber(std::int64_t number) noexcept;

// Makes `validEnd` the valid end on disk. Commonly the mark in force,
// commitmark.N (N = commitMarkNumber), gets the new digits over its old
// ones: one forced write, no directory change. When the digits are more
// than the mark holds, and always in the literal write mode, the next mark
// (commitmark.N+1) is written and forced, its directory entry forced, and
// commitmark.N deleted; commitMarkNumber then names the new mark.
//
// A new mark is created exclusively, never through a link, with the
// permissions of the mark it replaces; whatever stood under its name before
// is removed first. On a new file set (N = 0) commitmark.1 itself is the
// mark in force, and it is rewritten in place.
//
// A failure throws and leaves the old end in force as far as the disk
// allows (a new mark is removed, old digits are put back).
void writeCommitMark(StoreState& state, std::int64_t validEnd);

// Finds the newest commit mark, deletes every other one, and takes its number
// and content as commitMarkNumber and validEnd. With no mark both keep their
// values. An empty newest mark is an unfinished write and is removed in
// favour of the one before it.
//
// A mark is "commitmark." followed by a decimal number in the written form:
// digits only, no leading zero, at most kMaxCommitMarkNumber. Names whose
// last dot is followed by a number in any other form ("commitmark.02",
// "commitmark.-3", "commitmark.1.2") were never written by a store: they are
// passed over and left alone. A name whose suffix is no number at all, or a
// mark whose content is not a decimal number, throws UnableToConvert.
void scanCommitMarks(StoreState& state);

// Deletes every commit mark (the marks of a file that is being replaced).
void deleteCommitMarks(const StoreState& state);

// The newest complete commit mark, read without changing any file.
struct MarkInForce {
  std::int64_t number = 0;    // 0 when there is no such mark
  std::int64_t validEnd = -1;  // -1 when there is no such mark
};
MarkInForce peekCommitMark(const StoreState& state);

// Writes a new mark file at `path` that holds `value`, forced to disk (its
// directory entry is the caller's to force): whatever stood under the name is removed, and the file
// is created exclusively, without following a link, with `permissions`
// (0: the creator's defaults). A failure removes the file again and throws.
void writeNewMarkFile(const orlo::WideString& path, std::int64_t value,
                      std::uint32_t permissions);

// The permissions that a new mark takes: those of the mark in force, else
// those of "registry.bin".
std::uint32_t markPermissions(const StoreState& state);

// The decimal number in the first line of a mark file.
std::int64_t readMarkFile(const orlo::WideString& path);

// The number a mark holds, or -1 when it is empty or holds no number.
std::int64_t markValueOrMinusOne(const orlo::WideString& path);

}  // namespace vesk::tarnhive::store
