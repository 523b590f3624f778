// The two readable forms of a bucket: the dump to standard output and the
// text block of the manager's debug comparison. Their labels are padded to 16
// characters and are read by people and by the debug comparison alike, so
// they stay exactly as they are, the dump's "shorName_" included. Digests
// print as their 64 lowercase hexadecimal digits.
#include <cstdio>

#include "bucket/Bucket.h"
#include "status/StatusGuard.h"
#include "vesk/orlo/IntegerText.h"
#include "vesk/orlo/StringConversion.h"

namespace vesk::tarnhive {

using orlo::NarrowString;
using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

namespace {

constexpr std::uint32_t kRuleWidth = 51;

NarrowString narrow(const WideString& text) { return orlo::toNarrow(text); }

const char* yesNo(bool flag) noexcept { return flag ? "true" : "false"; }

WideString hexOf(Digest digest) {
  WideString text;
  digest.getString(text);
  return text;
}

WideString decimal(std::uint32_t value) { return orlo::IntegerToString(value, 10); }

// Appends ASCII text.
void append(WideString& out, const char* text) {
  for (; *text != 0; ++text) out += static_cast<orlo::WChar>(*text);
}

void appendLine(WideString& out, const char* label, const WideString& value) {
  append(out, label);
  out += value;
  append(out, "\r\n");
}

void appendLine(WideString& out, const char* label, const char* value) {
  append(out, label);
  append(out, value);
  append(out, "\r\n");
}

}  // namespace

// Prints nothing more once a name cannot be converted to the system code
// page or memory runs out.
void Bucket::dump() {
  guardedRun(nullptr, [&] {
    CriticalSectionLock hold(lock_);
    std::printf("\r\n");
    std::printf("fullName_       %s\r\n", narrow(fullName_).c_str());
    std::printf("shorName_       %s\r\n", narrow(shortName_).c_str());
    std::printf("digest_         %s\r\n", narrow(hexOf(digest_)).c_str());
    std::printf("parent_         %s\r\n", narrow(hexOf(parent_)).c_str());
    std::printf("fileName_       %s\r\n", narrow(fileName_).c_str());
    std::printf("persistentFlag_ %s\r\n", yesNo(persistentFlag_));
    std::printf("version_        %d\r\n", static_cast<int>(version_));
    std::printf("modified_       %s\r\n", yesNo(modified_));
    std::printf("numKeys         %zu\r\n", values_.size());
    int index = 0;
    for (const SharedEntry& entry : values_) {
      WideString text;
      entry->value->toString(text);
      std::printf("[%d] %s = %s\r\n", index++, narrow(entry->name).c_str(), narrow(text).c_str());
    }
  });
  std::fflush(stdout);
}

WideString Bucket::toText() {
  WideString out;
  guardedRun(nullptr, [&] {
    CriticalSectionLock hold(lock_);
    append(out, "\r\n");
    for (std::uint32_t i = 0; i < kRuleWidth; ++i) append(out, "=");
    append(out, "\r\n");
    appendLine(out, "fullName_       ", fullName_);
    appendLine(out, "shortName_      ", shortName_);
    appendLine(out, "digest_         ", hexOf(digest_));
    appendLine(out, "persistentFlag_ ", yesNo(persistentFlag_));
    appendLine(out, "version_        ", decimal(version_));
    appendLine(out, "modified_       ", yesNo(modified_));
    appendLine(out, "numKeys         ", decimal(static_cast<std::uint32_t>(values_.size())));
    std::uint32_t index = 0;
    for (const SharedEntry& entry : values_) {
      WideString text;
      entry->value->toString(text);
      append(out, "[");
      out += decimal(index++);
      append(out, "] ");
      out += entry->name;
      append(out, " = ");
      appendLine(out, "", text);
    }
  });
  return out;
}

}  // namespace vesk::tarnhive
