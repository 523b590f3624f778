// Fuzz target: a whole registry directory (RegistryInput.h) opened by a
// bucket manager, which then reads every bucket it can reach from "/", the
// subtree read, and the check and the description of the files. Any status
// code is an acceptable answer to a damaged directory; a crash, a leak, a
// read out of bounds, undefined behaviour or a hang is not.
//
// Every input reuses one directory path, so that the registry's shared
// commit sequence and lock files (named after the directory) stay few.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <set>

#include "FuzzSupport.h"
#include "RegistryInput.h"
#include "manager/BucketManager.h"
#include "manager/RegistryReport.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/tarnhive/IBucketCase.h"

using namespace vesk::tarnhive;
using namespace vesk::tarnhive::fuzz;
using vesk::orlo::RefPtr;
using vesk::orlo::WideString;
namespace fs = std::filesystem;

namespace {

// A walk that reads a directory of child links this long is a hang.
constexpr std::size_t kMaxBuckets = 100000;

WideString widePath(const fs::path& path) {
  return vesk::orlo::toWide(vesk::orlo::NarrowString(path.c_str()));
}

void writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Each bucket by itself, from "/" along the child links, so that one damaged
// bucket does not hide the others as it stops the subtree read.
void walkTree(BucketManager& manager) {
  std::set<Digest> seen;
  std::deque<Digest> pending{Digest(WideString(u"/"))};
  while (!pending.empty()) {
    expect(seen.size() < kMaxBuckets, "a walk of the tree ends");
    const Digest digest = pending.front();
    pending.pop_front();
    if (!seen.insert(digest).second) continue;
    TarnhiveStatus status;
    IBucket* found = nullptr;
    manager.getBucket(&found, digest, &status);
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(found);
    if (!bucket) continue;
    readBucket(*bucket);
    const std::uint32_t handle = bucket->openEnumeration();
    Digest child;
    for (bool more = bucket->enumFirstChild(child, handle); more;
         more = bucket->enumNextChild(child, handle, &status)) {
      pending.push_back(child);
    }
    bucket->closeEnumeration(handle);
  }
}

void readSubtree(BucketManager& manager) {
  TarnhiveStatus status;
  IBucketCase* made = nullptr;
  manager.newBucketCase(&made, &status);
  RefPtr<IBucketCase> collection = RefPtr<IBucketCase>::adopt(made);
  if (!manager.getBucketTree(WideString(u"/"), collection.get(), &status)) return;
  const std::uint32_t handle = collection->openEnumeration();
  for (RefPtr<IBucket> b = RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle)); b;
       b = RefPtr<IBucket>::adopt(collection->enumNextBucket(handle, &status))) {
    readBucket(*b);
  }
  collection->closeEnumeration(handle);
}

void readReport(IRegistryReport& report) {
  TarnhiveStatus status;
  const std::uint32_t count = report.getCount(&status);
  for (std::uint32_t i = 0; i < count; ++i) {
    vesk::orlo::NarrowString group, name, text;
    bool isText = false;
    std::int64_t number = 0;
    report.getEntry(i, group, name, &isText, text, &number, &status);
  }
}

void checkAndDescribe(BucketManager& manager) {
  TarnhiveStatus status;
  RefPtr<RegistryReport> check(new RegistryReport());
  if (manager.checkRegistry(*check, &status)) readReport(*check);
  TarnhiveStatus described;
  RefPtr<RegistryReport> description(new RegistryReport());
  if (manager.describeRegistry(*description, &described)) readReport(*description);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  useOwnLockDirectory();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchDirectory scratch("registry");
  const RegistryInput input = parseRegistryInput(data, size);
  scratch.clear();
  const fs::path directory = scratch.path() / "registry";
  fs::create_directory(directory);
  for (RegistryFile file : input.files) {
    if ((input.flags & kFixChecksums) && file.name.starts_with("registry.bin")) {
      fixChecksums(file.content);
    }
    writeFile(directory / file.name, file.content);
  }
  const fs::path options = scratch.path() / "options.ini";
  writeFile(options, optionLines(input.flags));

  TarnhiveStatus status;
  RefPtr<BucketManager> manager(new BucketManager(widePath(directory), widePath(options), &status));
  if (failed(&status)) return 0;
  walkTree(*manager);
  readSubtree(*manager);
  checkAndDescribe(*manager);
  return 0;
}
