// The bytes of a stored bucket, decoded by the tool itself: its full name
// and its values, each value record read into a Value. Used where the tool
// reads "registry.bin" without the library (check, watch).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Value.h"

namespace vesk::tarnhive::tool {

struct BucketRecord {
  std::uint32_t version = 0;
  std::u16string fullName;
  NamedValues values;
};

// Decodes a bucket record that must take exactly `bytes`. Nothing, with
// the reason in `error`, when the bytes are not such a record.
std::optional<BucketRecord> decodeBucket(std::string_view bytes, std::string& error);

}  // namespace vesk::tarnhive::tool
