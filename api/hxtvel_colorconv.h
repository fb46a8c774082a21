/*
 * hxtvel_colorconv.h - spectral reflectance to CIE XYZ and L*a*b*, and
 * colour differences.
 *
 *   velSPECTRO_REF s = {400, 700, 10, values};       // 31 values
 *   velCIELab lab;
 *   HXTVEL_SpectroRefToLAB(HXTVEL_LIGHT_D50, s, HXTVEL_OBSERVER_2, &lab);
 *   double de;
 *   HXTVEL_DeltaE(HXTVEL_DE_2000, reference, lab, &de);
 *
 * Codes: 302 bad argument, 303 out of memory, 304 wavelengths or Lab values
 * out of range. The result is written only on success.
 */
#ifndef HXTVEL_COLORCONV_H
#define HXTVEL_COLORCONV_H

#include "hxtvel_types.h"

/* Illuminants (in_light). */
#define HXTVEL_LIGHT_D50 1
#define HXTVEL_LIGHT_D65 2
#define HXTVEL_LIGHT_A 3
/* Observers (in_percmf). */
#define HXTVEL_OBSERVER_2 0u
#define HXTVEL_OBSERVER_10 1u
/* Colour-difference methods. */
#define HXTVEL_DE_76 0u
#define HXTVEL_DE_94 1u
#define HXTVEL_DE_2000 2u
#define HXTVEL_DE_CMC21 3u
#define HXTVEL_DE_CMC11 4u

HXTVEL_EXTERN_C_BEGIN

/* Spectrum within 380..780 nm; result under the illuminant and observer,
 * white normalised to Y = 100. */
HXTVEL_API uint32_t HXTVEL_SpectroRefToLAB(int32_t in_light, velSPECTRO_REF spectrum,
                                           uint32_t in_percmf, velCIELab *result);
HXTVEL_API uint32_t HXTVEL_SpectroRefToXYZ(int32_t in_light, velSPECTRO_REF spectrum,
                                           uint32_t in_percmf, velCIEXYZ *result);
/* Difference of sample against reference by method 0..4. */
HXTVEL_API uint32_t HXTVEL_DeltaE(uint32_t method, velCIELab reference, velCIELab sample,
                                  double *result);

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_COLORCONV_H */
