// hxtvel_positioningbar.cpp - the positioning bar pattern and its drawing.
#include "hxtvel_positioningbar.h"

#include <cstring>
#include <new>

#include "tracelog.h"

namespace hxtvel {

#define B kPosBlack
#define W kPosWhite
#define E kPosEnd

const uint32_t pos_w[kPosColumns] = {43, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 43};

const uint32_t pos_order[kPosColumns] = {0, 1, 2, 8, 13, 7, 3, 9, 12, 6, 10, 4, 11, 5, 14, 15};

// Column:                                0    1   2   3   4   5   6   7   8   9  10  11  12  13  14   15
const uint32_t pos_l[kPosSegments * kPosColumns] = {
    184, 92, 20, 14, 8,  2,  38, 32, 26, 20, 14, 8,  2,  38, 92, 184,
    0,   92, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 92, 0,
    0,   0,  42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 0,  0,
    0,   0,  42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 42, 0,  0,
    0,   0,  38, 42, 42, 42, 20, 26, 32, 38, 42, 42, 42, 20, 0,  0,
    0,   0,  0,  2,  8,  14, 0,  0,  0,  0,  2,  8,  14, 0,  0,  0,
    0,   0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0};

const unsigned char pos_bw[kPosSegments * kPosColumns] = {
    B, W, W, W, W, W, B, B, B, B, B, B, B, W, B, B,
    E, B, B, B, B, B, W, W, W, W, W, W, W, B, W, E,
    E, E, W, W, W, W, B, B, B, B, B, B, B, W, E, E,
    E, E, B, B, B, B, W, W, W, W, W, W, W, B, E, E,
    E, E, W, W, W, W, B, B, B, B, B, B, B, W, E, E,
    E, E, E, B, B, B, E, E, E, E, W, W, W, E, E, E,
    E, E, E, E, E, E, E, E, E, E, E, E, E, E, E, E};

#undef B
#undef W
#undef E

const unsigned char p_bar_white_rgb[3] = {255, 255, 255};

namespace {

// Each column's width is scaled and truncated on its own.
uint64_t bar_width(uint64_t resolution) {
    uint64_t w = 0;
    for (uint32_t c : pos_w) w += resolution * c / 300;
    return w;
}

}  // namespace

uint64_t c_mchart::getposbar_width() {
    HX_TRACE_SCOPE("getposbar_width");
    return bar_width(xres_);
}

uint64_t c_mchart::getposbar_width(uint64_t resolution) {
    HX_TRACE_SCOPE("getposbar_width");
    return bar_width(resolution);
}

// Every column starts again at its top segment.
void c_mchart::reset_bar_state() {
    std::memset(bar_count_, 0, sizeof bar_count_);
    std::memset(bar_seg_, 0, sizeof bar_seg_);
    bar_prev_valid_ = false;
    bar_left_ = 0;
}

// Draws the next `rows` bar rows: at rows cur_y_ onwards of the page in
// memory, or into the row buffer (one row per call) for files. Each row is
// painted whole: white beside the bar, then the 16 columns. A row whose
// black columns equal the previous row's is copied from it.
uint32_t c_mchart::setpositioningbar(uint64_t rows) {
    HX_TRACE_SCOPE("setpositioningbar");
    unsigned char *const image = target();
    if (!image) return HXTVEL_E_CHART_MEMORY;
    const uint64_t bw = getposbar_width();
    if (img_width_ < bw || (stride_ && cur_y_ + rows > img_height_)) return HXTVEL_E_CHART_MEMORY;
    const uint64_t s = samples_;
    const uint64_t row_bytes = img_width_ * s;
    const uint64_t left = (img_width_ - bw) / 2;
    uint64_t widths[kPosColumns];
    for (int j = 0; j < kPosColumns; ++j) widths[j] = uint64_t(xres_) * pos_w[pos_order[j]] / 300;

    // The row above holds the previous bar row when this call continues a bar.
    const unsigned char *built = stride_ && cur_y_ ? image + (cur_y_ - 1) * stride_ : image;
    for (uint64_t i = 0; i < rows; ++i) {
        bar_left_ = left;
        // Advance every column by one row; bit j of mask: slot j is black.
        uint32_t mask = 0;
        for (int j = 0; j < kPosColumns; ++j) {
            const uint32_t c = pos_order[j];
            if (bar_seg_[c] > 96) return HXTVEL_E_CHART_MEMORY;
            const uint32_t e = bar_seg_[c] + c;
            if (bar_count_[c] == 0 && pos_l[e] != 0)
                bar_count_[c] = uint32_t(uint64_t(yres_) * pos_l[e] / 300);
            if (bar_count_[c] != 0 && pos_bw[e] == kPosBlack) mask |= 1u << j;
            if (bar_count_[c] != 0) --bar_count_[c];
            if (pos_bw[e] == kPosEnd)
                bar_count_[c] = 0;
            else if (bar_count_[c] == 0)
                bar_seg_[c] += 16;
        }
        unsigned char *row = image + (cur_y_ + i) * stride_;
        if (bar_prev_valid_ && mask == bar_prev_mask_) {
            // In memory, from the last row built (still in cache); the row
            // buffer of a file already holds it.
            if (stride_) copy_row(row, built, row_bytes, stream_);
        } else {
            built = row;
            fill_pixels(row, white(), left);
            uint64_t x = left;
            for (int j = 0; j < kPosColumns; ++j) {
                fill_pixels(row + x * s, (mask >> j) & 1 ? black() : white(), widths[j]);
                x += widths[j];
            }
            fill_pixels(row + x * s, white(), img_width_ - x);
        }
        bar_prev_mask_ = mask;
        bar_prev_valid_ = true;
    }
    if (stride_) cur_y_ += rows;
    copy_fence();
    return HXTVEL_OK;
}

uint32_t c_mchart::set_bar_colour(unsigned char colour) {
    if (colour == 1) {
        photometric_ = 2;
        samples_ = 3;
    } else if (colour == 2) {
        photometric_ = 5;
        samples_ = 4;
    } else {
        return HXTVEL_E_CHART_ARG;
    }
    return HXTVEL_OK;
}

// One page exactly the bar's size.
uint32_t c_mchart::bar_geometry(uint32_t resolution) {
    xres_ = yres_ = resolution;
    img_width_ = getposbar_width();
    img_height_ = posbar_height(yres_);
    write_offset_ = 0;
    reset_bar_state();
    return gettiffsize();
}

uint32_t c_mchart::createpositioningbar(void *buffer, unsigned long long *size, unsigned char colour,
                                        uint32_t resolution) {
    HX_TRACE_INOUT("create_positioning_bar_m in", "create_positioning_bar_m out");
    lock_guard guard(lock_);
    if (!size) return HXTVEL_E_CHART_ARG;
    if (set_bar_colour(colour)) return HXTVEL_E_CHART_ARG;
    if (resolution == 0 || resolution < 30 || resolution > 1200) return HXTVEL_E_CHART_ARG;
    uint32_t rc = bar_geometry(resolution);
    if (!buffer) {
        if (rc) {
            *size = 0;
            return rc;
        }
        HX_TRACE(HX_LV_DEBUG, "create_positioning_bar_m 'NULL' mode [Size:%llu byte]",
                 static_cast<unsigned long long>(layout_.total));
        *size = layout_.total;
        bar_size_ = layout_.total;
        return HXTVEL_OK;
    }
    if (rc) return rc;
    // The block must be the size the last query reported, and that size must
    // be this image's, before anything is written into it.
    if (*size != bar_size_ || *size != layout_.total) return HXTVEL_E_CHART_ARG;
    initimagearea(static_cast<unsigned char *>(buffer), false);  // every row is painted below
    HX_TRACE(HX_LV_DEBUG, "create_positioning_bar_m:drawing bar");
    rc = setpositioningbar(img_height_);
    if (rc == HXTVEL_OK) {
        HX_TRACE(HX_LV_DEBUG, "create_positioning_bar_m:drawing bar comp.");
        if (setifd()) rc = HXTVEL_E_CHART_DRAW;
    }
    set_target(nullptr);
    page_base_ = nullptr;
    return rc;
}

uint32_t c_mchart::createpositioningbar(const char *path, unsigned char colour, uint32_t resolution) {
    HX_TRACE_INOUT("create_positioning_bar in", "create_positioning_bar out");
    lock_guard guard(lock_);
    if (set_bar_colour(colour)) return HXTVEL_E_CHART_ARG;
    if (resolution == 0 || resolution < 30 || resolution > 1200 || !path) return HXTVEL_E_CHART_ARG;
    if (strnlen(path, 1017) > 1016) {
        HX_TRACE(HX_LV_DEBUG, "File path is too long.");
        return HXTVEL_E_CHART_ARG;
    }
    uint32_t rc = bar_geometry(resolution);
    if (rc) return rc;
    if ((rc = alloc_row_buffer())) return rc;

    char name[1024];
    std::snprintf(name, sizeof name, "%s.tif", path);
    chart_file file;
    if (!file.open(name)) {
        HX_TRACE(HX_LV_DEBUG, "create_positioning_bar:file open fail");
        rc = HXTVEL_E_CHART_OPEN;
    } else {
        HX_TRACE(HX_LV_DEBUG, "create_positioning_bar:file open success [name:%s]", name);
        FILE *fp = file.get();
        rc = write_file_header(fp);
        if (!rc && std::fseek(fp, long(layout_.image_offset), SEEK_SET) != 0) rc = HXTVEL_E_CHART_WRITE;
        if (!rc) {
            HX_TRACE(HX_LV_DEBUG, "create_positioning_bar:drawing bar");
            for (uint64_t y = 0; y < img_height_ && !rc; ++y) {
                rc = setpositioningbar(1);
                if (!rc) rc = write_block(fp, target(), layout_.row_bytes);
            }
        }
        if (!rc) {
            HX_TRACE(HX_LV_DEBUG, "create_positioning_bar:drawing bar comp.");
            rc = setifd(fp);
        }
        if (!file.close() && !rc) rc = HXTVEL_E_CHART_WRITE;
        if (rc == HXTVEL_E_CHART_WRITE) HX_TRACE(HX_LV_DEBUG, "create_positioning_bar:write file fail");
    }
    release_row_buffer("create_positioning_bar:tiffdata_rgb_ delete",
                       "create_positioning_bar:tiffdata_cmyk_ delete");
    return rc;
}

}  // namespace hxtvel
