/* c_calls.c - enum arguments as a C host passes them: any int. */
#include "c_calls.h"

uint32_t fz_write_text(void *h, const char *path, uint32_t type) {
    return HXTVEL_WriteText(h, path, (HXTVEL_FileType)type);
}
uint32_t fz_get_mchart_data(void *h, velMChartStruct *out, uint32_t unit) {
    return HXTVEL_GetMChartData(h, out, (HXTVEL_UnitType)unit);
}
uint32_t fz_calc_width(void *h, uint32_t page_width, uint32_t patch_width, uint32_t resolution,
                       uint32_t unit, velMChartStruct *out) {
    return HXTVEL_CalcTiffWidthInfo(h, page_width, patch_width, resolution, (HXTVEL_UnitType)unit, out);
}
uint32_t fz_calc_height(void *h, uint32_t page_height, uint32_t patch_height, uint32_t patches,
                        uint32_t columns, uint32_t resolution, uint32_t unit, uint32_t bar,
                        uint32_t *pages, velMChartStruct *out) {
    return HXTVEL_CalcTiffHeightInfo(h, page_height, patch_height, patches, columns, resolution,
                                     (HXTVEL_UnitType)unit, (HXTVEL_PosBar)bar, pages, out);
}
uint32_t fz_calc_info(void *h, velPAreaStruct s, uint32_t unit, uint32_t bar, uint32_t *pages,
                      velMChartStruct *out) {
    return HXTVEL_CalcTiffInfo(h, s, (HXTVEL_UnitType)unit, (HXTVEL_PosBar)bar, pages, out);
}
uint32_t fz_create_tiff_m(void *h, void *buffer, unsigned long long *size, uint32_t *pages,
                          uint32_t bar) {
    return HXTVEL_CreateTiff_M(h, buffer, size, pages, (HXTVEL_PosBar)bar);
}
