// The 29 kinds of value a bucket can hold. The numbers are the ones stored in
// the registry file and must never change. The scalar kinds (kBOOL..kFLOAT64)
// and the array kinds (kBOOLARRAY..kFLOAT64ARRAY) run in the same order, and
// the narrow string kind comes before the wide one in both ranges.
#pragma once

#include <cstdint>

namespace vesk::tarnhive {

enum BucketValueType : std::uint32_t {
  kNOTSET = 0,      // no value
  kDIGEST = 1,      // a Digest
  kANSISTRING = 2,  // a narrow string (system code page)
  kSTRING = 3,      // a wide string (UTF-16)
  kBLOB = 4,        // bytes and their count
  kBOOL = 5,        // one byte, 0 or non-zero
  kINT8 = 6,
  kUINT8 = 7,
  kINT16 = 8,
  kUINT16 = 9,
  kINT32 = 10,
  kUINT32 = 11,
  kINT64 = 12,
  kUINT64 = 13,
  kFLOAT32 = 14,  // IEEE 754 single
  kFLOAT64 = 15,  // IEEE 754 double
  kANSISTRINGARRAY = 16,
  kSTRINGARRAY = 17,
  kBOOLARRAY = 18,
  kINT8ARRAY = 19,
  kUINT8ARRAY = 20,
  kINT16ARRAY = 21,
  kUINT16ARRAY = 22,
  kINT32ARRAY = 23,
  kUINT32ARRAY = 24,
  kINT64ARRAY = 25,
  kUINT64ARRAY = 26,
  kFLOAT32ARRAY = 27,
  kFLOAT64ARRAY = 28,
};

}  // namespace vesk::tarnhive
