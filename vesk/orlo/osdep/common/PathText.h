// The text rules of paths that every platform shares; each platform passes
// its own separator and its own test for a complete path.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::common {

// `directory` followed by `name`. A complete name is returned as it stands;
// an empty directory gives the name; otherwise one separator goes between
// them, and a separator that already ends the directory is not doubled.
WideString joinPath(const WideString& directory, const WideString& name, WChar separator,
                    bool nameIsComplete);

// The position just past the last separator, or 0 when there is none.
std::uint32_t nameStart(const WideString& path, WChar separator) noexcept;

// The text after the last separator (the whole path when there is none).
WideString lastComponent(const WideString& path, WChar separator);

// The directory part of `path` including its final separator ("" when the
// path has no separator), which prefixes every result of a listing.
WideString directoryPart(const WideString& path, WChar separator);

}  // namespace vesk::orlo::osdep::common
