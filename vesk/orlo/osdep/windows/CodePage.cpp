// Code-page conversion through MultiByteToWideChar and WideCharToMultiByte
// with flags 0: the length is measured first, then the text converted. Code
// page 0 is the system's ANSI code page.
#include "vesk/orlo/osdep/CodePage.h"

#include <windows.h>

#include <climits>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep {
namespace {

constexpr char kAnsiToWideSource[] = "vesk/orlo/osdep/AnsiToWide";
constexpr char kWideToAnsiSource[] = "vesk/orlo/osdep/WideToAnsi";

[[noreturn]] void conversionFailed(const char* source, std::uint32_t line) {
  const DWORD error = ::GetLastError();
  exception::raise(WinError(error), source, line);
}

void checkLength(std::uint32_t count, const char* source) {
  if (count > INT_MAX) exception::raise(exception::OutOfRange(), source, 0);
}

void checkMeasuredLength(int measured, const char* source) {
  if (static_cast<std::uint64_t>(measured) + 1 > 0x7FFFFFFFu) {
    exception::raise(exception::OutOfRange(), source, 0);
  }
}

}  // namespace

WideString ansiToWide(std::uint32_t codePage, const char* text, std::uint32_t count) {
  if (count == 0) return WideString();
  checkLength(count, kAnsiToWideSource);
  const int length = static_cast<int>(count);
  const int measured = ::MultiByteToWideChar(codePage, 0, text, length, nullptr, 0);
  if (measured == 0) conversionFailed(kAnsiToWideSource, 136);
  checkMeasuredLength(measured, kAnsiToWideSource);
  WideString out;
  out.resize(static_cast<std::uint32_t>(measured));
  if (::MultiByteToWideChar(codePage, 0, text, length, out.data(), measured) == 0) {
    conversionFailed(kAnsiToWideSource, 167);
  }
  return out;
}

NarrowString wideToAnsi(std::uint32_t codePage, const WChar* text, std::uint32_t count) {
  if (count == 0) return NarrowString();
  checkLength(count, kWideToAnsiSource);
  const int length = static_cast<int>(count);
  const int measured =
      ::WideCharToMultiByte(codePage, 0, text, length, nullptr, 0, nullptr, nullptr);
  if (measured == 0) conversionFailed(kWideToAnsiSource, 141);
  checkMeasuredLength(measured, kWideToAnsiSource);
  NarrowString out;
  out.resize(static_cast<std::uint32_t>(measured));
  if (::WideCharToMultiByte(codePage, 0, text, length, out.data(), measured, nullptr, nullptr) ==
      0) {
    conversionFailed(kWideToAnsiSource, 168);
  }
  return out;
}

}  // namespace vesk::orlo::osdep
