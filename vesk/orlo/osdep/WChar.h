// The wide character unit of the support library: one UTF-16 code unit.
// Windows spells it wchar_t; everywhere else it is char16_t, so that wide
// strings hold the same units on every platform.
#pragma once

namespace vesk::orlo {

#if defined(_WIN32)
using WChar = wchar_t;
#else
using WChar = char16_t;
#endif

static_assert(sizeof(WChar) == 2, "a wide unit is one UTF-16 code unit");

}  // namespace vesk::orlo

// A wide literal of the platform's own unit, for the places that need an
// array or a pointer of WChar (a WideString also takes u"..." directly):
// VESK_WIDE("name") is L"name" on Windows and u"name" elsewhere.
#if defined(_WIN32)
#define VESK_WIDE(text) L##text
#else
#define VESK_WIDE(text) u##text
#endif
