// Fuzz target: a JSON document imported by the tool's import (Transfer.h)
// into a fresh registry. An input is refused as bad input (a ToolError of
// exit status 2), fails in the registry having committed nothing, or is
// imported; what was imported exports to a document that imports again,
// with --replace, as a change to nothing: export, import, export gives the
// same document. Any other exception escaping is a fault, which the tool
// would report as an unexpected failure (exit status 3).
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>

#include "FuzzSupport.h"
#include "Session.h"
#include "ToolError.h"
#include "Transfer.h"
#include "manager/BucketManager.h"
#include "vesk/orlo/StringConversion.h"

using namespace vesk::tarnhive;
using namespace vesk::tarnhive::fuzz;
using namespace vesk::tarnhive::tool;
using vesk::orlo::RefPtr;
namespace fs = std::filesystem;

namespace {

vesk::orlo::WideString widePath(const fs::path& path) {
  return vesk::orlo::toWide(vesk::orlo::NarrowString(path.c_str()));
}

// A bucket manager on an empty registry; every input reuses the path.
RefPtr<BucketManager> freshRegistry() {
  static const ScratchDirectory scratch("import");
  scratch.clear();
  const fs::path directory = scratch.path() / "registry";
  fs::create_directory(directory);
  const fs::path options = scratch.path() / "options.ini";
  std::ofstream(options) << "[Tarnhive]\n";
  TarnhiveStatus status;
  RefPtr<BucketManager> manager(new BucketManager(widePath(directory), widePath(options), &status));
  expect(!failed(&status), "an empty registry opens");
  return manager;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  useOwnLockDirectory();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ImportPlan plan;
  try {
    plan = planImport(parseDocument(std::string(data, data + size)), std::nullopt, false);
  } catch (const ToolError& error) {
    expect(error.exitStatus() == kExitUsage, "a document is refused as bad input");
    return 0;
  }

  const RefPtr<BucketManager> manager = freshRegistry();
  Session session(RefPtr<IBucketManager>(manager.get()), GlobalOptions{});
  try {
    applyImport(session, plan, false);
  } catch (const ToolError&) {
    // The registry refused a name or a value (too long, for one): the
    // update is discarded, and the registry holds its root alone.
    expect(session.subtree(u"/").size() == 1, "an import that fails commits nothing");
    return 0;
  }
  if (!session.find(plan.root)) {
    expect(plan.buckets.empty(), "an import makes its buckets");
    return 0;
  }
  const Json exported = exportDocument(session, plan.root, false);
  applyImport(session, planImport(exported, std::nullopt, true), false);
  expect(exportDocument(session, plan.root, false) == exported,
         "an export imports again as a change to nothing");
  return 0;
}
