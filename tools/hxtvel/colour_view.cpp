// colour_view.cpp - L*a*b* to sRGB for display, and ΔL*, ΔC*, ΔH*.
#include "colour_view.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <vector>

namespace hxcli {

std::string describe(const conditions &c) {
    const char *light = c.illuminant == HXTVEL_LIGHT_D65 ? "D65" : c.illuminant == HXTVEL_LIGHT_A ? "A" : "D50";
    return std::string(light) + (c.observer == HXTVEL_OBSERVER_10 ? "/10°" : "/2°");
}

bool parse_conditions(const std::string &illuminant, int observer, conditions &out) {
    std::string up;
    for (char ch : illuminant) up += static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    if (up == "D50") out.illuminant = HXTVEL_LIGHT_D50;
    else if (up == "D65") out.illuminant = HXTVEL_LIGHT_D65;
    else if (up == "A") out.illuminant = HXTVEL_LIGHT_A;
    else return false;
    if (observer != 2 && observer != 10) return false;
    out.observer = observer == 2 ? HXTVEL_OBSERVER_2 : HXTVEL_OBSERVER_10;
    return true;
}

velCIEXYZ white_point(const conditions &c) {
    std::vector<double> ones(41, 1.0);
    const velSPECTRO_REF white{380, 780, 10, ones.data()};
    velCIEXYZ xyz{96.42, 100.0, 82.51};
    HXTVEL_SpectroRefToXYZ(c.illuminant, white, c.observer, &xyz);
    return xyz;
}

namespace {

// The constants of the library's own conversion, so that XYZ read from a
// file and spectra converted by the library give the same L*a*b*.
constexpr double kEpsilon = 0.008856, kKappa = 903.29;

double f(double t) { return t > kEpsilon ? std::pow(t, 1.0 / 3.0) : 7.78 * t + 16.0 / 116.0; }
double f_inverse(double v) {
    const double cube = v * v * v;
    return cube > kEpsilon ? cube : (v - 16.0 / 116.0) / 7.78;
}

// Linear sRGB component to its 8-bit code (IEC 61966-2-1 curve).
uint8_t encode(double linear) {
    const double v = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
    return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

}  // namespace

velCIEXYZ lab_to_xyz(const velCIELab &lab, const velCIEXYZ &white) {
    const double fy = (lab.L + 16.0) / 116.0;
    const double fx = fy + lab.a / 500.0, fz = fy - lab.b / 200.0;
    const double yr = lab.L > kKappa * kEpsilon ? fy * fy * fy : lab.L / kKappa;
    return {white.X * f_inverse(fx), white.Y * yr, white.Z * f_inverse(fz)};
}

velCIELab xyz_to_lab(const velCIEXYZ &xyz, const velCIEXYZ &white) {
    const double xr = std::max(0.0, xyz.X / white.X), yr = std::max(0.0, xyz.Y / white.Y),
                 zr = std::max(0.0, xyz.Z / white.Z);
    const double L = yr > kEpsilon ? 116.0 * std::pow(yr, 1.0 / 3.0) - 16.0 : kKappa * yr;
    return {L, 500.0 * (f(xr) - f(yr)), 200.0 * (f(yr) - f(zr))};
}

std::string srgb8::hex() const {
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", r, g, b);
    return text;
}

srgb8 lab_to_srgb(const velCIELab &lab, const velCIEXYZ &white) {
    const velCIEXYZ xyz = lab_to_xyz(lab, white);
    // Bradford cone responses of the colour and of both whites.
    static const double M[3][3] = {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}};
    static const double M_inv[3][3] = {{0.9869929, -0.1470543, 0.1599627},
                                       {0.4323053, 0.5183603, 0.0492912},
                                       {-0.0085287, 0.0400428, 0.9684867}};
    auto cone = [](const double v[3], double out[3]) {
        for (int i = 0; i < 3; ++i) out[i] = M[i][0] * v[0] + M[i][1] * v[1] + M[i][2] * v[2];
    };
    const double src[3] = {white.X / white.Y, 1.0, white.Z / white.Y}, d65[3] = {0.95047, 1.0, 1.08883};
    const double c[3] = {xyz.X / white.Y, xyz.Y / white.Y, xyz.Z / white.Y};
    double cs[3], cd[3], cc[3];
    cone(src, cs);
    cone(d65, cd);
    cone(c, cc);
    for (int i = 0; i < 3; ++i) cc[i] *= cd[i] / cs[i];
    double adapted[3];
    for (int i = 0; i < 3; ++i) adapted[i] = M_inv[i][0] * cc[0] + M_inv[i][1] * cc[1] + M_inv[i][2] * cc[2];
    // XYZ (D65) to linear sRGB.
    static const double S[3][3] = {{3.2404542, -1.5371385, -0.4985314},
                                   {-0.9692660, 1.8760108, 0.0415560},
                                   {0.0556434, -0.2040259, 1.0572252}};
    double rgb[3];
    srgb8 out;
    for (int i = 0; i < 3; ++i) {
        rgb[i] = S[i][0] * adapted[0] + S[i][1] * adapted[1] + S[i][2] * adapted[2];
        // Half an 8-bit level of slack: the round trip of an sRGB colour
        // through L*a*b* is not exact in the last bits.
        if (rgb[i] < -0.5 / 255.0 || rgb[i] > 1.0 + 0.5 / 255.0) out.clipped = true;
    }
    out.r = encode(rgb[0]);
    out.g = encode(rgb[1]);
    out.b = encode(rgb[2]);
    return out;
}

lab_delta split_difference(const velCIELab &reference, const velCIELab &sample) {
    lab_delta d;
    const double c1 = std::hypot(reference.a, reference.b), c2 = std::hypot(sample.a, sample.b);
    d.dL = sample.L - reference.L;
    d.dC = c2 - c1;
    const double da = sample.a - reference.a, db = sample.b - reference.b;
    const double h2 = da * da + db * db - d.dC * d.dC;
    const double turn = reference.a * sample.b - sample.a * reference.b;
    d.dH = (turn < 0 ? -1.0 : 1.0) * std::sqrt(std::max(0.0, h2));
    return d;
}

}  // namespace hxcli
