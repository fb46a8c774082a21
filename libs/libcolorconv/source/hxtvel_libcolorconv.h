// hxtvel_libcolorconv.h - exported spectral conversion and colour difference,
// and the colour-difference formulas behind HXTVEL_DeltaE.
//
// All three exported functions hold the unit's static lock while they work;
// it also guards the process-wide result buffer of the spectral conversion.
#ifndef HXTVEL_LIBCOLORCONV_H
#define HXTVEL_LIBCOLORCONV_H

#include "hxtvel_colorconv.h"

namespace hxtvel {

// Hue angle of (a, b) in radians. b = 0 gives 0 whatever a is, so a colour on
// the negative a* axis has hue 0, not pi; otherwise the full-circle arc
// tangent (-pi .. pi).
double conv_atan2(double a, double b);

// Colour differences of sample (L2, a2, b2) against reference (L1, a1, b1).
// CIE 1976: Euclidean distance.
double cal_delta_e76(double L1, double a1, double b1, double L2, double a2, double b2);
// CIE 1994 with kL = kC = kH = 1, weighted by the geometric mean of the two
// chromas (symmetric in its arguments).
double cal_delta_e94(double L1, double a1, double b1, double L2, double a2, double b2);
// CIEDE2000 with kL = kC = kH = 1.
double cal_delta_e00(double L1, double a1, double b1, double L2, double a2, double b2);
// CMC l:c, weighted by the reference.
double cal_delta_ecmc(double L1, double a1, double b1, double L2, double a2, double b2, double l,
                      double c);

}  // namespace hxtvel

#endif  // HXTVEL_LIBCOLORCONV_H
