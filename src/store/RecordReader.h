// Reading one bucket record of "registry.bin": its length field and its
// bytes, checked against the valid end, and the bucket they hold.
#pragma once

#include <cstdint>
#include <vector>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/tarnhive/IBucket.h"

namespace vesk::tarnhive::store {

// The serialized bucket of the record at `offset`: empty for a record of
// length 0 or less (an absent bucket). An offset or length that cannot lie
// below `validEnd` is damage and throws DeserializationError. The record
// is read with one read of a size that holds most buckets, and a second
// one only for a larger bucket.
std::vector<std::uint8_t> readRecordBytes(orlo::osdep::BinaryFile& file, std::int64_t offset,
                                          std::int64_t validEnd);

// The bucket that serialized bytes hold; null for no bytes.
orlo::RefPtr<IBucket> bucketOfRecord(const std::vector<std::uint8_t>& bytes);

}  // namespace vesk::tarnhive::store
