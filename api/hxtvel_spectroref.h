/*
 * hxtvel_spectroref.h - division of an instrument's spectrobin stream into
 * its charts and their patches.
 *
 *   uint32_t n = 0;
 *   HXTVEL_GetMChartIDList(stream, NULL, &n);         // number of charts
 *   unsigned char *ids = malloc(n);
 *   HXTVEL_GetMChartIDList(stream, ids, &n);          // their IDs
 *   uint32_t patches, values;
 *   HXTVEL_GetSpectrorefByMChartID(stream, ids[0], NULL, &patches, &values, NULL);
 *   // prepare `patches` records, each with data -> `values` (31) doubles
 *   HXTVEL_GetSpectrorefByMChartID(stream, ids[0], refs, &patches, &values, &sensor);
 *
 * The stream's length is not passed: it must be complete. Codes: 402 bad
 * argument, bad data or chart not found, 403 out of memory.
 */
#ifndef HXTVEL_SPECTROREF_H
#define HXTVEL_SPECTROREF_H

#include "hxtvel_types.h"

HXTVEL_EXTERN_C_BEGIN

HXTVEL_API int32_t HXTVEL_GetMChartIDList(const unsigned char *spectrobin, unsigned char *wedgeID,
                                          uint32_t *divcount);
HXTVEL_API int32_t HXTVEL_GetSpectrorefByMChartID(const unsigned char *spectrobin, int32_t chartid,
                                                  velSPECTRO_REF *outref, uint32_t *size,
                                                  uint32_t *length, velSensorInfo *outSensor);

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_SPECTROREF_H */
