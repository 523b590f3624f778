// Error texts on Windows: FormatMessageA for Win32 numbers, the runtime's
// strerror for errno values.
#include "vesk/orlo/osdep/SystemErrorText.h"

#include <windows.h>

#include <cstring>

namespace vesk::orlo::osdep {

MessageText winErrorText(std::uint32_t winError) {
  char* text = nullptr;
  const DWORD n = ::FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, winError, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  if (n == 0 || text == nullptr) return MessageText();
  // The message ends in ".\r\n": cut at the line end, with the character
  // before it.
  std::size_t end = std::strcspn(text, "\r\n");
  if (end > 0) --end;
  text[end] = 0;
  MessageText message(text);
  ::LocalFree(text);
  return message;
}

MessageText posixErrorText(int error) { return MessageText(std::strerror(error)); }

}  // namespace vesk::orlo::osdep
