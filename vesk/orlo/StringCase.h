// Case-insensitive comparison and lower-casing of strings. Wide strings are
// compared unit by unit after each unit is lowered with the platform's case
// mapping, so two names compare equal ignoring case exactly when their
// digests are equal; the order is that of the lowered units. Narrow strings
// compare through their wide conversion in the system code page.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

// -1, 0 or +1. A null array is the empty string.
int compareIgnoreCase(const WideString& a, const WideString& b) noexcept;
int compareIgnoreCase(const WideString& a, const WChar* b) noexcept;
int compareIgnoreCase(const NarrowString& a, const NarrowString& b);
int compareIgnoreCase(const NarrowString& a, const char* b);

inline bool equalsIgnoreCase(const WideString& a, const WideString& b) noexcept {
  return a.length() == b.length() && compareIgnoreCase(a, b) == 0;
}

// Lowers every unit of `text` in place.
void toLower(WideString& text) noexcept;

// Orders wide strings ignoring case, for maps and sets keyed by names.
struct IgnoreCaseLess {
  bool operator()(const WideString& a, const WideString& b) const noexcept {
    return compareIgnoreCase(a, b) < 0;
  }
};

}  // namespace vesk::orlo
