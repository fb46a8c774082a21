// fuzz_spectrobin.cpp - any bytes as a spectrobin stream. Only streams the
// length-aware check finds in bounds (every verdict but TRUNCATED) are handed
// to the exported functions (they take no length); for those, both functions run on every listed chart ID and a
// few absent ones, in every call mode. The bytes sit in a heap block of
// exactly their size, so a read past the stream is caught.
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_common.h"
#include "hxtvel_libspectroref.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::unique_ptr<unsigned char[]> stream(new unsigned char[size ? size : 1]);
    if (size) std::memcpy(stream.get(), data, size);
    const hxtvel_stream_check check = hxtvel_check_spectrobin(stream.get(), size);
    FUZZ_CHECK(!hxtvel::describe(check).empty());
    if (check.verdict == HXTVEL_STREAM_TRUNCATED) return 0;

    uint32_t count = 12345;
    const int32_t rc = HXTVEL_GetMChartIDList(stream.get(), nullptr, &count);
    FUZZ_CHECK(rc == 0 || rc == HXTVEL_E_WEDGE_DATA);
    std::vector<int32_t> ids = {-1, 0, 255, 256};
    if (rc == 0) {
        FUZZ_CHECK(count <= 64);
        std::vector<unsigned char> list(count + 1, 0xEE);
        uint32_t wrong = count + 1;
        FUZZ_CHECK(HXTVEL_GetMChartIDList(stream.get(), list.data(), &wrong) == HXTVEL_E_WEDGE_DATA);
        const int32_t frc = HXTVEL_GetMChartIDList(stream.get(), list.data(), &count);
        FUZZ_CHECK(frc == 0 || frc == HXTVEL_E_WEDGE_DATA);
        if (frc == 0) {
            for (uint32_t i = 0; i < count; ++i) ids.push_back(list[i]);
        } else {
            FUZZ_CHECK(list[0] == 0xEE);  // nothing written unless every block passed
        }
    }

    for (int32_t id : ids) {
        uint32_t patches = 0, length = 0;
        const int32_t q = HXTVEL_GetSpectrorefByMChartID(stream.get(), id, nullptr, &patches, &length, nullptr);
        FUZZ_CHECK(q == 0 || q == HXTVEL_E_WEDGE_DATA);
        if (q != 0) continue;
        FUZZ_CHECK(length == 31);
        // The library allocates work memory for the patches handed out; keep
        // what a fuzz run may ask for reasonable.
        if (patches > 2000) continue;
        std::vector<double> values(size_t(patches) * 31 + 1, -7.0);
        std::vector<velSPECTRO_REF> refs(patches);
        for (uint32_t i = 0; i < patches; ++i) refs[i].data = values.data() + size_t(i) * 31;
        velSensorInfo sensor;
        uint32_t p2 = 0, l2 = 0;
        FUZZ_CHECK(HXTVEL_GetSpectrorefByMChartID(stream.get(), id, refs.data(), &p2, &l2, nullptr) == 0);
        const int32_t f = HXTVEL_GetSpectrorefByMChartID(stream.get(), id, refs.data(), &p2, &l2, &sensor);
        FUZZ_CHECK(f == 0 || f == HXTVEL_E_WEDGE_MEMORY);
        FUZZ_CHECK(p2 == patches && l2 == 31);
        if (f != 0) continue;
        for (uint32_t i = 0; i < patches; ++i) {
            FUZZ_CHECK(refs[i].start == 400 && refs[i].end == 700 && refs[i].pitch == 10);
            for (int k = 0; k < 31; ++k) {
                const double v = refs[i].data[k];
                FUZZ_CHECK(v >= 0.0 && v <= 6.5535);
            }
        }
        FUZZ_CHECK(values.back() == -7.0);  // nothing written past the records
    }
    return 0;
}
