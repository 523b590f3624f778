// Wide paths as the system's wide calls take them. A complete path of
// MAX_PATH (260) units or more gets the long-path form ("\\?\C:\..." or
// "\\?\UNC\server\share\..."), in which the system takes no "/" and no
// relative part, so those are resolved first. Shorter and relative paths are
// passed as they stand. The narrow calls (MoveFileExA, DeleteFileA) have no
// long form: they fail on such paths, and the failure is reported.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::windows {

WideString widePathForSystem(const WideString& path);

}  // namespace vesk::orlo::osdep::windows
