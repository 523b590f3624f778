// The size of a file, as the store reads it for "registry.bin".
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

// The size in bytes of the file at `path` (a symbolic link is followed).
// Throws PosixError (GetFileSize, line 31) when the file cannot be examined,
// and with EOVERFLOW when its size does not fit in 31 bits.
std::int32_t GetFileSize(const WideString& path);

}  // namespace vesk::orlo::osdep
