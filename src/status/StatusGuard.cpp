#include "status/StatusGuard.h"

#include <new>

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/OSException.h"

namespace vesk::tarnhive {

void setStatus(TarnhiveStatus* status, std::int32_t code) noexcept {
  if (status == nullptr) return;
  status->code = code;
  clearMessage(status);
}

void setStatus(TarnhiveStatus* status, std::int32_t code, const char* message) noexcept {
  setStatus(status, code);
  if (status == nullptr) return;
  void* block = orlo::osdep::taskAlloc(sizeof(orlo::WideString));
  if (block == nullptr) return;
  try {
    auto* text = new (block) orlo::WideString();
    for (const char* c = message; *c != 0; ++c) text->append(static_cast<orlo::WChar>(*c));
    status->message = text;
  } catch (...) {
    orlo::osdep::taskFree(block);
  }
}

std::int32_t statusCodeOfCurrentException() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return kOUTOFMEMORY;
  } catch (const orlo::osdep::OSException&) {
    return kOSERROR;
  } catch (const orlo::exception::DeserializationError&) {
    return kSTOREDAMAGED;
  } catch (...) {
    return kINTERNALERROR;
  }
}

bool currentExceptionIsLibrarys() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return true;
  } catch (const orlo::exception::Exception&) {
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace vesk::tarnhive
