// Makes chosen allocations fail, or calls a function in the middle of one, and counts the blocks in use.
//
// If linked with failing_alloc, the program and its static libraries allocate through failing_alloc.cpp. Shared
// libraries keep the C library's own functions. With failing_alloc_everywhere, shared libraries and the C library
// itself also allocate through failing_alloc.cpp, unless a sanitizer has already replaced the functions.
#pragma once

#include <gtest/gtest.h>

namespace quill::test {

long allocations();       // the number so far
long live_allocations();  // the number of blocks that are not freed yet

// While the object lives, the n-th allocation from now on (the first is 1) fails. With a hook, this allocation calls
// the hook and then succeeds. The hook's own allocations succeed and are not counted.
class NthAllocation {
public:
    explicit NthAllocation(int n, void (*hook)() = nullptr);
    ~NthAllocation();
    NthAllocation(const NthAllocation &) = delete;
    NthAllocation &operator=(const NthAllocation &) = delete;

    bool reached() const;
};

// Calls attempt, which returns whether it succeeded. The first allocation of attempt fails, then the second, and so on.
// An attempt with a failed allocation must not succeed. Such an attempt must not keep memory, except for the given
// number of blocks over all attempts (slabs of pools). The last attempt has no failed allocation and must succeed.
// unchanged is called after each attempt to check the state. Returns the number of failures.
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
