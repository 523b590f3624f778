// The registry object and the library's entry function.
//
// A client calls GetInterface(2, &status) and receives the one registry
// object of the process (version 1 gives the same object seen as ITarnhive).
// From it the client obtains the one bucket manager of the process.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/Export.h"
#include "vesk/tarnhive/IBucketManager.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class ITarnhive : public vesk::orlo::IRefCounted {
 public:
  // The same as createBucketManager(manager, directory, "", status): the
  // default configuration file.
  virtual void getBucketManager(IBucketManager** manager, const vesk::orlo::WideString& directory,
                                TarnhiveStatus* status) = 0;

 protected:
  ~ITarnhive() = default;
};

class ITarnhive2 : public ITarnhive {
 public:
  // Constructs the process's one bucket manager for `directory` (empty: the
  // default directory) with the options of `iniFile` (empty: the default
  // configuration file) and stores it, with one reference for the caller, in
  // *manager; null on failure. A process gets one manager for the life of the
  // library: a second request fails with kINTERNALERROR even after the first
  // manager was released. A manager whose construction failed is not kept, so
  // a later request may try again. Not to be called from two threads at once.
  virtual void createBucketManager(IBucketManager** manager,
                                   const vesk::orlo::WideString& directory,
                                   const vesk::orlo::WideString& iniFile,
                                   TarnhiveStatus* status) = 0;

 protected:
  ~ITarnhive2() = default;
};

}  // namespace vesk::tarnhive

// The library's entry function. For version 1 or 2 it returns the registry
// object and sets the code to 0 (or kNOREGISTRY and null when there is none);
// for any other version it returns null with kUNSUPPORTEDVERSION. Unlike every
// other operation it overwrites whatever code the record held. The returned
// pointer carries no reference of the caller's: do not release it.
extern "C" VESK_TARNHIVE_EXPORT vesk::tarnhive::ITarnhive2* GetInterface(
    std::uint32_t version, vesk::tarnhive::TarnhiveStatus* status);
