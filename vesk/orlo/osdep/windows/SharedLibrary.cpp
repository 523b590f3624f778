// Run-time loading through LoadLibraryW / LoadLibraryExW (with the altered
// search path: the library's own dependencies are looked for beside it),
// GetProcAddress and FreeLibrary.
#include "vesk/orlo/osdep/SharedLibrary.h"

#include <windows.h>

#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {

const WChar SharedLibrary::kFileSuffix[] = VESK_WIDE(".dll");

bool SharedLibrary::load() {
  if (module_ == nullptr) {
    HMODULE module = alteredSearchPath_
                         ? ::LoadLibraryExW(name_.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)
                         : ::LoadLibraryW(name_.c_str());
    module_ = reinterpret_cast<void*>(module);
  }
  return module_ != nullptr;
}

void SharedLibrary::unload() noexcept {
  if (module_ == nullptr) return;
  ::FreeLibrary(static_cast<HMODULE>(module_));
  module_ = nullptr;
}

void* SharedLibrary::getSymbol(const char* name, bool optional) {
  if (module_ == nullptr) {
    if (optional) return nullptr;
    exception::raise(OSException(0, "library not loaded"), kSHAREDLIBRARY_NOT_LOADED.file,
                     kSHAREDLIBRARY_NOT_LOADED.line);
  }
  FARPROC symbol = ::GetProcAddress(static_cast<HMODULE>(module_), name);
  if (symbol == nullptr && !optional) windows::throwLastWinError(kSHAREDLIBRARY_NO_SYMBOL);
  return reinterpret_cast<void*>(symbol);
}

}  // namespace vesk::orlo::osdep
