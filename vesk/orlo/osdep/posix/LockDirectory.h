// The directory of the machine-wide lock and of the memory the registry's
// processes share: $VESK_TARNHIVE_LOCK_DIR when set, else /dev/shm when it
// is a directory, else /tmp. Every process of a machine must see the same.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::posix {

WideString lockDirectory();

}  // namespace vesk::orlo::osdep::posix
