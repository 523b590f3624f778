#include "manager/RegistryReport.h"

#include "status/StatusGuard.h"

namespace vesk::tarnhive {

std::uint32_t RegistryReport::getCount(TarnhiveStatus* status) {
  if (failed(status)) return 0;
  return static_cast<std::uint32_t>(entries_.size());
}

bool RegistryReport::getEntry(std::uint32_t index, orlo::NarrowString& group,
                              orlo::NarrowString& name, bool* isText, orlo::NarrowString& text,
                              std::int64_t* number, TarnhiveStatus* status) {
  if (failed(status)) return false;
  if (index >= entries_.size()) {
    setStatus(status, kINDEXOUTOFRANGE);
    return false;
  }
  return guardedCall(status, false, [&] {
    const Entry& entry = entries_[index];
    group = orlo::NarrowString(entry.group.c_str());
    name = orlo::NarrowString(entry.name.c_str());
    text = orlo::NarrowString(entry.text.c_str());
    if (isText != nullptr) *isText = entry.isText;
    if (number != nullptr) *number = entry.number;
    return true;
  });
}

}  // namespace vesk::tarnhive
