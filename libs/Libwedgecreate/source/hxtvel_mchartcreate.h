// hxtvel_mchartcreate.h - c_mchart: chart settings, geometry, TIFF encoding
// and drawing.
//
// A chart instance holds one setting (velPAreaStruct), the patch colours as
// bytes (RGB triples or CMYK quadruples) and, after a drawing, one page
// record and one byte size per page. Every public operation holds lock_ for
// its whole run and returns a code (0 or 202..209); nothing throws out of it.
//
// Lengths of the setting are tenths of a millimetre; everything derived from
// them is in pixels and is kept in 64 bits until a page is known to fit in a
// TIFF file (below 4 GiB), which also bounds every pixel count to 32 bits.
#ifndef HXTVEL_MCHARTCREATE_H
#define HXTVEL_MCHARTCREATE_H

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "hxtvel_mchart.h"
#include "liblock.h"

namespace hxtvel {

// The caller may pass any number in an enum argument of the C interface; it
// is read as the 32-bit value it arrived as, never loaded as the enum (a
// value outside the enum's range would be undefined there).
template <typename E>
inline uint32_t raw_value(const E &e) {
    static_assert(sizeof(E) == sizeof(uint32_t), "interface enums are 32-bit");
    uint32_t v;
    std::memcpy(&v, &e, sizeof v);
    return v;
}


// Rounds half away from zero.
double round_dbl(double x);

// Byte layout of one uncompressed 8-bit chunky TIFF page: 15-entry IFD at 8,
// BitsPerSample at 194, strip arrays (only with more than one strip), the two
// resolution rationals, then the image rows.
struct tiff_layout {
    uint64_t row_bytes = 0;
    uint64_t rows_per_strip = 0;
    uint64_t strip_count = 0;
    uint64_t strip_bytes = 0;
    uint64_t image_bytes = 0;
    uint64_t resolution_offset = 0;  // XResolution; YResolution follows
    uint64_t image_offset = 0;
    uint64_t total = 0;  // file size
};

// Offsets of the out-of-line IFD values.
constexpr uint64_t kTiffBitsPerSampleOffset = 194;
// Largest strip: readers load one strip at a time.
constexpr uint64_t kTiffMaxStripBytes = 33554432;

// Copies one image row. With stream, large rows bypass the cache: a page
// bigger than the cache is not read again while it is drawn, and writing
// around the cache spares reading every line before it is overwritten.
// copy_fence() orders streamed rows before what follows.
void copy_row(unsigned char *dst, const unsigned char *src, uint64_t n, bool stream);
void copy_fence();
// Pages of at least this many image bytes are copied streaming.
constexpr uint64_t kStreamBytes = uint64_t(32) << 20;

// Fills `out` for a width x height page of `samples` bytes per pixel:
// 0, or 204 when the file would be 4 GiB or more.
uint32_t compute_tiff_layout(uint64_t width, uint64_t height, uint32_t samples, tiff_layout &out);

// A page file opened for binary writing with a large stdio buffer, closed
// (and its result checked) by close(), or silently by the destructor.
class chart_file {
public:
    chart_file() = default;
    ~chart_file();
    chart_file(const chart_file &) = delete;
    chart_file &operator=(const chart_file &) = delete;
    bool open(const char *name);
    // false when the final flush or the close failed.
    bool close();
    FILE *get() const { return fp_; }

private:
    FILE *fp_ = nullptr;
    char *iobuf_ = nullptr;
};

class c_mchart {
public:
    c_mchart();
    ~c_mchart();
    c_mchart(const c_mchart &) = delete;
    c_mchart &operator=(const c_mchart &) = delete;

    // --- settings and colours (hxtvel_mchartcreate) ----------------------
    uint32_t setchartsetting(velPAreaStruct setting);
    uint32_t setchartdata(const velRGB *data, uint32_t count);
    uint32_t setchartdata(const velCMYK *data, uint32_t count);

