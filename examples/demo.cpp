// The library's main job as a client sees it: obtain the registry object
// through the exported entry function and report what each interface version
// gives.
#include <cstdio>

#include "vesk/tarnhive/Tarnhive.h"

using vesk::tarnhive::TarnhiveStatus;

int main() {
  int failures = 0;
  for (std::uint32_t version = 0; version <= 3; ++version) {
    TarnhiveStatus status;
    vesk::tarnhive::ITarnhive2* registry = GetInterface(version, &status);
    std::printf("GetInterface(%u): %s, status code %d (0x%08X)\n", version,
                registry ? "registry object" : "null", status.code,
                static_cast<unsigned>(status.code));
    const bool supported = version == 1 || version == 2;
    if (supported != (registry != nullptr)) ++failures;
  }
  return failures == 0 ? 0 : 1;
}
