// Makes chosen allocations fail, or calls a function in the middle of one, and counts the blocks in use.
//
// Link with failing_alloc: everything in the program and its static libraries then allocates through failing_alloc.cpp,
// while shared libraries keep the C library's own functions. With failing_alloc_everywhere these do too, the C library
// included, unless a sanitizer has replaced them already.
#pragma once

#include <gtest/gtest.h>

namespace quill::test {

long allocations();       // how many there have been
long live_allocations();  // how many of them were not freed yet

// While it lives, the n-th allocation from now on (the first is 1) fails; with a hook it succeeds, but after a call of
// the hook, whose own allocations succeed and do not count.
class NthAllocation {
public:
    explicit NthAllocation(int n, void (*hook)() = nullptr);
    ~NthAllocation();
    NthAllocation(const NthAllocation &) = delete;
    NthAllocation &operator=(const NthAllocation &) = delete;

    bool reached() const;
};

// Calls attempt, which returns whether it succeeded, with its first allocation failing, then its second, until it meets
// no failure and must succeed. An attempt that met one must not succeed nor keep memory, apart from the given number
// of blocks over all attempts (slabs of pools); unchanged is called after each to check what it left. Returns
// the number of failures.
template <typename Attempt, typename Unchanged>
int expect_failures_survived(Attempt attempt, Unchanged unchanged, long slabs = 0) {
    const long live = live_allocations();
    for (int n = 1;; n++) {
        bool succeeded, failed;
        {
            NthAllocation failing(n);
            succeeded = attempt();
            failed = failing.reached();
        }
        EXPECT_EQ(succeeded, !failed) << "allocation " << n;
        if (!failed || succeeded) return n - 1;
        EXPECT_LE(live, live_allocations()) << "allocation " << n;
        EXPECT_GE(live + slabs, live_allocations()) << "allocation " << n;
        unchanged();
    }
}

template <typename Attempt>
int expect_failures_survived(Attempt attempt) {
    return expect_failures_survived(attempt, [] {});
}

}  // namespace quill::test
