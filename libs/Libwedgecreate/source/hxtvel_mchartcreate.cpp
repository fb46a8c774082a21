// hxtvel_mchartcreate.cpp - chart settings, geometry, TIFF encoding, drawing
// to memory, and the exported chart functions.
#include "hxtvel_mchartcreate.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "tracelog.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace hxtvel {

namespace {

constexpr uint32_t kNoLayout = 8;
constexpr uint64_t kU32Max = std::numeric_limits<uint32_t>::max();
constexpr uint64_t k4GiB = uint64_t(1) << 32;

constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeLong = 4;
constexpr uint16_t kTypeRational = 5;

const unsigned char kWhiteRgb[4] = {255, 255, 255, 0};
const unsigned char kWhiteCmyk[4] = {0, 0, 0, 0};
const unsigned char kBlackRgb[4] = {0, 0, 0, 0};
const unsigned char kBlackCmyk[4] = {0, 0, 0, 255};

// Numbers of a page file are written in the host's byte order, which is
// also the order its header declares.
inline void put16(unsigned char *p, uint64_t v) {
    const uint16_t x = uint16_t(v);
    std::memcpy(p, &x, 2);
}
inline void put32(unsigned char *p, uint64_t v) {
    const uint32_t x = uint32_t(v);
    std::memcpy(p, &x, 4);
}

// One IFD entry. A single SHORT sits in the first two bytes of the value
// field, the other two are zero.
void put_entry(unsigned char *p, uint16_t tag, uint16_t type, uint64_t count, uint64_t value) {
    put16(p, tag);
    put16(p + 2, type);
    put32(p + 4, count);
    if (type == kTypeShort && count == 1) {
        put16(p + 8, value);
        put16(p + 10, 0);
    } else {
        put32(p + 8, value);
    }
}

inline uint64_t ceil_div(uint64_t a, uint64_t b) { return a / b + (a % b != 0); }

// a * b, or the largest value when it does not fit.
inline uint64_t sat_mul(uint64_t a, uint64_t b) {
    if (a != 0 && b > std::numeric_limits<uint64_t>::max() / a) return std::numeric_limits<uint64_t>::max();
    return a * b;
}

inline uint32_t sat_u32(uint64_t v) { return v > kU32Max ? uint32_t(kU32Max) : uint32_t(v); }

// A non-negative double to an unsigned count, dropping the fraction; NaN and
// negatives give 0, values beyond 64 bits the largest value.
inline uint64_t dbl_to_u64(double v) {
    if (!(v > 0.0)) return 0;
    if (v >= 18446744073709551615.0) return std::numeric_limits<uint64_t>::max();
    return uint64_t(v);
}

// Pixels of a length in tenths of a millimetre, rounded (round_dbl).
inline uint64_t round_px(uint64_t length, uint64_t resolution) {
    return dbl_to_u64(round_dbl(double(length) * double(resolution) / 254.0));
}

// A pixel count back to tenths of a millimetre.
inline uint32_t px_to_tenths_trunc(uint64_t px, uint32_t resolution) {
    return resolution ? sat_u32(px * 254 / resolution) : sat_u32(px);
}
inline uint32_t px_to_tenths_round(uint64_t px, uint32_t resolution) {
    return resolution ? sat_u32(dbl_to_u64(round_dbl(double(px) * 254.0 / double(resolution))))
                      : sat_u32(px);
}

// A colour component truncated toward zero; its low eight bits.
inline unsigned char low8(double v) {
    if (!(v > -9.2e18 && v < 9.2e18)) return 0;
    return static_cast<unsigned char>(static_cast<uint64_t>(static_cast<int64_t>(v)) & 0xFF);
}

// Layout pairs: (corner of patch 0, first direction) -> layout code.
struct layout_pair {
    uint8_t first, second;
    uint32_t code;
};
constexpr layout_pair kLayouts[] = {{8, 4, 0}, {8, 1, 1}, {4, 8, 2}, {4, 1, 3},
                                    {2, 4, 4}, {2, 2, 5}, {1, 8, 6}, {1, 2, 7}};

}  // namespace

void copy_row(unsigned char *dst, const unsigned char *src, uint64_t n, bool stream) {
#if defined(__SSE2__)
    if (stream && n >= 256) {
        // Whole cache lines only: a line shared with the neighbouring row is
        // written through the cache.
        uint64_t i = (64 - (reinterpret_cast<uintptr_t>(dst) & 63)) & 63;
        std::memcpy(dst, src, i);
        for (; i + 64 <= n; i += 64) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i + 16));
            const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i + 32));
            const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i + 48));
            _mm_stream_si128(reinterpret_cast<__m128i *>(dst + i), a);
            _mm_stream_si128(reinterpret_cast<__m128i *>(dst + i + 16), b);
            _mm_stream_si128(reinterpret_cast<__m128i *>(dst + i + 32), c);
            _mm_stream_si128(reinterpret_cast<__m128i *>(dst + i + 48), d);
        }
        std::memcpy(dst + i, src + i, n - i);
        return;
    }
#else
    (void)stream;
#endif
    std::memcpy(dst, src, n);
}

void copy_fence() {
#if defined(__SSE2__)
    _mm_sfence();
#endif
}

double round_dbl(double x) {
    if (x > 0.0) return std::floor(x + 0.5);
    return -std::floor(std::fabs(x) + 0.5);
}

