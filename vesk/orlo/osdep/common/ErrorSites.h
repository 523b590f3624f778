// The source locations that the operating-system layer's exceptions carry.
// A location belongs to the operation, not to the platform file that
// implements it, so every platform raises the same file and line for the same
// failure, and callers and tests may rely on them.
#pragma once

#include <cstdint>

namespace vesk::orlo::osdep {

// Where an exception is raised: a static "vesk/orlo/..." path and a line.
struct ErrorSite {
  const char* file;
  std::uint32_t line;
};

inline constexpr char kBinaryFileSource[] = "vesk/orlo/osdep/BinaryFile";
inline constexpr char kTextFileSource[] = "vesk/orlo/osdep/TextFile";
inline constexpr char kGetFileSizeSource[] = "vesk/orlo/osdep/GetFileSize";
inline constexpr char kPathSource[] = "vesk/orlo/osdep/path";
inline constexpr char kFindFilesSource[] = "vesk/orlo/osdep/FindFiles";
inline constexpr char kMutexSource[] = "vesk/orlo/osdep/Mutex";
inline constexpr char kSharedLibrarySource[] = "vesk/orlo/osdep/SharedLibrary";
inline constexpr char kMakeGuidSource[] = "vesk/orlo/osdep/MakeGUID";
inline constexpr char kSharedSequenceSource[] = "vesk/orlo/osdep/SharedSequence";

inline constexpr ErrorSite kBINARYFILE_OPEN{kBinaryFileSource, 239};
inline constexpr ErrorSite kBINARYFILE_READ_RANGE{kBinaryFileSource, 302};
inline constexpr ErrorSite kBINARYFILE_WRITE_RANGE{kBinaryFileSource, 331};
inline constexpr ErrorSite kBINARYFILE_FLUSH{kBinaryFileSource, 444};
inline constexpr ErrorSite kBINARYFILE_SETSIZE{kBinaryFileSource, 467};

inline constexpr ErrorSite kTEXTFILE_OPEN{kTextFileSource, 120};
inline constexpr ErrorSite kTEXTFILE_READLINE{kTextFileSource, 187};
inline constexpr ErrorSite kTEXTFILE_SYNC{kTextFileSource, 144};

inline constexpr ErrorSite kGETFILESIZE{kGetFileSizeSource, 31};

inline constexpr ErrorSite kPATH_EXISTS_INVALID{kPathSource, 980};
inline constexpr ErrorSite kPATH_DELETE_INVALID{kPathSource, 1038};
inline constexpr ErrorSite kPATH_DELETE{kPathSource, 1063};
inline constexpr ErrorSite kPATH_CREATE_DIRECTORY{kPathSource, 1124};
inline constexpr ErrorSite kPATH_RENAME_INVALID{kPathSource, 1226};
inline constexpr ErrorSite kPATH_RENAME{kPathSource, 1241};
inline constexpr ErrorSite kPATH_SYNC_DIRECTORY{kPathSource, 1280};

inline constexpr ErrorSite kFINDFILES{kFindFilesSource, 105};

inline constexpr ErrorSite kMUTEX_CREATE{kMutexSource, 42};
inline constexpr ErrorSite kMUTEX_LOCK{kMutexSource, 55};
inline constexpr ErrorSite kMUTEX_TRYLOCK{kMutexSource, 69};

inline constexpr ErrorSite kSHAREDLIBRARY_NO_NAME{kSharedLibrarySource, 581};
inline constexpr ErrorSite kSHAREDLIBRARY_NOT_LOADED{kSharedLibrarySource, 161};
inline constexpr ErrorSite kSHAREDLIBRARY_NO_SYMBOL{kSharedLibrarySource, 166};

inline constexpr ErrorSite kMAKEGUID{kMakeGuidSource, 31};

inline constexpr ErrorSite kSHAREDSEQUENCE_OPEN{kSharedSequenceSource, 40};

}  // namespace vesk::orlo::osdep
