// cgatsutility.cpp - CGATS key tables and helpers.
#include "cgatsutility.h"

#include "tracelog.h"

namespace hxtvel {

uint16_t spectrcount_per_line(velSPECTRO_REF ref) {
    if (ref.pitch == 0) return 0;
    const int n = (static_cast<int>(ref.end) - static_cast<int>(ref.start)) / static_cast<int>(ref.pitch) + 1;
    return static_cast<uint16_t>(n);
}

uint16_t c_cgats_utility::spectrcount_per_line(velSPECTRO_REF ref) {
    HX_TRACE_SCOPE("spectrcount_per_line");
    return hxtvel::spectrcount_per_line(ref);
}

bool c_cgats_utility::is_range_data(double value, unsigned char flag, bool first) {
    HX_TRACE_SCOPE("is_range_data");
    switch (flag) {
    case CLR_RGB: return value >= 0.0 && value <= 255.0;
    case CLR_CMYK: return value >= 0.0 && value <= 100.0;
    case CLR_LAB:
        return first ? (value >= 0.0 && value <= 100.0) : (value >= -128.0 && value <= 128.0);
    case CLR_XYZ: return !(value < 0.0);
    case CLR_SPECTRAL: return true;
    default: return false;
    }
}

bool c_cgats_utility::is_digitforchar(unsigned char value, e_writefmtkey key) {
    HX_TRACE_SCOPE("is_digitforchar");
    switch (key) {
    case WFK_BACKING: return value <= 2;
    case WFK_ILLUMINATION: return value <= 11;
    case WFK_OBSERVER:
    case WFK_FILTER: return value <= 1;
    default: return true;
    }
}

}  // namespace hxtvel
