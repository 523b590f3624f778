// Lower-casing through CharLowerBuffW, looked up in a table of all 2^16
// units that is built once on first use. Surrogate units are left out of the
// system call, so they stay as they are.
#include "vesk/orlo/osdep/CaseMapping.h"

#include <windows.h>

#include <array>

namespace vesk::orlo::osdep {
namespace {

constexpr std::uint32_t kSurrogateFirst = 0xD800;
constexpr std::uint32_t kSurrogateEnd = 0xE000;

struct LowerTable {
  LowerTable() {
    for (std::uint32_t u = 0; u < table.size(); ++u) table[u] = static_cast<WChar>(u);
    ::CharLowerBuffW(table.data(), kSurrogateFirst);
    ::CharLowerBuffW(table.data() + kSurrogateEnd, static_cast<DWORD>(table.size() - kSurrogateEnd));
  }
  std::array<WChar, 0x10000> table;
};

const LowerTable& lowerTable() {
  static const LowerTable instance;
  return instance;
}

}  // namespace

WChar lowerUnit(WChar unit) noexcept {
  return lowerTable().table[static_cast<std::uint16_t>(unit)];
}

void lowerUnits(WChar* units, std::uint32_t count) noexcept {
  const auto& table = lowerTable().table;
  for (std::uint32_t i = 0; i < count; ++i) units[i] = table[static_cast<std::uint16_t>(units[i])];
}

}  // namespace vesk::orlo::osdep
