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

}  // namespace hxtvel

extern "C" {

HXTVEL_API uint32_t HXTVEL_CreateTiff(void *, const char *, uint32_t *, HXTVEL_PosBar) {
    return HXTVEL_E_CHART_ARG;
}

}  // extern "C"
