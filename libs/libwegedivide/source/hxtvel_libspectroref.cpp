// hxtvel_libspectroref.cpp - chart IDs and spectra of a spectrobin stream.
//
// Both exported functions check their arguments, the stream header and the
// first block in a fixed order, then walk the blocks; every failure is traced
// at the debug level with a fixed text and returns 402 (403 when memory is
// refused). The stream is walked by offset, never by stepping a pointer, and
// every product of stream fields is formed in 64 bits, so a stream whose
// fields lie in memory is handled without overflow whatever their values.
#include "hxtvel_libspectroref.h"

#include <cstring>
#include <new>

#include "liblock.h"
#include "tracelog.h"

namespace hxtvel {

// Serialises the exported functions of this unit.
static c_lock _lock;

namespace {

// Stream header offsets.
constexpr size_t k_sensor_id = 0;
constexpr size_t k_block_count = 1;
constexpr size_t k_sensor_name = 2;
constexpr size_t k_backing = 34;
constexpr size_t k_temperature = 35;
constexpr size_t k_humidity = 36;

constexpr uint8_t k_sensor_id_value = 1;
constexpr uint8_t k_max_backing = 2;
constexpr uint8_t k_max_data_dir = 1;
// Bytes of a block between its wedge_len field and its patch data.
constexpr uint64_t k_block_fields = k_block_header - 5;

constexpr uint16_t k_start_nm = 400;
constexpr uint16_t k_end_nm = 700;
constexpr uint16_t k_pitch_nm = 10;
constexpr double k_full_scale = 10000.0;  // a stored 10000 is reflectance 1.0

inline uint16_t be16(const unsigned char *p) {
    return static_cast<uint16_t>((static_cast<unsigned>(p[0]) << 8) | p[1]);
}
inline uint32_t be32(const unsigned char *p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | p[3];
}

// The fields of one block header.
struct block_fields {
    uint8_t id;
    uint32_t wedge_len;
    uint32_t patch_count;
    uint16_t columns;
    uint16_t rows;
    uint8_t illumination;
    uint8_t observer;
    uint8_t filter;
    uint8_t data_dir;
    uint16_t bytes_per_patch;

