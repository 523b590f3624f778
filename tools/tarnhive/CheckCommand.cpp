// check: verifies the registry files without the library. The library reads
// the file through its indexes and never compares a block's checksum, so
// damage can sit unnoticed; this walks every block from the valid end back,
// checks its trailer, index, checksum and records, decodes every stored
// bucket, and checks the tree: every child link names a stored bucket and
// every bucket but "/" is linked from its parent.
#include "Commands.h"
#include "Names.h"
#include "Output.h"
#include "RegistryFiles.h"
#include "StoredBuckets.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {
namespace {

void checkTree(const StoredBuckets& buckets, std::vector<Problem>& problems) {
  if (!buckets.empty() && !buckets.count(digestOf(u"/"))) {
    problems.push_back({0, "there is no root bucket \"/\""});
  }
  for (const auto& [digest, stored] : buckets) {
    const std::u16string& name = stored.record.fullName;
    for (const auto& [valueName, value] : stored.record.values) {
      if (isChildLink(name, valueName, value) && !buckets.count(value.bytes)) {
        problems.push_back({stored.recordOffset, "the child link " + displayName(valueName) + " of " +
                                                     displayName(name) + " names no stored bucket"});
      }
    }
    if (name == u"/") continue;
    const auto parent = buckets.find(digestOf(parentOf(name)));
    bool linked = false;
    if (parent != buckets.end()) {
      for (const auto& [valueName, value] : parent->second.record.values) {
        linked = linked || (isChildLink(parent->second.record.fullName, valueName, value) && value.bytes == digest);
      }
    }
    if (!linked) {
      problems.push_back({stored.recordOffset, "the bucket " + displayName(name) +
                                                   " is not linked from its parent " +
                                                   displayName(parentOf(name))});
    }
  }
}

// Records of superseded entries are checked too: damage there is damage.
void checkAllRecords(std::string_view file, const std::vector<Block>& blocks,
                     std::vector<Problem>& problems) {
  Progress progress("check", blocks.size(), "blocks");
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    for (const IndexEntry& entry : blocks[i].entries) decodeEntry(file, blocks[i], entry, problems);
    progress.step(i + 1);
  }
}

void report(const GlobalOptions& options, const std::vector<Problem>& problems,
            std::size_t blocks, std::size_t buckets, const std::string& directory) {
  if (options.json) {
    Json list = Json::array();
    for (const Problem& problem : problems) {
      list.push_back({{"file", "registry.bin"}, {"offset", problem.offset}, {"problem", problem.message}});
    }
    printLine(Json{{"directory", directory}, {"ok", problems.empty()}, {"blocks", blocks},
                   {"buckets", buckets}, {"problems", list}}
                  .dump(2));
    return;
  }
  for (const Problem& problem : problems) {
    printLine("registry.bin offset " + std::to_string(problem.offset) + ": " + problem.message);
  }
  printLine(std::string(problems.empty() ? "ok" : "damaged") + ": " + directory + ", " +
            std::to_string(blocks) + " blocks, " + std::to_string(buckets) + " buckets, " +
            std::to_string(problems.size()) + " problems");
}

}  // namespace

int checkRegistry(const GlobalOptions& options) {
  const std::string directory = registryDirectory(options);
  std::string why;
  const auto snapshot = readSnapshot(directory, why);
  if (!snapshot) fail(kExitDamaged, "cannot check " + directory + ": " + why);
  std::vector<Problem> problems;
  const std::vector<Block> blocks = readBlocks(snapshot->bytes, problems);
  checkAllRecords(snapshot->bytes, blocks, problems);
  std::vector<Problem> ignored;  // each record's own problems are reported above
  const StoredBuckets buckets = decodeBuckets(snapshot->bytes, blocks, liveEntries(blocks), ignored);
  checkTree(buckets, problems);
  report(options, problems, blocks.size(), buckets.size(), directory);
  return problems.empty() ? kExitOk : kExitDamaged;
}

}  // namespace vesk::tarnhive::tool
