// Lower-casing looked up in a table of all 2^16 units that the platform fills
// once, on first use.
#include "vesk/orlo/osdep/CaseMapping.h"

#include <array>

#include "vesk/orlo/osdep/common/LowerCaseTable.h"

namespace vesk::orlo::osdep {
namespace {

struct LowerTable {
  LowerTable() { common::fillLowerCaseTable(table.data()); }
  std::array<WChar, common::kUnitCount> table;
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
