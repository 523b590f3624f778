// The change feed: what the processes of the machine commit to the
// registry, commit by commit, for a client that follows it (an editor that
// shows the settings, a service that reloads them) without reading files
// itself or taking the lock.
//
// A feed is opened through ITarnhive3::openChangeFeed for the process's
// bucket manager. Cursors are the feed's own: 0 stands before the first
// change the feed knows, and each commit the feed reports gets the next
// number. Ask with the cursor of the last change read; the answer names the
// cursor to ask with next time. Changes before a cursor that was asked with
// are forgotten.
//
// Commits of every process come back once each and in order, this
// process's own included. When a compaction folded commits of another
// process into the compacted file before this process read them, they come
// back together as one net change (marked net): each bucket written or
// deleted by them, once. A feed that is not read keeps at most about 10,000
// commits; older ones are folded into one net change in the same way.
//
// The library starts no threads: waitForChange sleeps on the caller's
// thread. Each operation takes the status record last, like every other.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

// The changes a feed handed out: one entry per bucket per commit, commits
// in order.
class IChangeList : public vesk::orlo::IRefCounted {
 public:
  // The number of entries.
  virtual std::uint32_t getCount(TarnhiveStatus* status) = 0;
  // Entry `index`: the cursor of its commit (entries of one commit share
  // it), true when the bucket was written (false: deleted), true when the
  // commit is a net change of several, and the bucket's full name. An index
  // past the end gives kINDEXOUTOFRANGE.
  virtual bool getChange(std::uint32_t index, std::uint64_t* commit, bool* written, bool* net,
                         vesk::orlo::WideString& fullName, TarnhiveStatus* status) = 0;

 protected:
  ~IChangeList() = default;
};

class IChangeFeed : public vesk::orlo::IRefCounted {
 public:
  // The cursor of the newest commit that the registry holds now; the
  // changes after it are those still to come.
  virtual bool getCursor(std::uint64_t* cursor, TarnhiveStatus* status) = 0;
  // The changes after `cursor`, in a new list (one reference for the
  // caller; an empty list when nothing changed), and in *next the cursor
  // to ask with next time.
  virtual bool readChanges(std::uint64_t cursor, IChangeList** changes, std::uint64_t* next,
                           TarnhiveStatus* status) = 0;
  // Waits until there is a change after `cursor`, at most `milliseconds`:
  // true when there is one, false without a code when the time ran out.
  virtual bool waitForChange(std::uint64_t cursor, std::uint32_t milliseconds,
                             TarnhiveStatus* status) = 0;

 protected:
  ~IChangeFeed() = default;
};

}  // namespace vesk::tarnhive
