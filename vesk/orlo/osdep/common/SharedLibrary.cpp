// The platform-independent half of SharedLibrary: naming and the life of the
// object. Loading and symbol lookup are the platform's.
#include "vesk/orlo/osdep/SharedLibrary.h"

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep {

SharedLibrary::SharedLibrary(const WideString& name, bool unloadOnDestruction,
                             bool alteredSearchPath)
    : unloadOnDestruction_(unloadOnDestruction), alteredSearchPath_(alteredSearchPath) {
  if (name.empty()) {
    exception::raise(exception::InvalidOperation(), kSHAREDLIBRARY_NO_NAME.file,
                     kSHAREDLIBRARY_NO_NAME.line);
  }
  name_ = name;
  if (path::fileName(name).find(u'.') == WideString::kNotFound) name_ += kFileSuffix;
  load();
}

SharedLibrary::~SharedLibrary() {
  if (unloadOnDestruction_) unload();
}

}  // namespace vesk::orlo::osdep