    // --- geometry queries: use only their arguments ----------------------
    // unit: 0 pixels, 1 tenths of a millimetre; bar: 0 off, 1 on.
    uint32_t gettiffwpatch(uint32_t page_width, uint32_t patch_width, uint32_t resolution,
                           uint32_t *columns);
    uint32_t calctiffwidthinfo(velPAreaStruct setting, uint32_t unit, uint32_t bar,
                               velMChartStruct *out);
    uint32_t calctiffheightinfo(const velPAreaStruct *setting, uint32_t columns, uint32_t unit,
                                uint32_t bar, uint32_t *pages, velMChartStruct *out);
    uint32_t calctiffinfo(velPAreaStruct setting, uint32_t unit, uint32_t bar, uint32_t *pages,
                          velMChartStruct *out);

    // --- what the last drawing left ---------------------------------------
    uint32_t getwedgedata(velMChartStruct *out, uint32_t unit);
    uint32_t getpagesize(uint32_t page, unsigned long long *size);

    // --- drawing ----------------------------------------------------------
    // buffer null: *size and *pages receive the total bytes and the page
    // count. Otherwise *size must equal that total; the pages are drawn
    // back to back. bar: 0 off, 1 on.
    uint32_t createtiff(void *buffer, unsigned long long *size, uint32_t *pages, uint32_t bar);
    // One file per page, "<path><n>.tif" (hxtvel_mchartcreatetofile).
    uint32_t createtiff(const char *path, uint32_t *pages, uint32_t bar);

    // --- positioning bar alone (hxtvel_positioningbar) --------------------
    // colour 1 RGB, 2 CMYK; resolution 30..1200.
    uint32_t createpositioningbar(void *buffer, unsigned long long *size, unsigned char colour,
                                  uint32_t resolution);
    uint32_t createpositioningbar(const char *path, unsigned char colour, uint32_t resolution);
    // Bar width in pixels at the instance's / the given horizontal resolution.
    uint64_t getposbar_width();
    uint64_t getposbar_width(uint64_t resolution);

private:
    struct width_geometry {
        uint64_t page_px, patch_px, margin, columns, image_width;
    };
    struct height_geometry {
        uint64_t patch_px, bar_px, rows_full, per_page, pages;
    };
    uint32_t width_rule(uint32_t page_width, uint32_t patch_width, uint32_t resolution,
                        width_geometry &g);
    uint32_t height_rule(uint32_t page_height, uint32_t patch_height, uint64_t patch_px,
                         uint32_t resolution, uint64_t patch_count, uint64_t columns, uint32_t bar,
                         height_geometry &g);
    void height_records(const height_geometry &g, uint32_t patch_count, uint64_t columns,
                        uint32_t resolution, uint32_t unit, uint32_t bar, velMChartStruct *out);

    // TIFF encoding (memory forms here, file forms in the tofile unit).
    uint32_t gettiffsize();
    uint32_t setifd();
    uint32_t setifd(FILE *fp);
    uint32_t initimagearea(unsigned char *buffer, bool blank = true);
    uint32_t initimagearea(FILE *fp);
    uint32_t alloc_row_buffer();
    uint32_t write_file_header(FILE *fp);
    uint32_t write_block(FILE *fp, const void *data, uint64_t n);
    void write_header(unsigned char *p) const;
    void build_ifd_head(unsigned char *p) const;
    void build_rationals(unsigned char *p) const;
    uint64_t strip_array_value(bool counts, uint64_t i) const;


