// liblock.cpp - recursive mutex behind i_lock. Failures of the system calls
// are not reported: a lock that cannot be created is the host's fatal state.
#include "liblock.h"

namespace hxtvel {

c_lock::c_lock() {
    HX_TRACE(HX_LV_DEBUG, "c_lock in");
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_, &attr);
    pthread_mutexattr_destroy(&attr);
    HX_TRACE(HX_LV_DEBUG, "c_lock out");
}

c_lock::~c_lock() {
    HX_TRACE(HX_LV_DEBUG, "~c_lock in");
    pthread_mutex_destroy(&mutex_);
    HX_TRACE(HX_LV_DEBUG, "~c_lock out");
}

}  // namespace hxtvel
