// liblock.h - the lock abstraction: i_lock and its recursive-mutex
// implementation c_lock. Every measurement and chart instance owns one; the
// colour-conversion and wedge-division units each hold a static one.
#ifndef HXTVEL_LIBLOCK_H
#define HXTVEL_LIBLOCK_H

#include <pthread.h>

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
    void enter() override;
    void leave() override;
    c_lock(const c_lock &) = delete;
    c_lock &operator=(const c_lock &) = delete;

private:
    pthread_mutex_t mutex_;
};

// Holds an i_lock for one scope.
class lock_guard {
public:
    explicit lock_guard(i_lock &lock) : lock_(lock) { lock_.enter(); }
    ~lock_guard() { lock_.leave(); }
    lock_guard(const lock_guard &) = delete;
    lock_guard &operator=(const lock_guard &) = delete;

private:
    i_lock &lock_;
};

}  // namespace hxtvel

#endif  // HXTVEL_LIBLOCK_H
