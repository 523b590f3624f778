#include "store/CommitMarks.h"

#include <cerrno>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "vesk/orlo/IntegerText.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FindFiles.h"
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

}  // namespace

WideString commitMarkPath(const StoreState& state, std::int64_t number) {
  WideString name(u"commitmark.");
  name += decimalText(number);
  return path::join(state.directory, name);
}

void writeMarkFile(const WideString& markPath, std::int64_t value) {
  TextFile mark;
  mark.open(markPath, TextFile::kWRITE);
  errno = 0;
  if (mark.write(orlo::toNarrow(decimalText(value))) < 0) markWriteFailed(__LINE__);
  if (mark.flush() != 0) markWriteFailed(__LINE__);
}

std::int64_t readMarkFile(const WideString& markPath) {
  TextFile mark;
  mark.open(markPath, TextFile::kREAD);
  orlo::NarrowString line;
  mark.readLine(line);
  return decimalOf(orlo::toWide(line));
}

void writeCommitMark(StoreState& state, std::int64_t validEnd, bool* inForce) {
  if (inForce != nullptr) *inForce = false;
  const WideString oldMark = commitMarkPath(state, state.commitMarkNumber);
  const WideString newMark = commitMarkPath(state, state.commitMarkNumber + 1);
  if (!path::exists(newMark)) {
    TextFile create;
    create.open(newMark, TextFile::kAPPENDUPDATE);
    create.close();
  }
  TextFile mark;
  try {
    mark.open(newMark, TextFile::kWRITE);
    errno = 0;
    if (mark.write(orlo::toNarrow(decimalText(validEnd))) < 0) markWriteFailed(__LINE__);
    if (mark.flush() != 0) markWriteFailed(__LINE__);
  } catch (...) {
    // The new mark may hold a part of its text: remove it, so that the old
    // one stays in force. A mark left empty is passed over by the next scan.
    mark.close();
    path::deleteFile(newMark, true);
    throw;
  }
  // From here the new mark names the new valid end: the commit stands even
  // if the old mark cannot be removed (the next scan removes it).
  if (inForce != nullptr) *inForce = true;
  if (path::exists(oldMark)) path::deleteFile(oldMark);
  mark.close();
}

namespace {

// A commit mark found in the directory.
struct FoundMark {
  std::int64_t number;
  WideString path;
};

// The commit marks in the directory, newest first; a mark whose number is
// not a decimal number throws UnableToConvert.
std::vector<FoundMark> findMarks(const StoreState& state) {
  WideString pattern = path::join(state.directory, WideString(u"commitmark"));
  pattern += u".*";
  const auto entries = orlo::osdep::FindFiles(
      pattern, orlo::osdep::kFIND_HIDDEN | orlo::osdep::kFIND_DOT_ENTRIES, true);
  std::vector<FoundMark> marks;
  for (const WideString& entry : entries) {
    if (path::isDirectory(entry)) continue;
    const WideString name = path::fileName(entry);
    std::uint32_t dot = WideString::kNotFound;
    for (std::uint32_t i = 0; i < name.length(); ++i) {
      if (name[i] == u'.') dot = i;
    }
    if (dot == WideString::kNotFound) continue;
    marks.push_back({decimalOf(name.substring(dot + 1)), entry});
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
  std::int64_t newest = 0;
  for (const FoundMark& mark : findMarks(state)) {
    if (mark.number <= 0) continue;
    if (newest == 0) {
      if (orlo::osdep::GetFileSize(mark.path) == 0) {
        path::deleteFile(mark.path);
        continue;
      }
      newest = mark.number;
      state.validEnd = readMarkFile(mark.path);
    } else if (mark.number < newest) {
      path::deleteFile(mark.path);
    }
  }
  if (newest >= 1) state.commitMarkNumber = newest;
}

std::int64_t peekValidEnd(const StoreState& state) {
  for (const FoundMark& mark : findMarks(state)) {
    if (mark.number <= 0 || orlo::osdep::GetFileSize(mark.path) == 0) continue;
    return readMarkFile(mark.path);
  }
  return -1;
}

}  // namespace vesk::tarnhive::store
