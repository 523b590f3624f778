// Directory listing with wildcards. A pattern is a directory part and a name
// pattern ("dir/commitmark.*"); the name pattern follows the wildcard rules
// of common/Wildcard.h, and every result is the directory part followed by
// the name found.
#pragma once

#include <cstdint>
#include <vector>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

// Flags of FindFiles.
inline constexpr std::uint32_t kFIND_HIDDEN = 1;        // include hidden entries
inline constexpr std::uint32_t kFIND_DIRECTORIES = 2;   // only directories, each ending in a separator
inline constexpr std::uint32_t kFIND_LINK_TARGETS = 4;  // a symbolic link gives its target
inline constexpr std::uint32_t kFIND_DOT_ENTRIES = 8;   // keep "." and ".."

// The entries that match `pattern`, in the order the system delivers them.
// Hidden entries (on POSIX, names that begin with a dot) are left out
// without kFIND_HIDDEN, "." and ".." without kFIND_DOT_ENTRIES. A link
// target that is relative is given relative to the directory part.
//
// A missing directory gives an empty list when `ignoreMissing`, and
// otherwise throws the OS exception (FindFiles, line 105); so does a
// directory that exists but cannot be read, whatever `ignoreMissing` says.
std::vector<WideString> FindFiles(const WideString& pattern, std::uint32_t flags,
                                  bool ignoreMissing);

}  // namespace vesk::orlo::osdep
