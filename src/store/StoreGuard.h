// How the store's slots turn exceptions into status codes: as every
// interface operation does, except that a commit mark whose number or
// content is not a decimal integer is kSTORECORRUPT and a bucket that
// overflows its buffer while it is serialized is kSTOREBUFFEROVERFLOW.
#pragma once

#include <cstdint>
#include <utility>

#include "status/StatusGuard.h"

namespace vesk::tarnhive::store {

// The code for the exception being handled; only inside a catch block.
std::int32_t storeCodeOfCurrentException() noexcept;

// Runs `body` unless the record holds an error; an exception sets its code.
// Returns false when the body threw.
template <class Body>
bool storeRun(TarnhiveStatus* status, Body&& body) noexcept {
  if (failed(status)) return false;
  try {
    std::forward<Body>(body)();
    return true;
  } catch (...) {
    setStatus(status, storeCodeOfCurrentException());
    return false;
  }
}

}  // namespace vesk::tarnhive::store
