// spectrotransform.h - spectral reflectance to CIE XYZ and L*a*b*.
//
// Three constant tables at 5 nm from 380 to 780 nm (81 rows): the relative
// spectral power of 16 CIE illuminants and the colour-matching functions of
// the 2- and 10-degree observers. spectr_trans weights the reflectance
// samples with one illuminant column and one observer table, normalises the
// perfect white to Y = 100 and converts to Lab against the white point of the
// same illuminant and observer.
//
// Sampling: sample i of a spectrum starting at `start` nm is weighted with the
// table row (start - 380) / 5 + 2 i, i.e. the tables are always stepped by
// 10 nm from the start row, whatever the step of the spectrum says. A 10 nm
// spectrum is therefore read exactly; any other step is read at 10 nm spacing.
//
// The result buffer g_cimoutdata is process-wide: only one conversion may run
// at a time (the exported functions hold the unit lock around it).
#ifndef HXTVEL_SPECTROTRANSFORM_H
#define HXTVEL_SPECTROTRANSFORM_H

#include <cstdint>

#include "hxtvel_types.h"

namespace hxtvel {

constexpr int kTableRows = 81;     // 380, 385, ..., 780 nm
constexpr int kLightColumns = 17;  // nm, D50, D65, A, C, F1 .. F12
constexpr int kCmfColumns = 4;     // nm, x, y, z

// Illuminant columns of g_dlight_data (column 0 is the wavelength).
enum : int32_t {
    LIGHT_D50 = 1,
    LIGHT_D65 = 2,
    LIGHT_A = 3,
    LIGHT_C = 4,
    LIGHT_F1 = 5,  // F1 .. F12 are columns 5 .. 16
    LIGHT_F12 = 16,
};

// Result kinds of spectr_trans.
enum : int32_t {
    SPECTR_MODE_LAB = 0,
    SPECTR_MODE_XYZ = 1,
};

extern const double g_dlight_data[kTableRows][kLightColumns];
extern const double g_dcmf_2degree_data[kTableRows][kCmfColumns];
extern const double g_dcmf_10degree_data[kTableRows][kCmfColumns];

// Three doubles per spectrum (L*, a*, b* or X, Y, Z) of the last conversion;
// owned here, released by procfree.
extern double *g_cimoutdata;

// Converts `spectra` spectra, each of spectrcount_per_line(ref) samples one
// after another in `values`, under illuminant column `light` (1 .. 16) and
// the observer table `cmf`. On success stores the address of the result
// buffer (3 doubles per spectrum, Lab for SPECTR_MODE_LAB, XYZ otherwise) in
// *result and returns 0; a refused allocation gives 303. Table rows outside
// the 81 rows (see table_row) are never read: those samples weigh nothing.
// A description with no sample has Yw = 0 and gives NaN results.
uint32_t spectr_trans(int32_t light, int32_t mode, uint32_t spectra, velSPECTRO_REF ref,
                      const double *values, const double (*cmf)[kCmfColumns], double **result);

// Forgets the result buffer (sets the pointer to none).
void procinit();
// Releases the result buffer, if any, and sets the pointer to none.
void procfree();

// Sets the n outputs to -1.0, then copies column `light` of each sample's row.
void set_lightdata(int32_t light, velSPECTRO_REF ref, const double (*table)[kLightColumns],
                   double *out);
// Copies columns 1, 2, 3 of each sample's row into x, y, z (0 for rows past
// the table). Allocates nothing and always returns 0.
int set_cmfdata(const double (*table)[kCmfColumns], velSPECTRO_REF ref, double *x, double *y,
                double *z);

// Lab of xyz against white (three doubles each), with the constants 0.008856,
// 903.29, 7.78 and 16/116; negative ratios count as 0.
void convert_xyz_to_lab(const double *white, const double *xyz, double *lab);

// Releases a block of doubles if the pointer is not null.
void internalfree(double *block);
// Traces `text` at the error level (nothing when null) between its in/out lines.
void trace_st(const char *text);

// Table row of sample i of a spectrum that starts at `start` nm; negative when
// the start lies below 380 nm. Rows 0 .. kTableRows - 1 exist.
inline long table_row(uint16_t start, long i) {
    const long d = static_cast<long>(start) - 380;
    const long first = d >= 0 ? d / 5 : (d - 4) / 5;  // rounded down
    return first + 2 * i;
}

// Whether every sample of the description (there may be none) falls on a
// table row.
bool samples_in_table(velSPECTRO_REF ref);

}  // namespace hxtvel

#endif  // HXTVEL_SPECTROTRANSFORM_H
