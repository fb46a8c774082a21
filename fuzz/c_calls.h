/* c_calls.h - calls into the C interface with enum arguments given as plain
 * numbers, made from C as a C host makes them (in C++ an out-of-range value
 * of an enum type could not even be formed without undefined behaviour). */
#ifndef HXTVEL_FUZZ_C_CALLS_H
#define HXTVEL_FUZZ_C_CALLS_H

#include "hxtvel.h"

#ifdef __cplusplus
extern "C" {
#endif

uint32_t fz_write_text(void *h, const char *path, uint32_t type);
uint32_t fz_get_mchart_data(void *h, velMChartStruct *out, uint32_t unit);
uint32_t fz_calc_width(void *h, uint32_t page_width, uint32_t patch_width, uint32_t resolution,
                       uint32_t unit, velMChartStruct *out);
uint32_t fz_calc_height(void *h, uint32_t page_height, uint32_t patch_height, uint32_t patches,
                        uint32_t columns, uint32_t resolution, uint32_t unit, uint32_t bar,
                        uint32_t *pages, velMChartStruct *out);
uint32_t fz_calc_info(void *h, velPAreaStruct s, uint32_t unit, uint32_t bar, uint32_t *pages,
                      velMChartStruct *out);
uint32_t fz_create_tiff_m(void *h, void *buffer, unsigned long long *size, uint32_t *pages,
                          uint32_t bar);

#ifdef __cplusplus
}
#endif

#endif
