// spectrotransform.h - spectral reflectance to CIE XYZ and L*a*b*.
#ifndef HXTVEL_SPECTROTRANSFORM_H
#define HXTVEL_SPECTROTRANSFORM_H

#include "hxtvel_types.h"

namespace hxtvel {}

#endif  // HXTVEL_SPECTROTRANSFORM_H
