// Error texts on POSIX: strerror for errno values; Win32 numbers have no text.
#include "vesk/orlo/osdep/SystemErrorText.h"

#include <string.h>

namespace vesk::orlo::osdep {

MessageText winErrorText(std::uint32_t) { return MessageText(); }

MessageText posixErrorText(int error) {
  char buffer[256];
  // The GNU variant may return a static string instead of filling the buffer.
  const char* text = ::strerror_r(error, buffer, sizeof buffer);
  return MessageText(text);
}

}  // namespace vesk::orlo::osdep
