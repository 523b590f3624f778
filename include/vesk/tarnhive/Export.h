// Marks the names that the shared library exports; everything else is hidden.
#pragma once

#include "vesk/orlo/osdep/Visibility.h"

#define VESK_TARNHIVE_EXPORT VESK_ORLO_EXPORT
