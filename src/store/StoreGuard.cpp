#include "store/StoreGuard.h"

#include "vesk/orlo/Exception.h"

namespace vesk::tarnhive::store {

std::int32_t storeCodeOfCurrentException() noexcept {
  try {
    throw;
  } catch (const orlo::exception::UnableToConvert&) {
    return kSTORECORRUPT;
  } catch (const orlo::exception::BufferOverflow&) {
    return kSTOREBUFFEROVERFLOW;
  } catch (...) {
    return statusCodeOfCurrentException();
  }
}

}  // namespace vesk::tarnhive::store
