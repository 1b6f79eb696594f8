// Allocation failures on demand, for tests of what the host does when memory runs out. This
// test program replaces operator new and aligned_alloc (AllocationFailure.cpp) so that one chosen
// allocation of one thread fails, as it would on a machine out of memory.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "sdk/Com.h"

namespace alloctest {

// From now on, allocation number `at` (0 the next) that this thread makes through operator new
// or aligned_alloc fails: std::bad_alloc, or null from the nothrow forms and aligned_alloc.
void ArmFailure(long at);
// Ends the failure window; true when the armed allocation was reached.
bool DisarmFailure();

// Runs call(fresh()) once for each allocation the call makes, with that one allocation failing,
// and then once with none failing. A run whose allocation failed must return a failure code and
// nothing may be thrown out of the call; the last run must succeed. `fresh` makes the state a run
// starts from and after(state, hr) checks what the run left, both outside the failure window.
// Returns the number of failing runs (the allocations the call makes); `what` names the call in
// messages.
template <class Fresh, class Call, class After>
long EachAllocationFailing(const std::string& what, Fresh fresh, Call call, After after) {
  for (long at = 0; at < 100000; ++at) {
    auto state = fresh();
    HRESULT hr = S_OK;
    bool threw = false;
    ArmFailure(at);
    try {
      hr = call(state);
    } catch (...) {
      threw = true;
    }
    const bool reached = DisarmFailure();
    if (threw) {
      ADD_FAILURE() << what << ": an exception left the call when allocation " << at << " failed";
      continue;
    }
    after(state, hr);
    if (!reached) {
      EXPECT_EQ(hr, S_OK) << what << ", with every allocation granted";
      return at;
    }
    EXPECT_TRUE(Failed(hr)) << what << ": allocation " << at << " failed, yet the call returned "
                            << hr;
  }
  ADD_FAILURE() << what << " never finished without a failing allocation";
  return 0;
}

template <class Fresh, class Call>
long EachAllocationFailing(const std::string& what, Fresh fresh, Call call) {
  return EachAllocationFailing(what, fresh, call, [](auto&, HRESULT) {});
}

}  // namespace alloctest
