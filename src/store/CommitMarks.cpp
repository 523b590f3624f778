#include "store/CommitMarks.h"

#include <cerrno>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "vesk/orlo/IntegerText.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FindFiles.h"
#include "store/RegistryIo.h"
#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/orlo/osdep/GetFileSize.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/TextFile.h"

namespace vesk::tarnhive::store {
namespace {

namespace path = orlo::osdep::path;
using orlo::WideString;
using orlo::osdep::TextFile;

constexpr char kSource[] = "vesk/tarnhive/store/CommitMarks";

[[noreturn]] void markWriteFailed(std::uint32_t line) {
  orlo::exception::raise(orlo::osdep::PosixError(errno != 0 ? errno : EIO), kSource, line);
}

// A decimal number without sign; anything else throws UnableToConvert.
std::int64_t decimalOf(const WideString& text) {
  bool negative = false;
  const std::uint32_t value = orlo::StringToInteger(text.data(), text.length(), 10, negative, true);
  if (negative && value != 0) {
    orlo::exception::raise(orlo::exception::UnableToConvert(), kSource, __LINE__);
  }
  return value;
}

WideString decimalText(std::int64_t value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%lld", static_cast<long long>(value));
  return orlo::toWide(orlo::NarrowString(digits));
}

// Writes the decimal value into an open mark and forces it to disk: a
// commit that has returned survives a power cut.
void putValue(TextFile& mark, std::int64_t value) {
  errno = 0;
  if (mark.write(orlo::toNarrow(decimalText(value))) < 0) markWriteFailed(__LINE__);
  if (mark.flush() != 0) markWriteFailed(__LINE__);
  mark.sync();
}

// Rewrites the mark in force in place; on failure puts its old value back
// as well as it can, and throws. Used where the mark was just made for a
// new file set and may be shorter or longer than the new text.
void rewriteMarkInPlace(const WideString& markPath, std::int64_t value, std::int64_t oldValue) {
  TextFile mark;
  try {
    mark.open(markPath, TextFile::kWRITE);
    putValue(mark, value);
  } catch (...) {
    mark.close();
    try {
      TextFile restore;
      restore.open(markPath, TextFile::kWRITE);
      putValue(restore, oldValue);
    } catch (...) {
      // The mark stays as the failure left it; one that reads as no number,
      // or names no block end, is rebuilt from the file at the next open.
    }
    throw;
  }
}

// Overwrites the digits of a mark whose text has the length of the new
// text, without changing its length, and forces them to disk: one forced
// write and no directory change. A power cut during the write can leave
// the new digits, the old ones, or a mixture; whatever the mark then says is
// checked against the blocks of the file at the next open, and the new
// block was forced before, so every outcome opens as the old or the new
// commit. On failure the old digits are put back as well as they can be,
// which the next open checks as it checks any other.
void overwriteDigits(const WideString& markPath, const orlo::NarrowString& digits,
                     const orlo::NarrowString& oldDigits) {
  orlo::osdep::BinaryFile mark;
  try {
    mark.open(markPath, orlo::osdep::BinaryFile::kREADWRITE);
    writeAt(mark, 0, digits.c_str(), digits.length());
  } catch (...) {
    try {
      if (mark.isOpen()) writeAt(mark, 0, oldDigits.c_str(), oldDigits.length());
    } catch (...) {
    }
    throw;
  }
}

}  // namespace

WideString commitMarkPath(const StoreState& state, std::int64_t number) {
  WideString name(u"commitmark.");
  name += decimalText(number);
  return path::join(state.directory, name);
}

std::int64_t nextCommitMarkNumber(std::int64_t number) noexcept {
  return number >= kMaxCommitMarkNumber ? 1 : number + 1;
}

void writeNewMarkFile(const WideString& markPath, std::int64_t value, std::uint32_t permissions) {
  if (path::entryExists(markPath)) path::deleteFile(markPath);
  TextFile mark;
  mark.open(markPath, TextFile::kCREATENEW);
  try {
    mark.setPermissions(permissions);
    putValue(mark, value);
  } catch (...) {
    // The new mark may hold a part of its text: remove it, so that the old
    // one stays in force. A mark left empty is passed over by the next scan.
    mark.close();
    path::deleteFile(markPath, true);
    throw;
  }
}

std::uint32_t markPermissions(const StoreState& state) {
  const std::uint32_t ofMark =
      state.commitMarkNumber > 0
          ? path::permissionsOf(commitMarkPath(state, state.commitMarkNumber))
          : 0;
  return ofMark != 0 ? ofMark : path::permissionsOf(state.registryPath);
}

std::int64_t readMarkFile(const WideString& markPath) {
  TextFile mark;
  mark.open(markPath, TextFile::kREAD);
  orlo::NarrowString line;
  mark.readLine(line);
  return decimalOf(orlo::toWide(line));
}

std::int64_t markValueOrMinusOne(const WideString& markPath) {
  if (orlo::osdep::GetFileSize(markPath) == 0) return -1;
  try {
    return readMarkFile(markPath);
  } catch (const orlo::exception::UnableToConvert&) {
    return -1;
  }
}

void writeCommitMark(StoreState& state, std::int64_t validEnd) {
  const WideString oldMark = commitMarkPath(state, state.commitMarkNumber);
  const std::int64_t nextNumber = nextCommitMarkNumber(state.commitMarkNumber);
  const WideString newMark = commitMarkPath(state, nextNumber);
  if (state.commitMarkNumber == 0 && path::entryExists(newMark)) {
    // A new file set: commitmark.1 names the empty file and is the mark in
    // force; it takes the new end in place.
    rewriteMarkInPlace(newMark, validEnd, state.validEnd);
    state.commitMarkNumber = nextNumber;
    return;
  }
  // The common commit: the mark in force keeps its name and takes the new
  // end over its old digits, when the two have as many digits (the end only
  // grows between compactions, so it gains a digit rarely). The literal
  // write mode always writes a new mark.
  const orlo::NarrowString digits = orlo::toNarrow(decimalText(validEnd));
  if (!state.flushEveryWrite && state.commitMarkNumber > 0 &&
      orlo::osdep::GetFileSize(oldMark) == static_cast<std::int64_t>(digits.length())) {
    // Digits that could not be put back after a failure may name the new
    // end: the caller cuts the block off, and the next open finds the mark
    // beyond the end of the file and rebuilds it from the blocks.
    overwriteDigits(oldMark, digits, orlo::toNarrow(decimalText(state.validEnd)));
    return;
  }
  writeNewMarkFile(newMark, validEnd, markPermissions(state));
  // The new mark counts once its directory entry is on disk. Should that
  // fail, the new mark is taken away again and the old one stays in force:
  // a failed commit is one that did not happen.
  try {
    path::syncDirectory(state.directory);
  } catch (...) {
    if (path::deleteFile(newMark, true)) throw;
  }
  const std::int64_t previous = state.commitMarkNumber;
  state.commitMarkNumber = nextNumber;
  if (previous == 0 || !path::entryExists(oldMark)) return;
  if (nextNumber > previous) {
    // A stale old mark ranks below the new one: the next scan removes it if
    // this removal does not last.
    path::deleteFile(oldMark, true);
    return;
  }
  // The numbers wrapped: the old mark would outrank commitmark.1, so its
  // removal must be on disk before the commit counts.
  try {
    path::deleteFile(oldMark);
    path::syncDirectory(state.directory);
  } catch (...) {
    state.commitMarkNumber = previous;
    path::deleteFile(newMark, true);
    throw;
  }
}

namespace {

// A commit mark found in the directory.
struct FoundMark {
  std::int64_t number;
  WideString path;
};

bool isDigit(orlo::WChar unit) noexcept { return unit >= u'0' && unit <= u'9'; }

// The number of a mark in the written form: digits only, no leading zero,
// not above the largest mark number; -1 for anything else.
std::int64_t writtenMarkNumber(const WideString& suffix) noexcept {
  if (suffix.empty() || suffix.length() > 10 || suffix[0] == u'0') return -1;
  std::int64_t number = 0;
  for (const orlo::WChar unit : suffix) {
    if (!isDigit(unit)) return -1;
    number = number * 10 + (unit - u'0');
  }
  return number <= kMaxCommitMarkNumber ? number : -1;
}

// True for a number in some other form: an optional sign and digits.
bool isOtherNumber(const WideString& text) noexcept {
  std::uint32_t i = (!text.empty() && (text[0] == u'+' || text[0] == u'-')) ? 1 : 0;
  if (i == text.length()) return false;
  for (; i < text.length(); ++i) {
    if (!isDigit(text[i])) return false;
  }
  return true;
}

// The commit marks in the directory, newest first. Names that are numbers
// in another form are passed over; a name with no number throws
// UnableToConvert.
std::vector<FoundMark> findMarks(const StoreState& state) {
  WideString pattern = path::join(state.directory, WideString(u"commitmark"));
  pattern += u".*";
  const auto entries = orlo::osdep::FindFiles(
      pattern, orlo::osdep::kFIND_HIDDEN | orlo::osdep::kFIND_DOT_ENTRIES, true);
  const WideString prefix(u"commitmark.");
  std::vector<FoundMark> marks;
  for (const WideString& entry : entries) {
    if (path::isDirectory(entry)) continue;
    const WideString name = path::fileName(entry);
    std::uint32_t dot = WideString::kNotFound;
    for (std::uint32_t i = 0; i < name.length(); ++i) {
      if (name[i] == u'.') dot = i;
    }
    if (dot == WideString::kNotFound) continue;
    const bool prefixed =
        name.length() >= prefix.length() && name.substring(0, prefix.length()) == prefix;
    const std::int64_t number = prefixed ? writtenMarkNumber(name.substring(prefix.length())) : -1;
    if (number > 0) {
      marks.push_back({number, entry});
    } else if (!isOtherNumber(name.substring(dot + 1))) {
      orlo::exception::raise(orlo::exception::UnableToConvert(), kSource, __LINE__);
    }
  }
  std::stable_sort(marks.begin(), marks.end(),
                   [](const FoundMark& a, const FoundMark& b) { return a.number > b.number; });
  return marks;
}

}  // namespace

void scanCommitMarks(StoreState& state) {
  state.newMarkPath = storePath(state, kNewCommitMarkName);
  state.oldMarkPath = storePath(state, kOldCommitMarkName);
  // The newest mark wins and older ones go. A newest mark that is empty was
  // being written when the process ended: the mark before it, which is
  // removed only after the new one is complete, is still in force.
  // A newest mark that holds no number (NUL bytes or a part of its digits
  // from a write that a power cut stopped) is passed over in the same way.
  std::int64_t newest = 0;
  for (const FoundMark& mark : findMarks(state)) {
    if (newest == 0) {
      const std::int64_t value = markValueOrMinusOne(mark.path);
      if (value < 0) {
        path::deleteFile(mark.path);
        continue;
      }
      newest = mark.number;
      state.validEnd = value;
    } else if (mark.number < newest) {
      path::deleteFile(mark.path);
    }
  }
  if (newest >= 1) state.commitMarkNumber = newest;
}

void deleteCommitMarks(const StoreState& state) {
  for (const FoundMark& mark : findMarks(state)) path::deleteFile(mark.path);
}

MarkInForce peekCommitMark(const StoreState& state) {
  for (const FoundMark& mark : findMarks(state)) {
    const std::int64_t value = markValueOrMinusOne(mark.path);
    if (value >= 0) return MarkInForce{mark.number, value};
  }
  return MarkInForce{};
}

}  // namespace vesk::tarnhive::store
