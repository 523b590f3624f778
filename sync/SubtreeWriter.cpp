// Each bucket is read once, under the lock, before anything is written; the
// writes come first and the deletions last, each deletion of a bucket whose
// parent is not deleted too (a deletion removes the whole subtree).
#include "SubtreeWriter.h"

#include <algorithm>
#include <map>
#include <set>

#include "Names.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"

namespace vesk::tarnhive::sync {
namespace {

using tool::NamedValues;

Digest digestOf(const std::u16string& name) { return Digest(tool::toWide(name)); }

bool sameValues(IBucket& bucket, const NamedValues& values) {
  return tool::valuesJson(tool::readValues(bucket, false)) == tool::valuesJson(values);
}

// True when the registry's bucket (null: none) is in the form `expected`.
bool holds(IBucket* actual, const Desired& expected) {
  switch (expected.kind) {
    case Desired::kAbsent: return actual == nullptr;
    case Desired::kParent: return actual != nullptr && tool::readValues(*actual, false).empty();
    case Desired::kValues: return actual != nullptr && sameValues(*actual, expected.values);
    case Desired::kHeld: return true;
  }
  return true;
}

enum class Action { kNone, kWrite, kDelete };

Action actionFor(IBucket* actual, const Desired& after) {
  switch (after.kind) {
    case Desired::kValues: return holds(actual, after) ? Action::kNone : Action::kWrite;
    case Desired::kParent:
      return actual != nullptr && !holds(actual, after) ? Action::kWrite : Action::kNone;
    case Desired::kAbsent: return actual != nullptr ? Action::kDelete : Action::kNone;
    case Desired::kHeld: return Action::kNone;
  }
  return Action::kNone;
}

std::size_t depthOf(const std::u16string& name) { return std::count(name.begin(), name.end(), u'/'); }

}  // namespace

SubtreeWriter::SubtreeWriter(tool::Session& session, std::u16string subtree)
    : session_(session), subtree_(std::move(subtree)) {}

SyncRecord SubtreeWriter::record() {
  RefPtr<IBucket> root = session_.find(subtree_);
  return root ? readRecord(*root) : SyncRecord{};
}

CommitOutcome SubtreeWriter::commit(const std::vector<std::u16string>& buckets, bool wholeSubtree,
                                    const AfterOf& afterOf, const BeforeOf& beforeOf,
                                    const SyncRecord& record) {
  tool::Update update(session_);
  // One name per bucket, ignoring case; the keys' spelling first.
  std::map<Digest, std::u16string> names;
  for (const std::u16string& name : buckets) names.emplace(digestOf(name), name);
  if (wholeSubtree && session_.find(subtree_)) {
    for (const RefPtr<IBucket>& bucket : session_.subtree(subtree_)) {
      const std::u16string name = tool::fromWide(bucket->getFullName());
      if (name.size() > subtree_.size()) names.emplace(digestOf(name), name);
    }
  }
  CommitOutcome outcome;
  std::vector<std::pair<std::u16string, RefPtr<IBucket>>> deletions;
  for (const auto& [digest, name] : names) {
    RefPtr<IBucket> actual = session_.find(name);
    const Desired after = afterOf(name);
    const Action action = actionFor(actual.get(), after);
    if (action == Action::kNone) continue;
    const std::optional<Desired> before = beforeOf(name);
    if (before && !holds(actual.get(), *before)) outcome.overwritten.push_back(name);
    if (action == Action::kWrite) {
      write(update, actual, after.name.empty() ? name : after.name, after.values);
      ++outcome.written;
    } else {
      deletions.emplace_back(name, actual);
    }
  }
  std::sort(deletions.begin(), deletions.end(),
            [](const auto& a, const auto& b) { return depthOf(a.first) < depthOf(b.first); });
  std::set<Digest> deleted;
  for (const auto& [name, bucket] : deletions) {
    bool underDeleted = false;
    for (std::u16string parent = tool::parentOf(name); parent.size() > subtree_.size() && !underDeleted;
         parent = tool::parentOf(parent)) {
      underDeleted = deleted.count(digestOf(parent)) != 0;
    }
    deleted.insert(digestOf(name));
    if (underDeleted) continue;
    update.remove(tool::fromWide(bucket->getFullName()));
    ++outcome.deleted;
  }
  if (outcome.written == 0 && outcome.deleted == 0 && this->record() == record) return outcome;
  writeRecord(update, record);
  update.commit();
  return outcome;
}

void SubtreeWriter::write(tool::Update& update, RefPtr<IBucket> bucket, const std::u16string& name,
                          const NamedValues& values) {
  TarnhiveStatus status;
  if (!bucket) {
    IBucket* made = nullptr;
    session_.manager().createBucket(&made, tool::toWide(name), true, true, &status);
    bucket = RefPtr<IBucket>::adopt(made);
    tool::require(status, "making " + tool::displayName(name));
  }
  for (const auto& [old, ignored] : tool::readValues(*bucket, false)) {
    bucket->removeValue(tool::toWide(old));
  }
  for (const auto& [valueName, value] : values) {
    tool::storeValue(*bucket, valueName, value, &status);
    tool::require(status, "setting \"" + tool::displayName(valueName) + "\" of " + tool::displayName(name));
  }
  update.write(*bucket);
}

void SubtreeWriter::writeRecord(tool::Update& update, const SyncRecord& record) {
  TarnhiveStatus status;
  RefPtr<IBucket> root = session_.find(subtree_);
  if (!root) {
    IBucket* made = nullptr;
    session_.manager().createBucket(&made, tool::toWide(subtree_), true, true, &status);
    root = RefPtr<IBucket>::adopt(made);
    tool::require(status, "making " + tool::displayName(subtree_));
  }
  storeRecord(*root, record);
  update.write(*root);
}

}  // namespace vesk::tarnhive::sync
