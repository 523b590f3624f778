// Reading and writing "registry.bin" at absolute offsets. Offsets are cut to
// their low 32 bits before each seek, which limits a registry file to
// 2 GiB - 1 bytes. Reads beyond the end of the file yield zero bytes, so the
// range checks of the readers judge what they got. Blocks are written whole
// (see WritePlan.h); a block counts only once a commit mark names its end.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::store {

// Fills `count` bytes from `offset`; what lies beyond the end of the file
// reads as 0. A failed read throws the OS exception.
void readAt(orlo::osdep::BinaryFile& file, std::int64_t offset, void* buffer, std::size_t count);
std::int64_t readI64At(orlo::osdep::BinaryFile& file, std::int64_t offset);
std::uint32_t readU32At(orlo::osdep::BinaryFile& file, std::int64_t offset);
Digest readDigestAt(orlo::osdep::BinaryFile& file, std::int64_t offset);

// Writes `count` bytes at `offset`, without a flush. A failed seek or write
// throws the OS exception.
void writeBytesAt(orlo::osdep::BinaryFile& file, std::int64_t offset, const void* bytes,
                  std::size_t count);

// Writes `count` bytes at `offset` and flushes them to disk. A failed seek,
// write or flush throws the OS exception.
void writeAt(orlo::osdep::BinaryFile& file, std::int64_t offset, const void* bytes,
             std::size_t count);

// Sets the file's length and flushes.
void resizeFile(orlo::osdep::BinaryFile& file, std::int64_t length);

// The SHA-256 of `count` bytes in memory.
Digest checksumOfBytes(const std::uint8_t* bytes, std::size_t count);

}  // namespace vesk::tarnhive::store
