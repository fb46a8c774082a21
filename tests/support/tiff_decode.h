// tiff_decode.h - reading chart TIFF images in the tests: libtiff as the
// independent decoder (any warning or error it reports fails the test), and
// a byte-level check of everything outside the image rows.
#ifndef HXTVEL_TIFF_DECODE_H
#define HXTVEL_TIFF_DECODE_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"

namespace hxtvel_test {

struct Image {
    uint32_t width = 0, height = 0;
    uint16_t samples = 0, photometric = 0, unit = 0;
    float xres = 0;
    std::vector<uint8_t> pixels;  // rows top to bottom, samples chunky
    const uint8_t *at(uint32_t x, uint32_t y) const { return pixels.data() + (uint64_t(y) * width + x) * samples; }
    std::vector<uint8_t> pixel(uint32_t x, uint32_t y) const { return {at(x, y), at(x, y) + samples}; }
};

inline std::string &tiff_messages() {
    static std::string text;
    return text;
}
inline void collect_tiff_message(const char *module, const char *fmt, va_list ap) {
    char buf[1024];
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    tiff_messages() += std::string(module ? module : "?") + ": " + buf + "\n";
}

// Decodes exactly one TIFF image held in memory; false when libtiff refuses
// it or reports anything.
inline bool decode_tiff(const void *data, uint64_t size, Image &img) {
    tiff_messages().clear();
    const TIFFErrorHandler warn = TIFFSetWarningHandler(collect_tiff_message);
    const TIFFErrorHandler err = TIFFSetErrorHandler(collect_tiff_message);
    const int fd = memfd_create("tiff", 0);
    const bool written = fd >= 0 && write(fd, data, size) == ssize_t(size) && lseek(fd, 0, SEEK_SET) == 0;
    TIFF *tif = written ? TIFFFdOpen(fd, "memory", "r") : nullptr;
    bool ok = tif != nullptr;
    if (ok) {
        TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &img.width);
        TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &img.height);
        TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &img.samples);
        TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &img.photometric);
        TIFFGetField(tif, TIFFTAG_XRESOLUTION, &img.xres);
        TIFFGetField(tif, TIFFTAG_RESOLUTIONUNIT, &img.unit);
        const uint64_t row = uint64_t(img.width) * img.samples;
        ok = tmsize_t(row) == TIFFScanlineSize(tif);
        img.pixels.assign(ok ? row * img.height : 0, 0);
        for (uint32_t y = 0; ok && y < img.height; ++y) ok = TIFFReadScanline(tif, img.pixels.data() + y * row, y) >= 0;
        ok = ok && TIFFReadDirectory(tif) == 0;  // no second image
        TIFFClose(tif);  // closes fd
    } else if (fd >= 0) {
        close(fd);
    }
    TIFFSetWarningHandler(warn);
    TIFFSetErrorHandler(err);
    EXPECT_EQ(tiff_messages(), "") << "libtiff complained";
    return ok && tiff_messages().empty();
}

inline bool decode_tiff_file(const std::string &path, Image &img) {
    const std::string bytes = read_file(path);
    return decode_tiff(bytes.data(), bytes.size(), img);
}

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
    for (uint64_t r = 1; r <= height && !(height % r == 0 && r * row_bytes > 33554432); ++r)
        if (height % r == 0) rs = r;
    return rs;
}

// Header, IFD and bits-per-sample array, strip arrays when there is more
// than one strip, the two resolutions, then the image.
inline uint64_t expected_tiff_size(uint64_t w, uint64_t h, uint64_t s) {
    const uint64_t k = h / naive_rows_per_strip(h, w * s);
    return 194 + 2 * s + (k > 1 ? 8 * k : 0) + 16 + w * h * s;
}

// Checks every byte outside the image rows of one page, in the host's byte
// order.
inline void check_tiff_layout(const uint8_t *p, uint64_t size, uint32_t w, uint32_t h, uint16_t s,
                              uint16_t photometric, uint32_t res) {
    SCOPED_TRACE("page " + std::to_string(w) + "x" + std::to_string(h) + "x" + std::to_string(s));
    const uint64_t row_bytes = uint64_t(w) * s, rs = naive_rows_per_strip(h, row_bytes), k = h / rs;
    const uint64_t arrays = 194 + 2 * uint64_t(s), x = arrays + (k > 1 ? 8 * k : 0), image = x + 16;
    ASSERT_EQ(size, expected_tiff_size(w, h, s));
    const uint16_t one = 1;
    const bool little = *reinterpret_cast<const uint8_t *>(&one) == 1;
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(p), 2), little ? "II" : "MM");
    EXPECT_EQ(rd16(p, 2), 42);
    EXPECT_EQ(rd32(p, 4), 8u);
    ASSERT_EQ(rd16(p, 8), 15);
    const uint32_t entries[15][4] = {  // tag, type, count, value
        {254, 4, 1, 0}, {256, 4, 1, w}, {257, 4, 1, h}, {258, 3, s, 194}, {259, 3, 1, 1}, {262, 3, 1, photometric},
        {273, 4, uint32_t(k), uint32_t(k > 1 ? arrays : image)}, {274, 3, 1, 1}, {277, 3, 1, s},
        {278, rs > 0xFFFF ? 4u : 3u, 1, uint32_t(rs)},
        {279, 4, uint32_t(k), uint32_t(k > 1 ? arrays + 4 * k : rs * row_bytes)},
        {282, 5, 1, uint32_t(x)}, {283, 5, 1, uint32_t(x + 8)}, {284, 3, 1, 1}, {296, 3, 1, 2}};
    for (int i = 0; i < 15; ++i) {
        const uint32_t *want = entries[i];
        const uint64_t e = 10 + 12 * uint64_t(i);
        const bool shrt = want[1] == 3 && want[2] == 1;
        const uint32_t got[4] = {rd16(p, e), rd16(p, e + 2), rd32(p, e + 4),
                                 shrt ? rd16(p, e + 8) + (uint32_t(rd16(p, e + 10)) << 16) : rd32(p, e + 8)};
        EXPECT_TRUE(std::equal(got, got + 4, want)) << "entry " << i << ": tag " << got[0] << " type " << got[1]
                                                    << " count " << got[2] << " value " << got[3];
    }
    EXPECT_EQ(rd32(p, 190), 0u);
    for (uint64_t i = 0; i < s; ++i) EXPECT_EQ(rd16(p, 194 + 2 * i), 8);
    for (uint64_t i = 0; k > 1 && i < k; ++i) {
        ASSERT_EQ(rd32(p, arrays + 4 * i), image + i * rs * row_bytes) << "strip " << i;
        ASSERT_EQ(rd32(p, arrays + 4 * k + 4 * i), rs * row_bytes) << "strip " << i;
    }
    const uint32_t rational[4] = {rd32(p, x), rd32(p, x + 4), rd32(p, x + 8), rd32(p, x + 12)};
    EXPECT_TRUE(rational[0] == res && rational[1] == 1 && rational[2] == res && rational[3] == 1);
}

}  // namespace hxtvel_test

#endif  // HXTVEL_TIFF_DECODE_H
