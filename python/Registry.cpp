// The registry through the tool's session, values and JSON transfer, so that
// the module reads, writes and moves values exactly as the tool does.
#include "Registry.h"

#include <algorithm>

#include "Names.h"
#include "ToolError.h"
#include "Transfer.h"
#include "ValueAccess.h"

namespace vesk::tarnhive::python {
namespace {

using tool::fromWide;
using tool::toWide;

[[noreturn]] void bucketNotFound(const std::u16string& path) {
  throw tool::ToolError(tool::kExitNotFound,
                        "the bucket " + tool::displayName(path) + " does not exist",
                        kWBUCKETNOTFOUND);
}

std::string nameKey(const std::u16string& path) {
  const Digest digest(toWide(tool::normalizeName(path)));
  return std::string(reinterpret_cast<const char*>(digest.bytes()), Digest::kSize);
}

}  // namespace

Registry::Registry(const std::u16string& directory, const std::u16string& iniFile) {
  TarnhiveStatus status;
  ITarnhive2* registry = GetInterface(2, &status);
  tool::require(status, "loading the registry library");
  IBucketManager* made = nullptr;
  registry->createBucketManager(&made, toWide(directory), toWide(iniFile), &status);
  manager_ = RefPtr<IBucketManager>::adopt(made);
  const std::string where =
      directory.empty() ? "the default registry" : tool::displayName(directory);
  tool::require(status, "opening " + where);
  if (!manager_) {
    throw tool::ToolError(tool::kExitDamaged, "opening " + where + ": the library gave no bucket manager",
                          kINTERNALERROR);
  }
}

tool::Session Registry::session(double timeout) {
  tool::GlobalOptions options;
  options.timeout = timeout;
  return tool::Session(manager_, options);
}

RefPtr<IBucket> Registry::existing(const std::u16string& path) {
  RefPtr<IBucket> bucket = session(-1).find(tool::normalizeName(path));
  if (!bucket) bucketNotFound(tool::normalizeName(path));
  return bucket;
}

std::u16string Registry::directory() {
  TarnhiveStatus status;
  orlo::WideString directory;
  manager_->getDirectory(directory, &status);
  tool::require(status, "reading the registry directory");
  return fromWide(directory);
}

std::u16string Registry::defaultDirectory() {
  TarnhiveStatus status;
  orlo::WideString directory;
  manager_->getDefaultDirectory(directory, &status);
  tool::require(status, "reading the default registry directory");
  return fromWide(directory);
}

bool Registry::contains(const std::u16string& path) {
  TarnhiveStatus status;
  const bool found = manager_->bucketExists(toWide(tool::normalizeName(path)), &status);
  tool::require(status, "looking for " + tool::displayName(path));
  return found;
}

std::optional<BucketValues> Registry::values(const std::u16string& path) {
  RefPtr<IBucket> bucket = session(-1).find(tool::normalizeName(path));
  if (!bucket) return std::nullopt;
  return BucketValues(fromWide(bucket->getFullName()), tool::readValues(*bucket, false));
}

std::vector<std::u16string> Registry::children(const std::u16string& path) {
  std::vector<std::u16string> names = tool::childLinks(*existing(path));
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<BucketValues> Registry::subtree(const std::u16string& path) {
  existing(path);
  std::vector<BucketValues> buckets;
  for (const RefPtr<IBucket>& bucket : session(-1).subtree(tool::normalizeName(path))) {
    buckets.emplace_back(fromWide(bucket->getFullName()), tool::readValues(*bucket, false));
  }
  return buckets;
}

std::string Registry::exportText(const std::u16string& path) {
  existing(path);
  tool::Session reader = session(-1);
  return tool::exportDocument(reader, tool::normalizeName(path), false).dump(2) + "\n";
}

void Registry::importText(const std::string& text, const std::optional<std::u16string>& root,
                          bool replace, double timeout) {
  const tool::Json document = tool::parseDocument(text);
  const tool::ImportPlan plan = tool::planImport(document, root, replace);
  tool::Session writer = session(timeout);
  tool::applyImport(writer, plan, false);
}

Change::Change(Registry& registry, double timeout)
    : session_(registry.manager(), [timeout] {
        tool::GlobalOptions options;
        options.timeout = timeout;
        return options;
      }()),
      update_(session_) {}

RefPtr<IBucket> Change::bucket(const std::u16string& path, bool make) {
  const std::u16string name = tool::normalizeName(path);
  const std::string key = nameKey(name);
  if (auto found = changed_.find(key); found != changed_.end()) return found->second;
  const bool gone = std::any_of(deleted_.begin(), deleted_.end(), [&](const std::u16string& root) {
    return tool::isAtOrBelow(name, root);
  });
  RefPtr<IBucket> copy = gone ? RefPtr<IBucket>() : session_.find(name);
  if (!copy && make) {
    TarnhiveStatus status;
    IBucket* made = nullptr;
    session_.manager().newBucket(&made, toWide(name), &status);
    copy = RefPtr<IBucket>::adopt(made);
    tool::require(status, "making " + tool::displayName(name));
  }
  if (copy) changed_[key] = copy;
  return copy;
}

BucketValueType Change::typeOf(const std::u16string& path, const std::u16string& name) {
  RefPtr<IBucket> found = bucket(path, false);
  if (!found) return kNOTSET;
  TarnhiveStatus status;
  RefPtr<IBucketValue> value = RefPtr<IBucketValue>::adopt(found->getValue(toWide(name), &status));
  return value ? value->getType() : kNOTSET;
}

void Change::set(const std::u16string& path, const std::u16string& name, const Value& value) {
  RefPtr<IBucket> target = bucket(path, true);
  TarnhiveStatus status;
  tool::storeValue(*target, name, value, &status);
  tool::require(status, "setting \"" + tool::displayName(name) + "\" of " + tool::displayName(path));
  update_.write(*target);
  dirty_ = true;
}

void Change::removeValue(const std::u16string& path, const std::u16string& name) {
  RefPtr<IBucket> target = bucket(path, false);
  if (!target) bucketNotFound(tool::normalizeName(path));
  if (!target->removeValue(toWide(name))) {
    tool::fail(tool::kExitNotFound, "the bucket " + tool::displayName(tool::normalizeName(path)) +
                                        " has no value \"" + tool::displayName(name) + "\"");
  }
  update_.write(*target);
  dirty_ = true;
}

void Change::removeBucket(const std::u16string& path) {
  const std::u16string name = tool::normalizeName(path);
  if (!bucket(name, false)) bucketNotFound(name);
  update_.remove(name);
  std::erase_if(changed_, [&](const auto& entry) {
    return tool::isAtOrBelow(fromWide(entry.second->getFullName()), name);
  });
  deleted_.push_back(name);
  dirty_ = true;
}

void Change::commit() {
  // An update that changed nothing ends without a commit block.
  if (dirty_) update_.commit();
}

}  // namespace vesk::tarnhive::python
