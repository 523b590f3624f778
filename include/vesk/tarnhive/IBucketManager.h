// IBucketManager: the interface through which a client takes the process
// lock, opens and commits updates, and reads, writes and deletes buckets.
// Its slot order is part of the library's binary interface.
#pragma once

#include "vesk/orlo/RefCounted.h"

namespace vesk::tarnhive {

class IBucketManager : public vesk::orlo::IRefCounted {
 protected:
  ~IBucketManager() = default;
};

}  // namespace vesk::tarnhive
