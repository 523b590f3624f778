#include "store/RecordReader.h"

#include <algorithm>

#include "bucket/Bucket.h"
#include "store/FileImage.h"
#include "store/RegistryFormat.h"
#include "vesk/orlo/Exception.h"

namespace vesk::tarnhive::store {
namespace {

[[noreturn]] void damaged(std::uint32_t line) {
  orlo::exception::raise(orlo::exception::DeserializationError(),
                         "vesk/tarnhive/store/RecordReader", line);
}

}  // namespace

std::vector<std::uint8_t> readRecordBytes(orlo::osdep::BinaryFile& file, std::int64_t offset,
                                          std::int64_t validEnd) {
  if (offset < 0 || offset > validEnd) damaged(__LINE__);
  constexpr std::int64_t kFirstRead = 4096;
  FileImage image(file, offset, std::min(offset + kFirstRead, validEnd));
  const std::int64_t length = image.i64At(offset);
  if (length <= 0) return {};
  // A length beyond the file can only come from damage; do not try to
  // allocate it.
  if (length > validEnd) damaged(__LINE__);
  const std::int64_t first = offset + kRecordHeaderSize;
  if (image.bytesAt(first, length) == nullptr) image = FileImage(file, offset, first + length);
  const std::uint8_t* bytes = image.bytesAt(first, length);
  if (bytes == nullptr) damaged(__LINE__);
  return std::vector<std::uint8_t>(bytes, bytes + length);
}

orlo::RefPtr<IBucket> bucketOfRecord(const std::vector<std::uint8_t>& bytes) {
  if (bytes.empty()) return nullptr;
  orlo::RefPtr<Bucket> bucket(new Bucket());
  const std::uint8_t* cursor = bytes.data();
  bucket->deserialize(cursor, bytes.data() + bytes.size());
  return orlo::RefPtr<IBucket>(bucket.get());
}

}  // namespace vesk::tarnhive::store
