// Lower-casing through ICU's simple mapping, looked up in a table of all 2^16
// units that is built once on first use.
#include "vesk/orlo/osdep/CaseMapping.h"

#include <unicode/uchar.h>

#include <array>

namespace vesk::orlo::osdep {
namespace {

struct LowerTable {
  LowerTable() {
    for (std::uint32_t u = 0; u < table.size(); ++u) {
      const bool surrogate = u >= 0xD800 && u <= 0xDFFF;
      const UChar32 lowered = surrogate ? static_cast<UChar32>(u) : u_tolower(static_cast<UChar32>(u));
      // A unit whose lower case lies outside the basic plane keeps its value.
      table[u] = lowered <= 0xFFFF ? static_cast<WChar>(lowered) : static_cast<WChar>(u);
    }
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
