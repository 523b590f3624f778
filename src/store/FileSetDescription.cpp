#include "store/FileSetDescription.h"

#include <algorithm>

#include "store/CommitMarks.h"
#include "store/FileImage.h"
#include "store/RegistryIo.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FindFiles.h"
#include "vesk/orlo/osdep/GetFileSize.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/TextFile.h"

namespace vesk::tarnhive::store {
namespace {

namespace path = orlo::osdep::path;

std::string ascii(const orlo::WideString& text) {
  std::string out;
  for (const orlo::WChar unit : text) out += unit < 0x80 ? static_cast<char>(unit) : '?';
  return out;
}

std::string firstLineOf(const orlo::WideString& file) {
  orlo::osdep::TextFile text;
  text.open(file, orlo::osdep::TextFile::kREAD);
  orlo::NarrowString line;
  text.readLine(line);
  return std::string(line.c_str());
}

}  // namespace

FileSetDescription describeFileSet(const StoreState& state) {
  FileSetDescription description;
  description.commitMark = state.commitMarkNumber;
  description.validEnd = state.validEnd;
  description.blocks = static_cast<std::int64_t>(state.blockTable.size());
  description.buckets = static_cast<std::int64_t>(state.liveIndex.size());
  description.deadBytes = state.deadBytes();
  for (const char* name : {kRegistryFileName, kCompactingFileName, kPreviousFileName,
                           kNewCommitMarkName, kOldCommitMarkName}) {
    const orlo::WideString file = storePath(state, name);
    if (!path::exists(file)) continue;
    description.files.push_back({name, false, orlo::osdep::GetFileSize(file), ""});
  }
  orlo::WideString pattern = path::join(state.directory, orlo::WideString(u"commitmark"));
  pattern += u".*";
  const std::size_t firstMark = description.files.size();
  for (const orlo::WideString& mark : orlo::osdep::FindFiles(
           pattern, orlo::osdep::kFIND_HIDDEN | orlo::osdep::kFIND_DOT_ENTRIES, true)) {
    if (path::isDirectory(mark)) continue;
    std::string text;
    try {
      text = firstLineOf(mark);
    } catch (...) {
      text = "(unreadable)";
    }
    description.files.push_back({ascii(path::fileName(mark)), true, orlo::osdep::GetFileSize(mark),
                                 std::move(text)});
  }
  std::sort(description.files.begin() + static_cast<std::ptrdiff_t>(firstMark),
            description.files.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  return description;
}

void copyFileSet(StoreState& state, const orlo::WideString& destination) {
  path::createDirectories(destination);
  const FileImage image(state.file, 0, state.validEnd);
  orlo::osdep::BinaryFile copy;
  copy.open(path::join(destination, orlo::WideString(u"registry.bin")),
            orlo::osdep::BinaryFile::kCREATE | orlo::osdep::BinaryFile::kTRUNCATE |
                orlo::osdep::BinaryFile::kREADWRITE);
  if (!image.bytes().empty()) writeBytesAt(copy, 0, image.bytes().data(), image.bytes().size());
  copy.flush();
  copy.close();
  writeNewMarkFile(path::join(destination, orlo::WideString(u"commitmark.1")), state.validEnd, 0);
  path::syncDirectory(destination);
}

}  // namespace vesk::tarnhive::store
