// The files of a registry directory as the tool reads them without the
// library: where the directory is, which commit mark is in force, and a
// consistent copy of "registry.bin" up to the valid end that mark names.
// Another process may commit or compact meanwhile; a read that sees the
// files change under it starts again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Session.h"

namespace vesk::tarnhive::tool {

// The common data directory: $VESKPUBAPPDATADIR, else the system's.
std::string commonDataDirectory();

// The directory the options name, or the library's default directory
// (the common data directory joined with "Tarnhive").
std::string registryDirectory(const GlobalOptions& options);

struct CommitMark {
  std::uint64_t number = 0;    // N of commitmark.N
  std::uint64_t validEnd = 0;  // its content
};

// The newest commit mark with a decimal content; a mark left empty by a
// write in progress is passed over for the one before it. Nothing when
// there is none.
std::optional<CommitMark> newestMark(const std::string& directory);

// Every commitmark.N in the directory, by number, with its raw content.
struct MarkFile {
  std::string name;
  std::string content;
};
std::vector<MarkFile> markFiles(const std::string& directory);

struct Snapshot {
  CommitMark mark;
  std::uint64_t fileSize = 0;  // of "registry.bin" when it was read
  std::uint64_t fileId = 0;    // the file's inode: a compaction replaces it
  std::string bytes;           // "registry.bin" up to the valid end
};

// Reads a consistent snapshot, trying again for a while when another
// process is switching files. Nothing, with the reason in `why`, when the
// file set does not settle (no mark, no file, a file shorter than its mark).
std::optional<Snapshot> readSnapshot(const std::string& directory, std::string& why,
                                     int attempts = 100);

// The size of a file, or nothing when it does not exist.
std::optional<std::uint64_t> fileSize(const std::string& path);

}  // namespace vesk::tarnhive::tool
