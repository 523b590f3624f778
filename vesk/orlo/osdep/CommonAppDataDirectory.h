// The machine-wide directory for application data that the registry's
// default directory and configuration file live under.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

// The configured directory when there is one (on POSIX the environment
// variable VESKPUBAPPDATADIR, taken as it stands when set and not empty);
// else the system's common application-data folder joined with "Tovanex"
// (on POSIX "/var/lib/Tovanex" when "/var/lib" is a directory); else a
// "Tovanex Common App Data" directory in the temporary directory ($TMPDIR or
// "/tmp"). The directory need not exist.
WideString GetCommonAppDataDirectory();

}  // namespace vesk::orlo::osdep
