#include "vesk/orlo/osdep/MakeGUID.h"

#include <objbase.h>

#include <cstring>

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep {

// CoCreateGuid gives a random (version-4) GUID; its memory order is the
// record's order.
std::array<std::uint8_t, 16> MakeGUID() {
  GUID made{};
  if (FAILED(::CoCreateGuid(&made))) {
    exception::raise(exception::InitializationFailure(), kMAKEGUID.file, kMAKEGUID.line);
  }
  std::array<std::uint8_t, 16> guid{};
  static_assert(sizeof made == 16, "a GUID is sixteen bytes");
  std::memcpy(guid.data(), &made, guid.size());
  return guid;
}

}  // namespace vesk::orlo::osdep
