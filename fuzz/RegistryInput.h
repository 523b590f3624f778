// The fuzz input of a registry directory, and its making from a directory.
// An input is a flags byte followed by the directory's files, each given as
//
//   #file:NAME '\n' CONTENT
//
// where a CONTENT ends where "\n#file:" begins the next file (or at the end
// of the input). NAME is a plain file name (letters, digits, ".", "_", "-"):
// "registry.bin", "commitmark.N", or any other name of the registry's file
// set or beside it. Other names are passed over, so every input stays
// inside the directory it is written to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vesk::tarnhive::fuzz {

// Flags of the first byte.
enum RegistryInputFlags : std::uint8_t {
  // The checksum of every block found by walking a "registry.bin*" file from
  // its start is made right, so that the fuzzer reaches past it (it cannot
  // forge a SHA-256).
  kFixChecksums = 1,
  // DiskMaxRegistryFileSizeKB = 1: a registry over 1 KiB is compacted as it
  // opens.
  kSmallFileLimit = 2,
  // MemoryCacheSizeLimitKB = 1: reads evict from the memory cache.
  kSmallCache = 4,
};

struct RegistryFile {
  std::string name;
  std::string content;
};

struct RegistryInput {
  std::uint8_t flags = 0;
  std::vector<RegistryFile> files;
};

inline constexpr char kFileTag[] = "#file:";

// The files of an input; a later file of the same name replaces an earlier
// one.
RegistryInput parseRegistryInput(const std::uint8_t* data, std::size_t size);
// The input that parses to `input`.
std::string packRegistryInput(const RegistryInput& input);

// Writes the checksum of each block of a registry file that a walk from the
// start finds (each block begins with the offset of its trailer).
void fixChecksums(std::string& file);

// The lines of the options file for the flags.
std::string optionLines(std::uint8_t flags);

}  // namespace vesk::tarnhive::fuzz
