#include "store/CommitMarks.h"

#include <cerrno>
#include <cstdio>

#include "vesk/orlo/IntegerText.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FindFiles.h"
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

void writeCommitMark(StoreState& state, std::int64_t validEnd) {
  const WideString oldMark = commitMarkPath(state, state.commitMarkNumber);
  const WideString newMark = commitMarkPath(state, state.commitMarkNumber + 1);
  if (!path::exists(newMark)) {
    TextFile create;
    create.open(newMark, TextFile::kAPPENDUPDATE);
    create.close();
  }
  TextFile mark;
  mark.open(newMark, TextFile::kWRITE);
  errno = 0;
  if (mark.write(orlo::toNarrow(decimalText(validEnd))) < 0) markWriteFailed(__LINE__);
  if (mark.flush() != 0) markWriteFailed(__LINE__);
  if (path::exists(oldMark)) path::deleteFile(oldMark);
  mark.close();
}

void scanCommitMarks(StoreState& state) {
  state.newMarkPath = storePath(state, kNewCommitMarkName);
  state.oldMarkPath = storePath(state, kOldCommitMarkName);
  WideString pattern = path::join(state.directory, WideString(u"commitmark"));
  pattern += u".*";
  const auto entries = orlo::osdep::FindFiles(pattern, orlo::osdep::kFIND_HIDDEN |
                                                           orlo::osdep::kFIND_DOT_ENTRIES,
                                              true);
  std::int64_t newest = 0;
  for (const WideString& entry : entries) {
    if (path::isDirectory(entry)) continue;
    const WideString name = path::fileName(entry);
    std::uint32_t dot = WideString::kNotFound;
    for (std::uint32_t i = 0; i < name.length(); ++i) {
      if (name[i] == u'.') dot = i;
    }
    if (dot == WideString::kNotFound) continue;
    const std::int64_t number = decimalOf(name.substring(dot + 1));
    if (number > newest) {
      if (newest > 0) path::deleteFile(commitMarkPath(state, newest));
      newest = number;
    } else if (number < newest && number > 0) {
      path::deleteFile(entry);
    }
  }
  if (newest >= 1) {
    state.commitMarkNumber = newest;
    state.validEnd = readMarkFile(commitMarkPath(state, newest));
  }
}

}  // namespace vesk::tarnhive::store
