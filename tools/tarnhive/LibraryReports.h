// The registry-wide operations that the library offers through version 3 of
// its registry object (check, description, copy, compaction, change feed),
// as the tool uses them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Session.h"

namespace vesk::tarnhive::tool {

// The registry object's version-3 interface; fails (exit 3) without it.
ITarnhive3& registryObject();

// One entry of a library report (IRegistryReport).
struct ReportEntry {
  std::string group;
  std::string name;
  bool isText = false;
  std::string text;
  std::int64_t number = 0;
};

// The entries of a report; a failure to read them fails (exit 3).
std::vector<ReportEntry> entriesOf(IRegistryReport& report);

// A directory named on the command line must exist: the library would make
// a new registry there (exit 1 otherwise).
void requireDirectory(const GlobalOptions& options);

// Holds the registry lock for a scope.
class LockHold {
 public:
  LockHold(IBucketManager& manager, double timeout)
      : manager_(manager), token_(takeLock(manager, timeout)) {}
  ~LockHold() {
    TarnhiveStatus status;
    manager_.releaseLock(token_, &status);
  }
  LockHold(const LockHold&) = delete;
  LockHold& operator=(const LockHold&) = delete;

  const Guid& token() const { return token_; }

 private:
  IBucketManager& manager_;
  Guid token_;
};

}  // namespace vesk::tarnhive::tool
