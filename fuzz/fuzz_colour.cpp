// fuzz_colour.cpp - any bytes as spectra and Lab values: the spectral
// conversions with every illuminant/observer code and the colour differences
// with every method. Properties: a code or a result, never undefined
// behaviour; a result is finite when the inputs are finite and moderate (a spectrum
// without samples has no white to normalise by and gives NaN); the result
// record is written only on success.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "fuzz_common.h"
#include "hxtvel.h"

namespace {

double any_double(FuzzedDataProvider &in) {
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
    case 0: return in.ConsumeFloatingPointInRange<double>(-0.5, 1.5);
    case 1: return in.ConsumeFloatingPointInRange<double>(-200, 200);
    case 2: {
        uint64_t bits = in.ConsumeIntegral<uint64_t>();  // NaN, infinities, subnormals
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }
    default: return in.ConsumeFloatingPoint<double>();
    }
}

// Values small enough that the weighted sums cannot overflow.
bool all_moderate(const std::vector<double> &v) {
    for (double d : v) {
        if (!(std::fabs(d) <= 1e200)) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    velSPECTRO_REF ref;
    ref.start = in.ConsumeBool() ? uint16_t(380 + 10 * in.ConsumeIntegralInRange<int>(0, 40)) : in.ConsumeIntegral<uint16_t>();
    ref.end = in.ConsumeBool() ? uint16_t(380 + 10 * in.ConsumeIntegralInRange<int>(0, 40)) : in.ConsumeIntegral<uint16_t>();
    ref.pitch = in.ConsumeBool() ? uint16_t(10 * in.ConsumeIntegralInRange<int>(0, 4)) : in.ConsumeIntegral<uint16_t>();
    // As many values as the description declares (the caller's duty), but
    // no more than the 401 that 380 to 780 nm in 1 nm steps can have: a
    // longer description must be refused before its values are read, and
    // if it were not, reading past this shorter buffer is caught.
    const int n = ref.pitch ? uint16_t((int(ref.end) - int(ref.start)) / int(ref.pitch) + 1) : 0;
    const int given = std::min(n, 401);
    std::vector<double> values(size_t(given) + 1);
    for (int i = 0; i < given && in.remaining_bytes(); ++i) values[i] = any_double(in);
    ref.data = in.ConsumeBool() || n == 0 ? values.data() : nullptr;
    const int32_t light = in.ConsumeIntegralInRange<int32_t>(-1, 5);
    const uint32_t observer = in.ConsumeIntegralInRange<uint32_t>(0, 2);

    velCIELab lab;
    std::memset(&lab, 0xEE, sizeof lab);
    const uint32_t rl = HXTVEL_SpectroRefToLAB(light, ref, observer, in.ConsumeBool() ? &lab : nullptr);
    FUZZ_CHECK(rl == 0 || rl == 302 || rl == 303 || rl == 304);
    velCIEXYZ xyz;
    std::memset(&xyz, 0xEE, sizeof xyz);
    const uint32_t rx = HXTVEL_SpectroRefToXYZ(light, ref, observer, &xyz);
    FUZZ_CHECK(rx == 0 || rx == 302 || rx == 303 || rx == 304);
    FUZZ_CHECK(rx != 0 || n <= 401);
    if (rx == 0 && n > 0 && all_moderate(std::vector<double>(values.begin(), values.begin() + n))) {
        FUZZ_CHECK(std::isfinite(xyz.X) && std::isfinite(xyz.Y) && std::isfinite(xyz.Z));
        // Lab is relative to the white of the same samples; where the
        // colour-matching functions are zero at every sample (z-bar beyond
        // 650 nm) that white has a zero component and Lab is 0/0.
        std::vector<double> ones(size_t(n), 1.0);
        velSPECTRO_REF white_ref = ref;
        white_ref.data = ones.data();
        velCIEXYZ white;
        FUZZ_CHECK(HXTVEL_SpectroRefToXYZ(light, white_ref, observer, &white) == 0);
        if (rl == 0 && white.X > 0 && white.Y > 0 && white.Z > 0) {
            FUZZ_CHECK(std::isfinite(lab.L) && std::isfinite(lab.a) && std::isfinite(lab.b));
        }
    }
    if (rx != 0) {
        unsigned char untouched[sizeof xyz];
        std::memset(untouched, 0xEE, sizeof untouched);
        FUZZ_CHECK(std::memcmp(&xyz, untouched, sizeof xyz) == 0);
    }

    velCIELab a{any_double(in), any_double(in), any_double(in)};
    velCIELab b{any_double(in), any_double(in), any_double(in)};
    if (in.ConsumeBool()) {  // mostly in range: the formulas themselves get exercised
        a = {std::fmod(std::fabs(a.L), 100.0), std::fmod(a.a, 128.0), std::fmod(a.b, 128.0)};
        b = {std::fmod(std::fabs(b.L), 100.0), std::fmod(b.a, 128.0), std::fmod(b.b, 128.0)};
    }
    const bool in_range = a.L >= 0 && a.L <= 100 && std::fabs(a.a) <= 128 && std::fabs(a.b) <= 128 &&
                          b.L >= 0 && b.L <= 100 && std::fabs(b.a) <= 128 && std::fabs(b.b) <= 128;
    for (uint32_t method = 0; method <= 5; ++method) {
        double de = -1.0;
        const uint32_t r = HXTVEL_DeltaE(method, a, b, &de);
        if (!in_range) {
            FUZZ_CHECK(r == 304 && de == -1.0);
        } else if (method > 4) {
            FUZZ_CHECK(r == 302 && de == -1.0);
        } else {
            FUZZ_CHECK(r == 0 && std::isfinite(de) && de >= 0.0);
        }
    }
    FUZZ_CHECK(HXTVEL_DeltaE(0, a, b, nullptr) == (in_range ? 302u : 304u));
    return 0;
}