    // Chart drawing.
    uint32_t inittiffparam();
    uint32_t settiffparam();
    uint64_t total_bytes() const;
    uint32_t colour_check() const;
    uint32_t replace_page_arrays(uint32_t pages, bool trace_failure);
    uint32_t make_patch_map(bool to_file);
    uint32_t setpatchmap();
    uint32_t setpatch(uint64_t patch, uint64_t rows);
    uint32_t setpatchrgb(uint64_t patch, uint64_t rows);
    uint32_t setpatchcmyk(uint64_t patch, uint64_t rows);
    uint32_t paint_patch(uint64_t patch, uint64_t rows, const unsigned char *colours);
    uint32_t paint_cells();
    void paint_sidebars(unsigned char *row, const unsigned char *colour) const;
    uint32_t draw_page_memory(unsigned char *buffer);
    uint32_t draw_page_file(const char *path);
    void setwedgedata();
    // Frees the map and forgets or frees the image target at the end of a
    // drawing call, tracing the given texts.
    void end_drawing(const char *map_text, const char *rgb_text, const char *cmyk_text);

    // Positioning bar.
    void reset_bar_state();
    uint32_t setpositioningbar(uint64_t rows);
    uint32_t set_bar_colour(unsigned char colour);
    uint32_t bar_geometry(uint32_t resolution);

    // Image target.
    unsigned char *target() const { return tiffdata_rgb_ ? tiffdata_rgb_ : tiffdata_cmyk_; }
    void set_target(unsigned char *p);
    void release_row_buffer(const char *rgb_text, const char *cmyk_text);
    void fill_pixels(unsigned char *dst, const unsigned char *pixel, uint64_t count) const;
    const unsigned char *white() const;
    const unsigned char *black() const;

    c_lock lock_;

    // Setting and colours.
    velPAreaStruct setting_;
    uint32_t layout_code_;
    uint64_t whitebar_;  // scaled to the resolution
    unsigned char *rgb_data_;
    unsigned char *cmyk_data_;
    uint32_t rgb_count_;  // patches the colours were given for
    uint32_t cmyk_count_;
    uint16_t photometric_;
    uint16_t samples_;
    uint16_t byteorder_;
    bool posbar_;

    // Page records and sizes of the last drawing (pagesize_ has one zero
    // entry more than page_count_).
    uint32_t page_count_;
    velMChartStruct *wedge_;
    unsigned long long *pagesize_;

    // Page being encoded.
    uint32_t xres_;
    uint32_t yres_;
    uint64_t img_width_;
    uint64_t img_height_;
    tiff_layout layout_;
    uint64_t write_offset_;
    unsigned char *page_base_;
    // Image target: the page's image rows in the caller's block (memory) or
    // one owned row buffer (files); the pointer of the colour kind is set.
    unsigned char *tiffdata_rgb_;
    unsigned char *tiffdata_cmyk_;
    bool target_owned_;
    uint64_t stride_;  // row to row; 0 for the row buffer
    bool stream_;      // copy rows around the cache (large memory pages)
    uint64_t cur_x_;
    uint64_t cur_y_;

    // Chart geometry (pixels). The chart is one grid of columns_ columns
    // and full_patch_ / columns_ rows; pages are horizontal slices of it.
    uint64_t width_nobar_;
    uint64_t avail_height_;
    uint64_t patch_area_height_;
    uint64_t pw_, ph_, margin_;
    uint64_t columns_;
    uint64_t rows_full_;
    uint64_t rows_used_;
    uint64_t per_page_;
    uint64_t bar_w_, bar_h_;
    uint64_t full_patch_;
    uint32_t *p_map_;  // cell -> patch number
    uint64_t k_;       // next cell, over the whole chart
    uint64_t remaining_;
    uint64_t page_patches_;
    uint64_t drawn_;  // real patches on the current page
    uint32_t page_index_;
    uint32_t draw_pages_;
    uint64_t left_, right_bar_x_, grid_top_, grid_bottom_;
    uint64_t bar_left_, bar_top_;

    // Positioning bar pattern state, per pattern column.
    uint32_t bar_count_[16];
    uint32_t bar_seg_[16];
    uint32_t bar_prev_mask_;
    bool bar_prev_valid_;
    unsigned long long bar_size_;  // remembered from the last size query
};

}  // namespace hxtvel

#endif  // HXTVEL_MCHARTCREATE_H
