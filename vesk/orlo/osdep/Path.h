// Paths and the file-system operations on them that the registry needs:
// joining and splitting, existence tests, deletion, renaming and directory
// creation. Paths are wide strings; the platform's separator is kSEPARATOR
// ("/" on POSIX, "\" on Windows). A path is valid when it is not empty and
// holds no 0 unit.
//
// Failures throw the operating-system exception of the platform with the
// locations stated per operation ("vesk/orlo/osdep/path"); invalid paths
// throw InvalidArgument.
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::path {

#if defined(_WIN32)
inline constexpr WChar kSEPARATOR = u'\\';
#else
inline constexpr WChar kSEPARATOR = u'/';
#endif

// `directory` and `name` joined by one separator. A complete (absolute) name
// is returned as it stands, an empty directory gives the name, and a
// separator that ends the directory is not doubled.
WideString join(const WideString& directory, const WideString& name);

// The text after the last separator.
WideString fileName(const WideString& path);

// True only for an existing entry that is not a directory; a symbolic link
// is followed. An invalid path throws InvalidArgument (line 980).
bool exists(const WideString& path);

// True when anything but a directory is at `path`, a symbolic link included
// (dangling or not); the link is not followed. Never throws.
bool entryExists(const WideString& path) noexcept;
// The permission bits of the file at `path` (a link is followed), for a
// file that is to replace it; 0 when they cannot be read or the platform
// has none to give. Never throws.
std::uint32_t permissionsOf(const WideString& path) noexcept;
// True for an existing directory (a symbolic link is followed).
bool isDirectory(const WideString& path);

// The complete name of an existing `path`, with links resolved where the
// platform has them, so that two names of one directory give the same
// text; `path` as it stands when that cannot be had. Never throws.
WideString canonical(const WideString& path) noexcept;

// Deletes the file at `path`; a symbolic link is removed as a link. A
// missing file is a failure. Failures throw InvalidArgument (invalid path,
// line 1038) or the OS exception (line 1063), unless `ignoreErrors`, which
// makes them return false instead. True when the file was deleted.
bool deleteFile(const WideString& path, bool ignoreErrors = false);

// Moves `from` to `to`, replacing an existing file at `to`; equal paths do
// nothing. Across file systems the file is copied, forced to disk, put in
// place and only then removed at `from`, so a failure on the way leaves the
// target as it was. Throws InvalidArgument (line 1226) for an invalid path,
// the OS exception (line 1241) for a failed move.
void rename(const WideString& from, const WideString& to);

// Forces the entries of the directory `path` (files made, renamed or
// deleted in it) to disk. Throws the OS exception (line 1280) on failure;
// a platform without the call does nothing.
void syncDirectory(const WideString& path);
// Creates the directory `path` and every missing parent, each forced into
// its parent directory (where the platform can); an existing directory is
// left alone. Throws the OS exception (line 1124) when a
// directory cannot be made or a part of the path is a file.
void createDirectories(const WideString& path);

}  // namespace vesk::orlo::osdep::path
