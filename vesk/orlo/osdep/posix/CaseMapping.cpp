// The lower-case table from ICU's simple mapping.
#include <unicode/uchar.h>

#include "vesk/orlo/osdep/common/LowerCaseTable.h"

namespace vesk::orlo::osdep::common {

void fillLowerCaseTable(WChar* table) noexcept {
  for (std::uint32_t u = 0; u < kUnitCount; ++u) {
    const bool surrogate = u >= 0xD800 && u <= 0xDFFF;
    const UChar32 lowered = surrogate ? static_cast<UChar32>(u) : u_tolower(static_cast<UChar32>(u));
    // A unit whose lower case lies outside the basic plane keeps its value.
    table[u] = lowered <= 0xFFFF ? static_cast<WChar>(lowered) : static_cast<WChar>(u);
  }
}

}  // namespace vesk::orlo::osdep::common
