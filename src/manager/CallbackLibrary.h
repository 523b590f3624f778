// The callback library: a library named in the options that is told when the
// registry is initialised and after every successful commit. It must export
// "TarnhivePreInitCallback" and "TarnhivePostCommitCallback", each taking the
// registry directory as narrow, zero-terminated text. As the options are
// read, no library is ever named, so the bucket manager never loads one.
#pragma once

#include <memory>

#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/osdep/SharedLibrary.h"

namespace vesk::tarnhive {

class CallbackLibrary {
 public:
  using Callback = void (*)(const char* directory);

  // Loads the library `name` (".so" or ".dll" added when the name has no
  // extension) and finds both callbacks. Null when the library cannot be
  // loaded or lacks one of them.
  static std::unique_ptr<CallbackLibrary> load(const orlo::WideString& name);

  CallbackLibrary(const CallbackLibrary&) = delete;
  CallbackLibrary& operator=(const CallbackLibrary&) = delete;

  void preInit(const orlo::WideString& directory) const;
  void postCommit(const orlo::WideString& directory) const;

 private:
  CallbackLibrary(std::unique_ptr<orlo::osdep::SharedLibrary> library, Callback preInit,
                  Callback postCommit);

  std::unique_ptr<orlo::osdep::SharedLibrary> library_;
  Callback preInit_;
  Callback postCommit_;
};

}  // namespace vesk::tarnhive
