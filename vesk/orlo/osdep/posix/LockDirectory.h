// The directory of the machine-wide lock and of the memory the registry's
// processes share: $VESK_TARNHIVE_LOCK_DIR when set, else /dev/shm when it
// is a directory, else /tmp. Every process of a machine must see the same.
#pragma once

#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep::posix {

WideString lockDirectory();

// Opens (creating it) the file `fileName` of the lock directory for reading
// and writing, readable and writable by everybody whatever the umask, and
// never through a link planted in the shared directory. Throws the OS
// exception with `site` on failure.
int openInLockDirectory(const WideString& fileName, ErrorSite site);

}  // namespace vesk::orlo::osdep::posix
