// The platform's text for an error number, one implementation per platform.
#pragma once

#include <cstdint>

#include "vesk/orlo/MessageText.h"

namespace vesk::orlo::osdep {

// The system message for a Win32 error number, cut before its line end
// together with the character that precedes it; empty where the platform has
// no such messages.
MessageText winErrorText(std::uint32_t winError);

// The C library's text for an errno value.
MessageText posixErrorText(int error);

}  // namespace vesk::orlo::osdep
