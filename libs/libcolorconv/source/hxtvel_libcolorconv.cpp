// hxtvel_libcolorconv.cpp - exported spectral conversion and colour difference.
#include "hxtvel_libcolorconv.h"

extern "C" {
HXTVEL_API uint32_t HXTVEL_SpectroRefToLAB(int32_t, velSPECTRO_REF, uint32_t, velCIELab *) {
    return HXTVEL_E_CONV_ARG;
}
HXTVEL_API uint32_t HXTVEL_SpectroRefToXYZ(int32_t, velSPECTRO_REF, uint32_t, velCIEXYZ *) {
    return HXTVEL_E_CONV_ARG;
}
HXTVEL_API uint32_t HXTVEL_DeltaE(uint32_t, velCIELab, velCIELab, double *) {
    return HXTVEL_E_CONV_ARG;
}
}
