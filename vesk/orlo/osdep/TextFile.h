// TextFile: a file on a buffered stream, written and read as narrow text.
// The store writes its commit marks through it and the start-up check its
// dumps; writes reach the operating system at flush or close, never the disk
// by themselves.
//
// Constructed closed; the destructor closes an open file. Streams are opened
// close-on-exec. Not safe for concurrent use.
#pragma once

#include <cstdint>
#include <cstdio>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

class TextFile {
 public:
  // Mode numbers of open, with the stream modes they stand for.
  static constexpr std::uint32_t kREAD = 0;              // "r"
  static constexpr std::uint32_t kREADUPDATE = 1;        // "r+"
  static constexpr std::uint32_t kWRITE = 2;             // "w"
  static constexpr std::uint32_t kWRITEUPDATE = 3;       // "w+"
  static constexpr std::uint32_t kAPPEND = 4;            // "a"
  static constexpr std::uint32_t kAPPENDUPDATE = 5;      // "a+"
  // "w", but only when nothing is at `path` yet: an existing file or link
  // makes the open fail (EEXIST).
  static constexpr std::uint32_t kCREATENEW = 6;

  TextFile() noexcept = default;
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Opens `path` with a mode number. A mode that writes never follows a
  // symbolic link at `path`: whoever may write the directory cannot make the
  // registry write into another file. Throws PosixError (TextFile, line 120)
  // when the system refuses, and with EINVAL for a mode number above 6 or
  // when this object is already open.
  void open(const WideString& path, std::uint32_t mode);

  // Writes the text's bytes; returns their number, or -1 when the file is
  // closed or the write fails.
  std::int64_t write(const NarrowString& text);

  // Hands buffered text to the operating system; 0, or -1 when the file is
  // closed or that fails.
  int flush();
  // Forces what flush handed over to the disk. Ignored when closed; a
  // failure throws PosixError (line 144).
  void sync();

  // Replaces `line` with the next line, without its line end ("\n" or
  // "\r\n"). Returns false, with `line` empty, at the end of the file or when
  // the file is closed; a read failure throws PosixError (line 187).
  bool readLine(NarrowString& line);

  // Closes the stream; closing a closed file does nothing. Text that could
  // not be handed to the system on the way is lost without a report; call
  // flush first to learn of it.
  void close() noexcept;

  bool isOpen() const noexcept { return stream_ != nullptr; }
  // Gives the open file the permission bits `permissions` (as path's
  // permissionsOf reports them), so that a file that replaces another keeps
  // its access whatever the creator's defaults. 0 leaves the file as it is.
  // False when that fails or the file is closed.
  bool setPermissions(std::uint32_t permissions) noexcept;

 private:
  std::FILE* stream_ = nullptr;
};

}  // namespace vesk::orlo::osdep
