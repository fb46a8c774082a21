// hxtvel_libspectroref.cpp - chart IDs and spectra of a spectrobin stream.
#include "hxtvel_libspectroref.h"

extern "C" {
HXTVEL_API int32_t HXTVEL_GetMChartIDList(const unsigned char *, unsigned char *, uint32_t *) {
    return HXTVEL_E_WEDGE_DATA;
}
HXTVEL_API int32_t HXTVEL_GetSpectrorefByMChartID(const unsigned char *, int32_t, velSPECTRO_REF *,
                                                  uint32_t *, uint32_t *, velSensorInfo *) {
    return HXTVEL_E_WEDGE_DATA;
}
}
