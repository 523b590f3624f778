// Symbol visibility for the names the shared library exports. Everything else
// is built hidden, so only names marked here are reachable by clients.
#pragma once

#if defined(_WIN32)
#if defined(VESK_TARNHIVE_BUILDING)
#define VESK_ORLO_EXPORT __declspec(dllexport)
#else
#define VESK_ORLO_EXPORT __declspec(dllimport)
#endif
#else
#define VESK_ORLO_EXPORT __attribute__((visibility("default")))
#endif
