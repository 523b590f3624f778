// The registry object: the one ITarnhive3 of the process, made when the
// library is loaded and released by an exit handler when it is unloaded. It
// holds a reference to the process's one bucket manager once one was made.
#pragma once

#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/tarnhive/ITarnhive.h"

namespace vesk::tarnhive::publicInterface {

class TarnhiveImpl
    : public orlo::RefCountedImplementation<ITarnhive3, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  TarnhiveImpl() = default;
  ~TarnhiveImpl() override;
  TarnhiveImpl(const TarnhiveImpl&) = delete;
  TarnhiveImpl& operator=(const TarnhiveImpl&) = delete;

  void getBucketManager(IBucketManager** manager, const orlo::WideString& directory,
                        TarnhiveStatus* status) override;
  void createBucketManager(IBucketManager** manager, const orlo::WideString& directory,
                           const orlo::WideString& iniFile, TarnhiveStatus* status) override;
  void openChangeFeed(IChangeFeed** feed, TarnhiveStatus* status) override;
  void compactRegistry(const Guid& token, TarnhiveStatus* status) override;

 private:
  IBucketManager* manager_ = nullptr;
};

// The process-wide registry object, or null before load and after unload.
TarnhiveImpl* registryObject() noexcept;

}  // namespace vesk::tarnhive::publicInterface
