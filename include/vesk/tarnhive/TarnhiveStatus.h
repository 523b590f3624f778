// TarnhiveStatus: the caller's status record. Every operation of every
// interface takes it last and reports its outcome in it; no exception ever
// leaves the library.
//
// The rules every operation follows:
//  - entered with a negative code it does nothing and returns its failure
//    result (false, zero or a null object), so a caller may chain calls and
//    test the record once;
//  - a positive (warning) code does not stop it;
//  - setting a code always overwrites the old one and clears the message;
//  - success leaves a zero or warning code untouched.
//
// The record owns its message and extra objects; both come from the task
// allocator and are freed by clearMessage / clearExtra (and by the record's
// destructor).
#pragma once

#include <cstdint>
#include <memory>

#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/StatusCodes.h"

namespace vesk::tarnhive {

// Extra information that may accompany a code. The library only frees it.
class TarnhiveStatusExtra {
 public:
  virtual ~TarnhiveStatusExtra() = default;
};

struct TarnhiveStatus {
  TarnhiveStatus() = default;
  TarnhiveStatus(const TarnhiveStatus&) = delete;
  TarnhiveStatus& operator=(const TarnhiveStatus&) = delete;
  inline ~TarnhiveStatus();

  std::int32_t code = 0;
  vesk::orlo::WideString* message = nullptr;
  TarnhiveStatusExtra* extra = nullptr;
};

// Destroys and frees the message, if any, and sets it to null.
inline void clearMessage(TarnhiveStatus* status) noexcept {
  if (status != nullptr && status->message != nullptr) {
    std::destroy_at(status->message);
    vesk::orlo::osdep::taskFree(status->message);
    status->message = nullptr;
  }
}

// Destroys and frees the extra object, if any, and sets it to null.
inline void clearExtra(TarnhiveStatus* status) noexcept {
  if (status != nullptr && status->extra != nullptr) {
    std::destroy_at(status->extra);
    vesk::orlo::osdep::taskFree(status->extra);
    status->extra = nullptr;
  }
}

inline TarnhiveStatus::~TarnhiveStatus() {
  clearMessage(this);
  clearExtra(this);
}

// True when the record holds an error.
inline bool failed(const TarnhiveStatus* status) noexcept {
  return status != nullptr && status->code < 0;
}

}  // namespace vesk::tarnhive