    uint64_t cells() const { return uint64_t{columns} * rows; }
    // Offset of the next block, relative to this one.
    uint64_t extent() const { return 5 + uint64_t{wedge_len}; }
};

block_fields read_block(const unsigned char *at) {
    block_fields b;
    b.id = at[0];
    b.wedge_len = be32(at + 1);
    b.patch_count = be32(at + 5);
    b.columns = be16(at + 9);
    b.rows = be16(at + 11);
    b.illumination = at[14];
    b.observer = at[15];
    b.filter = at[17];
    b.data_dir = at[18];
    b.bytes_per_patch = be16(at + 19);
    return b;
}

// Whether wedge_len = columns x rows x bytes per patch + 16. The product is
// below 2^48, so a sum that a 32-bit wedge_len cannot hold never agrees.
bool length_agrees(const block_fields &b, uint16_t bytes_per_patch) {
    return b.cells() * bytes_per_patch + k_block_fields == b.wedge_len;
}

// Traces text at the debug level with the caller's line and returns code.
int32_t refuse(uint32_t line, const char *text, int32_t code = HXTVEL_E_WEDGE_DATA) {
    if (trace_announce(HX_LV_DEBUG, __FILE__, line)) trace_msg("%s", text);
    return code;
}
void note(uint32_t line, const char *text) { refuse(line, text, 0); }

int32_t chart_ids(const unsigned char *s, unsigned char *ids, uint32_t *divcount) {
    if (!divcount) return refuse(__LINE__, "HXTVEL_GetMChartIDList:divcount is NULL!");
    if (!s) {
        *divcount = 0;
        return refuse(__LINE__, "HXTVEL_GetMChartIDList:spectrobin is NULL!");
    }
    // The first block's fields are checked only when there is a first block:
    // a stream of no blocks is its 37-byte header alone.
    const uint32_t count = s[k_block_count];
    const block_fields first = count ? read_block(s + k_spectrobin_header) : block_fields{};
    if (count && !length_agrees(first, first.bytes_per_patch))
        return refuse(__LINE__, "HXTVEL_GetMChartIDList:Bad data wedge_len!");
    if (count > k_max_blocks) return refuse(__LINE__, "HXTVEL_GetMChartIDList:Invalid data");
    if (s[k_sensor_id] != k_sensor_id_value)
        return refuse(__LINE__, "HXTVEL_GetMChartIDList:Bad data sensorid!");
    // This function reports a bad backing under the other function's name.
    if (s[k_backing] > k_max_backing)
        return refuse(__LINE__, "HXTVEL_GetSpectrorefByMChartID:backing bad data!");
    if (first.data_dir > k_max_data_dir) return refuse(__LINE__, "HXTVEL_GetMChartIDList:Bad data! data_dir");

    if (!ids) {
        *divcount = count;
        note(__LINE__, "HXTVEL_GetMChartIDList:wedgeID NULL param mode");
        return HXTVEL_OK;
    }
    if (*divcount != count) return refuse(__LINE__, "HXTVEL_GetMChartIDList:Invalid count");

    // The IDs are gathered aside so that the caller's array is written only
    // when every block has passed.
    unsigned char *scratch = new (std::nothrow) unsigned char[count];
    if (!scratch) return refuse(__LINE__, "HXTVEL_GetMChartIDList:Mem error!", HXTVEL_E_WEDGE_MEMORY);
    uint64_t at = k_spectrobin_header;
    for (uint32_t i = 0; i < count; ++i) {
        // Every block is measured with the first block's bytes per patch.
        const block_fields b = read_block(s + at);
        if (!length_agrees(b, first.bytes_per_patch)) {
            delete[] scratch;
            return refuse(__LINE__, "HXTVEL_GetMChartIDList:Bad data!");
        }
        scratch[i] = b.id;
        at += b.extent();
    }
    if (count) std::memcpy(ids, scratch, count);
    delete[] scratch;
    return HXTVEL_OK;
}

// The big-endian 16-bit number at p. Loaded as one native number and
// swapped on little-endian hosts, so that a loop over a patch becomes vector
// loads, shifts and conversions.
inline double be16_value(const unsigned char *p) {
    uint16_t w;
    std::memcpy(&w, p, sizeof w);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    w = static_cast<uint16_t>((w >> 8) | (w << 8));
#endif
    return static_cast<double>(w) / k_full_scale;
}

// Decodes one patch of bytes_per_patch bytes into 31 values. Numbers past
// the 31st are skipped; values that the patch does not hold (fewer than 62
// bytes) are 0. An odd last byte is no number of its own.
inline void decode_patch(const unsigned char *src, uint16_t bytes_per_patch, double *out) {
    constexpr uint32_t n = k_values_per_patch;
    if (bytes_per_patch >= 2 * n) {
        for (uint32_t v = 0; v < n; ++v) out[v] = be16_value(src + 2 * v);
        return;
    }
    const uint32_t held = bytes_per_patch / 2u;
    for (uint32_t v = 0; v < held; ++v) out[v] = be16_value(src + 2 * v);
    for (uint32_t v = held; v < n; ++v) out[v] = 0.0;
}

int32_t spectra(const unsigned char *s, int32_t chartid, velSPECTRO_REF *outref, uint32_t *size,
                uint32_t *length, velSensorInfo *outSensor) {
    if (!size || !length) return refuse(__LINE__, "HXTVEL_GetSpectrorefByMChartID:size or length is NULL!");
    if (!s) return refuse(__LINE__, "HXTVEL_GetSpectrorefByMChartID:spectrobin is NULL!");
    const uint32_t count = s[k_block_count];
    const block_fields first = count ? read_block(s + k_spectrobin_header) : block_fields{};
    if (count && !length_agrees(first, first.bytes_per_patch))
        return refuse(__LINE__, "HXTVEL_GetSpectroRef:Bad data!");
    if (count > k_max_blocks) return refuse(__LINE__, "HXTVEL_GetSpectroRef:Invalid data");
    if (s[k_sensor_id] != k_sensor_id_value)
        return refuse(__LINE__, "HXTVEL_GetSpectrorefByMChartID:Bad data!");
    if (s[k_backing] > k_max_backing)
        return refuse(__LINE__, "HXTVEL_GetSpectrorefByMChartID:backing bad data!");

    // First match wins; blocks after it are not looked at.
    uint64_t at = k_spectrobin_header;
    bool found = false;
    block_fields b{};
    for (uint32_t i = 0; i < count; ++i) {
        b = read_block(s + at);
        if (!length_agrees(b, first.bytes_per_patch))
            return refuse(__LINE__, "HXTVEL_GetSpectroRef:Bad data!");
        if (static_cast<int32_t>(b.id) == chartid) {
            found = true;
            break;
        }
        at += b.extent();
    }
    if (!found) return refuse(__LINE__, "No data!");
    note(__LINE__, "found data!");

    if (!length_agrees(b, b.bytes_per_patch))
        return refuse(__LINE__, "HXTVEL_GetSpectroRef:Bad data! wedge_len_");
    if (b.cells() < b.patch_count) return refuse(__LINE__, "HXTVEL_GetSpectroRef:Bad data! patch_xyproduct");
    if (b.data_dir > k_max_data_dir) return refuse(__LINE__, "HXTVEL_GetSpectroRef:Bad data! data_dir");

    *size = b.patch_count;
    *length = k_values_per_patch;
    if (!outref) {
        note(__LINE__, "HXTVEL_GetSpectrorefByMChartID:outref NULL param mode");
        return HXTVEL_OK;
    }
    if (!outSensor) {
        note(__LINE__, "HXTVEL_GetSpectrorefByMChartID:outSensor NULL param mode");
        return HXTVEL_OK;
    }

    velSensorInfo sensor;
    std::memcpy(sensor.instrument, s + k_sensor_name, sizeof sensor.instrument);
    sensor.backing = s[k_backing];
    sensor.temperature = s[k_temperature];
    sensor.humidity = s[k_humidity];
    sensor.illumination = b.illumination;
    sensor.observer = b.observer;
    sensor.filter = b.filter;
    std::memcpy(outSensor, &sensor, sizeof sensor);

    // Work values of the patches that are handed out, in chart order: only
    // the first patch-count positions are ever copied, so the positions
    // beyond them are neither decoded nor stored. One block for all of them.
    const uint64_t patches = b.patch_count;
    const uint64_t values = patches * k_values_per_patch;
    double *work = values <= SIZE_MAX / sizeof(double) ? new (std::nothrow) double[values] : nullptr;
    if (!work) return refuse(__LINE__, "HXTVEL_GetSpectrorefByMChartID:Mem error!", HXTVEL_E_WEDGE_MEMORY);

    // Chart row r is stored as row r (data_dir 0) or as row rows - 1 - r
    // (data_dir 1, rows stored bottom to top); columns keep their order.
    const unsigned char *data = s + at + k_block_header;
    const uint64_t row_bytes = uint64_t{b.columns} * b.bytes_per_patch;
    uint64_t j = 0;
    for (uint64_t r = 0; j < patches; ++r) {
        const uint64_t stored_row = b.data_dir ? b.rows - 1 - r : r;
        const unsigned char *src = data + stored_row * row_bytes;
        for (uint32_t c = 0; c < b.columns && j < patches; ++c, ++j, src += b.bytes_per_patch)
            decode_patch(src, b.bytes_per_patch, work + j * k_values_per_patch);
    }
    for (uint64_t p = 0; p < patches; ++p) {
        velSPECTRO_REF &out = outref[p];
        out.start = k_start_nm;
        out.end = k_end_nm;
        out.pitch = k_pitch_nm;
        std::memcpy(out.data, work + p * k_values_per_patch, k_values_per_patch * sizeof(double));
    }
    delete[] work;
    return HXTVEL_OK;
}

}  // namespace

std::string describe(const hxtvel_stream_check &check) {
    const std::string block = check.block >= 0 ? "block " + std::to_string(check.block) + " " : "";
    switch (check.verdict) {
    case HXTVEL_STREAM_OK:
        return "ok (" + std::to_string(check.size) + " bytes)";
    case HXTVEL_STREAM_TRUNCATED:
        return "truncated at byte " + std::to_string(check.size) + ": " + block + check.field + " needs bytes " +
               std::to_string(check.field_begin) + " to " + std::to_string(check.field_end - 1);
    case HXTVEL_STREAM_NO_CHARTS:
        return "no charts: the stream's header declares 0 chart blocks";
    default:
        if (std::string(check.field) == "patch count") {
            return block + "declares " + std::to_string(check.value) + " patches in " +
                   std::to_string(check.limit) + " cells (columns x rows)";
        }
        return block + "declares patches of " + std::to_string(check.value) +
               " bytes per patch; a patch needs at least " + std::to_string(check.limit) +
               " (one 16-bit value)";
    }
}

}  // namespace hxtvel

