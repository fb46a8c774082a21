// hxtvel_libcolorconv.cpp - exported spectral conversion and colour difference.
#include "hxtvel_libcolorconv.h"

#include <cmath>
#include <cstring>
#include <new>

#include "cgatsutility.h"
#include "liblock.h"
#include "spectrotransform.h"
#include "tracelog.h"

namespace hxtvel {

namespace {

// Serialises the three exported functions of this unit, and with them the
// process-wide result buffer of the spectral conversion.
c_lock _lock;

constexpr double kPi = 3.141592653589793;
constexpr double kRadPerDeg = kPi / 180.0;
constexpr double kCmcDegPerRad = 57.29577951308232;  // CMC turns degrees into radians by dividing
constexpr double k25Pow7 = 6103515625.0;              // 25^7

inline double sq(double v) { return v * v; }
inline double pow7(double v) {
    const double v2 = v * v;
    return v2 * v2 * v2 * v;
}

// Hue in degrees, 0 <= h < 360; 0 on the neutral axis.
double hue_degrees(double a, double b) {
    if (a == 0.0 && b == 0.0) return 0.0;
    // Multiplied by 180, then divided by pi, in this order: it keeps two
    // exactly opposite hues (pair 14 of the CIEDE2000 test data of Sharma, Wu
    // and Dalal) from coming out a rounding error more than 180 degrees apart.
    double h = conv_atan2(a, b) * 180.0 / kPi;
    if (b < 0.0) h += 360.0;
    return h;
}

// Hue difference term of CIE 1994 and CMC: sqrt(dE76^2 - dL^2 - dC^2), 0 when
// rounding leaves nothing positive under the root.
double delta_h(double dl, double da, double db, double dc) {
    const double radicand = (sq(dl) + sq(da) + sq(db)) - sq(dl) - sq(dc);
    return radicand > 0.0 ? std::sqrt(radicand) : 0.0;
}

// =====================================================================
// Spectral conversion
// =====================================================================

// Argument and wavelength checks of the spectral conversion, in their order.
uint32_t check_spectrum(int32_t in_light, const velSPECTRO_REF &s, uint32_t in_percmf,
                        bool have_result) {
    if (!have_result || in_percmf > 1 || static_cast<uint32_t>(in_light) - 1u > 2u)
        return HXTVEL_E_CONV_ARG;
    // Step test: refused only when none of start, end and step is a multiple of 10.
    if (s.start % 10 != 0 && s.end % 10 != 0 && s.pitch % 10 != 0) return HXTVEL_E_CONV_RANGE;
    // Range test: start and end within 380 .. 780 nm.
    if (static_cast<uint16_t>(s.start - 380) > 400 || static_cast<uint16_t>(s.end - 380) > 400)
        return HXTVEL_E_CONV_RANGE;
    // The tables are read every 10 nm from the start row whatever the step, so
    // a description within 380 .. 780 nm can still ask for rows past 780 nm
    // (380 .. 780 nm at 5 nm: 81 samples, the last one read at 1180 nm) or,
    // with the end below the start, for thousands of samples. Such a
    // description cannot be converted and is refused like one whose range
    // leaves the tables.
    if (!samples_in_table(s)) return HXTVEL_E_CONV_RANGE;
    // A description with samples needs values to copy.
    if (spectrcount_per_line(s) != 0 && !s.data) return HXTVEL_E_CONV_ARG;
    return HXTVEL_OK;
}

// Body of both exported conversions, under the unit lock. out receives the
// three doubles of the result on success.
uint32_t spectro_ref_to(int32_t mode, int32_t in_light, velSPECTRO_REF spectrum,
                        uint32_t in_percmf, bool have_result, double *out) {
    double *copy = nullptr;
    uint32_t rc = check_spectrum(in_light, spectrum, in_percmf, have_result);
    if (rc == HXTVEL_OK) {
        const uint16_t n = spectrcount_per_line(spectrum);
        copy = new (std::nothrow) double[n];
        if (!copy) {
            rc = HXTVEL_E_CONV_MEMORY;
        } else {
            HX_TRACE(HX_LV_DEBUG, "in_light = %d", in_light);
            HX_TRACE(HX_LV_DEBUG, "in_percmf = %d", static_cast<int>(in_percmf));
            if (n) std::memcpy(copy, spectrum.data, sizeof(double) * n);
            double *buffer = nullptr;
            rc = spectr_trans(in_light, mode, 1, spectrum, copy,
                              in_percmf == 0 ? g_dcmf_2degree_data : g_dcmf_10degree_data, &buffer);
            if (rc == HXTVEL_OK) std::memcpy(out, buffer, 3 * sizeof(double));
        }
    }
    procfree();
    delete[] copy;
    return rc;
}

}  // namespace

// =====================================================================
// Colour difference
// =====================================================================

double conv_atan2(double a, double b) {
    HX_TRACE_SCOPE("conv_atan2");
    if (b == 0.0) return 0.0;
    if (a == 0.0) return b > 0.0 ? kPi / 2.0 : -kPi / 2.0;
    double theta = std::atan(b / a);
    if (a < 0.0) theta += b >= 0.0 ? kPi : -kPi;
    return theta;
}

double cal_delta_e76(double L1, double a1, double b1, double L2, double a2, double b2) {
    HX_TRACE_SCOPE("cal_delta_e76");
    return std::sqrt(sq(L1 - L2) + sq(a1 - a2) + sq(b1 - b2));
}

double cal_delta_e94(double L1, double a1, double b1, double L2, double a2, double b2) {
    HX_TRACE_SCOPE("cal_delta_e94");
    const double c1 = std::sqrt(sq(a1) + sq(b1));
    const double c2 = std::sqrt(sq(a2) + sq(b2));
    const double dc = c1 - c2;
    const double dl = L1 - L2;
    const double dh = delta_h(dl, a1 - a2, b1 - b2, dc);
    const double cm = std::sqrt(c1 * c2);
    return std::sqrt(sq(dl) + sq(dh / (1.0 + 0.015 * cm)) + sq(dc / (1.0 + 0.045 * cm)));
}

double cal_delta_ecmc(double L1, double a1, double b1, double L2, double a2, double b2, double l,
                      double c) {
    HX_TRACE_SCOPE("cal_delta_ecmc");
    const double dl = L1 - L2;
    const double c1 = std::sqrt(sq(a1) + sq(b1));
    const double c2 = std::sqrt(sq(a2) + sq(b2));
    const double dc = c1 - c2;
    const double dh = delta_h(dl, a1 - a2, b1 - b2, dc);
    const double h1 = hue_degrees(a1, b1);
    hue_degrees(a2, b2);  // the sample's hue is worked out (and traced) but weighs nothing

    const double t = (h1 > 164.0 && h1 < 345.0)
                         ? 0.56 + std::fabs(0.2 * std::cos((h1 + 168.0) / kCmcDegPerRad))
                         : 0.36 + std::fabs(0.4 * std::cos((h1 + 35.0) / kCmcDegPerRad));
    const double sl = L1 < 16.0 ? 0.511 : 0.040975 * L1 / (1.0 + 0.01765 * L1);
    const double sc = 0.0638 * c1 / (1.0 + 0.0131 * c1) + 0.638;
    const double c1_4 = sq(sq(c1));
    const double f = std::sqrt(c1_4 / (c1_4 + 1900.0));
    const double sh = sc * (f * t + 1.0 - f);
    return std::sqrt(sq(dl / (l * sl)) + sq(dc / (c * sc)) + sq(dh / sh));
}

double cal_delta_e00(double L1, double a1, double b1, double L2, double a2, double b2) {
    HX_TRACE_SCOPE("cal_delta_e00");
    const double c1 = std::sqrt(sq(a1) + sq(b1));
    const double c2 = std::sqrt(sq(a2) + sq(b2));
    const double cbar7 = pow7((c1 + c2) / 2.0);
    const double g = 1.0 + 0.5 * (1.0 - std::sqrt(cbar7 / (cbar7 + k25Pow7)));
    const double a1p = g * a1;
    const double a2p = g * a2;
    const double c1p = std::sqrt(sq(a1p) + sq(b1));
    const double c2p = std::sqrt(sq(a2p) + sq(b2));
    const double h1p = hue_degrees(a1p, b1);
    const double h2p = hue_degrees(a2p, b2);

    double dhp = 0.0;
    double hbarp = h1p + h2p;
    if (c1p * c2p != 0.0) {
        dhp = h2p - h1p;
        if (dhp > 180.0) {
            dhp -= 360.0;
        } else if (dhp < -180.0) {
            dhp += 360.0;
        }
        if (std::fabs(h2p - h1p) <= 180.0) {
            hbarp = (h1p + h2p) / 2.0;
        } else if (h1p + h2p < 360.0) {
            hbarp = (h1p + h2p + 360.0) / 2.0;
        } else {
            hbarp = (h1p + h2p - 360.0) / 2.0;
        }
    }

    const double dlp = L2 - L1;
    const double dcp = c2p - c1p;
    const double dhp_big = 2.0 * std::sqrt(c1p * c2p) * std::sin(dhp / 2.0 * kRadPerDeg);
    const double lbarp = (L1 + L2) / 2.0;
    const double cbarp = (c1p + c2p) / 2.0;

    const double t = 1.0 - 0.17 * std::cos((hbarp - 30.0) * kRadPerDeg) +
                     0.24 * std::cos(2.0 * hbarp * kRadPerDeg) +
                     0.32 * std::cos((3.0 * hbarp + 6.0) * kRadPerDeg) -
                     0.20 * std::cos((4.0 * hbarp - 63.0) * kRadPerDeg);
    const double l50 = sq(lbarp - 50.0);
    const double sl = 1.0 + 0.015 * l50 / std::sqrt(20.0 + l50);
    const double sc = 1.0 + 0.045 * cbarp;
    const double sh = 1.0 + 0.015 * cbarp * t;
    const double dtheta = 30.0 * std::exp(-sq((hbarp - 275.0) / 25.0));
    const double cbarp7 = pow7(cbarp);
    const double rc = 2.0 * std::sqrt(cbarp7 / (cbarp7 + k25Pow7));
    const double rt = -std::sin(2.0 * dtheta * kRadPerDeg) * rc;

    const double tl = dlp / sl;
    const double tc = dcp / sc;
    const double th = dhp_big / sh;
    return std::sqrt(sq(tl) + sq(tc) + sq(th) + rt * tc * th);
}

namespace {

// Bounds inclusive; NaN is out of every range.
inline bool lab_in_range(const velCIELab &v) {
    return v.L >= 0.0 && v.L <= 100.0 && v.a >= -128.0 && v.a <= 128.0 && v.b >= -128.0 &&
           v.b <= 128.0;
}

// Body of HXTVEL_DeltaE under the unit lock: the range test first, then the
// method and the result pointer.
uint32_t delta_e(uint32_t method, const velCIELab &r, const velCIELab &s, double *result) {
    if (!lab_in_range(r) || !lab_in_range(s)) return HXTVEL_E_CONV_RANGE;
    if (method > HXTVEL_DE_CMC11 || !result) return HXTVEL_E_CONV_ARG;
    switch (method) {
    case HXTVEL_DE_76: *result = cal_delta_e76(r.L, r.a, r.b, s.L, s.a, s.b); break;
    case HXTVEL_DE_94: *result = cal_delta_e94(r.L, r.a, r.b, s.L, s.a, s.b); break;
    case HXTVEL_DE_2000: *result = cal_delta_e00(r.L, r.a, r.b, s.L, s.a, s.b); break;
    case HXTVEL_DE_CMC21: *result = cal_delta_ecmc(r.L, r.a, r.b, s.L, s.a, s.b, 2.0, 1.0); break;
    default: *result = cal_delta_ecmc(r.L, r.a, r.b, s.L, s.a, s.b, 1.0, 1.0); break;
    }
    return HXTVEL_OK;
}

}  // namespace

}  // namespace hxtvel

