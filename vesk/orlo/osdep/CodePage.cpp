// Encoding names of the system and their code pages.
#include "vesk/orlo/osdep/CodePage.h"

#include <cstring>

namespace vesk::orlo::osdep {
namespace {
constexpr char kSource[] = "vesk/orlo/osdep/_GetCodePageID";
}

std::uint32_t codePageOf(const char* encodingName) {
  if (encodingName == nullptr || *encodingName == 0) return kSystemCodePage;
  if (std::strcmp(encodingName, "US-ASCII") == 0) return kAsciiCodePage;
  if (std::strcmp(encodingName, "cp932") == 0) return kShiftJisCodePage;
  exception::raise(exception::InvalidLocale(), kSource, 58);
}

}  // namespace vesk::orlo::osdep
