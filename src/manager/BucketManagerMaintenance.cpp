// Work on the registry as a whole: emptying the registry directory, and the
// start-up check that writes every bucket as text and compares the text with
// a reference file.
#include "bucket/Bucket.h"
#include "cache/BucketCase.h"
#include "status/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/RegistryCheck.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FindFiles.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/TextFile.h"

namespace vesk::tarnhive {
namespace {

namespace path = orlo::osdep::path;
using orlo::NarrowString;
using orlo::WideString;
using orlo::osdep::TextFile;

constexpr orlo::WChar kRunCounterName[] = VESK_WIDE("debugRunCounter.txt");

// Where `needle` first occurs in `line`, or npos.
std::size_t firstOccurrence(const NarrowString& line, const char* needle) {
  const std::string_view text(line.data(), line.length());
  return text.find(needle);
}

// Two lines of the dumps agree when they are equal, or when they are the
// version or modified lines of a bucket, which change from run to run.
bool linesAgree(const NarrowString& a, const NarrowString& b) {
  if (a == b) return true;
  const std::size_t versionA = firstOccurrence(a, "version_ ");
  const std::size_t versionB = firstOccurrence(b, "version_ ");
  if (versionA != std::string_view::npos || versionB != std::string_view::npos) {
    return versionA == versionB;
  }
  const std::size_t modifiedA = firstOccurrence(a, "modified_ ");
  const std::size_t modifiedB = firstOccurrence(b, "modified_ ");
  return modifiedA != std::string_view::npos && modifiedA == modifiedB;
}

bool filesAgree(const WideString& reference, const WideString& dump) {
  if (!path::exists(reference) || !path::exists(dump)) return false;
  TextFile a;
  TextFile b;
  a.open(reference, TextFile::kREAD);
  b.open(dump, TextFile::kREAD);
  NarrowString lineA;
  NarrowString lineB;
  while (true) {
    const bool moreA = a.readLine(lineA);
    const bool moreB = b.readLine(lineB);
    if (!moreA || !moreB) return moreA == moreB;
    if (!linesAgree(lineA, lineB)) return false;
  }
}

}  // namespace

void BucketManager::purgeStore() {
  TarnhiveStatus own;
  guardedRun(&own, [&] {
    const WideString callbackName = options_ ? options_->text(kCALLBACKDLLNAME) : WideString();
    const auto entries = orlo::osdep::FindFiles(path::join(directory_, WideString(u"*.*")),
                                                orlo::osdep::kFIND_HIDDEN, true);
    for (const WideString& entry : entries) {
      if (path::isDirectory(entry)) continue;
      const WideString name = path::fileName(entry);
      if (name == WideString(kRunCounterName) || name == callbackName) continue;
      path::deleteFile(entry, true);
    }
  });
}

void dumpRegistry(IBucketManager& manager, const WideString& directory,
                  const WideString& fileName) {
  TarnhiveStatus own;
  orlo::RefPtr<IBucketCase> tree(new BucketCase());
  if (!manager.getBucketTree(WideString(u"/"), tree.get(), &own)) return;
  guardedRun(&own, [&] {
    const WideString output = path::join(directory, fileName);
    if (path::exists(output)) path::deleteFile(output);
    TextFile file;
    file.open(output, TextFile::kWRITE);
    const std::uint32_t handle = tree->openEnumeration();
    for (orlo::RefPtr<IBucket> bucket = orlo::RefPtr<IBucket>::adopt(tree->enumFirstBucket(handle));
         bucket; bucket = orlo::RefPtr<IBucket>::adopt(tree->enumNextBucket(handle, &own))) {
      if (auto* typed = dynamic_cast<Bucket*>(bucket.get())) {
        file.write(orlo::toNarrow(typed->toText()));
      }
    }
    tree->closeEnumeration(handle);
    file.close();
  });
}

bool compareWithReference(const WideString& directory, const WideString& fileName) {
  WideString dumpName(u"temp_");
  dumpName += fileName;
  bool passed = false;
  TarnhiveStatus own;
  guardedRun(&own, [&] {
    passed = filesAgree(path::join(directory, fileName), path::join(directory, dumpName));
  });
  guardedRun(&own, [&] {
    TextFile results;
    results.open(path::join(directory, WideString(u"debugResults.txt")), TextFile::kWRITE);
    results.write(NarrowString(passed ? "file compare passed\r\n" : "file compare failed\r\n"));
  });
  return passed;
}

void BucketManager::runStartupCheck() {
  const WideString& fileName = options_->text(kDEBUGCOMPAREREGATSTARTFILE);
  switch (options_->integerValue(kDEBUGCOMPAREREGATSTARTMODE)) {
    case 1: {
      WideString dumpName(u"temp_");
      dumpName += fileName;
      dumpRegistry(*this, directory_, dumpName);
      compareWithReference(directory_, fileName);
      break;
    }
    case 2:
      dumpRegistry(*this, directory_, fileName);
      break;
    default:
      break;
  }
}

}  // namespace vesk::tarnhive
