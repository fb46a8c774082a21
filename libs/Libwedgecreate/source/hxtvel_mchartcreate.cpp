// hxtvel_mchartcreate.cpp - chart settings, geometry, TIFF encoding, drawing
// to memory, and the exported chart functions.
#include "hxtvel_mchartcreate.h"

extern "C" {
HXTVEL_API void *HXTVEL_CreateMChartInstance(void) { return nullptr; }
HXTVEL_API void HXTVEL_DeleteMChartInstance(void *) {}
HXTVEL_API uint32_t HXTVEL_SetMChartSetting(void *, velPAreaStruct) { return HXTVEL_E_CHART_ARG; }
HXTVEL_API uint32_t HXTVEL_SetMChartData_RGB(void *, const velRGB *, uint32_t) { return HXTVEL_E_CHART_ARG; }
HXTVEL_API uint32_t HXTVEL_SetMChartData_CMYK(void *, const velCMYK *, uint32_t) { return HXTVEL_E_CHART_ARG; }
HXTVEL_API uint32_t HXTVEL_GetMChartData(void *, velMChartStruct *, HXTVEL_UnitType) { return HXTVEL_E_CHART_ARG; }
HXTVEL_API uint32_t HXTVEL_GetPageSize(void *, uint32_t, unsigned long long *) { return HXTVEL_E_CHART_ARG; }
HXTVEL_API uint32_t HXTVEL_GetPatchWCountByWidth(void *, uint32_t, uint32_t, uint32_t, uint32_t *) {
    return HXTVEL_E_CHART_ARG;
}
HXTVEL_API uint32_t HXTVEL_CalcTiffWidthInfo(void *, uint32_t, uint32_t, uint32_t, HXTVEL_UnitType,
                                             velMChartStruct *) {
    return HXTVEL_E_CHART_ARG;
}
HXTVEL_API uint32_t HXTVEL_CalcTiffHeightInfo(void *, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t,
                                              HXTVEL_UnitType, HXTVEL_PosBar, uint32_t *, velMChartStruct *) {
    return HXTVEL_E_CHART_ARG;
}
HXTVEL_API uint32_t HXTVEL_CalcTiffInfo(void *, velPAreaStruct, HXTVEL_UnitType, HXTVEL_PosBar, uint32_t *,
                                        velMChartStruct *) {
    return HXTVEL_E_CHART_ARG;
}
HXTVEL_API uint32_t HXTVEL_CreateTiff(void *, const char *, uint32_t *, HXTVEL_PosBar) { return HXTVEL_E_CHART_ARG; }
HXTVEL_API uint32_t HXTVEL_CreateTiff_M(void *, void *, unsigned long long *, uint32_t *, HXTVEL_PosBar) {
    return HXTVEL_E_CHART_ARG;
}
}
