// The one place where exceptions become status codes. Every interface
// operation runs its body through guardedCall (or guardedLockCall), which
// applies the status discipline on entry and converts whatever the body
// throws:
//
//   std::bad_alloc                  -> kOUTOFMEMORY
//   osdep::OSException (and kin)    -> kOSERROR
//   exception::DeserializationError -> kSTOREDAMAGED
//   any other library Exception     -> kINTERNALERROR
//   anything else                   -> kINTERNALERROR (guardedCall), or
//                                      cleanup and rethrow (guardedLockCall)
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

// Writes `code` and clears the message. A null record is ignored.
void setStatus(TarnhiveStatus* status, std::int32_t code) noexcept;

// Writes `code` with `message` (ASCII) as the record's message, allocated
// from the task allocator; without the message when that fails.
void setStatus(TarnhiveStatus* status, std::int32_t code, const char* message) noexcept;

// The status code for the exception being handled. Call only inside a catch
// block.
std::int32_t statusCodeOfCurrentException() noexcept;

// True when the exception being handled is a library exception or an
// allocation failure. Call only inside a catch block.
bool currentExceptionIsLibrarys() noexcept;

// Runs `body` unless the record already holds an error, in which case it
// returns `failure` at once. An exception from the body sets its code and
// yields `failure`.
template <class Result, class Body>
Result guardedCall(TarnhiveStatus* status, Result failure, Body&& body) noexcept {
  if (failed(status)) return failure;
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    setStatus(status, statusCodeOfCurrentException());
    return failure;
  }
}

// The same for operations without a result.
template <class Body>
void guardedRun(TarnhiveStatus* status, Body&& body) noexcept {
  if (failed(status)) return;
  try {
    std::forward<Body>(body)();
  } catch (...) {
    setStatus(status, statusCodeOfCurrentException());
  }
}

// As guardedRun, for operations that run whatever code the record already
// holds (the setters of values): an exception from the body sets its code.
template <class Body>
void unconditionalRun(TarnhiveStatus* status, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (...) {
    setStatus(status, statusCodeOfCurrentException());
  }
}

// As guardedCall, for the operations of the process lock: an exception that
// is not the library's runs `cleanup` (which releases the lock) and passes
// on to the caller.
template <class Result, class Body, class Cleanup>
Result guardedLockCall(TarnhiveStatus* status, Result failure, Body&& body, Cleanup&& cleanup) {
  if (failed(status)) return failure;
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    if (!currentExceptionIsLibrarys()) {
      std::forward<Cleanup>(cleanup)();
      throw;
    }
    setStatus(status, statusCodeOfCurrentException());
    return failure;
  }
}

}  // namespace vesk::tarnhive
