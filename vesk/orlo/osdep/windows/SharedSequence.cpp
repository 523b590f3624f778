// The shared counter as a named file mapping backed by the paging file.
// Windows has no wait on an address across processes, so a waiter looks
// again every 2 ms.
#include "vesk/orlo/osdep/SharedSequence.h"

#include <windows.h>

#include <atomic>
#include <chrono>

#include "vesk/orlo/osdep/windows/LockSecurity.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {
namespace {

constexpr DWORD kMappingSize = 64;

std::atomic<std::uint64_t>& counterAt(void* memory) noexcept {
  return *static_cast<std::atomic<std::uint64_t>*>(memory);
}

// The mapping in the global namespace when the process may make one there,
// else in its session's.
HANDLE openMapping(const WideString& name) {
  windows::LockSecurity security;
  for (const wchar_t* space : {L"Global\\", L"Local\\"}) {
    WideString full(space);
    full += windows::lockSpaceName(name);
    HANDLE mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, security.attributes(),
                                          PAGE_READWRITE, 0, kMappingSize, full.c_str());
    if (mapping != nullptr) return mapping;
  }
  windows::throwLastWinError(kSHAREDSEQUENCE_OPEN);
}

}  // namespace

SharedSequence::SharedSequence(const WideString& name) {
  HANDLE mapping = openMapping(name);
  void* memory = ::MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, kMappingSize);
  if (memory == nullptr) {
    const DWORD error = ::GetLastError();
    ::CloseHandle(mapping);
    ::SetLastError(error);
    windows::throwLastWinError(kSHAREDSEQUENCE_OPEN);
  }
  handle_ = reinterpret_cast<std::intptr_t>(mapping);
  memory_ = memory;
}

SharedSequence::~SharedSequence() {
  if (memory_ != nullptr) ::UnmapViewOfFile(memory_);
  if (handle_ != -1) ::CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

std::uint64_t SharedSequence::load() const noexcept {
  return counterAt(memory_).load(std::memory_order_acquire);
}

std::uint64_t SharedSequence::advance() noexcept {
  return counterAt(memory_).fetch_add(1, std::memory_order_acq_rel) + 1;
}

bool SharedSequence::waitForChange(std::uint64_t seen, std::uint32_t milliseconds) const noexcept {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (load() == seen) {
    if (Clock::now() >= deadline) return false;
    ::Sleep(2);
  }
  return true;
}

}  // namespace vesk::orlo::osdep
