// The one-line text of a value, as bucket dumps print it after "name = ".
// Numbers are formatted as narrow text with printf's rules and widened; the
// formats are fixed by the dump format and kept as they are, including "%d"
// for unsigned 32-bit values (so 4294967295 prints as -1). Arrays print only
// their kind and count.
#include <cstdarg>
#include <cstdio>

#include "bucket/BucketValue.h"
#include "bucket/ValuePayload.h"
#include "status/StatusGuard.h"
#include "vesk/orlo/StringConversion.h"

namespace vesk::tarnhive {

using orlo::NarrowString;
using orlo::WideString;

namespace {

// ASCII text as a wide string.
WideString widened(const char* text, std::uint32_t length) {
  WideString out;
  out.resize(length);
  for (std::uint32_t i = 0; i < length; ++i) out[i] = static_cast<orlo::WChar>(text[i]);
  return out;
}

WideString widened(const char* text) { return widened(text, NarrowString::measure(text)); }

// printf into a buffer sized by a first measuring pass, so no output is ever
// cut short ("%f" of a large double runs to hundreds of digits).
[[gnu::format(printf, 1, 2)]] WideString formatted(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  if (length <= 0) return WideString();
  NarrowString text;
  text.resize(static_cast<std::uint32_t>(length));
  va_start(args, format);
  std::vsnprintf(text.data(), static_cast<std::size_t>(length) + 1, format, args);
  va_end(args);
  return widened(text.data(), text.length());
}

// The names of the array kinds, from kANSISTRINGARRAY on.
constexpr const char* kArrayNames[] = {
    "kANSISTRINGARRAY", "kSTRINGARRAY",  "kBOOLARRAY",   "kINT8ARRAY",   "kUINT8ARRAY",
    "kINT16ARRAY",      "kUINT16ARRAY",  "kINT32ARRAY",  "kUINT32ARRAY", "kINT64ARRAY",
    "kUINT64ARRAY",     "kFLOAT32ARRAY", "kFLOAT64ARRAY"};

}  // namespace

// Nothing escapes: on failure (memory exhausted, a narrow string the system
// code page cannot convert) `out` is left empty.
WideString& BucketValue::toString(WideString& out) {
  guardedRun(nullptr, [&] {
    out.clear();
    WideString text = textForm();
    out.swap(text);
  });
  return out;
}

WideString BucketValue::textForm() const {
  switch (type_) {
    case kDIGEST: {
      WideString text;
      if (Digest* digest = payloadAs<Digest>()) digest->getString(text);
      return text;
    }
    case kANSISTRING: {
      const auto* text = payloadAs<NarrowString>();
      return text ? orlo::toWide(*text) : WideString();
    }
    case kSTRING: {
      const auto* text = payloadAs<WideString>();
      return text ? *text : WideString();
    }
    case kBLOB:
      return widened("<blob data>");
    case kBOOL:
      return widened(storedBool() ? "true" : "false");
    case kINT8:
      return formatted("%d", int{loadScalar<std::int8_t>()});
    case kUINT8:
      return formatted("%d", int{loadScalar<std::uint8_t>()});
    case kINT16:
      return formatted("%d", int{loadScalar<std::int16_t>()});
    case kUINT16:
      return formatted("%d", int{loadScalar<std::uint16_t>()});
    case kINT32:
      return formatted("%d", loadScalar<std::int32_t>());
    case kUINT32:
      return formatted("%d", static_cast<int>(loadScalar<std::uint32_t>()));
    case kINT64:
      return formatted("%lld", static_cast<long long>(loadScalar<std::int64_t>()));
    case kUINT64:
      return formatted("%llu", static_cast<unsigned long long>(loadScalar<std::uint64_t>()));
    case kFLOAT32:
      return formatted("%f", static_cast<double>(loadScalar<float>()));
    case kFLOAT64:
      return formatted("%f", loadScalar<double>());
    default:
      break;
  }
  if (type_ >= kANSISTRINGARRAY && type_ <= kFLOAT64ARRAY) {
    return formatted("<%s[%d]>", kArrayNames[type_ - kANSISTRINGARRAY],
                     static_cast<int>(arrayCount_));
  }
  return widened("kNOTSET");
}

}  // namespace vesk::tarnhive