using hxtvel::lock_guard;

extern "C" {

HXTVEL_API uint32_t HXTVEL_SpectroRefToLAB(int32_t in_light, velSPECTRO_REF spectrum,
                                           uint32_t in_percmf, velCIELab *result) {
    HX_TRACE_SCOPE("SpectroRefToLAB");
    lock_guard guard(hxtvel::_lock);
    double out[3];
    const uint32_t rc = hxtvel::spectro_ref_to(hxtvel::SPECTR_MODE_LAB, in_light, spectrum,
                                               in_percmf, result != nullptr, out);
    if (rc == HXTVEL_OK) *result = {out[0], out[1], out[2]};
    return rc;
}

HXTVEL_API uint32_t HXTVEL_SpectroRefToXYZ(int32_t in_light, velSPECTRO_REF spectrum,
                                           uint32_t in_percmf, velCIEXYZ *result) {
    HX_TRACE_SCOPE("SpectroRefToXYZ");
    lock_guard guard(hxtvel::_lock);
    double out[3];
    const uint32_t rc = hxtvel::spectro_ref_to(hxtvel::SPECTR_MODE_XYZ, in_light, spectrum,
                                               in_percmf, result != nullptr, out);
    if (rc == HXTVEL_OK) *result = {out[0], out[1], out[2]};
    return rc;
}

HXTVEL_API uint32_t HXTVEL_DeltaE(uint32_t method, velCIELab reference, velCIELab sample,
                                  double *result) {
    HX_TRACE_SCOPE("DeltaE");
    lock_guard guard(hxtvel::_lock);
    return hxtvel::delta_e(method, reference, sample, result);
}

}  // extern "C"
