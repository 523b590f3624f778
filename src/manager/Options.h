// Options: the settings of the bucket manager, read once from the
// configuration file when the manager is built and kept unchanged for its
// life. The manager, the caches and the store read them by their index.
// The first thirteen are the registry's own; "FlushEveryWrite" chooses the
// store's literal write mode (see store/WritePlan.h).
//
// The file is an INI file whose section "Tarnhive" holds the keys of the
// table below; a key that is absent takes its default. A missing or
// unreadable file, or one without the section, is not an error: every option
// takes its default.
//
// How a text becomes a value depends on the option's kind:
//  - integer: the text is kept and read as a signed 32-bit decimal number; a
//    text that is not a number throws UnableToConvert, which construction
//    turns into a status code (the options after it keep their initial
//    state: empty text, value 0, boolean true);
//  - boolean: the text is kept; the value is true exactly when the text is
//    "true" in any mix of case ("1", "yes" and "" are false);
//  - string, owner, group and mode: nothing is kept, so the string options
//    "DebugCompareRegAtStartFile" and "CallbackDLLName" always read empty and
//    no callback library is ever named. Their records stay in the table.
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

// Indexes into the option table, in table order.
enum OptionIndex : std::uint32_t {
  kMEMORYCACHESIZELIMITKB = 0,
  kMEMORYCACHEUPDATEPCT,
  kDEBUGCOMPAREREGATSTARTMODE,
  kDEBUGCOMPAREREGATSTARTFILE,
  kDEBUGSIMULATECOMMITCRASH,
  kDEBUGSIMULATECOMPACTIONCRASH,
  kDEBUGSIMULATEMISCCRASH,
  kMEMORYINDICESSIZELIMITKB,
  kDISKMAXREGISTRYFILESIZEKB,
  kCALLBACKDLLNAME,
  kDBOWNER,
  kDBGROUP,
  kDBMODE,
  kFLUSHEVERYWRITE,
  kOPTIONCOUNT
};

enum class OptionKind : std::int32_t { kSTRING = 0, kINTEGER, kBOOLEAN, kOWNER, kGROUP, kMODE };

// One option: its value as read, and how it is read.
struct OptionRecord {
  orlo::WideString text;
  std::int32_t integerValue = 0;
  bool booleanValue = true;
  OptionKind kind = OptionKind::kSTRING;
  const char* key = "";
  const char* defaultText = "";
};

class Options {
 public:
  // Copies the default table and, unless `status` already holds an error,
  // reads the file at `configPath` into it. A failure while reading (a
  // number that is not one, an allocation failure) is written to `status`
  // as a code; construction itself throws only when the table cannot be
  // copied.
  Options(const orlo::WideString& configPath, TarnhiveStatus* status);
  virtual ~Options() = default;
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;

  std::int32_t integerValue(OptionIndex index) const noexcept { return records_[index].integerValue; }
  bool booleanValue(OptionIndex index) const noexcept { return records_[index].booleanValue; }
  const orlo::WideString& text(OptionIndex index) const noexcept { return records_[index].text; }
  const OptionRecord& record(OptionIndex index) const noexcept { return records_[index]; }

  // The memory cache's budget in bytes: "MemoryCacheSizeLimitKB" times 1024
  // in 32 bits.
  std::uint32_t memoryCacheLimitBytes() const noexcept;

  // The update cache's budget in bytes: "MemoryCacheUpdatePct" percent of the
  // memory cache's budget, computed in double precision and truncated
  // toward zero; results beyond 32 bits wrap as the memory budget does.
  std::uint32_t updateCacheLimitBytes() const noexcept;

 private:
  void read(const orlo::WideString& configPath);
  void apply(OptionRecord& record, const orlo::WideString& text);

  OptionRecord records_[kOPTIONCOUNT];
};

// The configuration file to read: `iniFile` when it is not empty, else the
// common application-data directory / "Tarnhive" / "config" / "Tarnhive.ini".
orlo::WideString configurationPath(const orlo::WideString& iniFile);

}  // namespace vesk::tarnhive
