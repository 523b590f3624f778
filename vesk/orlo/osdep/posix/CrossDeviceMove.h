// Moving a file between file systems, where rename cannot.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::posix {

// Copies the regular file `from` into a temporary file beside `to`, forces
// it to disk, renames it over `to` and then removes `from`. Until that
// rename the target is untouched; the temporary file is removed on failure.
// Throws PosixError (path, line 1241); a source that is not a regular file
// fails with EXDEV.
void moveAcrossDevices(const NarrowString& from, const NarrowString& to);

}  // namespace vesk::orlo::osdep::posix
