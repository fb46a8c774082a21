// press_model.cpp - the demo's simulated press and instrument.
#include "press_model.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace hxcli {

namespace {

double wavelength(int band) { return 400.0 + 10.0 * band; }
double sigmoid(double x) { return 1.0 / (1.0 + std::exp(-x)); }

// Slightly warm white paper.
double paper(double nm) { return 0.83 + 0.06 * sigmoid((nm - 440.0) / 18.0); }

// Optical density spectra of the solid inks.
double cyan(double nm) { return 0.05 + 0.12 * sigmoid((480.0 - nm) / 20.0) + 1.35 * sigmoid((nm - 585.0) / 18.0); }
double magenta(double nm) { return 0.06 + 1.30 * std::exp(-std::pow((nm - 545.0) / 42.0, 2.0)) + 0.10 * sigmoid((470.0 - nm) / 15.0); }
double yellow(double nm) { return 0.02 + 1.20 * sigmoid((495.0 - nm) / 14.0); }
double black(double) { return 1.55; }

// Effective coverage (0..1) after dot gain, largest at mid tones.
double gained(double percent, double gain) {
    const double a = std::clamp(percent / 100.0, 0.0, 1.0);
    return std::clamp(a + gain * 4.0 * a * (1.0 - a), 0.0, 1.0);
}

// A small repeatable ripple per patch and band (a hash, not a random stream).
double ripple(uint32_t patch, int band) {
    uint32_t x = patch * 2654435761u ^ static_cast<uint32_t>(band) * 40503u;
    x ^= x >> 13;
    x *= 0x5bd1e995u;
    x ^= x >> 15;
    return (static_cast<double>(x % 2001) - 1000.0) / 1000.0;
}

}  // namespace

spectrum print_cmyk(const velCMYK &c, const press &p, uint32_t patch_index) {
    const double a[4] = {gained(c.C, p.dot_gain), gained(c.M, p.dot_gain), gained(c.Y, p.dot_gain),
                         gained(c.K, p.dot_gain)};
    spectrum s(kBands);
    for (int b = 0; b < kBands; ++b) {
        const double nm = wavelength(b);
        const double density = a[0] * p.density[0] * cyan(nm) + a[1] * p.density[1] * magenta(nm) +
                               a[2] * p.density[2] * yellow(nm) + a[3] * p.density[3] * black(nm);
        const double r = paper(nm) * std::pow(10.0, -density) * (1.0 + p.noise * ripple(patch_index, b));
        s[b] = std::clamp(r, 0.0, 1.0);
    }
    return s;
}

spectrum print_rgb(const velRGB &c, const press &p, uint32_t patch_index) {
    const velCMYK k{100.0 * (1.0 - c.R / 255.0), 100.0 * (1.0 - c.G / 255.0),
                    100.0 * (1.0 - c.B / 255.0), 0.0};
    return print_cmyk(k, p, patch_index);
}

namespace {

void put16(std::vector<unsigned char> &out, uint32_t v) {
    out.push_back(static_cast<unsigned char>(v >> 8));
    out.push_back(static_cast<unsigned char>(v));
}
void put32(std::vector<unsigned char> &out, uint32_t v) {
    put16(out, v >> 16);
    put16(out, v & 0xFFFF);
}

}  // namespace

std::vector<unsigned char> encode_spectrobin(const instrument &inst,
                                             const std::vector<measured_chart> &charts) {
    constexpr uint32_t bytes_per_patch = 2 * kBands;
    std::vector<unsigned char> out;
    out.push_back(1);  // sensor ID
    out.push_back(static_cast<unsigned char>(charts.size()));
    char name[32] = {0};
    std::strncpy(name, inst.name.c_str(), sizeof name - 1);
    out.insert(out.end(), name, name + sizeof name);
    out.push_back(inst.backing);
    out.push_back(inst.temperature);
    out.push_back(inst.humidity);
    for (const measured_chart &c : charts) {
        const uint32_t cells = uint32_t(c.columns) * c.rows;
        out.push_back(c.id);
        put32(out, cells * bytes_per_patch + 16);
        put32(out, static_cast<uint32_t>(c.patches.size()));
        put16(out, c.columns);
        put16(out, c.rows);
        out.push_back(0);
        out.push_back(inst.illumination);
        out.push_back(inst.observer);
        out.push_back(0);
        out.push_back(inst.filter);
        out.push_back(0);  // rows top to bottom
        put16(out, bytes_per_patch);
        for (uint32_t k = 0; k < cells; ++k) {
            for (int b = 0; b < kBands; ++b) {
                const double r = k < c.patches.size() ? c.patches[k][b] : 0.0;
                put16(out, static_cast<uint32_t>(std::lround(std::clamp(r, 0.0, 6.5535) * 10000.0)));
            }
        }
    }
    return out;
}

}  // namespace hxcli
