// liblock.h - the lock abstraction: i_lock and its recursive-mutex
// implementation c_lock. Every measurement and chart instance owns one; the
// colour-conversion and wedge-division units each hold a static one.
#ifndef HXTVEL_LIBLOCK_H
#define HXTVEL_LIBLOCK_H

#include <pthread.h>

#include "tracelog.h"

namespace hxtvel {

class i_lock {
public:
    virtual void enter() = 0;
    virtual void leave() = 0;

protected:
    ~i_lock() = default;
};

// Recursive: a thread holding it may enter again; each enter needs a leave.
class c_lock final : public i_lock {
public:
    c_lock();
    ~c_lock();
    // Inline so that a guard over a c_lock costs no calls beyond the mutex's.
    void enter() override {
        HX_TRACE(HX_LV_DEBUG, "enter in");
        pthread_mutex_lock(&mutex_);
        HX_TRACE(HX_LV_DEBUG, "enter out");
    }
    void leave() override {
        HX_TRACE(HX_LV_DEBUG, "leave in");
        pthread_mutex_unlock(&mutex_);
        HX_TRACE(HX_LV_DEBUG, "cleave out");
    }
    c_lock(const c_lock &) = delete;
    c_lock &operator=(const c_lock &) = delete;

private:
    pthread_mutex_t mutex_;
};

// Holds a lock for one scope; over a c_lock the calls are direct.
template <typename Lock>
class lock_guard {
public:
    explicit lock_guard(Lock &lock) : lock_(lock) { lock_.enter(); }
    ~lock_guard() { lock_.leave(); }
    lock_guard(const lock_guard &) = delete;
    lock_guard &operator=(const lock_guard &) = delete;

private:
    Lock &lock_;
};

}  // namespace hxtvel

#endif  // HXTVEL_LIBLOCK_H
