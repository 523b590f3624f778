// Matching of file names against the wildcard patterns of directory
// listings, with the rules of the system's listing on every platform:
//
//   "*"  matches any run of characters, the empty run included;
//   "?"  matches exactly one character;
//   a pattern that ends in ".*" also matches the names that lack that
//        ending, so "*.*" matches every name, dotted or not, and
//        "commitmark.*" matches "commitmark" as well as "commitmark.7";
//   every other character matches itself.
//
// Whether letters match regardless of case is the platform's choice: it
// follows whether the platform's file names are case-sensitive.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::common {

bool matchesWildcard(const WideString& pattern, const WideString& name, bool ignoreCase);

}  // namespace vesk::orlo::osdep::common
