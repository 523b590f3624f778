// The bucket manager's rules for names: a name's "/"-separated parts joined
// again, each preceded by "/".
#pragma once

#include "vesk/orlo/StringBase.h"

namespace vesk::tarnhive {

// The parts of `name` (empty parts skipped), each preceded by "/"; "/" when
// there are none.
orlo::WideString normalizedNameOf(const orlo::WideString& name);

}  // namespace vesk::tarnhive
