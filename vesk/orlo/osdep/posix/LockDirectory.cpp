#include "vesk/orlo/osdep/posix/LockDirectory.h"

#include <cstdlib>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::orlo::osdep::posix {

WideString lockDirectory() {
  const char* configured = std::getenv("VESK_TARNHIVE_LOCK_DIR");
  if (configured != nullptr && configured[0] != 0) return toWide(NarrowString(configured));
  if (path::isDirectory(u"/dev/shm")) return u"/dev/shm";
  return u"/tmp";
}

}  // namespace vesk::orlo::osdep::posix
