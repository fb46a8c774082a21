// hxtvel_libspectroref.h - division of the spectrobin stream.
#ifndef HXTVEL_LIBSPECTROREF_H
#define HXTVEL_LIBSPECTROREF_H

#include "hxtvel_spectroref.h"

#endif  // HXTVEL_LIBSPECTROREF_H
