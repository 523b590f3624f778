// The lower-case table from CharLowerBuffW. Surrogate units are left out of
// the system call, so they stay as they are.
#include <windows.h>

#include "vesk/orlo/osdep/common/LowerCaseTable.h"

namespace vesk::orlo::osdep::common {

void fillLowerCaseTable(WChar* table) noexcept {
  constexpr std::uint32_t kSurrogateFirst = 0xD800;
  constexpr std::uint32_t kSurrogateEnd = 0xE000;
  for (std::uint32_t u = 0; u < kUnitCount; ++u) table[u] = static_cast<WChar>(u);
  ::CharLowerBuffW(table, kSurrogateFirst);
  ::CharLowerBuffW(table + kSurrogateEnd, kUnitCount - kSurrogateEnd);
}

}  // namespace vesk::orlo::osdep::common
