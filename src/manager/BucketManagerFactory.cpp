#include "manager/BucketManagerFactory.h"

#include "entry/StatusGuard.h"

namespace vesk::tarnhive {

// The bucket manager is not built yet: every request reports an internal
// error and yields no manager.
IBucketManager* newBucketManager(const orlo::WideString&, const orlo::WideString&,
                                 TarnhiveStatus* status) noexcept {
  setStatus(status, kINTERNALERROR);
  return nullptr;
}

}  // namespace vesk::tarnhive
