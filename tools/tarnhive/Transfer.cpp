// export and import: a subtree as one JSON document (Transfer.h), with every
// bucket's values as ValueJson writes them (child links are left out: they
// follow from the bucket names). Keys are sorted, so exporting what was
// imported gives the same bytes. An import is checked in full before the
// registry is opened and applied in one update, so it commits all of itself
// or nothing.
#include "Transfer.h"

#include <iostream>
#include <iterator>
#include <map>
#include <set>

#include "Commands.h"
#include "Names.h"
#include "Output.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {
namespace {

constexpr char kFormat[] = "tarnhive";
constexpr int kVersion = 1;

using Plan = std::map<std::u16string, NamedValues>;

std::u16string importRoot(const Json& document, const std::optional<std::u16string>& root) {
  if (root) return normalizeName(*root);
  if (!document.contains("root")) return u"/";
  if (!document["root"].is_string()) fail(kExitUsage, "the document's \"root\" is not a string");
  return normalizeName(nameFromKey(document["root"].get<std::string>(), "the document's root"));
}

// "format" and "version" are compared as JSON values, never converted: a
// field of another type (a number for the format, a string or a number
// beyond int for the version) makes a document of another kind.
Plan readPlan(const Json& document, const std::u16string& root) {
  if (!document.is_object() || !document.contains("format") || document["format"] != kFormat) {
    fail(kExitUsage, "standard input is not a tarnhive export (no \"format\": \"tarnhive\")");
  }
  if (!document.contains("version") || document["version"] != kVersion) {
    fail(kExitUsage, "the export's version is not " + std::to_string(kVersion));
  }
  if (!document.contains("buckets") || !document["buckets"].is_object()) {
    fail(kExitUsage, "the export has no \"buckets\" object");
  }
  Plan plan;
  for (const auto& [key, values] : document["buckets"].items()) {
    const std::string where = "bucket \"" + key + "\"";
    const std::u16string name = nameFromKey(key, where);
    if (normalizeName(name) != name) fail(kExitUsage, where + ": not a full bucket name");
    if (!isAtOrBelow(name, root)) {
      fail(kExitUsage, where + ": not under " + displayName(root));
    }
    plan[name] = valuesFromJson(values, where);
  }
  return plan;
}

bool inFile(const NamedValues& values, const std::u16string& name) {
  for (const auto& entry : values) {
    if (sameName(entry.first, name)) return true;
  }
  return false;
}

// Writes one bucket of the plan; with `replace` its other values go.
void writePlanned(Session& session, Update& update, const std::u16string& name,
                  const NamedValues& values, bool replace) {
  TarnhiveStatus status;
  RefPtr<IBucket> bucket = session.find(name);
  if (!bucket) {
    IBucket* made = nullptr;
    session.manager().createBucket(&made, toWide(name), true, true, &status);
    bucket = RefPtr<IBucket>::adopt(made);
    require(status, "making " + displayName(name));
  }
  if (replace) {
    for (const auto& [old, ignored] : readValues(*bucket, false)) {
      if (!inFile(values, old)) bucket->removeValue(toWide(old));
    }
  }
  for (const auto& [valueName, value] : values) {
    storeValue(*bucket, valueName, value, &status);
    require(status, "setting \"" + displayName(valueName) + "\" of " + displayName(name));
  }
  update.write(*bucket);
}

// The buckets under `root` that the file does not describe and that are no
// ancestor of one it does, without the descendants of another such bucket.
std::vector<std::u16string> bucketsToDelete(Session& session, const std::u16string& root,
                                            const Plan& plan) {
  std::vector<std::u16string> doomed;
  if (!session.find(root)) return doomed;
  for (const RefPtr<IBucket>& bucket : session.subtree(root)) {
    const std::u16string name = fromWide(bucket->getFullName());
    bool keep = name == u"/";
    for (const auto& entry : plan) keep = keep || isAtOrBelow(entry.first, name);
    for (const std::u16string& gone : doomed) keep = keep || isAtOrBelow(name, gone);
    if (!keep) doomed.push_back(name);
  }
  return doomed;
}

}  // namespace

// The parser reports a number too large for a double as out_of_range, not
// as a parse_error: both are malformed input.
Json parseDocument(const std::string& text) {
  try {
    return Json::parse(text);
  } catch (const Json::exception& error) {
    fail(kExitUsage, std::string("standard input is not well-formed JSON: ") + error.what());
  }
}

Json exportDocument(Session& session, const std::u16string& root, bool progress) {
  const std::vector<RefPtr<IBucket>> buckets = session.subtree(root);
  Json document{{"format", kFormat}, {"version", kVersion}, {"root", nameKey(root)}};
  Json& listed = document["buckets"] = Json::object();
  Progress shown("export", buckets.size(), "buckets");
  for (std::size_t i = 0; i < buckets.size(); ++i) {
    listed[nameKey(fromWide(buckets[i]->getFullName()))] = valuesJson(readValues(*buckets[i], false));
    if (progress) shown.step(i + 1);
  }
  return document;
}

ImportPlan planImport(const Json& document, const std::optional<std::u16string>& root,
                      bool replace) {
  ImportPlan plan;
  plan.root = importRoot(document, root);
  plan.buckets = readPlan(document, plan.root);
  plan.replace = replace;
  if (replace && plan.buckets.find(plan.root) == plan.buckets.end()) plan.buckets[plan.root] = {};
  return plan;
}

void applyImport(Session& session, const ImportPlan& plan, bool progress) {
  Update update(session);
  const std::vector<std::u16string> doomed =
      plan.replace ? bucketsToDelete(session, plan.root, plan.buckets) : std::vector<std::u16string>{};
  Progress shown("import", plan.buckets.size() + doomed.size(), "buckets");
  std::size_t done = 0;
  for (const auto& [name, values] : plan.buckets) {
    writePlanned(session, update, name, values, plan.replace);
    if (progress) shown.step(++done);
  }
  // Deletions come last: each removes its link from a parent that the
  // writes above may have put into the update.
  for (const std::u16string& name : doomed) {
    update.remove(name);
    if (progress) shown.step(++done);
  }
  update.commit();
}

void exportTree(const GlobalOptions& options, const std::string& path) {
  Session session(options);
  printLine(exportDocument(session, normalizePath(path), true).dump(2));
}

void importTree(const GlobalOptions& options, const std::optional<std::string>& path,
                bool replace) {
  const Json document = parseDocument(
      std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()));
  const ImportPlan plan =
      planImport(document, path ? std::optional(normalizePath(*path)) : std::nullopt, replace);
  Session session(options);
  applyImport(session, plan, true);
}

}  // namespace vesk::tarnhive::tool
