#include "vesk/orlo/IniFile.h"

#include <cstdint>

#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo {
namespace {

// A run of bytes of the file being parsed.
struct Span {
  const char* begin;
  const char* end;

  bool empty() const noexcept { return begin == end; }
  NarrowString text() const { return NarrowString(begin, static_cast<std::uint32_t>(end - begin)); }
};

bool isBlank(char c) noexcept { return c == ' ' || c == '\t'; }

Span trim(Span s) noexcept {
  while (!s.empty() && isBlank(*s.begin)) ++s.begin;
  while (!s.empty() && isBlank(s.end[-1])) --s.end;
  return s;
}

const char* findChar(Span s, char c) noexcept {
  for (const char* p = s.begin; p != s.end; ++p) {
    if (*p == c) return p;
  }
  return nullptr;
}

Span unquote(Span s) noexcept {
  if (s.end - s.begin >= 2 && *s.begin == '"' && s.end[-1] == '"') return Span{s.begin + 1, s.end - 1};
  return s;
}

// Reads the whole file; false when it cannot be read or is too large.
bool readAll(const NarrowString& path, std::vector<char>& bytes) {
  osdep::BinaryFile file;
  try {
    file.open(toWide(path), osdep::BinaryFile::kREAD);
  } catch (const osdep::OSException&) {
    return false;
  }
  char chunk[4096];
  while (true) {
    const std::int64_t n = file.read(chunk, sizeof chunk);
    if (n < 0) return false;
    if (n == 0) return true;
    if (bytes.size() + static_cast<std::size_t>(n) > IniFile::kMaxFileSize) return false;
    bytes.insert(bytes.end(), chunk, chunk + n);
  }
}

}  // namespace

bool IniFile::load(const NarrowString& path) {
  sections_.clear();
  std::vector<char> bytes;
  if (!readAll(path, bytes)) return false;
  parse(bytes.data(), bytes.size());
  return true;
}

void IniFile::parse(const char* text, std::size_t length) {
  sections_.clear();
  Span rest{text, text + length};
  if (length >= 3 && static_cast<unsigned char>(text[0]) == 0xEF &&
      static_cast<unsigned char>(text[1]) == 0xBB && static_cast<unsigned char>(text[2]) == 0xBF) {
    rest.begin += 3;
  }
  Section* current = nullptr;
  while (!rest.empty()) {
    const char* newline = findChar(rest, '\n');
    Span line{rest.begin, newline ? newline : rest.end};
    rest.begin = newline ? newline + 1 : rest.end;
    if (!line.empty() && line.end[-1] == '\r') --line.end;
    line = trim(line);
    if (line.empty() || *line.begin == ';' || *line.begin == '#') continue;
    if (*line.begin == '[') {
      const char* close = findChar(Span{line.begin + 1, line.end}, ']');
      current = nullptr;
      if (close == nullptr) continue;
      sections_.push_back(Section{trim(Span{line.begin + 1, close}).text(), {}});
      current = &sections_.back();
      continue;
    }
    const char* equals = findChar(line, '=');
    if (current == nullptr || equals == nullptr) continue;
    const Span key = trim(Span{line.begin, equals});
    if (key.empty()) continue;
    current->entries.push_back(Entry{key.text(), unquote(trim(Span{equals + 1, line.end})).text()});
  }
}

const IniFile::Section* IniFile::findSection(const char* name) const {
  for (const Section& section : sections_) {
    if (compareIgnoreCase(section.name, name) == 0) return &section;
  }
  return nullptr;
}

bool IniFile::getValue(const Section& section, const char* key, WideString& value) {
  for (const Entry& entry : section.entries) {
    if (compareIgnoreCase(entry.key, key) == 0) {
      value = toWide(entry.value);
      return true;
    }
  }
  return false;
}

}  // namespace vesk::orlo
