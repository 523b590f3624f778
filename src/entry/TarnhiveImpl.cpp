#include "entry/TarnhiveImpl.h"

#include <cerrno>
#include <cstdlib>

#include "status/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/BucketManagerFactory.h"
#include "manager/ChangeFeed.h"

namespace vesk::tarnhive::publicInterface {
namespace {

TarnhiveImpl* gRegistry = nullptr;

void releaseRegistryObject() {
  TarnhiveImpl* registry = gRegistry;
  gRegistry = nullptr;
  if (registry != nullptr) registry->release();
}

// Builds the registry object while the library's static objects are made. An
// allocation failure here throws and fails the load.
struct RegistryBootstrap {
  RegistryBootstrap() {
    gRegistry = new TarnhiveImpl();
    gRegistry->addRef();
    std::atexit(releaseRegistryObject);
  }
};

const RegistryBootstrap gBootstrap;

}  // namespace

TarnhiveImpl* registryObject() noexcept { return gRegistry; }

TarnhiveImpl::~TarnhiveImpl() {
  if (manager_ != nullptr) manager_->release();
}

void TarnhiveImpl::getBucketManager(IBucketManager** manager, const orlo::WideString& directory,
                                    TarnhiveStatus* status) {
  createBucketManager(manager, directory, orlo::WideString(), status);
}

void TarnhiveImpl::createBucketManager(IBucketManager** manager,
                                       const orlo::WideString& directory,
                                       const orlo::WideString& iniFile, TarnhiveStatus* status) {
  if (manager != nullptr) *manager = nullptr;
  if (failed(status)) return;
  if (manager_ != nullptr) {
    setStatus(status, kINTERNALERROR);
    return;
  }
  IBucketManager* made = newBucketManager(directory, iniFile, status);
  if (made != nullptr) {
    manager_ = made;
    manager_->addRef();
    if (failed(status)) {
      manager_ = nullptr;
      made->release();
    }
  } else if (!failed(status)) {
    setStatus(status, kOUTOFMEMORY);
  }
  if (manager_ != nullptr) {
    manager_->addRef();
    if (manager != nullptr) {
      *manager = manager_;
    } else {
      manager_->release();  // nowhere to hand the caller's reference
    }
  }
}

void TarnhiveImpl::openChangeFeed(IChangeFeed** feed, TarnhiveStatus* status) {
  if (feed != nullptr) *feed = nullptr;
  if (failed(status)) return;
  if (feed == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return;
  }
  if (manager_ == nullptr) {
    setStatus(status, kSTOREMISSING);
    return;
  }
  guardedRun(status, [&] {
    orlo::RefPtr<ChangeFeed> made(new ChangeFeed(*static_cast<BucketManager*>(manager_)));
    *feed = made.detach();
  });
}

void TarnhiveImpl::compactRegistry(const Guid& token, TarnhiveStatus* status) {
  if (failed(status)) return;
  if (manager_ == nullptr) {
    setStatus(status, kSTOREMISSING);
    return;
  }
  static_cast<BucketManager*>(manager_)->compactRegistry(token, status);
}

}  // namespace vesk::tarnhive::publicInterface
