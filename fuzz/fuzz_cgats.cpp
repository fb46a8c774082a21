// fuzz_cgats.cpp - any bytes as a CGATS file: read with every colour kind,
// then everything read is got back and written as CGATS and as text.
// Properties: no crash, leak or undefined behaviour; a failed read leaves
// the instance empty; a file the reader accepted writes, and what it writes
// reads back with the same number of sets.
#include <cstdint>
#include <vector>

#include "c_calls.h"
#include "fuzz_common.h"

namespace {

struct counts {
    uint32_t rgb = 0, cmyk = 0, lab = 0, xyz = 0, spectra = 0;
    uint16_t values = 0;
};

counts get_all(void *m) {
    counts c;
    FUZZ_CHECK(HXTVEL_GetRGB(m, nullptr, &c.rgb) == 0);
    FUZZ_CHECK(HXTVEL_GetCMYK(m, nullptr, &c.cmyk) == 0);
    FUZZ_CHECK(HXTVEL_GetLAB(m, nullptr, &c.lab) == 0);
    FUZZ_CHECK(HXTVEL_GetXYZ(m, nullptr, &c.xyz) == 0);
    FUZZ_CHECK(HXTVEL_GetSpectroRef(m, nullptr, &c.spectra, &c.values) == 0);
    std::vector<velRGB> rgb(c.rgb);
    std::vector<velCMYK> cmyk(c.cmyk);
    std::vector<velCIELab> lab(c.lab);
    std::vector<velCIEXYZ> xyz(c.xyz);
    if (c.rgb) FUZZ_CHECK(HXTVEL_GetRGB(m, rgb.data(), &c.rgb) == 0);
    if (c.cmyk) FUZZ_CHECK(HXTVEL_GetCMYK(m, cmyk.data(), &c.cmyk) == 0);
    if (c.lab) FUZZ_CHECK(HXTVEL_GetLAB(m, lab.data(), &c.lab) == 0);
    if (c.xyz) FUZZ_CHECK(HXTVEL_GetXYZ(m, xyz.data(), &c.xyz) == 0);
    if (c.spectra) {
        // Spectra read from one spectral column hold no values, but every
        // record still needs a place for them: a null one is refused.
        std::vector<double> values(size_t(c.spectra) * c.values + 1);
        std::vector<velSPECTRO_REF> refs(c.spectra);
        for (uint32_t i = 0; i < c.spectra; ++i) refs[i].data = values.data() + size_t(i) * c.values;
        FUZZ_CHECK(HXTVEL_GetSpectroRef(m, refs.data(), &c.spectra, &c.values) == 0);
    }
    return c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string in = scratch_path("in.cgats");
    static const std::string out = scratch_path("out.cgats");
    static const std::string text = scratch_path("out.txt");
    if (FILE *f = std::fopen(in.c_str(), "wb")) {
        std::fwrite(data, 1, size, f);
        std::fclose(f);
    } else {
        return 0;
    }

    void *m = HXTVEL_CreateCGATSInstance();
    const uint32_t rc = HXTVEL_ReadCGATS(m, in.c_str(), 31);
    const counts c = get_all(m);
    if (rc != 0) {
        FUZZ_CHECK(c.rgb == 0 && c.cmyk == 0 && c.lab == 0 && c.xyz == 0 && c.spectra == 0);
        FUZZ_CHECK(rc >= 101 && rc <= 108);
        HXTVEL_DeleteCGATSInstance(m);
        return 0;
    }
    const uint32_t wrc = HXTVEL_WriteCGATS(m, out.c_str());
    FUZZ_CHECK(wrc == 0 || wrc == 103);  // 103: kinds with different counts
    const uint32_t trc = fz_write_text(m, text.c_str(), size & 1);
    FUZZ_CHECK(trc == wrc);
    FUZZ_CHECK(fz_write_text(m, text.c_str(), 2) == 107);
    FUZZ_CHECK(HXTVEL_ReadCGATS(m, in.c_str(), 31) == 106);  // read once only
    HXTVEL_DeleteCGATSInstance(m);

    if (wrc == 0) {
        // What was written reads back with the same sets, unless a value is
        // too large for a double once written out in full (an infinity).
        // Spectra without values write no column and do not come back;
        // spectra with one value write one column, which reads back as
        // spectra without a step and so without values.
        void *back = HXTVEL_CreateCGATSInstance();
        const uint32_t brc = HXTVEL_ReadCGATS(back, out.c_str(), 31);
        if (brc == 0) {
            const counts b = get_all(back);
            FUZZ_CHECK(b.rgb == c.rgb && b.cmyk == c.cmyk && b.lab == c.lab && b.xyz == c.xyz &&
                       b.spectra == (c.values ? c.spectra : 0) && b.values == (c.values > 1 ? c.values : 0));
        } else {
            FUZZ_CHECK(brc == 102);
        }
        HXTVEL_DeleteCGATSInstance(back);
    }
    return 0;
}
