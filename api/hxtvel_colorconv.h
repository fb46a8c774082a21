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

/*
 * The conversion's illuminant for a velSensorInfo illumination code
 * (HXTVEL_ILLUMINATION_D50 -> HXTVEL_LIGHT_D50, _D65 -> _D65, _A -> _A), or
 * 0 for an illuminant the conversion does not know (C, F2 ... D75). The two
 * scales differ: never pass an illumination code as in_light. The observer
 * code passes unchanged as in_percmf.
 */
static inline int32_t hxtvel_light_of_illumination(uint8_t illumination) {
    switch (illumination) {
    case HXTVEL_ILLUMINATION_D50: return HXTVEL_LIGHT_D50;
    case HXTVEL_ILLUMINATION_D65: return HXTVEL_LIGHT_D65;
    case HXTVEL_ILLUMINATION_A: return HXTVEL_LIGHT_A;
    default: return 0;
    }
}

HXTVEL_EXTERN_C_BEGIN

/* Spectrum within 380..780 nm; result under the illuminant and observer,
 * white normalised to Y = 100. The tables are read at 10 nm per sample from
 * the start wavelength whatever the step says, so give 10 nm spectra (a
 * spectrum whose start, end and step are all off the 10 nm grid is refused
 * with 304; other steps are read as if they were 10 nm). The record's data
 * must hold (end - start) / pitch + 1 values; the library cannot check it. */
HXTVEL_API uint32_t HXTVEL_SpectroRefToLAB(int32_t in_light, velSPECTRO_REF spectrum,
                                           uint32_t in_percmf, velCIELab *result);
HXTVEL_API uint32_t HXTVEL_SpectroRefToXYZ(int32_t in_light, velSPECTRO_REF spectrum,
                                           uint32_t in_percmf, velCIEXYZ *result);
/* Difference of sample against reference by method 0..4. */
HXTVEL_API uint32_t HXTVEL_DeltaE(uint32_t method, velCIELab reference, velCIELab sample,
                                  double *result);

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_COLORCONV_H */
