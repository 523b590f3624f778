// Fresh GUIDs, as the bucket manager hands them out for lock tokens.
#pragma once

#include <array>
#include <cstdint>

namespace vesk::orlo::osdep {

// Sixteen random bytes in the memory order of a GUID (the first three fields
// little-endian) with the version-4 and variant bits of a random UUID set:
// the high nibble of byte 7 is 4 and the two high bits of byte 8 are 10.
// Throws InitializationFailure (MakeGUID, line 31) when the system has no
// random bytes to give.
std::array<std::uint8_t, 16> MakeGUID();

}  // namespace vesk::orlo::osdep
