#include "store/StoreState.h"

#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive::store {

orlo::WideString storePath(const StoreState& state, const char* fileName) {
  orlo::WideString name;
  for (const char* c = fileName; *c; ++c) name.append(static_cast<orlo::WChar>(*c));
  return orlo::osdep::path::join(state.directory, name);
}

}  // namespace vesk::tarnhive::store
