#include "LibraryReports.h"

#include <filesystem>

#include "ToolError.h"

namespace vesk::tarnhive::tool {

ITarnhive3& registryObject() {
  TarnhiveStatus status;
  ITarnhive3* registry = GetInterface3(&status);
  require(status, "loading the registry library");
  if (registry == nullptr) fail(kExitDamaged, "loading the registry library: no registry object");
  return *registry;
}

std::vector<ReportEntry> entriesOf(IRegistryReport& report) {
  TarnhiveStatus status;
  std::vector<ReportEntry> entries;
  const std::uint32_t count = report.getCount(&status);
  for (std::uint32_t i = 0; i < count; ++i) {
    orlo::NarrowString group;
    orlo::NarrowString name;
    orlo::NarrowString text;
    ReportEntry entry;
    report.getEntry(i, group, name, &entry.isText, text, &entry.number, &status);
    entry.group.assign(group.c_str(), group.length());
    entry.name.assign(name.c_str(), name.length());
    entry.text.assign(text.c_str(), text.length());
    entries.push_back(std::move(entry));
  }
  require(status, "reading the library's report");
  return entries;
}

void requireDirectory(const GlobalOptions& options) {
  std::error_code error;
  if (!options.directory.empty() && !std::filesystem::is_directory(options.directory, error)) {
    fail(kExitNotFound, "the registry directory " + options.directory + " does not exist");
  }
}

}  // namespace vesk::tarnhive::tool
