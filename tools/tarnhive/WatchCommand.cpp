// watch: reports every commit that any process makes, once and in order,
// from the library's change feed. Commits that a compaction folded before
// the feed read them come as one net change. With -v, the values of each
// written bucket that differ from what the watcher saw before are listed
// (read as the bucket stands when the commit is reported).
#include <algorithm>
#include <cstdio>
#include <map>

#include "Commands.h"
#include "LibraryReports.h"
#include "Names.h"
#include "Output.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"
#include "ValueText.h"

namespace vesk::tarnhive::tool {
namespace {

// One commit as reported.
struct Change {
  std::uint64_t commit = 0;
  bool folded = false;
  std::vector<std::u16string> written;
  std::vector<std::u16string> deleted;
  Json details = Json::array();  // value changes, with -v
};

class Watcher {
 public:
  Watcher(const GlobalOptions& options, Session& session, std::u16string root, bool verbose)
      : options_(options), session_(session), root_(std::move(root)), verbose_(verbose) {
    TarnhiveStatus status;
    IChangeFeed* opened = nullptr;
    registryObject().openChangeFeed(&opened, &status);
    require(status, "opening the change feed");
    feed_ = RefPtr<IChangeFeed>::adopt(opened);
    feed_->getCursor(&cursor_, &status);
    require(status, "reading the change feed");
    if (verbose_ && session_.find(root_)) {
      for (const RefPtr<IBucket>& bucket : session_.subtree(root_)) {
        known_[fromWide(bucket->getFullName())] = readValues(*bucket, false);
      }
    }
  }

  // Waits up to a second for commits, and reports them.
  void look() {
    TarnhiveStatus status;
    if (!feed_->waitForChange(cursor_, 1000, &status)) {
      require(status, "waiting for commits");
      return;
    }
    IChangeList* list = nullptr;
    feed_->readChanges(cursor_, &list, &cursor_, &status);
    require(status, "reading the change feed");
    RefPtr<IChangeList> changes = RefPtr<IChangeList>::adopt(list);
    Change change;
    for (std::uint32_t i = 0; i < changes->getCount(&status); ++i) {
      std::uint64_t commit = 0;
      bool written = false;
      bool net = false;
      orlo::WideString name;
      changes->getChange(i, &commit, &written, &net, name, &status);
      if (commit != change.commit) {
        emit(change);
        change = Change();
        change.commit = commit;
        change.folded = net;
      }
      const std::u16string bucket = fromWide(name);
      if (!isAtOrBelow(bucket, root_)) continue;
      (written ? change.written : change.deleted).push_back(bucket);
    }
    require(status, "reading the change feed");
    emit(change);
  }

 private:
  void describeValues(Change& change, const std::u16string& bucket) {
    const auto before = known_.find(bucket);
    RefPtr<IBucket> now = session_.find(bucket);
    const NamedValues after = now ? readValues(*now, false) : NamedValues();
    const auto lookUp = [](const NamedValues* values, const std::u16string& name) -> const Value* {
      if (values == nullptr) return nullptr;
      for (const auto& entry : *values) {
        if (sameName(entry.first, name)) return &entry.second;
      }
      return nullptr;
    };
    const NamedValues* old = before == known_.end() ? nullptr : &before->second;
    for (const auto& [name, value] : after) {
      const Value* was = lookUp(old, name);
      if (was != nullptr && *was == value) continue;
      Json entry = toJson(value);
      entry["bucket"] = nameKey(bucket);
      entry["name"] = nameKey(name);
      change.details.push_back(entry);
    }
    if (old != nullptr) {
      for (const auto& [name, value] : *old) {
        if (lookUp(&after, name) == nullptr) {
          change.details.push_back({{"bucket", nameKey(bucket)}, {"name", nameKey(name)}, {"removed", true}});
        }
      }
    }
    known_[bucket] = after;
  }

  void emit(Change& change) {
    if (change.written.empty() && change.deleted.empty()) return;
    std::sort(change.written.begin(), change.written.end());
    std::sort(change.deleted.begin(), change.deleted.end());
    if (verbose_) {
      for (const auto& name : change.written) describeValues(change, name);
      for (const auto& name : change.deleted) known_.erase(name);
    }
    Json written = Json::array(), deleted = Json::array();
    for (const auto& name : change.written) written.push_back(nameKey(name));
    for (const auto& name : change.deleted) deleted.push_back(nameKey(name));
    if (options_.json) {
      Json line{{"commit", change.commit}, {"compacted", change.folded}, {"written", written},
                {"deleted", deleted}};
      if (verbose_) line["changes"] = change.details;
      printLine(line.dump());
    } else {
      std::string line = "commit " + std::to_string(change.commit);
      if (change.folded) line += " (compacted: net change)";
      line += ":";
      if (!written.empty()) line += " written " + joined(change.written);
      if (!written.empty() && !deleted.empty()) line += ";";
      if (!deleted.empty()) line += " deleted " + joined(change.deleted);
      printLine(line);
      if (verbose_) printDetails(change.details);
    }
    std::fflush(stdout);
  }

  static std::string joined(const std::vector<std::u16string>& names) {
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : ", ") + displayName(name);
    return text;
  }

  static void printDetails(const Json& details) {
    for (const Json& entry : details) {
      std::string line = "  " + entry["bucket"].get<std::string>() + " " + entry["name"].get<std::string>();
      if (entry.contains("removed")) {
        printLine(line + " removed");
      } else {
        printLine(line + " = " + entry["type"].get<std::string>() + " " +
                  displayText(fromJson(entry, "a change")));
      }
    }
  }

  const GlobalOptions& options_;
  Session& session_;
  std::u16string root_;
  bool verbose_;
  RefPtr<IChangeFeed> feed_;
  std::uint64_t cursor_ = 0;
  std::map<std::u16string, NamedValues> known_;
};

}  // namespace

void watchRegistry(const GlobalOptions& options, const std::string& path, bool verbose) {
  requireDirectory(options);
  Session session(options);
  Watcher watcher(options, session, normalizePath(path), verbose);
  std::fprintf(stderr, "tarnhive: watching %s\n", session.directory().c_str());
  std::fflush(stderr);
  for (;;) watcher.look();
}

}  // namespace vesk::tarnhive::tool
