// compact, backup and info: the registry directory as a whole, through the
// library's operations for it.
#include <cstdlib>
#include <filesystem>

#include "Commands.h"
#include "Encoding.h"
#include "LibraryReports.h"
#include "Output.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {
namespace {

namespace fs = std::filesystem;

// Where the machine-wide lock and the shared commit sequence live.
std::string lockLocation() {
  const char* configured = std::getenv("VESK_TARNHIVE_LOCK_DIR");
  if (configured != nullptr && configured[0] != 0) return configured;
#if defined(_WIN32)
  return "(named objects of the system)";
#else
  std::error_code error;
  return fs::is_directory("/dev/shm", error) ? "/dev/shm" : "/tmp";
#endif
}

// The library's description of the registry, as one JSON object.
Json description() {
  TarnhiveStatus status;
  IRegistryReport* made = nullptr;
  registryObject().describeRegistry(&made, &status);
  require(status, "describing the registry");
  RefPtr<IRegistryReport> report = RefPtr<IRegistryReport>::adopt(made);
  Json info = Json::object();
  for (const ReportEntry& entry : entriesOf(*report)) {
    Json value = entry.isText ? Json(entry.text) : Json(entry.number);
    if (entry.group.empty()) {
      info[entry.name] = value;
    } else {
      info[entry.group][entry.name] = value;
    }
  }
  return info;
}

std::int64_t fileSizeIn(const Json& info) {
  const auto files = info.find("files");
  if (files == info.end() || !files->contains("registry.bin")) return 0;
  return (*files)["registry.bin"].get<std::int64_t>();
}

}  // namespace

void compactRegistry(const GlobalOptions& options) {
  requireDirectory(options);
  Session session(options);
  const std::int64_t before = fileSizeIn(description());
  {
    LockHold hold(session.manager(), options.timeout);
    TarnhiveStatus status;
    registryObject().compactRegistry(hold.token(), &status);
    require(status, "compacting " + session.directory());
  }
  const std::int64_t after = fileSizeIn(description());
  printLine("compacted " + session.directory() + ": " + std::to_string(before) +
            " bytes before, " + std::to_string(after) + " bytes after");
}

void backupRegistry(const GlobalOptions& options, const std::string& destination) {
  std::error_code error;
  if (fs::exists(destination, error) && !fs::is_empty(destination, error)) {
    fail(kExitUsage, "the backup directory " + destination + " is not empty");
  }
  const auto wideDestination = fromUtf8(destination);
  if (!wideDestination) fail(kExitUsage, "the backup directory's name is not UTF-8");
  requireDirectory(options);
  Session session(options);
  {
    LockHold hold(session.manager(), options.timeout);
    TarnhiveStatus status;
    registryObject().backupRegistry(hold.token(), toWide(*wideDestination), &status);
    require(status, "backing up " + session.directory() + " to " + destination);
  }
  printLine("backed up " + session.directory() + " to " + destination + ": " +
            std::to_string(fs::file_size(fs::path(destination) / "registry.bin", error)) + " bytes");
}

void showInfo(const GlobalOptions& options) {
  requireDirectory(options);
  Session session(options);
  Json info = description();
  info["lockDirectory"] = lockLocation();
  if (options.json) {
    printLine(info.dump(2));
    return;
  }
  for (const auto& [key, value] : info.items()) {
    if (!value.is_object()) {
      printLine(key + ": " + (value.is_string() ? value.get<std::string>() : value.dump()));
      continue;
    }
    printLine(key + ":");
    for (const auto& [inner, item] : value.items()) {
      printLine("  " + inner + ": " + (item.is_string() ? item.get<std::string>() : item.dump()));
    }
  }
}

}  // namespace vesk::tarnhive::tool
