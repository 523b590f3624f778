#include "manager/ChangeJournal.h"

#include <algorithm>
#include <utility>

#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive {

bool ChangeJournal::active() const {
  std::lock_guard<std::mutex> hold(lock_);
  return !acknowledged_.empty();
}

std::uint64_t ChangeJournal::attach() {
  std::lock_guard<std::mutex> hold(lock_);
  const std::uint64_t feed = nextFeed_++;
  acknowledged_[feed] = newest_;
  return feed;
}

void ChangeJournal::detach(std::uint64_t feed) {
  std::lock_guard<std::mutex> hold(lock_);
  acknowledged_.erase(feed);
  dropAcknowledged();
}

void ChangeJournal::add(bool net, std::vector<orlo::WideString> written,
                        std::vector<orlo::WideString> deleted) {
  std::lock_guard<std::mutex> hold(lock_);
  ++newest_;
  if (acknowledged_.empty()) return;
  commits_.push_back(Commit{newest_, net, std::move(written), std::move(deleted)});
  if (commits_.size() > kMaxCommits) foldOldest();
}

std::uint64_t ChangeJournal::newest() const {
  std::lock_guard<std::mutex> hold(lock_);
  return newest_;
}

std::vector<ChangeJournal::Commit> ChangeJournal::since(std::uint64_t feed, std::uint64_t cursor) {
  std::lock_guard<std::mutex> hold(lock_);
  const auto known = acknowledged_.find(feed);
  if (known != acknowledged_.end()) {
    known->second = std::max(known->second, std::min(cursor, newest_));
    dropAcknowledged();
  }
  std::vector<Commit> after;
  for (const Commit& commit : commits_) {
    if (commit.cursor > cursor) after.push_back(commit);
  }
  return after;
}

void ChangeJournal::dropAcknowledged() {
  if (acknowledged_.empty()) {
    commits_.clear();
    return;
  }
  std::uint64_t oldest = newest_;
  for (const auto& [feed, cursor] : acknowledged_) oldest = std::min(oldest, cursor);
  while (!commits_.empty() && commits_.front().cursor <= oldest) commits_.pop_front();
}

// The oldest half becomes one net change under the cursor of its newest
// commit: the last thing that happened to each bucket, once.
void ChangeJournal::foldOldest() {
  const std::size_t count = commits_.size() / 2;
  std::map<Digest, std::pair<bool, orlo::WideString>> last;  // written?, name
  for (std::size_t i = 0; i < count; ++i) {
    for (const orlo::WideString& name : commits_[i].written) last[Digest(name)] = {true, name};
    for (const orlo::WideString& name : commits_[i].deleted) last[Digest(name)] = {false, name};
  }
  Commit folded;
  folded.cursor = commits_[count - 1].cursor;
  folded.net = true;
  for (auto& [digest, outcome] : last) {
    (outcome.first ? folded.written : folded.deleted).push_back(std::move(outcome.second));
  }
  commits_.erase(commits_.begin(), commits_.begin() + static_cast<std::ptrdiff_t>(count));
  commits_.push_front(std::move(folded));
}

}  // namespace vesk::tarnhive
