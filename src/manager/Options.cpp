#include "manager/Options.h"

#include <cmath>

#include "status/StatusGuard.h"
#include "vesk/orlo/IniFile.h"
#include "vesk/orlo/IntegerText.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive {
namespace {

constexpr char kSectionName[] = "Tarnhive";

OptionRecord row(OptionKind kind, const char* key, const char* defaultText) {
  OptionRecord record;
  record.kind = kind;
  record.key = key;
  record.defaultText = defaultText;
  return record;
}

// The default table, built once when the library is loaded. Each Options
// object starts from a copy of it.
const OptionRecord kDefaultTable[kOPTIONCOUNT] = {
    row(OptionKind::kINTEGER, "MemoryCacheSizeLimitKB", "1024"),
    row(OptionKind::kINTEGER, "MemoryCacheUpdatePct", "10"),
    row(OptionKind::kINTEGER, "DebugCompareRegAtStartMode", "0"),
    row(OptionKind::kSTRING, "DebugCompareRegAtStartFile", "comparator.txt"),
    row(OptionKind::kBOOLEAN, "DebugSimulateCommitCrash", "false"),
    row(OptionKind::kBOOLEAN, "DebugSimulateCompactionCrash", "false"),
    row(OptionKind::kBOOLEAN, "DebugSimulateMiscCrash", "false"),
    row(OptionKind::kINTEGER, "MemoryIndicesSizeLimitKB", "1024"),
    row(OptionKind::kINTEGER, "DiskMaxRegistryFileSizeKB", "1024"),
    row(OptionKind::kSTRING, "CallbackDLLName", ""),
    row(OptionKind::kOWNER, "DBOwner", ""),
    row(OptionKind::kGROUP, "DBGroup", ""),
    row(OptionKind::kMODE, "DBMode", "-1"),
    row(OptionKind::kBOOLEAN, "FlushEveryWrite", "false"),
};

// A signed 32-bit decimal number; anything else throws UnableToConvert.
std::int32_t toInteger(const orlo::WideString& text) {
  bool negative = false;
  const std::uint32_t magnitude =
      orlo::StringToInteger(text.data(), text.length(), 10, negative, true);
  return static_cast<std::int32_t>(negative ? 0u - magnitude : magnitude);
}

}  // namespace

Options::Options(const orlo::WideString& configPath, TarnhiveStatus* status) {
  for (std::uint32_t i = 0; i < kOPTIONCOUNT; ++i) records_[i] = kDefaultTable[i];
  guardedRun(status, [&] { read(configPath); });
}

void Options::read(const orlo::WideString& configPath) {
  orlo::IniFile file;
  const orlo::IniFile::Section* section = nullptr;
  if (file.load(orlo::toNarrow(configPath))) section = file.findSection(kSectionName);
  for (OptionRecord& record : records_) {
    orlo::WideString text;
    if (section == nullptr || !orlo::IniFile::getValue(*section, record.key, text)) {
      text = orlo::toWide(orlo::NarrowString(record.defaultText));
    }
    apply(record, text);
  }
}

void Options::apply(OptionRecord& record, const orlo::WideString& text) {
  switch (record.kind) {
    case OptionKind::kINTEGER:
      record.text = text;
      record.integerValue = toInteger(text);
      break;
    case OptionKind::kBOOLEAN:
      record.text = text;
      record.booleanValue = orlo::equalsIgnoreCase(text, orlo::WideString(u"true"));
      break;
    default:
      // Texts of the other kinds are not taken over; see the header.
      break;
  }
}

std::uint32_t Options::memoryCacheLimitBytes() const noexcept {
  return static_cast<std::uint32_t>(integerValue(kMEMORYCACHESIZELIMITKB)) << 10;
}

std::uint32_t Options::updateCacheLimitBytes() const noexcept {
  const double bytes = integerValue(kMEMORYCACHEUPDATEPCT) / 100.0 *
                       integerValue(kMEMORYCACHESIZELIMITKB) * 1024.0;
  // Truncate through 64 bits, so that any product outside 32 bits wraps
  // instead of being undefined.
  if (!(std::fabs(bytes) < 9.2e18)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(bytes));
}

orlo::WideString configurationPath(const orlo::WideString& iniFile) {
  if (!iniFile.empty()) return iniFile;
  using orlo::osdep::path::join;
  return join(join(join(orlo::osdep::GetCommonAppDataDirectory(), u"Tarnhive"), u"config"),
              u"Tarnhive.ini");
}

}  // namespace vesk::tarnhive
