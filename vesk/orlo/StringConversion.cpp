#include "vesk/orlo/StringConversion.h"

#include "vesk/orlo/osdep/CodePage.h"

namespace vesk::orlo {

WideString toWide(const NarrowString& text, const char* encodingName) {
  const std::uint32_t codePage = osdep::codePageOf(encodingName);
  return osdep::ansiToWide(codePage, text.data(), text.length());
}

NarrowString toNarrow(const WideString& text, const char* encodingName) {
  const std::uint32_t codePage = osdep::codePageOf(encodingName);
  return osdep::wideToAnsi(codePage, text.data(), text.length());
}

}  // namespace vesk::orlo
