// alloc_failure.h - refuses one chosen non-throwing allocation, to test the
// out-of-memory paths of code that allocates with new (std::nothrow).
// Include it in one source file of a test program only: it replaces the
// program's non-throwing operator new[], which otherwise takes its memory
// from the throwing form (so sanitizers still pair it with delete[]).
//
//   hxtvel_test::RefuseNothrowAlloc refuse(3);  // the third one from now fails
#ifndef HXTVEL_ALLOC_FAILURE_H
#define HXTVEL_ALLOC_FAILURE_H

#include <atomic>
#include <new>

namespace hxtvel_test {

// Non-throwing allocations to go until the refused one; 0 = none refused.
inline std::atomic<long> g_nothrow_countdown{0};

struct RefuseNothrowAlloc {
    explicit RefuseNothrowAlloc(long nth) { g_nothrow_countdown = nth; }
    ~RefuseNothrowAlloc() { g_nothrow_countdown = 0; }
    bool spent() const { return g_nothrow_countdown == 0; }
};

}  // namespace hxtvel_test

void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    long left = hxtvel_test::g_nothrow_countdown;
    while (left > 0 && !hxtvel_test::g_nothrow_countdown.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 1) return nullptr;
    try {
        return ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}

#endif  // HXTVEL_ALLOC_FAILURE_H
