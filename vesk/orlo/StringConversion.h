// Narrow <-> wide conversion of strings with an encoding name: "" is the
// system code page, "US-ASCII" and "cp932" name theirs, and any other name
// throws InvalidLocale. Every narrow name or value that the system turns into
// a wide one uses the empty name.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

WideString toWide(const NarrowString& text, const char* encodingName = "");
NarrowString toNarrow(const WideString& text, const char* encodingName = "");

}  // namespace vesk::orlo
