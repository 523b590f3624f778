// Appending one commit block to "registry.bin". The block is written in an
// order that makes it count only once it is whole: the file is first
// extended, then the header, the records, the index, the checksum, the block
// start and the marker are written, each write flushed to disk, and only then
// is the next commit mark written. A crash at any point leaves the old valid
// end in force, and the next open cuts the partial block off.
#pragma once

#include "bucket/BucketMaps.h"
#include "store/StoreState.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive::store {

// Writes `written` and deletes `deleted` as one block and brings the index up
// to date. A failure sets its code, cuts the file back to the valid end and
// leaves the index as it was. Compacts afterwards when the file has grown
// past its size limit. REQUIRES: the store is open and one of the two
// collections is not empty.
void commitBlock(StoreState& state, const BucketsByName& written, const NameSet& deleted,
                 TarnhiveStatus* status);

}  // namespace vesk::tarnhive::store
