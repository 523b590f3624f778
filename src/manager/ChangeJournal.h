// ChangeJournal: the commits that the process learnt of, its own and other
// processes', kept for the change feeds that are open. Nothing is kept, and
// no names are read for commits, while no feed is open.
//
// Each commit gets the next cursor (from 1). A feed's acknowledged cursor
// is the newest one it asked with; commits that every open feed has
// acknowledged are dropped. When more than kMaxCommits are kept, the oldest
// half is folded into one net change.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <vector>

#include "vesk/orlo/StringBase.h"

namespace vesk::tarnhive {

class ChangeJournal {
 public:
  static constexpr std::size_t kMaxCommits = 10000;

  struct Commit {
    std::uint64_t cursor = 0;
    bool net = false;
    std::vector<orlo::WideString> written;
    std::vector<orlo::WideString> deleted;
  };

  // True while a feed is open.
  bool active() const;
  // Opens a feed; returns its number. Its acknowledged cursor starts at
  // the newest commit.
  std::uint64_t attach();
  void detach(std::uint64_t feed);

  // Appends one commit (`net`: the net change of several).
  void add(bool net, std::vector<orlo::WideString> written, std::vector<orlo::WideString> deleted);

  // The cursor of the newest commit kept or dropped.
  std::uint64_t newest() const;
  // The commits after `cursor`, oldest first; `feed` acknowledges `cursor`.
  std::vector<Commit> since(std::uint64_t feed, std::uint64_t cursor);

 private:
  void dropAcknowledged();
  void foldOldest();

  mutable std::mutex lock_;
  std::deque<Commit> commits_;
  std::uint64_t newest_ = 0;
  std::uint64_t nextFeed_ = 1;
  std::map<std::uint64_t, std::uint64_t> acknowledged_;  // feed -> cursor
};

}  // namespace vesk::tarnhive
