// How a bucket's names relate: full names are "/"-separated paths whose root
// is "/", and a bucket's short name, its parent and its children's names are
// all derived from its full name. Empty components ("//", a trailing "/") are
// skipped, so "/a//b/" has the components "a" and "b".
#pragma once

#include <cstdint>
#include <vector>

#include "vesk/orlo/StringBase.h"

namespace vesk::tarnhive {

// The separator of name components, and the full name of the root bucket.
inline constexpr orlo::WChar kNameSeparator = orlo::WChar('/');
inline constexpr orlo::WChar kRootName[] = {kNameSeparator, 0};

// A component of a name, as the unit range [begin, end).
struct NameComponent {
  std::uint32_t begin;
  std::uint32_t end;
};

// The components of `fullName`, empty ones skipped, in one pass over the
// name: every name derived from them costs time linear in its length.
std::vector<NameComponent> componentsOf(const orlo::WideString& fullName);

// The last component of `fullName`; empty for the root (or an empty name).
orlo::WideString shortNameOf(const orlo::WideString& fullName);

// "/" followed by every component but the last, joined by "/" (the parent of
// /a/b/c is /a/b). A name with one component, the root and the empty name
// all have the root as their parent.
orlo::WideString parentNameOf(const orlo::WideString& fullName);

// The full name of the child `childShortName` of the bucket `fullName`.
orlo::WideString childNameOf(const orlo::WideString& fullName,
                             const orlo::WideString& childShortName);

// True when `fullName` names the root, ignoring case.
bool isRootName(const orlo::WideString& fullName) noexcept;

}  // namespace vesk::tarnhive
