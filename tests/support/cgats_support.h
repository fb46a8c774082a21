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

// One line per stored record: kind name and its values (all doubles).
template <typename T>
void dump(std::ostream &s, void *h, const char *name, uint32_t (*get)(void *, T *, uint32_t *)) {
    uint32_t n = 0;
    get(h, nullptr, &n);
    std::vector<T> records(n);
    get(h, records.data(), &n);
    for (const T &r : records) {
        s << name;
        for (size_t i = 0; i < sizeof(T) / sizeof(double); ++i) s << ' ' << reinterpret_cast<const double *>(&r)[i];
        s << '\n';
    }
}

// Everything a caller can read back from an instance, as text.
inline std::string contents(void *h) {
    std::ostringstream s;
    s.imbue(std::locale::classic());
    s.precision(17);
    dump(s, h, "rgb", HXTVEL_GetRGB);
    dump(s, h, "cmyk", HXTVEL_GetCMYK);
    dump(s, h, "lab", HXTVEL_GetLAB);
    dump(s, h, "xyz", HXTVEL_GetXYZ);
    uint32_t n = 0;
    uint16_t values = 0;
    HXTVEL_GetSpectroRef(h, nullptr, &n, &values);
    // One spare value: records of spectra without values still need a
    // non-null place for them.
    std::vector<double> buf(size_t(n) * values + 1);
    std::vector<velSPECTRO_REF> sp(n);
    for (uint32_t i = 0; i < n; ++i) sp[i].data = buf.data() + size_t(i) * values;
    if (n && HXTVEL_GetSpectroRef(h, sp.data(), &n, &values) != 0) s << "spectra refused\n";
    for (const velSPECTRO_REF &r : sp) {
        s << "spectral " << r.start << ' ' << r.end << ' ' << r.pitch << ':';
        for (uint16_t k = 0; k < values; ++k) s << ' ' << r.data[k];
        s << '\n';
    }
    return s.str();
}

}  // namespace hxtvel_test

#endif  // HXTVEL_CGATS_SUPPORT_H
