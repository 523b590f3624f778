// SharedLibrary: a library loaded at run time, with lookup of its exported
// symbols. The bucket manager loads the callback library through it.
#pragma once

#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/osdep/WChar.h"

namespace vesk::orlo::osdep {

class SharedLibrary {
 public:
  // Loads the library `name`. A name whose file-name part has no extension
  // gets the platform's suffix (".so" on POSIX, ".dll" on Windows); a name
  // with any extension is loaded as it stands. A name without a separator is
  // searched for as the system searches for libraries. Loading does not
  // throw: see isLoaded(). An empty name throws InvalidOperation
  // (SharedLibrary, line 581).
  //
  // `alteredSearchPath` asks that the library's own dependencies be looked
  // for beside it; the system's loader on POSIX does this by its own rules
  // (the library's run path), so there it changes nothing.
  SharedLibrary(const WideString& name, bool unloadOnDestruction, bool alteredSearchPath);
  // Unloads the library when that was asked for at construction.
  virtual ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  // Loads the library if it is not loaded; true when it is loaded.
  virtual bool load();

  // Unloads the library if it is loaded. Symbols taken from it become
  // invalid.
  virtual void unload() noexcept;

  bool isLoaded() const noexcept { return module_ != nullptr; }

  // The address of the exported symbol `name`. When the library is not
  // loaded: null if `optional`, else the OS exception "library not loaded"
  // (line 161). When the symbol is missing: null if `optional`, else the OS
  // exception (line 166).
  void* getSymbol(const char* name, bool optional);

  // The name as it was loaded, suffix included.
  const WideString& name() const noexcept { return name_; }

 private:
  // The platform's library suffix: ".so" or ".dll".
  static const WChar kFileSuffix[];

  WideString name_;
  void* module_ = nullptr;
  bool unloadOnDestruction_;
  bool alteredSearchPath_;
};

}  // namespace vesk::orlo::osdep
