// cgatsutility.h - the CGATS vocabulary (colour-kind flags, key tables) and
// the stateless helpers shared by the measurement store, the CGATS reader and
// writer and the text export.
#ifndef HXTVEL_CGATSUTILITY_H
#define HXTVEL_CGATSUTILITY_H

#include <cstdint>
#include <string>
#include <vector>

#include "hxtvel_types.h"

namespace hxtvel {

// Colour-kind flags; a set of kinds is their OR, always processed in
// ascending flag order.
enum : unsigned char {
    CLR_RGB = 1,
    CLR_CMYK = 2,
    CLR_LAB = 4,
    CLR_XYZ = 8,
    CLR_SPECTRAL = 16,
};

// The six byte-sized settings of the sensor information, in check order.
enum e_writefmtkey : int {
    WFK_BACKING = 1,
    WFK_TEMPERATURE = 2,
    WFK_HUMIDITY = 3,
    WFK_ILLUMINATION = 4,
    WFK_OBSERVER = 5,
    WFK_FILTER = 6,
};

// Number of samples of a spectrum: (end - start) / pitch + 1 in signed
// arithmetic, low 16 bits; 0 when pitch is 0.
uint16_t spectrcount_per_line(velSPECTRO_REF ref);

class c_cgats_utility {
public:
    static uint16_t spectrcount_per_line(velSPECTRO_REF ref);
    static bool is_range_data(double value, unsigned char flag, bool first);
    static bool is_digitforchar(unsigned char value, e_writefmtkey key);
};

}  // namespace hxtvel

#endif  // HXTVEL_CGATSUTILITY_H
