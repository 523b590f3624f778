// Code-page conversion through ICU converters. The system code page is UTF-8
// on POSIX. Each thread keeps one open converter per code page.
#include "vesk/orlo/osdep/CodePage.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>

#include <cerrno>
#include <climits>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep {
namespace {

constexpr char kAnsiToWideSource[] = "vesk/orlo/osdep/AnsiToWide";
constexpr char kWideToAnsiSource[] = "vesk/orlo/osdep/WideToAnsi";

// Bytes that do not decode become U+FFFD, whatever the converter's own
// substitution character is.
void substituteReplacementCharacter(const void*, UConverterToUnicodeArgs* args, const char*,
                                    int32_t, UConverterCallbackReason reason, UErrorCode* error) {
  if (reason > UCNV_IRREGULAR) return;
  static const UChar kReplacement = 0xFFFD;
  *error = U_ZERO_ERROR;
  ucnv_cbToUWriteUChars(args, &kReplacement, 1, 0, error);
}

UConverter* openConverter(std::uint32_t codePage) {
  const char* name = codePage == kAsciiCodePage      ? "US-ASCII"
                     : codePage == kShiftJisCodePage ? "cp932"
                                                     : "UTF-8";
  UErrorCode error = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(name, &error);
  if (U_FAILURE(error) || converter == nullptr) return nullptr;
  ucnv_setToUCallBack(converter, substituteReplacementCharacter, nullptr, nullptr, nullptr, &error);
  if (codePage != kSystemCodePage) ucnv_setSubstChars(converter, "?", 1, &error);
  return converter;
}

class ConverterCache {
 public:
  ~ConverterCache() {
    for (UConverter* c : converters_) {
      if (c) ucnv_close(c);
    }
  }
  UConverter* get(std::uint32_t codePage) {
    UConverter*& slot = converters_[codePage == kAsciiCodePage ? 1 : codePage == kShiftJisCodePage ? 2 : 0];
    if (slot == nullptr) slot = openConverter(codePage);
    return slot;
  }

 private:
  UConverter* converters_[3] = {nullptr, nullptr, nullptr};
};

UConverter* converterFor(std::uint32_t codePage) {
  thread_local ConverterCache cache;
  return cache.get(codePage);
}

[[noreturn]] void conversionFailed(const char* source, std::uint32_t line) {
  exception::raise(PosixError(EILSEQ), source, line);
}

void checkMeasuredLength(std::int32_t measured) {
  if (measured < 0 || static_cast<std::uint64_t>(measured) + 1 > 0x7FFFFFFFu) {
    exception::raise(exception::OutOfRange(), kAnsiToWideSource, 0);
  }
}

}  // namespace

WideString ansiToWide(std::uint32_t codePage, const char* text, std::uint32_t count) {
  if (count == 0) return WideString();
  if (count > INT32_MAX) exception::raise(exception::OutOfRange(), kAnsiToWideSource, 0);
  UConverter* converter = converterFor(codePage);
  if (converter == nullptr) conversionFailed(kAnsiToWideSource, 136);
  const auto length = static_cast<int32_t>(count);
  UErrorCode error = U_ZERO_ERROR;
  const int32_t measured = ucnv_toUChars(converter, nullptr, 0, text, length, &error);
  if (error != U_BUFFER_OVERFLOW_ERROR || measured == 0) conversionFailed(kAnsiToWideSource, 136);
  checkMeasuredLength(measured);
  WideString out;
  out.resize(static_cast<std::uint32_t>(measured));
  error = U_ZERO_ERROR;
  const int32_t written = ucnv_toUChars(converter, reinterpret_cast<UChar*>(out.data()), measured,
                                        text, length, &error);
  if (U_FAILURE(error) || written != measured) conversionFailed(kAnsiToWideSource, 167);
  return out;
}

NarrowString wideToAnsi(std::uint32_t codePage, const WChar* text, std::uint32_t count) {
  if (count == 0) return NarrowString();
  if (count > INT32_MAX) exception::raise(exception::OutOfRange(), kWideToAnsiSource, 0);
  UConverter* converter = converterFor(codePage);
  if (converter == nullptr) conversionFailed(kWideToAnsiSource, 141);
  const auto length = static_cast<int32_t>(count);
  const auto* units = reinterpret_cast<const UChar*>(text);
  UErrorCode error = U_ZERO_ERROR;
  const int32_t measured = ucnv_fromUChars(converter, nullptr, 0, units, length, &error);
  if (error != U_BUFFER_OVERFLOW_ERROR || measured == 0) conversionFailed(kWideToAnsiSource, 141);
  checkMeasuredLength(measured);
  NarrowString out;
  out.resize(static_cast<std::uint32_t>(measured));
  error = U_ZERO_ERROR;
  const int32_t written = ucnv_fromUChars(converter, out.data(), measured, units, length, &error);
  if (U_FAILURE(error) || written != measured) conversionFailed(kWideToAnsiSource, 168);
  return out;
}

}  // namespace vesk::orlo::osdep
