// The allocation failure of the support library's storage: a std::bad_alloc
// whose text is "bad allocation", thrown whenever the task allocator yields
// no block.
#pragma once

#include <new>

namespace vesk::orlo {

class BadAllocation : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

}  // namespace vesk::orlo
