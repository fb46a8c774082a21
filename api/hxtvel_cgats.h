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
 *   velCIELab *out = malloc(n * sizeof *out);
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
 * instance can be read successfully once; every failure clears its colours.
 * Codes: 107 kinds 0 or above 31; 106 the instance was read before; 101 no
 * colour kind in kinds; 104 the file cannot be opened; 102 the file breaks
 * the format (a line, a keyword, NUMBER_OF_SETS not matching the rows, a
 * value that is not a plain number: no exponent, no '+'); 105 an RGB, CMYK
 * or Lab value out of range; 103 spectral values asked for, data rows
 * present, but no SPECTRAL_<nm> column. A kind asked for but absent from the
 * file is not an error: check the counts afterwards.
 * Spectral columns are SPECTRAL_<nm> (digits only after the prefix); the
 * wavelengths are taken as start, end and an even step. A file with a single
 * spectral column, or with one wavelength in two columns, loads with a step
 * of 0, and HXTVEL_WriteCGATS then writes no spectral column for it. */
HXTVEL_API uint32_t HXTVEL_ReadCGATS(void *handle, const char *path, uint8_t kinds);
/* Writes a CGATS.17 file: header, data format, one line per set. Codes:
 * 103 no data sets (or kinds with different counts: nothing is written),
 * 104 the file cannot be created, 101 a write failed (disk full). */
HXTVEL_API uint32_t HXTVEL_WriteCGATS(void *handle, const char *path);
/* Writes the values only, comma or tab separated, one line per set, no
 * header. Codes: 107 a type other than HXTVEL_FILE_COMMA or _TAB, then as
 * HXTVEL_WriteCGATS. */
HXTVEL_API uint32_t HXTVEL_WriteText(void *handle, const char *path, HXTVEL_FileType type);

/* Setters append count records after those stored; getters copy all stored
 * records when data is not NULL, else store the count in *count.
 *
 * The count query and the copy are two calls, each holding the instance's
 * lock for itself only: a caller that shares an instance between threads and
 * may append between the two must hold a lock of its own across both (or
 * size the array for everything that can have been stored).
 *
 * XYZ values are refused only below 0 (105): NaN and infinity are stored,
 * and written as "nan" / "inf", which no CGATS reader takes back. Check
 * values for being finite before they reach the library. */
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
/* Stores the instrument's conditions (a copy; a second call replaces it).
 * 105 when a code is out of its range, when the instrument name fills all 32
 * bytes without a terminator, or when it holds a double quote, a control
 * character (a line break, a tab ...) or a CGATS block keyword (BEGIN_DATA,
 * NUMBER_OF_SETS ...): the name is written between quotes on one header line
 * of the CGATS file, and such a name would break the file. */
HXTVEL_API uint32_t HXTVEL_SetSensorInfo(void *handle, velSensorInfo info);

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_CGATS_H */
