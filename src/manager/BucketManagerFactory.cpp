#include "manager/BucketManagerFactory.h"

#include <cerrno>
#include <new>

#include "status/StatusGuard.h"
#include "manager/BucketManager.h"

namespace vesk::tarnhive {

IBucketManager* newBucketManager(const orlo::WideString& directory,
                                 const orlo::WideString& iniFile, TarnhiveStatus* status) noexcept {
  // Building the manager opens the machine-wide lock, which may fail before
  // the manager can report through `status` itself.
  return guardedCall(status, static_cast<IBucketManager*>(nullptr), [&]() -> IBucketManager* {
    BucketManager* manager = new (std::nothrow) BucketManager(directory, iniFile, status);
    if (manager == nullptr) errno = ENOMEM;
    return manager;
  });
}

}  // namespace vesk::tarnhive
