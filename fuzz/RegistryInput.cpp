// The split of a fuzz input into registry files, and the checksum fix-up.
#include "RegistryInput.h"

#include <algorithm>
#include <cstring>

#include "vesk/orlo/osdep/Sha256.h"

namespace vesk::tarnhive::fuzz {
namespace {

constexpr std::size_t kMaxNameLength = 64;
// A block's size without records, index entries or deletions.
constexpr std::uint64_t kSmallestBlock = 96;
// The trailer's offset from the block's start in the smallest block.
constexpr std::uint64_t kSmallestTrailer = 72;
// The checksum lies 32 bytes before the trailer and covers [start, checksum - 1).
constexpr std::uint64_t kChecksumBeforeTrailer = 32;
constexpr std::uint64_t kTrailerSize = 24;

bool plainName(const std::string& name) {
  if (name.empty() || name.size() > kMaxNameLength || name == "." || name == "..") return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
  });
}

std::uint64_t u64At(const std::string& bytes, std::uint64_t at) {
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(bytes[at + i]);
  return v;
}

}  // namespace

RegistryInput parseRegistryInput(const std::uint8_t* data, std::size_t size) {
  RegistryInput input;
  if (size == 0) return input;
  input.flags = data[0];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string separator = std::string("\n") + kFileTag;
  const std::size_t tagLength = std::strlen(kFileTag);
  std::size_t at = 0;
  while (text.compare(at, tagLength, kFileTag) == 0) {
    const std::size_t nameEnd = text.find('\n', at + tagLength);
    if (nameEnd == std::string::npos) break;
    const std::size_t next = text.find(separator, nameEnd + 1);
    RegistryFile file{text.substr(at + tagLength, nameEnd - at - tagLength),
                      text.substr(nameEnd + 1, next == std::string::npos ? std::string::npos
                                                                         : next - nameEnd - 1)};
    if (plainName(file.name)) {
      std::erase_if(input.files, [&](const RegistryFile& f) { return f.name == file.name; });
      input.files.push_back(std::move(file));
    }
    if (next == std::string::npos) break;
    at = next + 1;
  }
  return input;
}

std::string packRegistryInput(const RegistryInput& input) {
  std::string packed(1, static_cast<char>(input.flags));
  for (std::size_t i = 0; i < input.files.size(); ++i) {
    if (i != 0) packed += '\n';
    packed += kFileTag + input.files[i].name + '\n' + input.files[i].content;
  }
  return packed;
}

void fixChecksums(std::string& file) {
  std::uint64_t start = 0;
  while (start + kSmallestBlock <= file.size()) {
    const std::uint64_t trailer = u64At(file, start);
    if (trailer < start + kSmallestTrailer || trailer > file.size() - kTrailerSize) return;
    const std::uint64_t checksum = trailer - kChecksumBeforeTrailer;
    unsigned char sum[orlo::osdep::Sha256::kSize];
    orlo::osdep::sha256(file.data() + start, checksum - 1 - start, sum);
    std::memcpy(file.data() + checksum, sum, sizeof sum);
    start = trailer + kTrailerSize;
  }
}

std::string optionLines(std::uint8_t flags) {
  std::string lines = "[Tarnhive]\n";
  if (flags & kSmallFileLimit) lines += "DiskMaxRegistryFileSizeKB = 1\n";
  if (flags & kSmallCache) lines += "MemoryCacheSizeLimitKB = 1\n";
  return lines;
}

}  // namespace vesk::tarnhive::fuzz
