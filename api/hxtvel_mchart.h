/*
 * hxtvel_mchart.h - the measurement chart: patch grid, pages and positioning
 * bar, encoded as uncompressed RGB or CMYK TIFF into memory or files.
 *
 *   void *c = HXTVEL_CreateMChartInstance();
 *   velPAreaStruct s = {n, 2100, 2970, 300, 60, 60, 8, 4, 0};
 *   HXTVEL_SetMChartSetting(c, s);
 *   HXTVEL_SetMChartData_CMYK(c, colours, n);
 *   unsigned long long size = 0; uint32_t pages = 0;
 *   HXTVEL_CreateTiff_M(c, NULL, &size, &pages, HXTVEL_POSBAR_ON); // size
 *   void *buf = malloc(size);
 *   HXTVEL_CreateTiff_M(c, buf, &size, &pages, HXTVEL_POSBAR_ON);  // draw
 *   // pages back to back; HXTVEL_GetPageSize gives each page's bytes
 *   HXTVEL_DeleteMChartInstance(c);
 *
 * Codes: 202 setting missing or unusable, 203 no colours, 204 resolution out
 * of range or page too large, 205 page cannot be drawn, 206 bad argument
 * (also a null handle), 207 memory or data not there yet, 208 page file
 * cannot be opened, 209 page file cannot be written.
 *
 * Pages count from 0. Lengths are in tenths of a millimetre, resolutions in
 * dots per inch; a page's pixel size is length x dpi / 254. whitebar_width
 * (0..60, pixels at 300 dpi) is the height of the white breaks at the top
 * and bottom of each patch row in the black side bars; only pages drawn to
 * files have them (memory pages have solid side bars). Every page but the
 * last holds as many rows as fit; with the positioning bar on, the bar's
 * height (184 pixels at 300 dpi) is taken from the page first.
 */
#ifndef HXTVEL_MCHART_H
#define HXTVEL_MCHART_H

#include "hxtvel_types.h"

HXTVEL_EXTERN_C_BEGIN

HXTVEL_API void *HXTVEL_CreateMChartInstance(void);
HXTVEL_API void HXTVEL_DeleteMChartInstance(void *handle);

HXTVEL_API uint32_t HXTVEL_SetMChartSetting(void *handle, velPAreaStruct setting);
/* count must equal the setting's patch count; the last kind set is drawn. */
HXTVEL_API uint32_t HXTVEL_SetMChartData_RGB(void *handle, const velRGB *data, uint32_t count);
HXTVEL_API uint32_t HXTVEL_SetMChartData_CMYK(void *handle, const velCMYK *data, uint32_t count);

/* Page records of the last drawing (one per page; 207 before any drawing):
 * out must hold as many records as that drawing reported pages. A record's
 * patch_count is the patches drawn on that page; columns and rows are those
 * they fill (filler cells of the last grid row are not counted). The count follows the last
 * drawing, not the current setting: after a setting change, draw again (or
 * ask HXTVEL_CalcTiffInfo) before sizing the array for a new drawing.
 *
 * Each call holds the instance's lock for itself only. A caller that shares
 * an instance between threads and may change it between a size query and the
 * call that fills (HXTVEL_CreateTiff_M with a null buffer, then with one; a
 * drawing, then HXTVEL_GetMChartData) holds a lock of its own across both. */
HXTVEL_API uint32_t HXTVEL_GetMChartData(void *handle, velMChartStruct *out, HXTVEL_UnitType unit);
/* Byte size of one page of the last drawing (pages from 0). page may also
 * equal the page count: that reads 0. 207 when nothing was drawn yet. */
HXTVEL_API uint32_t HXTVEL_GetPageSize(void *handle, uint32_t page, unsigned long long *size);

/* Geometry queries: use only their arguments. */
HXTVEL_API uint32_t HXTVEL_GetPatchWCountByWidth(void *handle, uint32_t page_width,
                                                 uint32_t patch_width, uint32_t resolution,
                                                 uint32_t *columns);
HXTVEL_API uint32_t HXTVEL_CalcTiffWidthInfo(void *handle, uint32_t page_width,
                                             uint32_t patch_width, uint32_t resolution,
                                             HXTVEL_UnitType unit, velMChartStruct *out);
HXTVEL_API uint32_t HXTVEL_CalcTiffHeightInfo(void *handle, uint32_t page_height,
                                              uint32_t patch_height, uint32_t patch_count,
                                              uint32_t columns, uint32_t resolution,
                                              HXTVEL_UnitType unit, HXTVEL_PosBar bar,
                                              uint32_t *pages, velMChartStruct *out);
/* The pages a setting gives, without drawing. With out NULL it is a page
 * count query (*pages only); then pass an array of *pages records. */
HXTVEL_API uint32_t HXTVEL_CalcTiffInfo(void *handle, velPAreaStruct setting, HXTVEL_UnitType unit,
                                        HXTVEL_PosBar bar, uint32_t *pages, velMChartStruct *out);

/* Writes page n to "<prefix><n>.tif". */
HXTVEL_API uint32_t HXTVEL_CreateTiff(void *handle, const char *prefix, uint32_t *pages,
                                      HXTVEL_PosBar bar);
/* buffer NULL: *size receives the total bytes of all pages. Otherwise *size
 * must equal that total and the pages are drawn back to back. */
HXTVEL_API uint32_t HXTVEL_CreateTiff_M(void *handle, void *buffer, unsigned long long *size,
                                        uint32_t *pages, HXTVEL_PosBar bar);

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_MCHART_H */
