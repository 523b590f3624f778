// The counter and the armed fault of the file layer. The state changes only
// under its own lock; operations check the atomic flag first, so an unarmed
// process never takes the lock.
#include "vesk/orlo/osdep/FileFaults.h"

#include <mutex>

namespace vesk::orlo::osdep::fileFaults {
namespace detail {
std::atomic<bool> gActive{false};
}  // namespace detail

namespace {

enum class Action { kNONE, kFAIL, kEXIT };

struct State {
  bool active = false;
  std::uint64_t count = 0;
  std::uint64_t target = 0;
  Action action = Action::kNONE;
  int error = 0;
  bool persistent = false;
  std::size_t tornBytes = 0;
  int exitStatus = 0;
  bool reached = false;
};

std::mutex& stateLock() {
  static std::mutex lock;
  return lock;
}

State& state() {
  static State current;
  return current;
}

void rearm(const State& next) noexcept {
  std::lock_guard<std::mutex> guard(stateLock());
  detail::restoreSystemCalls();
  state() = next;
  detail::gActive.store(next.active, std::memory_order_relaxed);
}

}  // namespace

void startCounting() noexcept {
  State next;
  next.active = true;
  rearm(next);
}

void failAt(std::uint64_t k, int error, bool persistent, std::size_t tornBytes) noexcept {
  State next;
  next.active = true;
  next.target = k;
  next.action = Action::kFAIL;
  next.error = error;
  next.persistent = persistent;
  next.tornBytes = tornBytes;
  rearm(next);
}

void exitAt(std::uint64_t k, int exitStatus) noexcept {
  State next;
  next.active = true;
  next.target = k;
  next.action = Action::kEXIT;
  next.exitStatus = exitStatus;
  rearm(next);
}

void disarm() noexcept { rearm(State{}); }

std::uint64_t operationCount() noexcept {
  std::lock_guard<std::mutex> guard(stateLock());
  return state().count;
}

bool reached() noexcept {
  std::lock_guard<std::mutex> guard(stateLock());
  return state().reached;
}

namespace detail {

bool enterOperation() noexcept {
  std::lock_guard<std::mutex> guard(stateLock());
  State& s = state();
  ++s.count;
  const bool due = s.count == s.target || (s.persistent && s.reached);
  if (!due || s.action == Action::kNONE) return false;
  if (s.action == Action::kEXIT) exitProcess(s.exitStatus);
  // Only the armed operation tears its write; later ones of a persistent
  // fault write nothing.
  failSystemCalls(s.error, s.reached ? 0 : s.tornBytes);
  s.reached = true;
  return true;
}

void leaveOperation() noexcept {
  std::lock_guard<std::mutex> guard(stateLock());
  if (!state().persistent) restoreSystemCalls();
}

}  // namespace detail
}  // namespace vesk::orlo::osdep::fileFaults
