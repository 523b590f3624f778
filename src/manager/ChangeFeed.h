// ChangeFeed and ChangeList: the change feed of the public interface over
// the bucket manager's journal of commits.
#pragma once

#include <cstdint>
#include <vector>

#include "manager/ChangeJournal.h"
#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/tarnhive/IChangeFeed.h"

namespace vesk::tarnhive {

class BucketManager;

class ChangeList
    : public orlo::RefCountedImplementation<IChangeList, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  struct Entry {
    std::uint64_t commit;
    bool written;
    bool net;
    orlo::WideString fullName;
  };
  explicit ChangeList(std::vector<Entry> entries) : entries_(std::move(entries)) {}

  std::uint32_t getCount(TarnhiveStatus* status) override;
  bool getChange(std::uint32_t index, std::uint64_t* commit, bool* written, bool* net,
                 orlo::WideString& fullName, TarnhiveStatus* status) override;

 private:
  std::vector<Entry> entries_;
};

class ChangeFeed
    : public orlo::RefCountedImplementation<IChangeFeed, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  explicit ChangeFeed(BucketManager& manager);
  ~ChangeFeed() override;
  ChangeFeed(const ChangeFeed&) = delete;
  ChangeFeed& operator=(const ChangeFeed&) = delete;

  bool getCursor(std::uint64_t* cursor, TarnhiveStatus* status) override;
  bool readChanges(std::uint64_t cursor, IChangeList** changes, std::uint64_t* next,
                   TarnhiveStatus* status) override;
  bool waitForChange(std::uint64_t cursor, std::uint32_t milliseconds,
                     TarnhiveStatus* status) override;

 private:
  orlo::RefPtr<BucketManager> manager_;
  std::uint64_t number_;
};

}  // namespace vesk::tarnhive
