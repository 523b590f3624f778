// The open enumerations of a bucket or a bucket collection: cursors into an
// ordered sequence (a map or a sorted array), registered under handles.
//
// Handles come from the owner's counter, which starts at 1, so the first
// handle is 2; 0 is never a handle. A cursor is registered only by the first
// step of an enumeration, so a handle that was opened but never started is
// unknown to the table. Every change to the owner's entries invalidates all
// cursors: the next step then moves the cursor to the end and reports
// kWNOTFOUND. An invalidated cursor's position may dangle and is never
// dereferenced.
//
// REQUIRES: the owner's lock is held around every call.
#pragma once

#include <cstdint>
#include <map>

#include "bucket/TarnhiveAtomicInt.h"
#include "status/StatusGuard.h"
#include "vesk/tarnhive/StatusCodes.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

template <class Iterator>
class EnumerationCursors {
 public:
  // The counter's next value that is neither 0 nor a handle in use.
  std::uint32_t openHandle(TarnhiveAtomicInt& counter) const {
    for (;;) {
      const std::int32_t handle = counter.increment();
      if (handle != 0 && cursors_.count(handle) == 0) return static_cast<std::uint32_t>(handle);
    }
  }

  // True when the handle had a cursor.
  bool close(std::uint32_t handle) { return cursors_.erase(key(handle)) != 0; }

  // Registers (or replaces) a valid cursor at the first entry in [begin, end)
  // that `wanted` accepts, and returns that entry. With no such entry, or
  // handle 0, nothing is registered and `end` is returned.
  template <class Wanted>
  Iterator first(std::uint32_t handle, Iterator begin, Iterator end, Wanted wanted) {
    if (handle == 0) return end;
    Iterator at = begin;
    while (at != end && !wanted(at)) ++at;
    if (at != end) cursors_.insert_or_assign(key(handle), Cursor{at, false});
    return at;
  }

  // Moves the cursor of `handle` to the next entry that `wanted` accepts and
  // returns it, or returns `end`: for handle 0, for an unknown handle
  // (kNOTINCOLLECTION), for an invalidated cursor (moved to the end,
  // kWNOTFOUND) and when no entry is left.
  template <class Wanted>
  Iterator next(std::uint32_t handle, Iterator end, TarnhiveStatus* status, Wanted wanted) {
    if (handle == 0) return end;
    const auto found = cursors_.find(key(handle));
    if (found == cursors_.end()) {
      setStatus(status, kNOTINCOLLECTION);
      return end;
    }
    Cursor& cursor = found->second;
    if (cursor.invalidated) {
      cursor = Cursor{end, false};
      setStatus(status, kWNOTFOUND);
      return end;
    }
    if (cursor.position == end) return end;
    do {
      ++cursor.position;
    } while (cursor.position != end && !wanted(cursor.position));
    return cursor.position;
  }

  // Marks every cursor invalidated.
  void invalidateAll() noexcept {
    for (auto& entry : cursors_) entry.second.invalidated = true;
  }

  std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(cursors_.size()); }

 private:
  struct Cursor {
    Iterator position;
    bool invalidated;
  };
  static std::int32_t key(std::uint32_t handle) noexcept {
    return static_cast<std::int32_t>(handle);
  }

  std::map<std::int32_t, Cursor> cursors_;
};

}  // namespace vesk::tarnhive
