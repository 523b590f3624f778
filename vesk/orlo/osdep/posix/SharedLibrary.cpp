#include "vesk/orlo/osdep/SharedLibrary.h"

#include <dlfcn.h>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep {
namespace {

// dlopen and dlsym report through dlerror, not errno: the failure carries the
// loader's text.
[[noreturn]] void loaderFailure(const char* text, ErrorSite site) {
  exception::raise(OSException(0, text), site.file, site.line);
}

}  // namespace

const WChar SharedLibrary::kFileSuffix[] = VESK_WIDE(".so");

bool SharedLibrary::load() {
  if (module_ == nullptr) {
    const NarrowString narrow = toNarrow(name_);
    module_ = ::dlopen(narrow.c_str(), RTLD_NOW);
  }
  return module_ != nullptr;
}

void SharedLibrary::unload() noexcept {
  if (module_ == nullptr) return;
  ::dlclose(module_);
  module_ = nullptr;
}

void* SharedLibrary::getSymbol(const char* name, bool optional) {
  if (module_ == nullptr) {
    if (optional) return nullptr;
    loaderFailure("library not loaded", kSHAREDLIBRARY_NOT_LOADED);
  }
  ::dlerror();
  void* symbol = ::dlsym(module_, name);
  if (symbol == nullptr && !optional) {
    const char* text = ::dlerror();
    loaderFailure(text != nullptr ? text : "symbol not found", kSHAREDLIBRARY_NO_SYMBOL);
  }
  return symbol;
}

}  // namespace vesk::orlo::osdep
