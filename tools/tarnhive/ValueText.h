// The text forms of values: what `get` prints, the one-line form of
// `ls -l`, and the reading of values given on the command line. Numbers
// print exactly (floats in their shortest form that reads back to the same
// bits); NaN, the infinities and -0 have names of their own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Value.h"

namespace vesk::tarnhive::tool {

// One element of a bool, integer or float kind as text: "true", "-5",
// "1.25", "-0", "NaN", "Infinity", "-Infinity"; a NaN other than the usual
// quiet one carries its bits ("NaN:0xfff8000000000000").
std::string numberText(const TypeInfo& type, std::uint64_t bits);
// Reads such a text as an element of `type`. Fails (usage) on text that is
// not a number of the kind or is out of its range.
std::uint64_t parseNumber(const TypeInfo& type, std::string_view text);

// Element `index` as `get` prints it: strings as their text, binary and
// digests as hexadecimal.
std::string elementText(const Value& value, std::size_t index);
// The value on one line, as `ls -l` prints it: strings quoted, arrays in
// brackets.
std::string displayText(const Value& value);

// A value of `type` from command-line words: one word for a scalar kind;
// for an array kind one word per element, or a single JSON array. Binary
// takes hexadecimal or "base64:..." (also "hex:..."), a digest its 64
// hexadecimal digits. Fails (usage) with a message naming the bad word.
Value parseArguments(const TypeInfo& type, const std::vector<std::string>& words);

}  // namespace vesk::tarnhive::tool
