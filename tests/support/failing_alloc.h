// Makes chosen allocations fail, or calls a function in the middle of one, and counts the blocks in use.
//
// Link with failing_alloc: everything in the program and its static libraries then allocates through failing_alloc.cpp,
// while shared libraries keep the C library's own functions. With failing_alloc_everywhere these do too, the C library
// included, unless a sanitizer has replaced them already.
#pragma once

#include <gtest/gtest.h>

namespace quill::test {

long allocations();       // the number so far
long live_allocations();  // the number of blocks that are not freed yet

// While the object lives, the n-th allocation from now on (the first is 1) fails. With a hook it succeeds after a call
// of the hook. The hook's own allocations succeed and are not counted.
class NthAllocation {
public:
    explicit NthAllocation(int n, void (*hook)() = nullptr);
    ~NthAllocation();
    NthAllocation(const NthAllocation &) = delete;
    NthAllocation &operator=(const NthAllocation &) = delete;

    bool reached() const;
};

// Calls attempt, which returns whether it succeeded. Its first allocation fails, then its second, and so on, until no
// allocation fails and it must succeed. An attempt with a failure must not succeed. It must not keep memory, except for
// the given number of blocks over all attempts (slabs of pools). unchanged is called after each attempt to check the
// state. Returns the number of failures.
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
