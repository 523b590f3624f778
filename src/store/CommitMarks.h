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

// Writes commitmark.N+1 (N = commitMarkNumber) holding `validEnd` and then
// deletes commitmark.N. The mark is flushed to the operating system only.
// commitMarkNumber is left for the caller to advance. A failed write removes
// the new mark, leaves the old one in force and throws. `inForce`, when
// given, tells a caller that catches a failure whether the new mark had
// already taken effect (only the removal of the old mark failed).
void writeCommitMark(StoreState& state, std::int64_t validEnd, bool* inForce = nullptr);

// Finds the newest commit mark, deletes every other one, and takes its number
// and content as commitMarkNumber and validEnd. With no mark both keep their
// values. An empty newest mark is an unfinished write and is removed in
// favour of the one before it. A mark whose number or content is not a
// decimal number throws UnableToConvert.
void scanCommitMarks(StoreState& state);

// The valid end that the newest complete commit mark names, without changing
// any file; -1 when there is no such mark.
std::int64_t peekValidEnd(const StoreState& state);

// Writes a mark file: `text` replaces its content and is flushed to the
// operating system. Throws when the write or the flush fails.
void writeMarkFile(const orlo::WideString& path, std::int64_t value);

// The decimal number in the first line of a mark file.
std::int64_t readMarkFile(const orlo::WideString& path);

}  // namespace vesk::tarnhive::store
