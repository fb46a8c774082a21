// alloc_failure.h - refuses a chosen non-throwing allocation, to test the
// out-of-memory paths of code that allocates with new (std::nothrow).
//
// Include it in exactly one source file of a test program: it replaces the
// program's global non-throwing operator new and new[]. Unarmed, they behave
// as the standard ones (and take their memory from the throwing forms, so
// sanitizers still pair every allocation with its release).
//
//   hxtvel_test::RefuseNothrowAlloc refuse(3);  // the third one from now fails
#ifndef HXTVEL_ALLOC_FAILURE_H
#define HXTVEL_ALLOC_FAILURE_H

#include <atomic>
#include <cstddef>
#include <new>

namespace hxtvel_test {

// Non-throwing allocations left before the refused one; 0 = none refused.
inline std::atomic<long> g_nothrow_countdown{0};

inline bool refuse_this_nothrow_alloc() {
    long left = g_nothrow_countdown.load();
    while (left > 0) {
        if (g_nothrow_countdown.compare_exchange_weak(left, left - 1)) return left == 1;
    }
    return false;
}

// While alive, the n-th non-throwing allocation (1 = the next) is refused.
class RefuseNothrowAlloc {
public:
    explicit RefuseNothrowAlloc(long n) { g_nothrow_countdown = n; }
    ~RefuseNothrowAlloc() { g_nothrow_countdown = 0; }
    // Whether the refusal has happened.
    bool spent() const { return g_nothrow_countdown.load() == 0; }
    RefuseNothrowAlloc(const RefuseNothrowAlloc &) = delete;
    RefuseNothrowAlloc &operator=(const RefuseNothrowAlloc &) = delete;
};

}  // namespace hxtvel_test

void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    if (hxtvel_test::refuse_this_nothrow_alloc()) return nullptr;
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    if (hxtvel_test::refuse_this_nothrow_alloc()) return nullptr;
    try {
        return ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}

#endif  // HXTVEL_ALLOC_FAILURE_H
