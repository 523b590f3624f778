// Exceptions for failed operating-system calls. OSException carries the
// system's text and error number; WinError maps a Win32 error number to the
// library's code, PosixError an errno value. On POSIX only PosixError is
// raised; WinError exists on every platform so its code table is the same
// everywhere.
#pragma once

#include <cstdint>

#include "vesk/orlo/Exception.h"

namespace vesk::orlo::osdep {

class OSException : public exception::Exception {
 public:
  OSException() noexcept = default;
  OSException(std::uint32_t osError, const char* text) : message_(text), osError_(osError) {}
  OSException(const OSException&) = default;
  OSException(const OSException& other, const char* file, std::uint32_t line)
      : Exception(other, file, line), message_(other.message_), osError_(other.osError_) {}

  const char* what() const noexcept override { return message_.c_str(); }
  std::uint32_t errorCode() const noexcept override { return 42; }
  // The operating system's own error number (Win32 error or errno).
  virtual std::uint32_t osErrorCode() const noexcept { return osError_; }

 private:
  MessageText message_;
  std::uint32_t osError_ = 0;
};

class WinError : public OSException {
 public:
  // The message is the system's text for the number (empty where the platform
  // has none).
  explicit WinError(std::uint32_t winError);
  WinError(const WinError&) = default;
  WinError(const WinError& other, const char* file, std::uint32_t line)
      : OSException(other, file, line) {}

  std::uint32_t errorCode() const noexcept override { return codeOfWinError(osErrorCode()); }

  // The library's code for a Win32 error number.
  static std::uint32_t codeOfWinError(std::uint32_t winError) noexcept;
};

class PosixError : public OSException {
 public:
  // From the current errno.
  PosixError();
  explicit PosixError(int error);
  PosixError(const PosixError&) = default;
  PosixError(const PosixError& other, const char* file, std::uint32_t line)
      : OSException(other, file, line) {}

  std::uint32_t errorCode() const noexcept override;
};

class NotResolvedException : public exception::Exception {
 public:
  NotResolvedException() noexcept = default;
  NotResolvedException(const NotResolvedException&) = default;
  NotResolvedException(const NotResolvedException& other, const char* file, std::uint32_t line)
      : Exception(other, file, line) {}
  const char* what() const noexcept override {
    return "Not able to resolve the network name or address";
  }
};

}  // namespace vesk::orlo::osdep
