// cgats_support.h - a measurement instance for tests and a text dump of
// everything a caller can read back from one.
#ifndef HXTVEL_CGATS_SUPPORT_H
#define HXTVEL_CGATS_SUPPORT_H

#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "cgats.h"
#include "hxtvel_cgats.h"

namespace hxtvel_test {

struct Instance {
    void *h = HXTVEL_CreateCGATSInstance();
    ~Instance() { HXTVEL_DeleteCGATSInstance(h); }
    hxtvel::c_cgats &m() const { return *static_cast<hxtvel::c_cgats *>(h); }
};

// Everything a caller can read back from an instance, as text.
inline std::string contents(void *h) {
    std::ostringstream s;
    s.imbue(std::locale::classic());
    s.precision(17);
    uint32_t n = 0;
    HXTVEL_GetRGB(h, nullptr, &n);
    std::vector<velRGB> rgb(n);
    HXTVEL_GetRGB(h, rgb.data(), &n);
    for (auto &v : rgb) s << "rgb " << v.R << ' ' << v.G << ' ' << v.B << '\n';
    HXTVEL_GetCMYK(h, nullptr, &n);
    std::vector<velCMYK> cmyk(n);
    HXTVEL_GetCMYK(h, cmyk.data(), &n);
    for (auto &v : cmyk) s << "cmyk " << v.C << ' ' << v.M << ' ' << v.Y << ' ' << v.K << '\n';
    HXTVEL_GetLAB(h, nullptr, &n);
    std::vector<velCIELab> lab(n);
    HXTVEL_GetLAB(h, lab.data(), &n);
    for (auto &v : lab) s << "lab " << v.L << ' ' << v.a << ' ' << v.b << '\n';
    HXTVEL_GetXYZ(h, nullptr, &n);
    std::vector<velCIEXYZ> xyz(n);
    HXTVEL_GetXYZ(h, xyz.data(), &n);
    for (auto &v : xyz) s << "xyz " << v.X << ' ' << v.Y << ' ' << v.Z << '\n';
    uint16_t values = 0;
    HXTVEL_GetSpectroRef(h, nullptr, &n, &values);
    std::vector<double> buf(size_t(n) * values);
    std::vector<velSPECTRO_REF> sp(n);
    for (uint32_t i = 0; i < n; ++i) sp[i].data = buf.data() + size_t(i) * values;
    HXTVEL_GetSpectroRef(h, sp.data(), &n, &values);
    for (auto &r : sp) {
        s << "spectral " << r.start << ' ' << r.end << ' ' << r.pitch << ':';
        for (uint16_t k = 0; k < values; ++k) s << ' ' << r.data[k];
        s << '\n';
    }
    return s.str();
}

}  // namespace hxtvel_test

#endif  // HXTVEL_CGATS_SUPPORT_H
