// hxtvel_libcolorconv.h - exported spectral conversion and colour difference.
#ifndef HXTVEL_LIBCOLORCONV_H
#define HXTVEL_LIBCOLORCONV_H

#include "hxtvel_colorconv.h"

#endif  // HXTVEL_LIBCOLORCONV_H
