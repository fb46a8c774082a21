// tiff_decode.h - reading chart TIFF images in the tests: libtiff as the
// independent decoder (every warning or error it reports is collected and
// fails the test), and a byte-level check of the file layout.
#ifndef HXTVEL_TIFF_DECODE_H
#define HXTVEL_TIFF_DECODE_H

#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace hxtvel_test {

// Messages libtiff reported since the last take_tiff_messages().
inline std::string &tiff_messages() {
    static std::string text;
    return text;
}

inline void collect_tiff_message(const char *module, const char *fmt, va_list ap) {
    char buf[1024];
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    tiff_messages() += std::string(module ? module : "?") + ": " + buf + "\n";
}

// Installs the collecting handlers for the scope.
class TiffHandlers {
public:
    TiffHandlers()
        : warn_(TIFFSetWarningHandler(collect_tiff_message)),
          err_(TIFFSetErrorHandler(collect_tiff_message)) {
        tiff_messages().clear();
    }
    ~TiffHandlers() {
        TIFFSetWarningHandler(warn_);
        TIFFSetErrorHandler(err_);
    }

private:
    TIFFErrorHandler warn_;
    TIFFErrorHandler err_;
};

struct Image {
    uint32_t width = 0, height = 0, rows_per_strip = 0;
    uint16_t samples = 0, bits = 0, photometric = 0, planar = 0, compression = 0, unit = 0;
    float xres = 0, yres = 0;
    std::vector<uint8_t> pixels;  // rows top to bottom, samples chunky
    const uint8_t *at(uint32_t x, uint32_t y) const {
        return pixels.data() + (uint64_t(y) * width + x) * samples;
    }
    std::vector<uint8_t> pixel(uint32_t x, uint32_t y) const {
        return std::vector<uint8_t>(at(x, y), at(x, y) + samples);
    }
};

namespace detail {
struct MemStream {
    const uint8_t *data;
    uint64_t size;
    uint64_t pos;
};
inline tmsize_t mem_read(thandle_t h, void *buf, tmsize_t n) {
    auto *m = static_cast<MemStream *>(h);
    const uint64_t avail = m->pos < m->size ? m->size - m->pos : 0;
    const uint64_t k = std::min<uint64_t>(avail, uint64_t(n));
    std::memcpy(buf, m->data + m->pos, k);
    m->pos += k;
    return tmsize_t(k);
}
inline tmsize_t mem_write(thandle_t, void *, tmsize_t) { return 0; }
inline toff_t mem_seek(thandle_t h, toff_t off, int whence) {
    auto *m = static_cast<MemStream *>(h);
    if (whence == SEEK_CUR) off += m->pos;
    if (whence == SEEK_END) off += m->size;
    m->pos = off;
    return off;
}
inline int mem_close(thandle_t) { return 0; }
inline toff_t mem_size(thandle_t h) { return static_cast<MemStream *>(h)->size; }
inline int mem_map(thandle_t, void **, toff_t *) { return 0; }
inline void mem_unmap(thandle_t, void *, toff_t) {}

inline bool read_open(TIFF *tif, Image &img) {
    if (!tif) return false;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &img.width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &img.height);
    TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &img.samples);
    TIFFGetField(tif, TIFFTAG_BITSPERSAMPLE, &img.bits);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &img.photometric);
    TIFFGetField(tif, TIFFTAG_PLANARCONFIG, &img.planar);
    TIFFGetField(tif, TIFFTAG_COMPRESSION, &img.compression);
    TIFFGetField(tif, TIFFTAG_ROWSPERSTRIP, &img.rows_per_strip);
    TIFFGetField(tif, TIFFTAG_XRESOLUTION, &img.xres);
    TIFFGetField(tif, TIFFTAG_YRESOLUTION, &img.yres);
    TIFFGetField(tif, TIFFTAG_RESOLUTIONUNIT, &img.unit);
    const uint64_t row = uint64_t(img.width) * img.samples;
    if (tmsize_t(row) != TIFFScanlineSize(tif)) return false;
    img.pixels.assign(row * img.height, 0);
    for (uint32_t y = 0; y < img.height; ++y)
        if (TIFFReadScanline(tif, img.pixels.data() + y * row, y) < 0) return false;
    return TIFFReadDirectory(tif) == 0;  // exactly one image
}
}  // namespace detail

// Decodes a TIFF image held in memory; false (with the messages in
// tiff_messages()) when libtiff refuses it.
inline bool decode_tiff(const uint8_t *data, uint64_t size, Image &img) {
    TiffHandlers handlers;
    detail::MemStream m{data, size, 0};
    TIFF *tif = TIFFClientOpen("memory", "rm", &m, detail::mem_read, detail::mem_write, detail::mem_seek,
                               detail::mem_close, detail::mem_size, detail::mem_map, detail::mem_unmap);
    const bool ok = detail::read_open(tif, img);
    if (tif) TIFFClose(tif);
    EXPECT_EQ(tiff_messages(), "") << "libtiff complained";
    return ok && tiff_messages().empty();
}

