#include "manager/ChangeFeed.h"

#include <chrono>

#include "manager/BucketManager.h"
#include "status/StatusGuard.h"

namespace vesk::tarnhive {

std::uint32_t ChangeList::getCount(TarnhiveStatus* status) {
  if (failed(status)) return 0;
  return static_cast<std::uint32_t>(entries_.size());
}

bool ChangeList::getChange(std::uint32_t index, std::uint64_t* commit, bool* written, bool* net,
                           orlo::WideString& fullName, TarnhiveStatus* status) {
  if (failed(status)) return false;
  if (index >= entries_.size()) {
    setStatus(status, kINDEXOUTOFRANGE);
    return false;
  }
  return guardedCall(status, false, [&] {
    const Entry& entry = entries_[index];
    if (commit != nullptr) *commit = entry.commit;
    if (written != nullptr) *written = entry.written;
    if (net != nullptr) *net = entry.net;
    fullName = entry.fullName;
    return true;
  });
}

ChangeFeed::ChangeFeed(BucketManager& manager)
    : manager_(&manager), number_(manager.changeJournal().attach()) {}

ChangeFeed::~ChangeFeed() { manager_->changeJournal().detach(number_); }

bool ChangeFeed::getCursor(std::uint64_t* cursor, TarnhiveStatus* status) {
  if (failed(status)) return false;
  if (cursor == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  return guardedCall(status, false, [&] {
    manager_->catchUp(status);
    if (failed(status)) return false;
    *cursor = manager_->changeJournal().newest();
    return true;
  });
}

bool ChangeFeed::readChanges(std::uint64_t cursor, IChangeList** changes, std::uint64_t* next,
                             TarnhiveStatus* status) {
  if (changes != nullptr) *changes = nullptr;
  if (failed(status)) return false;
  if (changes == nullptr || next == nullptr) {
    setStatus(status, kNULLARGUMENT);
    return false;
  }
  return guardedCall(status, false, [&] {
    manager_->catchUp(status);
    if (failed(status)) return false;
    ChangeJournal& journal = manager_->changeJournal();
    const std::uint64_t newest = journal.newest();
    std::vector<ChangeList::Entry> entries;
    for (ChangeJournal::Commit& commit : journal.since(number_, cursor)) {
      for (orlo::WideString& name : commit.written) {
        entries.push_back({commit.cursor, true, commit.net, std::move(name)});
      }
      for (orlo::WideString& name : commit.deleted) {
        entries.push_back({commit.cursor, false, commit.net, std::move(name)});
      }
    }
    orlo::RefPtr<ChangeList> list(new ChangeList(std::move(entries)));
    *next = std::max(cursor, newest);
    *changes = list.detach();
    return true;
  });
}

bool ChangeFeed::waitForChange(std::uint64_t cursor, std::uint32_t milliseconds,
                               TarnhiveStatus* status) {
  if (failed(status)) return false;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  return guardedCall(status, false, [&] {
    for (;;) {
      manager_->catchUp(status);
      if (failed(status)) return false;
      if (manager_->changeJournal().newest() > cursor) return true;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) return false;
      manager_->waitForCommit(static_cast<std::uint32_t>(left.count()));
    }
  });
}

}  // namespace vesk::tarnhive
