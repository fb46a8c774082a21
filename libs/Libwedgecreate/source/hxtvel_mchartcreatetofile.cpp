// hxtvel_mchartcreatetofile.cpp - the file target of the TIFF encoding and
// drawing chart pages to files.
#include "hxtvel_mchartcreatetofile.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "tracelog.h"

namespace hxtvel {

namespace {

// Rows are handed to stdio one at a time; a large buffer turns them into
// few large writes.
constexpr size_t kFileBufferBytes = size_t(1) << 20;

inline void put32(unsigned char *p, uint64_t v) {
    const uint32_t x = uint32_t(v);
    std::memcpy(p, &x, 4);
}

}  // namespace

// ---------------------------------------------------------------------------
// chart_file
// ---------------------------------------------------------------------------

chart_file::~chart_file() { close(); }

bool chart_file::open(const char *name) {
    close();
    fp_ = std::fopen(name, "wb");
    if (!fp_) return false;
    iobuf_ = new (std::nothrow) char[kFileBufferBytes];
    if (iobuf_ && std::setvbuf(fp_, iobuf_, _IOFBF, kFileBufferBytes) != 0) {
        delete[] iobuf_;
        iobuf_ = nullptr;
    }
    return true;
}

bool chart_file::close() {
    bool ok = true;
    if (fp_) ok = std::fclose(fp_) == 0;  // flushes the buffer: a full disk shows here
    fp_ = nullptr;
    delete[] iobuf_;
    iobuf_ = nullptr;
    return ok;
}

// ---------------------------------------------------------------------------
// TIFF encoding, file target
// ---------------------------------------------------------------------------

uint32_t c_mchart::write_block(FILE *fp, const void *data, uint64_t n) {
    if (n && std::fwrite(data, 1, n, fp) != n) return HXTVEL_E_CHART_WRITE;
    return HXTVEL_OK;
}

// One row of the current page, paper white, as the image target.
uint32_t c_mchart::alloc_row_buffer() {
    release_row_buffer(nullptr, nullptr);
    unsigned char *row = new (std::nothrow) unsigned char[layout_.row_bytes ? layout_.row_bytes : 1];
    if (!row) return HXTVEL_E_CHART_MEMORY;
    set_target(row);
    target_owned_ = true;
    stride_ = 0;
    cur_x_ = cur_y_ = 0;
    fill_pixels(row, white(), img_width_);
    bar_prev_valid_ = false;
    return HXTVEL_OK;
}

uint32_t c_mchart::write_file_header(FILE *fp) {
    unsigned char header[8];
    write_header(header);
    return write_block(fp, header, sizeof header);
}

uint32_t c_mchart::initimagearea(FILE *fp) {
    HX_TRACE_SCOPE("initimagearea");
    if (!fp) return HXTVEL_E_CHART_DRAW;
    uint32_t rc = alloc_row_buffer();
    if (rc) return rc;
    rc = write_file_header(fp);
    if (rc) return rc;
    reset_bar_state();
    return HXTVEL_OK;
}

// The IFD and its out-of-line values, from offset 8 up to the image rows.
uint32_t c_mchart::setifd(FILE *fp) {
    HX_TRACE_SCOPE("setifd");
    if (!fp) return HXTVEL_E_CHART_DRAW;
    if (std::fseek(fp, 8, SEEK_SET) != 0) return HXTVEL_E_CHART_WRITE;
    unsigned char head[kTiffBitsPerSampleOffset];  // offsets 8 to 194 + 2 * 4
    build_ifd_head(head);
    uint32_t rc = write_block(fp, head, kTiffBitsPerSampleOffset - 8 + 2 * uint64_t(samples_));
    if (rc) return rc;
    if (layout_.strip_count > 1) {
        unsigned char chunk[4096];
        for (bool counts : {false, true}) {
            size_t used = 0;
            for (uint64_t i = 0; i < layout_.strip_count; ++i) {
                put32(chunk + used, strip_array_value(counts, i));
                used += 4;
                if (used == sizeof chunk) {
                    if ((rc = write_block(fp, chunk, used))) return rc;
                    used = 0;
                }
            }
            if ((rc = write_block(fp, chunk, used))) return rc;
        }
    }
    unsigned char rationals[16];
    build_rationals(rationals);
    return write_block(fp, rationals, sizeof rationals);
}

// ---------------------------------------------------------------------------
// Drawing to files
// ---------------------------------------------------------------------------

// One page file. The cells of a grid row are painted into the row buffer
// once; the row is then written Ph times, only the side bars changing: they
// are white in the top and bottom W rows of every grid row, black between.
uint32_t c_mchart::draw_page_file(const char *path) {
    // Room for a 1016-character prefix, any page number and ".tif".
    char name[1040];
    std::snprintf(name, sizeof name, "%s%u.tif", path, page_index_);
    chart_file file;
    if (!file.open(name)) {
        HX_TRACE(HX_LV_DEBUG, "createtiff_f file open fail");
        return HXTVEL_E_CHART_OPEN;
    }
    HX_TRACE(HX_LV_DEBUG, "createtiff_f file open success [name:%s]", name);
    FILE *fp = file.get();
    uint32_t rc = settiffparam();
    if (!rc) rc = initimagearea(fp);
    if (rc) {
        if (rc == HXTVEL_E_CHART_WRITE) HX_TRACE(HX_LV_DEBUG, "createtiff_f write file fail");
        return rc;
    }
    pagesize_[page_index_] = layout_.total;
    if (std::fseek(fp, long(layout_.image_offset), SEEK_SET) != 0) {
        HX_TRACE(HX_LV_DEBUG, "createtiff_f write file fail");
        return HXTVEL_E_CHART_WRITE;
    }
    HX_TRACE(HX_LV_DEBUG, "createtiff_f:Write TIFF Image Start");
    drawn_ = 0;
    unsigned char *const row = target();
    const uint64_t row_bytes = layout_.row_bytes;
    for (uint64_t r = 0; r < rows_used_; ++r) {
        cur_y_ = 0;
        if ((rc = paint_cells())) return rc;
        const unsigned char *side = nullptr;
        for (uint64_t y = 0; y < ph_; ++y) {
            const unsigned char *want = (y < whitebar_ || y >= ph_ - whitebar_) ? white() : black();
            if (want != side) paint_sidebars(row, side = want);
            if (write_block(fp, row, row_bytes)) {
                HX_TRACE(HX_LV_DEBUG, "createtiff_f write file fail");
                return HXTVEL_E_CHART_WRITE;
            }
        }
    }
    if (posbar_) {
        HX_TRACE(HX_LV_DEBUG, "createtiff_f:drawing positioning bar");
        bar_top_ = grid_bottom_;
        for (uint64_t y = 0; y < bar_h_; ++y) {
            if ((rc = setpositioningbar(1))) return rc;
            if (write_block(fp, row, row_bytes)) {
                HX_TRACE(HX_LV_DEBUG, "createtiff_f write file fail");
                return HXTVEL_E_CHART_WRITE;
            }
        }
        HX_TRACE(HX_LV_DEBUG, "createtiff_f:positioning bar comp.");
    }
    if (!drawn_) return HXTVEL_E_CHART_DRAW;
    // The IFD is written last; the close flushes what stdio still holds.
    if (setifd(fp) || !file.close()) {
        HX_TRACE(HX_LV_DEBUG, "createtiff_f write file fail");
        return HXTVEL_E_CHART_WRITE;
    }
    setwedgedata();
    ++page_index_;
    return HXTVEL_OK;
}

uint32_t c_mchart::createtiff(const char *path, uint32_t *pages, uint32_t bar) {
    HX_TRACE_INOUT("createtiff to file in", "createtiff to file out");
    lock_guard guard(lock_);
    if (!pages || !path || bar > 1) return HXTVEL_E_CHART_ARG;
    uint32_t rc = colour_check();
    if (rc) return rc;
    if (strnlen(path, 1017) > 1016) {
        HX_TRACE(HX_LV_DEBUG, "File path is too long.");
        return HXTVEL_E_CHART_ARG;
    }
    posbar_ = bar == 1;
    if ((rc = inittiffparam())) {
        *pages = 0;
        return rc;
    }
    *pages = draw_pages_;
    if ((rc = replace_page_arrays(draw_pages_, true))) return rc;

    struct finish {
        c_mchart *m;
        ~finish() {
            m->end_drawing("createtiff_f p_map_ delete", "createtiff_f tiffdata_rgb_ delete",
                           "createtiff_f tiffdata_cmyk_ delete");
        }
    } end{this};
    if ((rc = make_patch_map(true))) return rc;
    while (page_index_ < draw_pages_)
        if ((rc = draw_page_file(path))) return rc;
    return HXTVEL_OK;
}

}  // namespace hxtvel

using hxtvel::raw_value;

extern "C" {

HXTVEL_API uint32_t HXTVEL_CreateTiff(void *handle, const char *prefix, uint32_t *pages,
                                      HXTVEL_PosBar bar) {
    return handle ? static_cast<hxtvel::c_mchart *>(handle)->createtiff(prefix, pages, raw_value(bar))
                  : HXTVEL_E_CHART_ARG;
}

}  // extern "C"
