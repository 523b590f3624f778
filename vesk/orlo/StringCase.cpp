#include "vesk/orlo/StringCase.h"

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/CaseMapping.h"

namespace vesk::orlo {
namespace {

int compareLowered(const WChar* a, std::uint32_t na, const WChar* b, std::uint32_t nb) noexcept {
  const std::uint32_t n = na < nb ? na : nb;
  for (std::uint32_t i = 0; i < n; ++i) {
    if (a[i] == b[i]) continue;  // equal units lower alike
    const auto x = static_cast<std::uint16_t>(osdep::lowerUnit(a[i]));
    const auto y = static_cast<std::uint16_t>(osdep::lowerUnit(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  return na == nb ? 0 : (na < nb ? -1 : 1);
}

}  // namespace

int compareIgnoreCase(const WideString& a, const WideString& b) noexcept {
  return compareLowered(a.data(), a.length(), b.data(), b.length());
}

int compareIgnoreCase(const WideString& a, const WChar* b) noexcept {
  std::uint32_t nb = 0;
  if (b != nullptr) {
    while (b[nb] != 0) ++nb;
  }
  return compareLowered(a.data(), a.length(), b ? b : a.data(), nb);
}

int compareIgnoreCase(const NarrowString& a, const NarrowString& b) {
  return compareIgnoreCase(toWide(a), toWide(b));
}

int compareIgnoreCase(const NarrowString& a, const char* b) {
  return compareIgnoreCase(a, NarrowString(b));
}

void toLower(WideString& text) noexcept { osdep::lowerUnits(text.data(), text.length()); }

}  // namespace vesk::orlo