inline bool decode_tiff_file(const std::string &path, Image &img) {
    TiffHandlers handlers;
    TIFF *tif = TIFFOpen(path.c_str(), "r");
    const bool ok = detail::read_open(tif, img);
    if (tif) TIFFClose(tif);
    EXPECT_EQ(tiff_messages(), "") << "libtiff complained about " << path;
    return ok && tiff_messages().empty();
}

// ---------------------------------------------------------------------------
// Byte layout
// ---------------------------------------------------------------------------

inline uint16_t rd16(const uint8_t *p, uint64_t off) {
    uint16_t v;
    std::memcpy(&v, p + off, 2);
    return v;
}
inline uint32_t rd32(const uint8_t *p, uint64_t off) {
    uint32_t v;
    std::memcpy(&v, p + off, 4);
    return v;
}

// Rows per strip by scanning every candidate: the largest divisor of the
// height reached before the first divisor whose strip exceeds 32 MiB.
inline uint64_t naive_rows_per_strip(uint64_t height, uint64_t row_bytes) {
    uint64_t rs = 1;
    for (uint64_t r = 1; r <= height; ++r) {
        if (height % r) continue;
        if (r * row_bytes > 33554432) break;
        rs = r;
    }
    return rs;
}

inline uint64_t expected_tiff_size(uint64_t w, uint64_t h, uint64_t s) {
    const uint64_t k = h / naive_rows_per_strip(h, w * s);
    return 194 + 2 * s + (k > 1 ? 8 * k : 0) + 16 + w * h * s;
}

// Checks every byte outside the image rows of one page against the layout
// a baseline writer of this kind must produce, in the host's byte order.
inline void check_tiff_layout(const uint8_t *p, uint64_t size, uint32_t w, uint32_t h, uint16_t s,
                              uint16_t photometric, uint32_t res) {
    SCOPED_TRACE("page " + std::to_string(w) + "x" + std::to_string(h) + "x" + std::to_string(s));
    const uint64_t row_bytes = uint64_t(w) * s;
    const uint64_t rs = naive_rows_per_strip(h, row_bytes);
    const uint64_t k = h / rs;
    const uint64_t arrays = 194 + 2 * uint64_t(s);
    const uint64_t x = arrays + (k > 1 ? 8 * k : 0);
    const uint64_t image = x + 16;
    ASSERT_EQ(size, image + row_bytes * h);

    const uint16_t one = 1;
    const bool little = *reinterpret_cast<const uint8_t *>(&one) == 1;
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(p), 2), little ? "II" : "MM");
    EXPECT_EQ(rd16(p, 2), 42);
    EXPECT_EQ(rd32(p, 4), 8u);
    ASSERT_EQ(rd16(p, 8), 15);

    struct Entry {
        uint16_t tag, type;
        uint32_t count, value;
    };
    const uint16_t rows_type = rs > 0xFFFF ? 4 : 3;
    const Entry expected[15] = {
        {254, 4, 1, 0},
        {256, 4, 1, w},
        {257, 4, 1, h},
        {258, 3, s, 194},
        {259, 3, 1, 1},
        {262, 3, 1, photometric},
        {273, 4, uint32_t(k), uint32_t(k > 1 ? arrays : image)},
        {274, 3, 1, 1},
        {277, 3, 1, s},
        {278, rows_type, 1, uint32_t(rs)},
        {279, 4, uint32_t(k), uint32_t(k > 1 ? arrays + 4 * k : rs * row_bytes)},
        {282, 5, 1, uint32_t(x)},
        {283, 5, 1, uint32_t(x + 8)},
        {284, 3, 1, 1},
        {296, 3, 1, 2},
    };
    for (int i = 0; i < 15; ++i) {
        const uint64_t e = 10 + 12 * uint64_t(i);
        SCOPED_TRACE("entry " + std::to_string(i + 1));
        EXPECT_EQ(rd16(p, e), expected[i].tag);
        EXPECT_EQ(rd16(p, e + 2), expected[i].type);
        EXPECT_EQ(rd32(p, e + 4), expected[i].count);
        if (expected[i].type == 3 && expected[i].count == 1) {
            EXPECT_EQ(rd16(p, e + 8), expected[i].value);
            EXPECT_EQ(rd16(p, e + 10), 0);
        } else {
            EXPECT_EQ(rd32(p, e + 8), expected[i].value);
        }
    }
    EXPECT_EQ(rd32(p, 190), 0u);
    for (uint64_t i = 0; i < s; ++i) EXPECT_EQ(rd16(p, 194 + 2 * i), 8);
    if (k > 1) {
        for (uint64_t i = 0; i < k; ++i) {
            ASSERT_EQ(rd32(p, arrays + 4 * i), image + i * rs * row_bytes) << "strip " << i;
            ASSERT_EQ(rd32(p, arrays + 4 * k + 4 * i), rs * row_bytes) << "strip " << i;
        }
    }
    EXPECT_EQ(rd32(p, x), res);
    EXPECT_EQ(rd32(p, x + 4), 1u);
    EXPECT_EQ(rd32(p, x + 8), res);
    EXPECT_EQ(rd32(p, x + 12), 1u);
}

}  // namespace hxtvel_test

#endif  // HXTVEL_TIFF_DECODE_H
