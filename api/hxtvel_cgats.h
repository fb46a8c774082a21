/*
 * hxtvel_cgats.h - the measurement instance: one set of colour measurements
 * (RGB, CMYK, Lab, XYZ, spectral and the instrument's conditions), read and
 * written as CGATS.17 files or exported as delimited text.
 *
 *   void *m = HXTVEL_CreateCGATSInstance();
 *   velCIELab lab[2] = {{50, 10, -10}, {60, 0, 5}};
 *   HXTVEL_SetLAB(m, lab, 2);                  // appends
 *   uint32_t n = 0;
 *   HXTVEL_GetLAB(m, NULL, &n);                // count first ...
 *   HXTVEL_GetLAB(m, out, &n);                 // ... then the records
 *   HXTVEL_WriteCGATS(m, "measure.txt");
 *   HXTVEL_DeleteCGATSInstance(m);
 *
 * Every function taking a handle returns 107 for a null handle. Codes:
 * 101 no colour kind / write failed, 102 bad file format, 103 nothing to
 * write / no spectral column, 104 cannot open, 105 out of range,
 * 106 already read, 107 invalid argument, 108 out of memory.
 */
#ifndef HXTVEL_CGATS_H
#define HXTVEL_CGATS_H

#include "hxtvel_types.h"

/* Colour-kind flags for HXTVEL_ReadCGATS; a set of kinds is their OR. */
#define HXTVEL_CLR_RGB 1u
#define HXTVEL_CLR_CMYK 2u
#define HXTVEL_CLR_LAB 4u
#define HXTVEL_CLR_XYZ 8u
#define HXTVEL_CLR_SPECTRAL 16u

HXTVEL_EXTERN_C_BEGIN

HXTVEL_API void *HXTVEL_CreateCGATSInstance(void);
HXTVEL_API void HXTVEL_DeleteCGATSInstance(void *handle);

/* Loads a CGATS file; kinds is an OR of HXTVEL_CLR_* flags (1..31). An
 * instance can be read successfully once; every failure clears its colours. */
HXTVEL_API uint32_t HXTVEL_ReadCGATS(void *handle, const char *path, uint8_t kinds);
/* Writes a CGATS.17 file: header, data format, one line per set. */
HXTVEL_API uint32_t HXTVEL_WriteCGATS(void *handle, const char *path);
/* Writes the values only, comma or tab separated, one line per set. */
HXTVEL_API uint32_t HXTVEL_WriteText(void *handle, const char *path, HXTVEL_FileType type);

/* Setters append count records after those stored; getters copy all stored
 * records when data is not NULL, else store the count in *count. */
HXTVEL_API uint32_t HXTVEL_SetLAB(void *handle, const velCIELab *data, uint32_t count);
HXTVEL_API uint32_t HXTVEL_GetLAB(void *handle, velCIELab *data, uint32_t *count);
HXTVEL_API uint32_t HXTVEL_SetXYZ(void *handle, const velCIEXYZ *data, uint32_t count);
HXTVEL_API uint32_t HXTVEL_GetXYZ(void *handle, velCIEXYZ *data, uint32_t *count);
HXTVEL_API uint32_t HXTVEL_SetRGB(void *handle, const velRGB *data, uint32_t count);
HXTVEL_API uint32_t HXTVEL_GetRGB(void *handle, velRGB *data, uint32_t *count);
HXTVEL_API uint32_t HXTVEL_SetCMYK(void *handle, const velCMYK *data, uint32_t count);
HXTVEL_API uint32_t HXTVEL_GetCMYK(void *handle, velCMYK *data, uint32_t *count);
/* All spectra of one instance share one wavelength layout. With data NULL,
 * *count receives the record count and *values the values per record; with
 * data given, each record's data must point to enough doubles. */
HXTVEL_API uint32_t HXTVEL_SetSpectroRef(void *handle, const velSPECTRO_REF *data, uint32_t count);
HXTVEL_API uint32_t HXTVEL_GetSpectroRef(void *handle, velSPECTRO_REF *data, uint32_t *count,
                                         uint16_t *values);
HXTVEL_API uint32_t HXTVEL_SetSensorInfo(void *handle, velSensorInfo info);

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_CGATS_H */
