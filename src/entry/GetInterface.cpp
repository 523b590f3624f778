// The library's exported entry function.
#include "status/StatusGuard.h"
#include "entry/TarnhiveImpl.h"
#include "vesk/tarnhive/ITarnhive.h"

using vesk::tarnhive::TarnhiveStatus;

extern "C" VESK_TARNHIVE_EXPORT vesk::tarnhive::ITarnhive2* GetInterface(std::uint32_t version,
                                                                         TarnhiveStatus* status) {
  namespace th = vesk::tarnhive;
  th::clearExtra(status);
  th::setStatus(status, th::kPROVISIONAL);
  if (version < 1 || version > 3) {
    th::setStatus(status, th::kUNSUPPORTEDVERSION);
    return nullptr;
  }
  th::publicInterface::TarnhiveImpl* registry = th::publicInterface::registryObject();
  if (registry != nullptr) {
    th::clearExtra(status);
    th::setStatus(status, 0);
  } else {
    th::setStatus(status, th::kNOREGISTRY);
  }
  return registry;
}
