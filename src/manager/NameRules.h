// The bucket manager's rules for names. A bucket has one name in normal
// form: its "/"-separated parts, each preceded by "/" ("/" for the root).
// Every name a client hands in is brought to that form once, before it is
// stored, linked or looked up, so "/a/", "a" and "//a" name one bucket.
#pragma once

#include <cstdint>

#include <vector>

#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/IBucket.h"

namespace vesk::tarnhive {

// The longest full name, in UTF-16 units, that a bucket written through the
// manager may have. Writing a bucket costs time linear in its name and in
// the names of the parents it makes; the bound keeps a single write, made
// while the machine-wide lock is held, within a few milliseconds.
inline constexpr std::uint32_t kMaxBucketNameLength = 4096;

// The parts of `name` (empty parts skipped), each preceded by "/"; "/" when
// there are none.
orlo::WideString normalizedNameOf(const orlo::WideString& name);

// The normal form of the name of a bucket that is to be written, in
// `normal`. False for a name that no bucket may have: empty, or longer than
// kMaxBucketNameLength in normal form.
bool writableNameOf(const orlo::WideString& name, orlo::WideString& normal);

// The parent of a name in normal form ("/" for "/a" and for "/").
orlo::WideString parentOfNormal(const orlo::WideString& normal);

// The names of the child links of `bucket`, in value order: its kDIGEST
// values that are named by the full name of a direct child (in normal form,
// ignoring case) and hold that name's digest. Other kDIGEST values are the
// client's data, not links.
std::vector<orlo::WideString> childLinksOf(IBucket& bucket);

}  // namespace vesk::tarnhive
