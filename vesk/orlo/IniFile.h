// IniFile: the system's small reader of INI files, as the options are read
// from. The file is read as bytes (UTF-8 text, a byte-order mark skipped,
// no line-end translation) and parsed by these rules:
//
//  - lines end at "\n", and a "\r" before it is dropped;
//  - white space (spaces and tabs) around section names, keys and values is
//    ignored, and so are blank lines;
//  - a line whose first visible character is ';' or '#' is a comment;
//  - "[name]" starts a section; a line that starts with '[' but lacks the
//    ']' ends the current section without starting one;
//  - "key = value" inside a section sets a key; the value is everything
//    after the first '=' (a ';' or '#' in it is part of the value), with one
//    pair of enclosing double quotes removed; lines without '=', with an
//    empty key, or before the first section are ignored;
//  - section names and keys are found regardless of case; when one appears
//    twice, the first one counts.
#pragma once

#include <cstddef>
#include <vector>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

class IniFile {
 public:
  struct Entry {
    NarrowString key;
    NarrowString value;
  };
  struct Section {
    NarrowString name;
    std::vector<Entry> entries;
  };

  // Files larger than this are not configuration files: load refuses them.
  static constexpr std::size_t kMaxFileSize = 1024 * 1024;

  IniFile() = default;
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  // Reads and parses the file at `path` (narrow, in the system code page),
  // replacing what the reader held. False, with the reader empty, when the
  // file cannot be opened or read or is larger than kMaxFileSize.
  bool load(const NarrowString& path);

  // Parses `length` bytes of INI text, replacing what the reader held.
  void parse(const char* text, std::size_t length);

  // The first section called `name`, or null.
  const Section* findSection(const char* name) const;

  // The value of the first `key` of `section`, converted from UTF-8; false,
  // with `value` untouched, when the section has no such key.
  static bool getValue(const Section& section, const char* key, WideString& value);

 private:
  std::vector<Section> sections_;
};

}  // namespace vesk::orlo
