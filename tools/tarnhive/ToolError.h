// How the tool fails: every failure is a ToolError carrying the exit status
// and a message for standard error. Library failures name the status code
// with its number and meaning, never a bare number.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive::tool {

// The tool's exit statuses.
enum ExitStatus : int {
  kExitOk = 0,
  kExitNotFound = 1,  // a bucket or value does not exist
  kExitUsage = 2,     // bad arguments or input
  kExitDamaged = 3,   // a damaged registry or a failure of the library
};

class ToolError : public std::runtime_error {
 public:
  ToolError(int exitStatus, const std::string& message, std::int32_t statusCode = 0)
      : std::runtime_error(message), exitStatus_(exitStatus), statusCode_(statusCode) {}
  int exitStatus() const noexcept { return exitStatus_; }
  // The library's status code behind the failure; 0 when the tool found it
  // itself.
  std::int32_t statusCode() const noexcept { return statusCode_; }

 private:
  int exitStatus_;
  std::int32_t statusCode_;
};

// The registry lock was not had within the time-out (exit 3).
class LockTimeout : public ToolError {
 public:
  using ToolError::ToolError;
};

[[noreturn]] void fail(int exitStatus, const std::string& message);

// The name ("kOSERROR") and meaning of a status code; both null for a code
// the library does not set.
struct StatusText {
  const char* name;
  const char* meaning;
};
StatusText statusText(std::int32_t code);

// "kOSERROR (-314509): an operating-system call failed" for any code the
// library sets; unknown codes are named as such, with their number.
std::string describeStatus(std::int32_t code);

// Fails with `what` and the record's code when the record holds an error.
// kWBUCKETNOTFOUND and the out-of-range codes count as damage or library
// failures (exit 3); callers test for absent buckets themselves.
void require(const TarnhiveStatus& status, const std::string& what);

}  // namespace vesk::tarnhive::tool
