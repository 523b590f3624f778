// Fuzz target: the byte record of one value. A read either fails with the
// record layer's exceptions, leaving the cursor where it was and a value
// whose every getter still answers (a kind without its payload reads as
// kNODATA), or succeeds; a value that was read writes a record that reads
// back to the same bytes and an equal value, and so does its copy.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.h"
#include "bucket/BucketValue.h"
#include "vesk/orlo/Exception.h"

using namespace vesk::tarnhive;
using namespace vesk::tarnhive::fuzz;
using vesk::orlo::RefPtr;
namespace exception = vesk::orlo::exception;

namespace {

// A value left by a failed read writes its record, or refuses because its
// payload is missing; it never writes past the size it announced.
void writeAfterFailure(BucketValue& value) {
  try {
    recordOf(value);
  } catch (const exception::InvalidOperation&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  RefPtr<BucketValue> read(new BucketValue());
  const std::uint8_t* cursor = data;
  try {
    read->deserialize(cursor, data + size);
  } catch (const exception::Exception&) {
    expect(cursor == data, "a failed read leaves the cursor where it was");
    readValue(*read);
    writeAfterFailure(*read);
    return 0;
  }
  expect(cursor > data && cursor <= data + size, "a read consumes part of its bytes");
  readValue(*read);

  const Bytes record = recordOf(*read);
  RefPtr<BucketValue> again(new BucketValue());
  readWhole(*again, record);
  expect(recordOf(*again) == record, "a record written reads back to the same bytes");
  IBucketValue* first = read.get();
  IBucketValue* second = again.get();
  if (read->isEqual(first, first)) {
    expect(read->isEqual(first, second), "a record written reads back to an equal value");
  }

  TarnhiveStatus status;
  RefPtr<BucketValue> copy(new BucketValue(*read, &status));
  if (status.code == 0 && read->getType() <= kFLOAT64ARRAY) {
    expect(recordOf(*copy) == record, "a copy writes the same record");
  }
  return 0;
}
