// BinaryFile: a file on a numeric descriptor, read and written as bytes at
// 32-bit positions. The persistent store keeps "registry.bin" in one.
//
// Constructed closed; the destructor closes an open file. Every descriptor is
// opened close-on-exec, without sharing restrictions. A BinaryFile is not
// safe for concurrent use: its owner serialises the calls.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

class BinaryFile {
 public:
  // Mode bits of open: the access in the low two bits, and two flags.
  static constexpr std::uint32_t kREAD = 0;
  static constexpr std::uint32_t kWRITE = 1;
  static constexpr std::uint32_t kREADWRITE = 2;
  static constexpr std::uint32_t kTRUNCATE = 8;
  // Creates a missing file, readable and writable (as the umask allows).
  static constexpr std::uint32_t kCREATE = 16;

  // Origins of seek.
  static constexpr int kFROM_START = 0;
  static constexpr int kFROM_CURRENT = 1;
  static constexpr int kFROM_END = 2;

  BinaryFile() noexcept = default;
  ~BinaryFile();
  BinaryFile(const BinaryFile&) = delete;
  BinaryFile& operator=(const BinaryFile&) = delete;

  // Opens `path` with the mode bits above (the store uses kREADWRITE, and
  // kCREATE | kTRUNCATE | kREADWRITE). A mode that writes does not follow
  // a symbolic link at `path`: the open fails; kREAD follows one. Throws PosixError (BinaryFile, line
  // 239) when the system refuses, and with EINVAL when this object is
  // already open or the access bits are 3.
  void open(const WideString& path, std::uint32_t mode);

  // Reads up to `count` bytes at the current position, stopping early only
  // at the end of the file. Returns the number read, or -1 when the file is
  // closed or the read fails (errno tells why). A count above 2^32 - 1
  // throws OutOfRange.
  std::int64_t read(void* buffer, std::size_t count);

  // Writes all `count` bytes at the current position; returns `count`, or
  // -1 when the file is closed or the write fails. A count above 2^32 - 1
  // throws OutOfRange.
  std::int64_t write(const void* buffer, std::size_t count);

  // Moves the position to `offset` from `origin`; returns the new position,
  // or -1 when the file is closed, the seek fails or the position does not
  // fit in 31 bits. Never throws.
  std::int32_t seek(std::int32_t offset, int origin) noexcept;

  // Cuts or extends (with zero bytes) the file to `size` bytes. Ignored when
  // closed; a failure throws PosixError (line 467).
  void setSize(std::int32_t size);

  // Forces the file's data to the disk. Ignored when closed; a failure
  // throws PosixError (line 444).
  void flush();

  // Closes the file; closing a closed file does nothing. A failure of the
  // system's close is not reported: the descriptor is gone either way.
  void close() noexcept;

  bool isOpen() const noexcept { return descriptor_ != -1; }
  // Exchanges the open files of two objects.
  void swap(BinaryFile& other) noexcept {
    const std::int32_t mine = descriptor_;
    descriptor_ = other.descriptor_;
    other.descriptor_ = mine;
  }
  // As TextFile::setPermissions.
  bool setPermissions(std::uint32_t permissions) noexcept;

  // True when the open file is the file that `path` names now (not one that
  // was since renamed away or replaced). False when closed, when nothing is
  // at `path`, or when either cannot be examined. Never throws.
  bool isFileAt(const WideString& path) const noexcept;

 private:
  std::int32_t descriptor_ = -1;
};

}  // namespace vesk::orlo::osdep