uint32_t compute_tiff_layout(uint64_t width, uint64_t height, uint32_t samples, tiff_layout &out) {
    out = tiff_layout{};
    if (width >= k4GiB || height >= k4GiB || width * height >= k4GiB) return HXTVEL_E_CHART_SIZE;
    out.row_bytes = width * samples;
    out.image_bytes = width * height * samples;

    // Rows per strip: the largest divisor of the height whose strip stays
    // within 32 MiB (1 when even one row is larger). The divisors are paired
    // around the square root, so tall pages cost O(sqrt(height)).
    uint64_t rows = 1;
    const uint64_t limit = out.row_bytes ? kTiffMaxStripBytes / out.row_bytes : height;
    if (limit >= height) {
        rows = std::max<uint64_t>(height, 1);
    } else if (limit > 1) {
        for (uint64_t i = 1; i * i <= height; ++i) {
            if (height % i) continue;
            const uint64_t j = height / i;
            if (i <= limit) rows = std::max(rows, i);
            if (j <= limit) rows = std::max(rows, j);
        }
    }
    out.rows_per_strip = rows;
    out.strip_count = std::max<uint64_t>(height / rows, 1);
    out.strip_bytes = rows * out.row_bytes;

    out.resolution_offset =
        kTiffBitsPerSampleOffset + 2 * uint64_t(samples) + (out.strip_count > 1 ? 8 * out.strip_count : 0);
    out.image_offset = out.resolution_offset + 16;
    out.total = out.image_offset + out.image_bytes;
    return out.total >= k4GiB ? HXTVEL_E_CHART_SIZE : HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// Construction
// ---------------------------------------------------------------------------

c_mchart::c_mchart()
    : setting_{},
      layout_code_(kNoLayout),
      whitebar_(0),
      rgb_data_(nullptr),
      cmyk_data_(nullptr),
      rgb_count_(0),
      cmyk_count_(0),
      photometric_(2),
      samples_(3),
      byteorder_(0),
      posbar_(true),
      page_count_(0),
      wedge_(nullptr),
      pagesize_(nullptr),
      xres_(0),
      yres_(0),
      img_width_(0),
      img_height_(0),
      layout_{},
      write_offset_(0),
      page_base_(nullptr),
      tiffdata_rgb_(nullptr),
      tiffdata_cmyk_(nullptr),
      target_owned_(false),
      stride_(0),
      stream_(false),
      cur_x_(0),
      cur_y_(0),
      width_nobar_(0),
      avail_height_(0),
      patch_area_height_(0),
      pw_(0),
      ph_(0),
      margin_(0),
      columns_(0),
      rows_full_(0),
      rows_used_(0),
      per_page_(0),
      bar_w_(0),
      bar_h_(0),
      full_patch_(0),
      p_map_(nullptr),
      k_(0),
      remaining_(0),
      page_patches_(0),
      drawn_(0),
      page_index_(0),
      draw_pages_(0),
      left_(0),
      right_bar_x_(0),
      grid_top_(0),
      grid_bottom_(0),
      bar_left_(0),
      bar_top_(0),
      bar_count_{},
      bar_seg_{},
      bar_prev_mask_(0),
      bar_prev_valid_(false),
      bar_size_(0) {
    HX_TRACE_SCOPE("chartimage constructor");
    const uint16_t probe = 1;
    unsigned char first = 0;
    std::memcpy(&first, &probe, 1);
    const bool little = first == 1;
    byteorder_ = little ? 0x4949 : 0x4D4D;  // "II" or "MM"
    HX_TRACE(HX_LV_DEBUG, "%s", little ? "Little endian mode" : "Big endian mode");
}

c_mchart::~c_mchart() {
    HX_TRACE_SCOPE("destructor");
    release_row_buffer(nullptr, nullptr);
    delete[] p_map_;
    if (rgb_data_) {
        HX_TRACE(HX_LV_DEBUG, "rgb_data_ delete");
        delete[] rgb_data_;
    }
    if (cmyk_data_) {
        HX_TRACE(HX_LV_DEBUG, "cmyk_data_ delete");
        delete[] cmyk_data_;
    }
    if (wedge_) {
        HX_TRACE(HX_LV_DEBUG, "wedge_ delete");
        delete[] wedge_;
    }
    if (pagesize_) {
        HX_TRACE(HX_LV_DEBUG, "pagesize delete");
        delete[] pagesize_;
    }
}

// ---------------------------------------------------------------------------
// Settings and colours
// ---------------------------------------------------------------------------

uint32_t c_mchart::setchartsetting(velPAreaStruct s) {
    HX_TRACE_SCOPE("setchartsetting");
    lock_guard guard(lock_);
    if (!s.patch_count || !s.page_width || !s.page_height || !s.patch_width || !s.patch_height ||
        !s.layout_first || !s.layout_second || !s.resolution)
        return HXTVEL_E_CHART_ARG;
    if (s.resolution < 30 || s.resolution > 1200) return HXTVEL_E_CHART_SIZE;

    // A rejected pair leaves "no layout"; an accepted one stays even if a
    // later check rejects the setting.
    layout_code_ = kNoLayout;
    bool found = false;
    for (const layout_pair &p : kLayouts) {
        if (p.first == s.layout_first && p.second == s.layout_second) {
            layout_code_ = p.code;
            found = true;
        }
    }
    if (!found) return HXTVEL_E_CHART_ARG;

    if (s.whitebar_width > 60) return HXTVEL_E_CHART_ARG;
    const uint64_t white = uint64_t(s.resolution) * s.whitebar_width / 300;
    if (2 * white >= uint64_t(s.resolution) * s.patch_height / 300) return HXTVEL_E_CHART_ARG;
    whitebar_ = white;
    setting_ = s;
    return HXTVEL_OK;
}

uint32_t c_mchart::setchartdata(const velRGB *data, uint32_t count) {
    HX_TRACE_SCOPE("setchartdata");
    lock_guard guard(lock_);
    if (!setting_.patch_count) return HXTVEL_E_CHART_SETTING;
    if (count != setting_.patch_count || !data) return HXTVEL_E_CHART_ARG;
    delete[] rgb_data_;
    rgb_count_ = 0;
    rgb_data_ = new (std::nothrow) unsigned char[size_t(count) * 3];
    if (!rgb_data_) {
        HX_TRACE(HX_LV_DEBUG, "setchartdata RGB cannot alloc memory");
        return HXTVEL_E_CHART_MEMORY;
    }
    for (size_t i = 0; i < count; ++i) {
        rgb_data_[3 * i] = low8(data[i].R);
        rgb_data_[3 * i + 1] = low8(data[i].G);
        rgb_data_[3 * i + 2] = low8(data[i].B);
    }
    rgb_count_ = count;
    HX_TRACE(HX_LV_DEBUG, "setchartdata RGB comp.");
    photometric_ = 2;
    samples_ = 3;
    return HXTVEL_OK;
}

uint32_t c_mchart::setchartdata(const velCMYK *data, uint32_t count) {
    HX_TRACE_SCOPE("setchartdata");
    lock_guard guard(lock_);
    if (!setting_.patch_count) return HXTVEL_E_CHART_SETTING;
    if (count != setting_.patch_count || !data) return HXTVEL_E_CHART_ARG;
    delete[] cmyk_data_;
    cmyk_count_ = 0;
    cmyk_data_ = new (std::nothrow) unsigned char[size_t(count) * 4];
    if (!cmyk_data_) {
        HX_TRACE(HX_LV_DEBUG, "setchartdata CMYK cannot alloc memory");
        return HXTVEL_E_CHART_MEMORY;
    }
    for (size_t i = 0; i < count; ++i) {
        cmyk_data_[4 * i] = low8(data[i].C * 255.0 / 100.0);
        cmyk_data_[4 * i + 1] = low8(data[i].M * 255.0 / 100.0);
        cmyk_data_[4 * i + 2] = low8(data[i].Y * 255.0 / 100.0);
        cmyk_data_[4 * i + 3] = low8(data[i].K * 255.0 / 100.0);
    }
    cmyk_count_ = count;
    photometric_ = 5;
    samples_ = 4;
    return HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// Geometry queries
// ---------------------------------------------------------------------------

// Columns between two margins of half a patch (at least one pixel).
uint32_t c_mchart::width_rule(uint32_t page_width, uint32_t patch_width, uint32_t resolution,
                              width_geometry &g) {
    g.page_px = uint64_t(resolution) * page_width / 254;
    g.patch_px = round_px(patch_width, resolution);
    if (!g.patch_px || !g.page_px) return HXTVEL_E_CHART_ARG;
    g.margin = std::max<uint64_t>(g.patch_px / 2, 1);
    if (g.page_px < g.patch_px + 2 * g.margin) return HXTVEL_E_CHART_ARG;
    g.columns = (g.page_px - 2 * g.margin) / g.patch_px;
    g.image_width = 2 * g.margin + g.columns * g.patch_px;
    return HXTVEL_OK;
}

// Rows per page and pages for patch_px-high patches; with the bar, its
// height is taken off the page first.
uint32_t c_mchart::height_rule(uint32_t page_height, uint32_t patch_height, uint64_t patch_px,
                               uint32_t resolution, uint64_t patch_count, uint64_t columns,
                               uint32_t bar, height_geometry &g) {
    (void)patch_height;
    uint64_t avail = uint64_t(resolution) * page_height / 254;
    g.patch_px = patch_px;
    if (!avail || !patch_px) return HXTVEL_E_CHART_ARG;
    g.bar_px = 0;
    if (bar) {
        g.bar_px = uint64_t(resolution) * 184 / 300;
        // Compared with the page height in tenths of a millimetre.
        if (g.bar_px >= page_height) return HXTVEL_E_CHART_ARG;
        avail = avail > g.bar_px ? avail - g.bar_px : 0;
    }
    g.per_page = sat_mul(avail / patch_px, columns);
    if (!g.per_page || !columns) return HXTVEL_E_CHART_ARG;  // not one row fits
    g.pages = ceil_div(patch_count, g.per_page);
    g.rows_full = ceil_div(std::min(g.per_page, patch_count), columns);
    if (sat_mul(g.rows_full, patch_px) + g.bar_px > kU32Max || g.pages > kU32Max)
        return HXTVEL_E_CHART_ARG;
    return HXTVEL_OK;
}

void c_mchart::height_records(const height_geometry &g, uint32_t patch_count, uint64_t columns,
                              uint32_t resolution, uint32_t unit, uint32_t bar, velMChartStruct *out) {
    uint64_t remaining = patch_count;
    for (uint64_t p = 0; p < g.pages; ++p) {
        const uint64_t take = std::min(remaining, columns * g.rows_full);
        const uint64_t rows = ceil_div(take, columns);
        const uint64_t height = rows * g.patch_px + (bar ? g.bar_px : 0);
        velMChartStruct r{};
        r.patch_count = patch_count;
        r.rows = uint32_t(rows);
        r.resolution = resolution;
        r.image_height = unit ? px_to_tenths_trunc(height, resolution) : uint32_t(height);
        r.patch_height = unit ? px_to_tenths_round(g.patch_px, resolution) : uint32_t(g.patch_px);
        out[p] = r;
        remaining -= take;
    }
}

uint32_t c_mchart::gettiffwpatch(uint32_t page_width, uint32_t patch_width, uint32_t resolution,
                                 uint32_t *columns) {
    HX_TRACE_SCOPE("gettiffwpatch");
    lock_guard guard(lock_);
    if (!page_width || !patch_width || !resolution || !columns) return HXTVEL_E_CHART_ARG;
    width_geometry g{};
    const uint32_t rc = width_rule(page_width, patch_width, resolution, g);
    if (rc) return rc;
    if (g.columns > kU32Max) return HXTVEL_E_CHART_ARG;
    *columns = uint32_t(g.columns);
    return HXTVEL_OK;
}

uint32_t c_mchart::calctiffwidthinfo(velPAreaStruct s, uint32_t unit, uint32_t bar, velMChartStruct *out) {
    HX_TRACE_SCOPE("calctiffwidthinfo");
    lock_guard guard(lock_);
    if (!s.patch_width || !s.page_width || !s.resolution || unit > 1 || bar > 1 || !out)
        return HXTVEL_E_CHART_ARG;
    width_geometry g{};
    const uint32_t rc = width_rule(s.page_width, s.patch_width, s.resolution, g);
    if (rc) return rc;
    uint64_t width = g.image_width;
    if (bar) width = std::max(width, getposbar_width(s.resolution));
    if (width > kU32Max || g.columns > kU32Max || g.patch_px > kU32Max) return HXTVEL_E_CHART_ARG;
    velMChartStruct r{};
    r.columns = uint32_t(g.columns);
    r.resolution = s.resolution;
    r.image_width = unit ? px_to_tenths_trunc(width, s.resolution) : uint32_t(width);
    r.patch_width = unit ? px_to_tenths_round(g.patch_px, s.resolution) : uint32_t(g.patch_px);
    *out = r;
    return HXTVEL_OK;
}

uint32_t c_mchart::calctiffheightinfo(const velPAreaStruct *s, uint32_t columns, uint32_t unit,
                                      uint32_t bar, uint32_t *pages, velMChartStruct *out) {
    HX_TRACE_SCOPE("calctiffheightinfo");
    lock_guard guard(lock_);
    if (!s || bar > 1 || unit > 1 || !pages) return HXTVEL_E_CHART_ARG;
    if (!s->patch_height) return HXTVEL_OK;
    height_geometry g{};
    const uint32_t rc = height_rule(s->page_height, s->patch_height,
                                    round_px(s->patch_height, s->resolution), s->resolution,
                                    s->patch_count, columns, bar, g);
    if (rc) return rc;
    *pages = uint32_t(g.pages);
    if (out) height_records(g, s->patch_count, columns, s->resolution, unit, bar, out);
    return HXTVEL_OK;
}

uint32_t c_mchart::calctiffinfo(velPAreaStruct s, uint32_t unit, uint32_t bar, uint32_t *pages,
                                velMChartStruct *out) {
    HX_TRACE_SCOPE("calctiffinfo");
    lock_guard guard(lock_);
    if (unit > 1 || !pages) return HXTVEL_E_CHART_ARG;
    velMChartStruct w{};
    uint32_t rc = calctiffwidthinfo(s, unit, bar, &w);
    if (rc) return rc;
    if (!w.columns || !s.patch_count || !s.page_height || !s.patch_height) return HXTVEL_E_CHART_ARG;
    uint64_t patch_px = round_px(s.patch_height, s.resolution);
    // The 22 mm patch at 1200 dpi is one pixel taller, as on drawn pages.
    if (patch_px && s.patch_height == 220 && s.resolution == 1200) ++patch_px;
    height_geometry g{};
    rc = height_rule(s.page_height, s.patch_height, patch_px, s.resolution, s.patch_count, w.columns,
                     bar, g);
    if (rc) return rc;
    *pages = uint32_t(g.pages);
    if (!out) return HXTVEL_OK;
    height_records(g, s.patch_count, w.columns, s.resolution, unit, bar, out);
    for (uint64_t p = 0; p < g.pages; ++p) {
        out[p].columns = w.columns;
        out[p].image_width = w.image_width;
        out[p].patch_width = w.patch_width;
        out[p].layout_first = s.layout_first;
        out[p].layout_second = s.layout_second;
    }
    return HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// What the last drawing left
// ---------------------------------------------------------------------------

uint32_t c_mchart::getwedgedata(velMChartStruct *out, uint32_t unit) {
    HX_TRACE_SCOPE("getwedgedata");
    lock_guard guard(lock_);
    if (!out || unit > 1) return HXTVEL_E_CHART_ARG;
    if (!wedge_) return HXTVEL_E_CHART_MEMORY;
    for (uint32_t p = 0; p < page_count_; ++p) {
        velMChartStruct r = wedge_[p];
        if (unit) {
            const uint32_t res = r.resolution;
            r.image_width = px_to_tenths_trunc(r.image_width, res);
            r.image_height = px_to_tenths_trunc(r.image_height, res);
            r.patch_width = px_to_tenths_round(r.patch_width, res);
            r.patch_height = px_to_tenths_round(r.patch_height, res);
        }
        out[p] = r;
    }
    return HXTVEL_OK;
}

uint32_t c_mchart::getpagesize(uint32_t page, unsigned long long *size) {
    HX_TRACE_SCOPE("getpagesize");
    lock_guard guard(lock_);
    // An index equal to the page count reads the zero entry at the end.
    if (!size || page > page_count_) return HXTVEL_E_CHART_ARG;
    if (!pagesize_) return HXTVEL_E_CHART_MEMORY;
    *size = pagesize_[page];
    return HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// TIFF encoding, memory target
// ---------------------------------------------------------------------------

uint32_t c_mchart::gettiffsize() {
    HX_TRACE_SCOPE("gettiffsize");
    return compute_tiff_layout(img_width_, img_height_, samples_, layout_);
}

// Offsets 0 to 7: byte-order mark, 42, offset of the IFD.
void c_mchart::write_header(unsigned char *p) const {
    put16(p, byteorder_);
    put16(p + 2, 42);
    put32(p + 4, 8);
}

// File offsets 8 up to the end of the BitsPerSample values, written at p.
void c_mchart::build_ifd_head(unsigned char *p) const {
    const tiff_layout &l = layout_;
    const uint64_t bps = kTiffBitsPerSampleOffset;
    const uint64_t arrays = bps + 2 * uint64_t(samples_);
    const bool several = l.strip_count > 1;
    put16(p, 15);
    unsigned char *e = p + 2;
    put_entry(e, 254, kTypeLong, 1, 0);
    put_entry(e += 12, 256, kTypeLong, 1, img_width_);
    put_entry(e += 12, 257, kTypeLong, 1, img_height_);
    put_entry(e += 12, 258, kTypeShort, samples_, bps);
    put_entry(e += 12, 259, kTypeShort, 1, 1);
    put_entry(e += 12, 262, kTypeShort, 1, photometric_);
    put_entry(e += 12, 273, kTypeLong, l.strip_count, several ? arrays : l.image_offset);
    put_entry(e += 12, 274, kTypeShort, 1, 1);
    put_entry(e += 12, 277, kTypeShort, 1, samples_);
    // A SHORT holds up to 65535 rows; a taller strip needs a LONG.
    put_entry(e += 12, 278, l.rows_per_strip > 0xFFFF ? kTypeLong : kTypeShort, 1, l.rows_per_strip);
    put_entry(e += 12, 279, kTypeLong, l.strip_count,
              several ? arrays + 4 * l.strip_count : l.strip_bytes);
    put_entry(e += 12, 282, kTypeRational, 1, l.resolution_offset);
    put_entry(e += 12, 283, kTypeRational, 1, l.resolution_offset + 8);
    put_entry(e += 12, 284, kTypeShort, 1, 1);
    put_entry(e += 12, 296, kTypeShort, 1, 2);
    put32(e + 12, 0);  // no next IFD
    unsigned char *v = p + (bps - 8);
    for (uint32_t i = 0; i < samples_; ++i) put16(v + 2 * i, 8);
}

// XResolution and YResolution: resolution / 1 each.
void c_mchart::build_rationals(unsigned char *p) const {
    put32(p, xres_);
    put32(p + 4, 1);
    put32(p + 8, yres_);
    put32(p + 12, 1);
}

// Entry i of StripOffsets (counts false) or StripByteCounts (counts true).
uint64_t c_mchart::strip_array_value(bool counts, uint64_t i) const {
    return counts ? layout_.strip_bytes : layout_.image_offset + i * layout_.strip_bytes;
}

uint32_t c_mchart::setifd() {
    HX_TRACE_SCOPE("setifd");
    if (!page_base_) return HXTVEL_E_CHART_DRAW;
    build_ifd_head(page_base_ + 8);
    if (layout_.strip_count > 1) {
        unsigned char *offsets = page_base_ + kTiffBitsPerSampleOffset + 2 * uint64_t(samples_);
        unsigned char *counts = offsets + 4 * layout_.strip_count;
        for (uint64_t i = 0; i < layout_.strip_count; ++i) {
            put32(offsets + 4 * i, strip_array_value(false, i));
            put32(counts + 4 * i, strip_array_value(true, i));
        }
    }
    build_rationals(page_base_ + layout_.resolution_offset);
    return HXTVEL_OK;
}

// Lays the page out at the running write offset: header, the zero
// next-IFD offset, and (with blank) every pixel paper white. Callers that
// paint every row themselves skip the blank image.
uint32_t c_mchart::initimagearea(unsigned char *buffer, bool blank) {
    HX_TRACE_SCOPE("initimagearea");
    if (!buffer) return HXTVEL_E_CHART_ARG;
    page_base_ = buffer + write_offset_;
    write_header(page_base_);
    put16(page_base_ + 8, 15);
    put32(page_base_ + 190, 0);
    release_row_buffer(nullptr, nullptr);
    set_target(page_base_ + layout_.image_offset);
    stride_ = layout_.row_bytes;
    stream_ = layout_.image_bytes >= kStreamBytes;
    cur_x_ = cur_y_ = 0;
    if (blank) fill_pixels(target(), white(), img_width_ * img_height_);
    reset_bar_state();
    write_offset_ += layout_.total;
    return HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// Chart geometry
// ---------------------------------------------------------------------------

// Geometry of the whole chart and of its first page, from the setting; also
// the start of every size query and drawing.
uint32_t c_mchart::inittiffparam() {
    HX_TRACE_SCOPE("inittiffparam");
    img_width_ = img_height_ = width_nobar_ = avail_height_ = patch_area_height_ = 0;
    pw_ = ph_ = margin_ = columns_ = rows_full_ = rows_used_ = per_page_ = 0;
    full_patch_ = k_ = remaining_ = page_patches_ = drawn_ = 0;
    page_index_ = draw_pages_ = 0;
    left_ = right_bar_x_ = grid_top_ = grid_bottom_ = bar_left_ = bar_top_ = 0;
    write_offset_ = 0;
    page_base_ = nullptr;
    cur_x_ = cur_y_ = 0;

    const velPAreaStruct &s = setting_;
    xres_ = yres_ = s.resolution;
    bar_w_ = getposbar_width();
    bar_h_ = uint64_t(yres_) * 184 / 300;
    const uint64_t page_px = uint64_t(s.resolution) * s.page_width / 254;
    avail_height_ = uint64_t(s.resolution) * s.page_height / 254;
    pw_ = round_px(s.patch_width, s.resolution);
    ph_ = round_px(s.patch_height, s.resolution);
    // The 22 mm patch at 1200 dpi is drawn one pixel taller (1040 rows).
    if (s.patch_height == 220 && s.resolution == 1200) ++ph_;

    if (posbar_) {
        if (avail_height_ <= bar_h_) return HXTVEL_E_CHART_SETTING;
        avail_height_ -= bar_h_;
    }
    if (!pw_ || !ph_) return HXTVEL_E_CHART_SETTING;
    margin_ = std::max<uint64_t>(pw_ / 2, 1);
    if (page_px < 2 * margin_ + pw_) return HXTVEL_E_CHART_SETTING;
    if (avail_height_ < ph_) return HXTVEL_E_CHART_SETTING;
    if (ph_ <= 2 * whitebar_) return HXTVEL_E_CHART_SETTING;

    rows_full_ = avail_height_ / ph_;
    columns_ = (page_px - 2 * margin_) / pw_;
    per_page_ = sat_mul(rows_full_, columns_);
    const uint64_t first = std::min<uint64_t>(per_page_, s.patch_count);
    rows_used_ = ceil_div(first, columns_);
    patch_area_height_ = ph_ * rows_used_;
    img_height_ = patch_area_height_ + (posbar_ ? bar_h_ : 0);
    width_nobar_ = pw_ * columns_ + 2 * margin_;
    img_width_ = posbar_ ? std::max(width_nobar_, bar_w_) : width_nobar_;

    draw_pages_ = uint32_t(ceil_div(s.patch_count, per_page_));
    remaining_ = s.patch_count;
    return gettiffsize();
}

// Geometry of the next page: the rows its patches need, the grid centred
// in the page width.
uint32_t c_mchart::settiffparam() {
    HX_TRACE_SCOPE("settiffparam");
    const uint64_t rows_fit = patch_area_height_ / ph_;
    const uint64_t columns = (width_nobar_ - 2 * margin_) / pw_;
    page_patches_ = std::min(remaining_, sat_mul(rows_fit, columns));
    rows_used_ = ceil_div(page_patches_, columns);
    patch_area_height_ = ph_ * rows_used_;
    img_height_ = patch_area_height_ + (posbar_ ? bar_h_ : 0);
    left_ = (img_width_ - columns_ * pw_) / 2;
    grid_top_ = (patch_area_height_ - rows_used_ * ph_) / 2;
    right_bar_x_ = left_ + columns_ * pw_;
    grid_bottom_ = grid_top_ + rows_used_ * ph_;
    remaining_ -= page_patches_;
    return gettiffsize();
}

// All pages' bytes, right after inittiffparam: every page but the last is
// as full as the first.
uint64_t c_mchart::total_bytes() const {
    if (draw_pages_ <= 1) return layout_.total;
    const uint64_t last = setting_.patch_count - uint64_t(draw_pages_ - 1) * per_page_;
    tiff_layout l;
    compute_tiff_layout(img_width_, ph_ * ceil_div(last, columns_) + (posbar_ ? bar_h_ : 0), samples_, l);
    const uint64_t full = sat_mul(draw_pages_ - 1, layout_.total);
    return full > std::numeric_limits<uint64_t>::max() - l.total ? std::numeric_limits<uint64_t>::max()
                                                                  : full + l.total;
}

// Colours of the kind the pages are encoded in, one per patch.
uint32_t c_mchart::colour_check() const {
    if (!rgb_data_ && !cmyk_data_) return HXTVEL_E_CHART_NOCOLOR;
    const bool cmyk = samples_ == 4;
    const unsigned char *data = cmyk ? cmyk_data_ : rgb_data_;
    const uint32_t count = cmyk ? cmyk_count_ : rgb_count_;
    if (!data || count != setting_.patch_count) return HXTVEL_E_CHART_NOCOLOR;
    return HXTVEL_OK;
}

// New page records and sizes for `pages` pages; the old ones stay if they
// cannot be had.
uint32_t c_mchart::replace_page_arrays(uint32_t pages, bool trace_failure) {
    velMChartStruct *wedge = new (std::nothrow) velMChartStruct[pages]();
    if (!wedge) {
        if (trace_failure) HX_TRACE(HX_LV_DEBUG, "wedge_ mem fail");
        return HXTVEL_E_CHART_MEMORY;
    }
    unsigned long long *sizes = new (std::nothrow) unsigned long long[size_t(pages) + 1]();
    if (!sizes) {
        delete[] wedge;
        return HXTVEL_E_CHART_MEMORY;
    }
    delete[] wedge_;
    delete[] pagesize_;
    wedge_ = wedge;
    pagesize_ = sizes;
    page_count_ = pages;
    return HXTVEL_OK;
}

// The grid's cells rounded up to whole rows, and which patch each shows.
uint32_t c_mchart::make_patch_map(bool to_file) {
    full_patch_ = ceil_div(setting_.patch_count, columns_) * columns_;
    const unsigned long long full = full_patch_;
    if (to_file)
        HX_TRACE(HX_LV_DEBUG, "createtiff_f full patch [%llu]", full);
    else
        HX_TRACE(HX_LV_DEBUG, "createtiff_m full patch [%llu]", full);
    if (full_patch_ <= k4GiB) p_map_ = new (std::nothrow) uint32_t[full_patch_];
    if (!p_map_) {
        if (to_file) HX_TRACE(HX_LV_DEBUG, "p_map_ mem fail");
        return HXTVEL_E_CHART_MEMORY;
    }
    HX_TRACE(HX_LV_DEBUG, "make patch order map");
    return setpatchmap();
}

// Places patch numbers 0, 1, 2, ... from the start corner, first along the
// start direction. Top and bottom are those of the whole chart's grid.
uint32_t c_mchart::setpatchmap() {
    HX_TRACE_SCOPE("setpatchmap");
    if (!p_map_) return HXTVEL_E_CHART_MEMORY;
    if (layout_code_ > 7) return HXTVEL_E_CHART_DRAW;
    const uint64_t cols = columns_;
    const uint64_t rows = full_patch_ / cols;
    const uint32_t code = layout_code_;
    const bool from_bottom = code >= 4;
    const bool from_right = code == 2 || code == 3 || code == 6 || code == 7;
    const bool by_column = code % 2 == 1;
    uint32_t n = 0;
    const uint64_t outer = by_column ? cols : rows;
    const uint64_t inner = by_column ? rows : cols;
    for (uint64_t i = 0; i < outer; ++i) {
        for (uint64_t j = 0; j < inner; ++j, ++n) {
            uint64_t row = by_column ? j : i;
            uint64_t col = by_column ? i : j;
            if (from_bottom) row = rows - 1 - row;
            if (from_right) col = cols - 1 - col;
            p_map_[row * cols + col] = n;
        }
    }
    return HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// Painting
// ---------------------------------------------------------------------------

uint32_t c_mchart::setpatch(uint64_t patch, uint64_t rows) {
    return samples_ == 4 ? setpatchcmyk(patch, rows) : setpatchrgb(patch, rows);
}

uint32_t c_mchart::setpatchrgb(uint64_t patch, uint64_t rows) {
    HX_TRACE_SCOPE("setpatchrgb");
    return paint_patch(patch, rows, rgb_data_);
}

uint32_t c_mchart::setpatchcmyk(uint64_t patch, uint64_t rows) {
    HX_TRACE_SCOPE("setpatchcmyk");
    return paint_patch(patch, rows, cmyk_data_);
}

// One cell, Pw pixels wide and `rows` rows high at (cur_x_, cur_y_): the
// patch's colour, or paper white for a filler cell (not counted).
uint32_t c_mchart::paint_patch(uint64_t patch, uint64_t rows, const unsigned char *colours) {
    unsigned char *const image = target();
    if (!image) return HXTVEL_E_CHART_MEMORY;
    if (cur_x_ + pw_ > img_width_ || (stride_ && cur_y_ + rows > img_height_)) return HXTVEL_E_CHART_DRAW;
    const unsigned char *pixel = white();
    if (patch < setting_.patch_count) {
        if (!colours) return HXTVEL_E_CHART_DRAW;
        pixel = colours + patch * samples_;
        ++drawn_;
    }
    unsigned char *p = image + cur_y_ * stride_ + cur_x_ * samples_;
    fill_pixels(p, pixel, pw_);
    for (uint64_t r = 1; stride_ && r < rows; ++r) std::memcpy(p + r * stride_, p, pw_ * samples_);
    bar_prev_valid_ = false;
    return HXTVEL_OK;
}

// The columns of one grid row at cur_y_, one pixel row high, taking the
// next cells of the chart.
uint32_t c_mchart::paint_cells() {
    for (uint64_t c = 0; c < columns_; ++c) {
        cur_x_ = left_ + c * pw_;
        const uint64_t patch = k_ < full_patch_ ? p_map_[k_++] : std::numeric_limits<uint64_t>::max();
        if (setpatch(patch, 1)) return HXTVEL_E_CHART_DRAW;
    }
    return HXTVEL_OK;
}

// The two side bars of one pixel row.
void c_mchart::paint_sidebars(unsigned char *row, const unsigned char *colour) const {
    fill_pixels(row + (left_ - margin_) * samples_, colour, margin_);
    fill_pixels(row + right_bar_x_ * samples_, colour, margin_);
}

// The page record that getwedgedata returns.
void c_mchart::setwedgedata() {
    HX_TRACE_SCOPE("setwedgedata");
    if (!wedge_ || page_index_ >= page_count_) return;
    velMChartStruct r{};
    r.patch_count = uint32_t(drawn_);
    const uint8_t direction = setting_.layout_second;
    if (drawn_ && (direction == 1 || direction == 2)) {
        r.rows = uint32_t(std::min(drawn_, rows_used_));
        r.columns = uint32_t(ceil_div(drawn_, r.rows));
    } else if (drawn_ && (direction == 4 || direction == 8)) {
        r.columns = uint32_t(std::min(drawn_, columns_));
        r.rows = uint32_t(ceil_div(drawn_, r.columns));
    }
    r.image_width = uint32_t(img_width_);
    r.image_height = uint32_t(img_height_);
    r.sidebar_left = uint32_t(left_ - margin_);
    r.grid_top = uint32_t(grid_top_);
    r.resolution = xres_;
    r.patch_width = uint32_t(pw_);
    r.patch_height = uint32_t(ph_);
    r.bar_left = uint32_t(bar_left_);
    r.bar_top = uint32_t(bar_top_);
    r.layout_first = setting_.layout_first;
    r.layout_second = direction;
    wedge_[page_index_] = r;
}

void c_mchart::end_drawing(const char *map_text, const char *rgb_text, const char *cmyk_text) {
    release_row_buffer(rgb_text, cmyk_text);
    page_base_ = nullptr;
    if (p_map_) {
        HX_TRACE(HX_LV_DEBUG, "%s", map_text);
        delete[] p_map_;
        p_map_ = nullptr;
    }
}

// ---------------------------------------------------------------------------
// Drawing to memory
// ---------------------------------------------------------------------------

// One page at the running write offset. Every row is painted exactly once:
// the first pixel row of each grid row is built (white margin, solid side
// bars, cells) and copied down the patch height; the bar rows follow.
uint32_t c_mchart::draw_page_memory(unsigned char *buffer) {
    HX_TRACE(HX_LV_DEBUG, "createtiff_m:Make TIFF Image Start");
    uint32_t rc = settiffparam();
    if (rc) return rc;
    if (initimagearea(buffer, false)) return HXTVEL_E_CHART_ARG;
    pagesize_[page_index_] = layout_.total;
    drawn_ = 0;
    const uint64_t s = samples_;
    const uint64_t right_end = right_bar_x_ + margin_;
    for (uint64_t r = 0; r < rows_used_; ++r) {
        cur_y_ = grid_top_ + r * ph_;
        unsigned char *row = target() + cur_y_ * stride_;
        fill_pixels(row, white(), left_ - margin_);
        paint_sidebars(row, black());
        if ((rc = paint_cells())) return rc;
        fill_pixels(row + right_end * s, white(), img_width_ - right_end);
        for (uint64_t y = 1; y < ph_; ++y) copy_row(row + y * stride_, row, layout_.row_bytes, stream_);
    }
    if (posbar_) {
        HX_TRACE(HX_LV_DEBUG, "createtiff_m:drawing positioning bar");
        bar_top_ = grid_bottom_;
        cur_y_ = bar_top_;
        if ((rc = setpositioningbar(bar_h_))) return rc;
        HX_TRACE(HX_LV_DEBUG, "createtiff_m:positioning bar comp.");
    }
    copy_fence();
    if (!drawn_) return HXTVEL_E_CHART_DRAW;
    setifd();
    setwedgedata();
    ++page_index_;
    return HXTVEL_OK;
}

uint32_t c_mchart::createtiff(void *buffer, unsigned long long *size, uint32_t *pages, uint32_t bar) {
    HX_TRACE_SCOPE("createtiff");
    lock_guard guard(lock_);
    if (!size || !pages || bar > 1) return HXTVEL_E_CHART_ARG;
    posbar_ = bar == 1;
    uint32_t rc;
    if (!buffer) {
        if ((rc = inittiffparam())) {
            *size = 0;
            *pages = 0;
            return rc;
        }
        const uint64_t total = total_bytes();
        HX_TRACE(HX_LV_DEBUG, "createtiff 'NULL' mode [total:%llu byte]", static_cast<unsigned long long>(total));
        *size = total;
        *pages = draw_pages_;
        return HXTVEL_OK;
    }
    if ((rc = colour_check())) return rc;
    if ((rc = inittiffparam())) {
        *pages = 0;
        return rc;
    }
    *pages = draw_pages_;
    if (*size != total_bytes()) {
        *pages = 0;
        return HXTVEL_E_CHART_ARG;
    }
    if ((rc = replace_page_arrays(draw_pages_, false))) return rc;

    struct finish {
        c_mchart *m;
        ~finish() { m->end_drawing("createtiff_m p_map_ delete", nullptr, nullptr); }
    } end{this};
    if ((rc = make_patch_map(false))) return rc;
    unsigned char *const block = static_cast<unsigned char *>(buffer);
    while (page_index_ < draw_pages_)
        if ((rc = draw_page_memory(block))) return rc;
    return HXTVEL_OK;
}

// ---------------------------------------------------------------------------
// Image target and pixels
// ---------------------------------------------------------------------------

void c_mchart::set_target(unsigned char *p) {
    tiffdata_rgb_ = samples_ == 4 ? nullptr : p;
    tiffdata_cmyk_ = samples_ == 4 ? p : nullptr;
}

// Frees an owned row buffer, tracing the given text for the kind it held;
// a pointer into a caller's block is only forgotten.
void c_mchart::release_row_buffer(const char *rgb_text, const char *cmyk_text) {
    if (target_owned_) {
        if (tiffdata_rgb_ && rgb_text) HX_TRACE(HX_LV_DEBUG, "%s", rgb_text);
        if (tiffdata_cmyk_ && cmyk_text) HX_TRACE(HX_LV_DEBUG, "%s", cmyk_text);
        delete[] tiffdata_rgb_;
        delete[] tiffdata_cmyk_;
    }
    tiffdata_rgb_ = tiffdata_cmyk_ = nullptr;
    target_owned_ = false;
    stride_ = 0;
}

const unsigned char *c_mchart::white() const { return samples_ == 4 ? kWhiteCmyk : kWhiteRgb; }
const unsigned char *c_mchart::black() const { return samples_ == 4 ? kBlackCmyk : kBlackRgb; }

// count pixels of one colour: memset when its bytes are equal, otherwise
// one pixel doubled by copying.
void c_mchart::fill_pixels(unsigned char *dst, const unsigned char *pixel, uint64_t count) const {
    const uint64_t s = samples_;
    if (!count) return;
    bool same = true;
    for (uint64_t i = 1; i < s; ++i) same = same && pixel[i] == pixel[0];
    const uint64_t total = count * s;
    if (same) {
        std::memset(dst, pixel[0], total);
        return;
    }
    std::memcpy(dst, pixel, s);
    uint64_t done = s;
    while (done < total) {
        const uint64_t n = std::min(done, total - done);
        std::memcpy(dst + done, dst, n);
        done += n;
    }
}

}  // namespace hxtvel

// ---------------------------------------------------------------------------
// Exported chart functions: 206 for a null handle, otherwise the instance
// operation's code unchanged.
// ---------------------------------------------------------------------------

using hxtvel::c_mchart;
using hxtvel::raw_value;

namespace {

inline c_mchart *inst(void *handle) { return static_cast<c_mchart *>(handle); }

}  // namespace

extern "C" {

// A failed allocation is not turned into a null handle.
HXTVEL_API void *HXTVEL_CreateMChartInstance(void) { return new c_mchart(); }

HXTVEL_API void HXTVEL_DeleteMChartInstance(void *handle) { delete inst(handle); }

HXTVEL_API uint32_t HXTVEL_SetMChartSetting(void *handle, velPAreaStruct setting) {
    return handle ? inst(handle)->setchartsetting(setting) : HXTVEL_E_CHART_ARG;
}

HXTVEL_API uint32_t HXTVEL_SetMChartData_RGB(void *handle, const velRGB *data, uint32_t count) {
    return handle ? inst(handle)->setchartdata(data, count) : HXTVEL_E_CHART_ARG;
}

HXTVEL_API uint32_t HXTVEL_SetMChartData_CMYK(void *handle, const velCMYK *data, uint32_t count) {
    return handle ? inst(handle)->setchartdata(data, count) : HXTVEL_E_CHART_ARG;
}

HXTVEL_API uint32_t HXTVEL_GetMChartData(void *handle, velMChartStruct *out, HXTVEL_UnitType unit) {
    return handle ? inst(handle)->getwedgedata(out, raw_value(unit)) : HXTVEL_E_CHART_ARG;
}

HXTVEL_API uint32_t HXTVEL_GetPageSize(void *handle, uint32_t page, unsigned long long *size) {
    return handle ? inst(handle)->getpagesize(page, size) : HXTVEL_E_CHART_ARG;
}

HXTVEL_API uint32_t HXTVEL_GetPatchWCountByWidth(void *handle, uint32_t page_width,
                                                 uint32_t patch_width, uint32_t resolution,
                                                 uint32_t *columns) {
    return handle ? inst(handle)->gettiffwpatch(page_width, patch_width, resolution, columns)
                  : HXTVEL_E_CHART_ARG;
}

// Always with the bar, so the width is never below the bar's.
HXTVEL_API uint32_t HXTVEL_CalcTiffWidthInfo(void *handle, uint32_t page_width, uint32_t patch_width,
                                             uint32_t resolution, HXTVEL_UnitType unit,
                                             velMChartStruct *out) {
    if (!handle || !page_width || !patch_width || !resolution) return HXTVEL_E_CHART_ARG;
    velPAreaStruct s{};
    s.page_width = page_width;
    s.resolution = resolution;
    s.patch_width = patch_width;
    return inst(handle)->calctiffwidthinfo(s, raw_value(unit), 1, out);
}

HXTVEL_API uint32_t HXTVEL_CalcTiffHeightInfo(void *handle, uint32_t page_height,
                                              uint32_t patch_height, uint32_t patch_count,
                                              uint32_t columns, uint32_t resolution,
                                              HXTVEL_UnitType unit, HXTVEL_PosBar bar,
                                              uint32_t *pages, velMChartStruct *out) {
    if (!handle || !page_height || !patch_height || !patch_count || !columns || !resolution || !pages)
        return HXTVEL_E_CHART_ARG;
    velPAreaStruct s{};
    s.patch_count = patch_count;
    s.page_height = page_height;
    s.resolution = resolution;
    s.patch_height = patch_height;
    return inst(handle)->calctiffheightinfo(&s, columns, raw_value(unit), raw_value(bar), pages, out);
}

HXTVEL_API uint32_t HXTVEL_CalcTiffInfo(void *handle, velPAreaStruct setting, HXTVEL_UnitType unit,
                                        HXTVEL_PosBar bar, uint32_t *pages, velMChartStruct *out) {
    return handle ? inst(handle)->calctiffinfo(setting, raw_value(unit), raw_value(bar), pages, out)
                  : HXTVEL_E_CHART_ARG;
}

HXTVEL_API uint32_t HXTVEL_CreateTiff_M(void *handle, void *buffer, unsigned long long *size,
                                        uint32_t *pages, HXTVEL_PosBar bar) {
    return handle ? inst(handle)->createtiff(buffer, size, pages, raw_value(bar)) : HXTVEL_E_CHART_ARG;
}

}  // extern "C"
