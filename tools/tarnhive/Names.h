// Bucket names as the tool handles them: "/"-separated full names held as
// UTF-16 units, compared ignoring case as the registry compares them.
#pragma once

#include <string>
#include <string_view>

namespace vesk::tarnhive::tool {

// A path from the command line (UTF-8) as a full name: empty parts are
// dropped and the result starts with "/" ("a//b/" gives "/a/b", "" gives
// "/"). Fails (usage) on text that is not UTF-8.
std::u16string normalizePath(std::string_view path);

// The same for a name held as units.
std::u16string normalizeName(std::u16string_view name);

// A value name from the command line (UTF-8); fails (usage) otherwise.
std::u16string valueNameOf(std::string_view name);

// The parent's full name ("/" for "/a" and for "/").
std::u16string parentOf(const std::u16string& fullName);

// True when the two names denote one bucket (or one value): equal ignoring
// case, as the registry's digests compare them.
bool sameName(const std::u16string& a, const std::u16string& b);

// True when `name` is `root` or lies below it.
bool isAtOrBelow(const std::u16string& name, const std::u16string& root);

// The name as UTF-8 for messages and listings.
std::string displayName(const std::u16string& name);

}  // namespace vesk::tarnhive::tool
