// press_model.h - a small deterministic model of a printed patch and of the
// instrument that measures it, for the demo: CMYK (or RGB) coverage to a
// reflectance spectrum, and spectra to a spectrobin stream.
#ifndef HXTVEL_CLI_PRESS_MODEL_H
#define HXTVEL_CLI_PRESS_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "hxtvel.h"

namespace hxcli {

// The instrument reports 400 to 700 nm every 10 nm.
constexpr int kBands = 31;
using spectrum = std::vector<double>;  // kBands reflectance values, 1.0 = perfect white

// How a press prints: dot gain at 50 % and a density factor per ink
// (C, M, Y, K). The reference press prints coverage as it is.
struct press {
    double dot_gain = 0.0;
    double density[4] = {1.0, 1.0, 1.0, 1.0};
    double noise = 0.0;  // amplitude of a small, deterministic per-patch ripple
};

// Reflectance of a CMYK patch (percent) on white paper. A subtractive model:
// reflectance = paper x 10^-(sum of coverage x ink density spectrum).
spectrum print_cmyk(const velCMYK &c, const press &p, uint32_t patch_index);
// RGB patches print as C = 255 - R ... without black.
spectrum print_rgb(const velRGB &c, const press &p, uint32_t patch_index);

// One measured chart of a spectrobin stream.
struct measured_chart {
    uint8_t id = 0;
    uint16_t columns = 0, rows = 0;
    std::vector<spectrum> patches;  // in position order, rows top to bottom
};

struct instrument {
    std::string name = "hxtvel simulated spectro";
    uint8_t backing = 1, temperature = 23, humidity = 50;
    uint8_t illumination = 2, observer = 0, filter = 0;  // D50, 2 degrees, no filter
};

// Encodes charts as a spectrobin stream: big-endian, 62 bytes per patch
// (31 values x 10000 = reflectance 1.0), rows top to bottom.
std::vector<unsigned char> encode_spectrobin(const instrument &inst,
                                             const std::vector<measured_chart> &charts);

}  // namespace hxcli

#endif  // HXTVEL_CLI_PRESS_MODEL_H
