// Fuzz target: the byte record of a bucket, as the store hands it over from
// a registry file. Whatever the bytes, a read either fails with the record
// layer's own exceptions, leaving the cursor where it was and a bucket that
// can still be used, or succeeds; a bucket that was read writes a record
// that reads back to the same bucket and the same bytes.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.h"
#include "bucket/Bucket.h"
#include "vesk/orlo/Exception.h"

using namespace vesk::tarnhive;
using namespace vesk::tarnhive::fuzz;
using vesk::orlo::RefPtr;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  RefPtr<Bucket> read(new Bucket());
  const std::uint8_t* cursor = data;
  try {
    read->deserialize(cursor, data + size);
  } catch (const vesk::orlo::exception::Exception&) {
    expect(cursor == data, "a failed read leaves the cursor where it was");
    readBucket(*read);
    return 0;
  }
  expect(cursor > data && cursor <= data + size, "a read consumes part of its bytes");
  expect(!read->isModified(), "a bucket that was read is unmodified");
  readBucket(*read);

  // Duplicate names, unset values and bool bytes are brought to one form by
  // the first read; from there on the record is a fixed point.
  const Bytes record = recordOf(*read);
  RefPtr<Bucket> again(new Bucket());
  readWhole(*again, record);
  expect(recordOf(*again) == record, "a record written reads back to the same bytes");
  expect(again->getNumValues() == read->getNumValues(), "a record written keeps every value");
  if (comparesEqualToItself(*read)) {
    expect(read->isEqual(again.get()), "a record written reads back to an equal bucket");
  }

  // The copy every manager read hands out.
  RefPtr<Bucket> copy(new Bucket(*read));
  readBucket(*copy);
  copy->toText();
  return 0;
}
