// check: the library's check of the registry file and tree (every block's
// trailer, checksum and index, every record, the child links), printed with
// the file offset of each problem.
#include "Commands.h"
#include "LibraryReports.h"
#include "Output.h"
#include "ToolError.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {

int checkRegistry(const GlobalOptions& options) {
  requireDirectory(options);
  Session session(options);
  TarnhiveStatus status;
  IRegistryReport* made = nullptr;
  registryObject().checkRegistry(&made, &status);
  require(status, "checking " + session.directory());
  RefPtr<IRegistryReport> report = RefPtr<IRegistryReport>::adopt(made);
  std::vector<ReportEntry> problems;
  std::int64_t blocks = 0;
  std::int64_t buckets = 0;
  for (ReportEntry& entry : entriesOf(*report)) {
    if (entry.group == "problem") problems.push_back(std::move(entry));
    if (entry.group == "count" && entry.name == "blocks") blocks = entry.number;
    if (entry.group == "count" && entry.name == "buckets") buckets = entry.number;
  }
  if (options.json) {
    Json list = Json::array();
    for (const ReportEntry& problem : problems) {
      list.push_back({{"file", problem.name}, {"offset", problem.number}, {"problem", problem.text}});
    }
    printLine(Json{{"directory", session.directory()}, {"ok", problems.empty()}, {"blocks", blocks},
                   {"buckets", buckets}, {"problems", list}}
                  .dump(2));
  } else {
    for (const ReportEntry& problem : problems) {
      printLine(problem.name + " offset " + std::to_string(problem.number) + ": " + problem.text);
    }
    printLine(std::string(problems.empty() ? "ok" : "damaged") + ": " + session.directory() + ", " +
              std::to_string(blocks) + " blocks, " + std::to_string(buckets) + " buckets, " +
              std::to_string(problems.size()) + " problems");
  }
  return problems.empty() ? kExitOk : kExitDamaged;
}

}  // namespace vesk::tarnhive::tool
