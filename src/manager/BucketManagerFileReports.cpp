// The bucket manager's look at the registry files as a whole, for tools:
// the check of the file and the tree, the description of the file set, and
// a consistent copy.
#include <map>
#include <string>

#include "manager/BucketManager.h"
#include "manager/NameRules.h"
#include "manager/RegistryReport.h"
#include "status/StatusGuard.h"
#include "store/SingleFileBucketStore.h"
#include "vesk/orlo/Utf8.h"
#include "vesk/orlo/osdep/CriticalSection.h"

namespace vesk::tarnhive {
namespace {

using orlo::WideString;

std::string utf8(const WideString& text) { return orlo::toUtf8(text).c_str(); }
std::string quoted(const WideString& name) { return "\"" + utf8(name) + "\""; }

constexpr char kRegistryFile[] = "registry.bin";

// The tree of the live buckets: a root, every child link names a bucket,
// every bucket but "/" is linked from its parent.
void checkTree(const std::vector<store::FileCheck::Live>& live, RegistryReport& report) {
  std::map<Digest, const store::FileCheck::Live*> byDigest;
  for (const auto& stored : live) byDigest[stored.bucket->getDigest()] = &stored;
  if (!live.empty() && !byDigest.count(Digest(WideString(u"/")))) {
    report.addProblem(kRegistryFile, "there is no root bucket \"/\"", 0);
  }
  for (const auto& stored : live) {
    const WideString name = stored.bucket->getFullName();
    for (const WideString& link : childLinksOf(*stored.bucket)) {
      if (!byDigest.count(Digest(link))) {
        report.addProblem(kRegistryFile,
                          "the child link " + quoted(link) + " of " + quoted(name) +
                              " names no stored bucket",
                          stored.recordOffset);
      }
    }
    if (name == WideString(u"/")) continue;
    const WideString parentName = parentOfNormal(normalizedNameOf(name));
    const auto parent = byDigest.find(Digest(parentName));
    bool linked = false;
    if (parent != byDigest.end()) {
      const Digest own = stored.bucket->getDigest();
      for (const WideString& link : childLinksOf(*parent->second->bucket)) {
        linked = linked || Digest(link) == own;
      }
    }
    if (!linked) {
      report.addProblem(kRegistryFile,
                        "the bucket " + quoted(name) + " is not linked from its parent " +
                            quoted(parentName),
                        stored.recordOffset);
    }
  }
}

}  // namespace

bool BucketManager::checkRegistry(RegistryReport& report, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  ReadScope read(*this, status);
  return guardedCall(status, false, [&] {
    store::FileCheck result;
    store_->check(result, status);
    if (failed(status)) return false;
    for (const store::FileProblem& problem : result.problems) {
      report.addProblem(kRegistryFile, problem.message, problem.offset);
    }
    checkTree(result.live, report);
    report.addNumber("count", "blocks", result.blocks);
    report.addNumber("count", "buckets", static_cast<std::int64_t>(result.live.size()));
    return true;
  });
}

bool BucketManager::describeRegistry(RegistryReport& report, TarnhiveStatus* status) {
  if (failed(status) || !hasStore()) return false;
  ReadScope read(*this, status);
  return guardedCall(status, false, [&] {
    store::FileSetDescription files;
    store_->describe(files, status);
    if (failed(status)) return false;
    report.addText("", "directory", utf8(directory_));
    report.addText("", "configuration", utf8(configPath_));
    report.addNumber("", "commitMark", files.commitMark);
    report.addNumber("", "validEnd", files.validEnd);
    report.addNumber("", "blocks", files.blocks);
    report.addNumber("", "buckets", files.buckets);
    report.addNumber("", "deadBytes", files.deadBytes);
    for (const auto& file : files.files) {
      if (file.isMark) {
        report.addText("files", file.name, file.text);
      } else {
        report.addNumber("files", file.name, file.size);
      }
    }
    for (std::uint32_t i = 0; i < kOPTIONCOUNT; ++i) {
      const OptionRecord& option = options_->record(static_cast<OptionIndex>(i));
      report.addText("options", option.key, utf8(option.text));
    }
    return true;
  });
}

bool BucketManager::backupRegistry(const Guid& token, const WideString& destination,
                                   TarnhiveStatus* status) {
  orlo::osdep::CriticalSectionLock hold(guard_);
  if (!mayChange(token, false, status)) return false;
  guardedRun(status, [&] { store_->backupTo(destination, status); });
  return !failed(status);
}

}  // namespace vesk::tarnhive
