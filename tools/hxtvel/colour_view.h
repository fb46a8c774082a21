// colour_view.h - colours for people to look at: L*a*b* as sRGB on a screen,
// and a colour difference split into lightness, chroma and hue.
#ifndef HXTVEL_CLI_COLOUR_VIEW_H
#define HXTVEL_CLI_COLOUR_VIEW_H

#include <cstdint>
#include <string>

#include "hxtvel.h"

namespace hxcli {

// Viewing conditions of colorimetric values: the conversion's illuminant
// argument (HXTVEL_LIGHT_D50, _D65, _A) and observer (HXTVEL_OBSERVER_2, _10).
struct conditions {
    int32_t illuminant = HXTVEL_LIGHT_D50;
    uint32_t observer = HXTVEL_OBSERVER_2;
    bool operator==(const conditions &o) const { return illuminant == o.illuminant && observer == o.observer; }
    bool operator!=(const conditions &o) const { return !(*this == o); }
};
// "D50/2°"
std::string describe(const conditions &c);
// Parses "D50", "D65" or "A" (any case) and 2 or 10; false when unknown.
bool parse_conditions(const std::string &illuminant, int observer, conditions &out);

// The white point (Y = 100) of the conditions, as the library computes it:
// the XYZ of a perfect reflector from 380 to 780 nm. Lab values that the
// library converts are relative to this white.
velCIEXYZ white_point(const conditions &c);

// L*a*b* relative to `white` back to XYZ (Y of the white = 100).
velCIEXYZ lab_to_xyz(const velCIELab &lab, const velCIEXYZ &white);
// XYZ to L*a*b* relative to `white`, with the CIE 1976 formulas.
velCIELab xyz_to_lab(const velCIEXYZ &xyz, const velCIEXYZ &white);

// An 8-bit sRGB colour; clipped when the colour lies outside sRGB and was
// brought onto its surface.
struct srgb8 {
    uint8_t r = 0, g = 0, b = 0;
    bool clipped = false;
    std::string hex() const;  // "#rrggbb"
};

// L*a*b* (relative to `white`) as sRGB (IEC 61966-2-1): to XYZ, a Bradford
// adaptation from `white` to D65, the sRGB matrix, clipping, the sRGB curve.
srgb8 lab_to_srgb(const velCIELab &lab, const velCIEXYZ &white);

// A difference of sample against reference split into CIELAB lightness,
// chroma and hue differences: dL = L2 - L1, dC = C2 - C1, and dH with
// dL² + dC² + dH² = ΔE*ab², its sign that of the hue turn from reference
// to sample (counter-clockwise positive).
struct lab_delta {
    double dL = 0, dC = 0, dH = 0;
};
lab_delta split_difference(const velCIELab &reference, const velCIELab &sample);

}  // namespace hxcli

#endif  // HXTVEL_CLI_COLOUR_VIEW_H