// Exported functions. Nothing in the unit throws; an exception from the
// trace log (a refused allocation while formatting) is reported as 403 so
// that none crosses the C interface.
extern "C" {

HXTVEL_API int32_t HXTVEL_GetMChartIDList(const unsigned char *spectrobin, unsigned char *wedgeID,
                                          uint32_t *divcount) {
    HX_TRACE_INOUT("HXTVEL_GetMChartIDList in", "HXTVEL_GetMChartIDList out");
    try {
        hxtvel::lock_guard guard(hxtvel::_lock);
        return hxtvel::chart_ids(spectrobin, wedgeID, divcount);
    } catch (...) {
        return HXTVEL_E_WEDGE_MEMORY;
    }
}

HXTVEL_API int32_t HXTVEL_GetSpectrorefByMChartID(const unsigned char *spectrobin, int32_t chartid,
                                                  velSPECTRO_REF *outref, uint32_t *size, uint32_t *length,
                                                  velSensorInfo *outSensor) {
    HX_TRACE_INOUT("HXTVEL_GetSpectrorefByMChartID in", "HXTVEL_GetSpectrorefByMChartID out");
    try {
        hxtvel::lock_guard guard(hxtvel::_lock);
        return hxtvel::spectra(spectrobin, chartid, outref, size, length, outSensor);
    } catch (...) {
        return HXTVEL_E_WEDGE_MEMORY;
    }
}

}  // extern "C"
