// ls, get and dump: reading buckets through the library.
#include <algorithm>
#include <cstdio>

#include "Commands.h"
#include "Names.h"
#include "Output.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"
#include "ValueText.h"

namespace vesk::tarnhive::tool {
namespace {

// The bucket and its direct children that exist, sorted by name.
std::vector<RefPtr<IBucket>> bucketAndChildren(Session& session, const std::u16string& root) {
  std::vector<RefPtr<IBucket>> buckets{session.get(root)};
  std::vector<std::u16string> children = childLinks(*buckets.front());
  std::sort(children.begin(), children.end());
  for (const std::u16string& child : children) {
    if (RefPtr<IBucket> bucket = session.find(child)) buckets.push_back(bucket);
  }
  return buckets;
}

void printValues(const NamedValues& values) {
  for (const auto& [name, value] : values) {
    printLine("  " + displayName(name) + "  " + typeInfo(value.type)->name + "  " +
              displayText(value));
  }
}

}  // namespace

void listBuckets(const GlobalOptions& options, const std::string& path, bool recursive,
                 bool withValues) {
  Session session(options);
  const std::u16string root = normalizePath(path);
  std::vector<RefPtr<IBucket>> buckets =
      recursive ? session.subtree(root) : bucketAndChildren(session, root);
  // The listed bucket itself is shown only with its values.
  if (!withValues) buckets.erase(buckets.begin());
  Json listing = withValues ? Json::object() : Json::array();
  for (const RefPtr<IBucket>& bucket : buckets) {
    const std::u16string name = fromWide(bucket->getFullName());
    if (options.json && withValues) {
      listing[nameKey(name)] = valuesJson(readValues(*bucket, false));
    } else if (options.json) {
      listing.push_back(nameKey(name));
    } else {
      printLine(displayName(name));
      if (withValues) printValues(readValues(*bucket, false));
    }
  }
  if (options.json) printLine(listing.dump(2));
}

void printValue(const GlobalOptions& options, const std::string& path, const std::string& name) {
  Session session(options);
  const std::u16string root = normalizePath(path);
  RefPtr<IBucket> bucket = session.get(root);
  TarnhiveStatus status;
  RefPtr<IBucketValue> found =
      RefPtr<IBucketValue>::adopt(bucket->getValue(toWide(valueNameOf(name)), &status));
  require(status, "reading " + name + " of " + displayName(root));
  if (!found) fail(kExitNotFound, "the bucket " + displayName(root) + " has no value " + name);
  const Value value = readValue(*found);
  if (options.json) {
    printLine(toJson(value).dump());
    return;
  }
  const TypeInfo& type = *typeInfo(value.type);
  if (!type.array) {
    printLine(elementText(value, 0));
    return;
  }
  for (std::size_t i = 0; i < elementCount(value); ++i) printLine(elementText(value, i));
}

void dumpBuckets(const GlobalOptions& options, const std::string& path) {
  Session session(options);
  for (const RefPtr<IBucket>& bucket : session.subtree(normalizePath(path))) {
    std::fflush(stdout);
    bucket->dump();
  }
  std::fflush(stdout);
}

}  // namespace vesk::tarnhive::tool
