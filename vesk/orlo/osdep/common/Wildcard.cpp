#include "vesk/orlo/osdep/common/Wildcard.h"

#include "vesk/orlo/osdep/CaseMapping.h"

namespace vesk::orlo::osdep::common {
namespace {

struct Units {
  const WChar* data;
  std::uint32_t length;
};

bool sameUnit(WChar a, WChar b, bool ignoreCase) noexcept {
  return a == b || (ignoreCase && lowerUnit(a) == lowerUnit(b));
}

// Classic glob matching with one backtrack point: when a later character
// fails, the most recent "*" absorbs one more character of the name. This is
// linear in practice and never recursive, whatever the pattern.
bool matchUnits(Units pattern, Units name, bool ignoreCase) noexcept {
  std::uint32_t p = 0, n = 0;
  std::uint32_t starP = 0, starN = 0;
  bool haveStar = false;
  while (n < name.length) {
    if (p < pattern.length && pattern.data[p] == u'*') {
      haveStar = true;
      starP = ++p;
      starN = n;
    } else if (p < pattern.length &&
               (pattern.data[p] == u'?' || sameUnit(pattern.data[p], name.data[n], ignoreCase))) {
      ++p;
      ++n;
    } else if (haveStar) {
      p = starP;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (p < pattern.length && pattern.data[p] == u'*') ++p;
  return p == pattern.length;
}

}  // namespace

bool matchesWildcard(const WideString& pattern, const WideString& name, bool ignoreCase) {
  const Units whole{pattern.data(), pattern.length()};
  const Units units{name.data(), name.length()};
  if (matchUnits(whole, units, ignoreCase)) return true;
  // The optional ".*" ending: try again without it.
  const std::uint32_t n = whole.length;
  if (n >= 2 && whole.data[n - 2] == u'.' && whole.data[n - 1] == u'*') {
    return matchUnits(Units{whole.data, n - 2}, units, ignoreCase);
  }
  return false;
}

}  // namespace vesk::orlo::osdep::common
