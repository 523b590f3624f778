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
#include "vesk/tarnhive/Guid.h"
#include "vesk/tarnhive/IBucketManager.h"
#include "vesk/tarnhive/IChangeFeed.h"
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

// Version 3 of the registry object (GetInterface(3)): the same object, with
// operations that come after version 2. Existing slots keep their places;
// the new ones follow them.
class ITarnhive3 : public ITarnhive2 {
 public:
  // A new change feed (one reference for the caller) of the process's
  // bucket manager; kSTOREMISSING when the process has none.
  virtual void openChangeFeed(IChangeFeed** feed, TarnhiveStatus* status) = 0;
  // Compacts the registry file now: its live buckets are copied into a new
  // file of one block, which replaces it. Needs the lock token of the
  // process's bucket manager (kNOTLOCKOWNER otherwise); kSTOREMISSING when
  // the process has no manager. The registry also compacts by itself when
  // half of the file is dead or it passes "DiskMaxRegistryFileSizeKB".
  virtual void compactRegistry(const Guid& token, TarnhiveStatus* status) = 0;

 protected:
  ~ITarnhive3() = default;
};

}  // namespace vesk::tarnhive

// The library's entry function. For version 1, 2 or 3 it returns the registry
// object (for 3, an ITarnhive3: see GetInterface3) and sets the code to 0 (or kNOREGISTRY and null when there is none);
// for any other version it returns null with kUNSUPPORTEDVERSION. Unlike every
// other operation it overwrites whatever code the record held. The returned
// pointer carries no reference of the caller's: do not release it.
extern "C" VESK_TARNHIVE_EXPORT vesk::tarnhive::ITarnhive2* GetInterface(
    std::uint32_t version, vesk::tarnhive::TarnhiveStatus* status);

namespace vesk::tarnhive {

// GetInterface(3) seen as the version-3 interface that it returns.
inline ITarnhive3* GetInterface3(TarnhiveStatus* status) {
  return static_cast<ITarnhive3*>(::GetInterface(3, status));
}

}  // namespace vesk::tarnhive
