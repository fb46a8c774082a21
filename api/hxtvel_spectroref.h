/*
 * hxtvel_spectroref.h - division of an instrument's spectrobin stream into
 * its charts and their patches.
 *
 *   uint32_t n = 0;
 *   HXTVEL_GetMChartIDList(stream, NULL, &n);         // number of charts
 *   unsigned char *ids = malloc(n);
 *   HXTVEL_GetMChartIDList(stream, ids, &n);          // their IDs
 *   uint32_t patches, values;
 *   HXTVEL_GetSpectrorefByMChartID(stream, ids[0], NULL, &patches, &values, NULL);
 *   // prepare `patches` records, each with data -> `values` (31) doubles
 *   HXTVEL_GetSpectrorefByMChartID(stream, ids[0], refs, &patches, &values, &sensor);
 *
 * The stream's length is not passed: it must be complete. A host that holds
 * an instrument's bytes in a buffer of known size checks them first with
 * hxtvel_check_spectrobin (below, in this header: no library call):
 *
 *   hxtvel_stream_check c = hxtvel_check_spectrobin(bytes, size);
 *   if (c.verdict != HXTVEL_STREAM_OK) ... refuse the stream, say c.field
 *
 * Codes: 402 bad argument, bad data or chart not found, 403 out of memory.
 * Both functions return signed 32-bit codes.
 *
 * Stream layout (big-endian, no alignment):
 *   0  sensor ID (1)        1  block count (<= 64)   2  sensor name, 32 bytes
 *   34 backing (0..2)       35 temperature           36 humidity
 *   37 the blocks, one after another, each 5 + wedge_len bytes:
 *     0 chart ID   1 wedge_len (4)   5 patch count (4)   9 columns (2)
 *     11 rows (2)  13 -  14 illumination  15 observer  16 -  17 filter
 *     18 data_dir  19 bytes per patch (2)  21 patch data
 *   wedge_len = columns * rows * bytes per patch + 16.
 */
#ifndef HXTVEL_SPECTROREF_H
#define HXTVEL_SPECTROREF_H

#include <stddef.h>

#include "hxtvel_types.h"

HXTVEL_EXTERN_C_BEGIN

HXTVEL_API int32_t HXTVEL_GetMChartIDList(const unsigned char *spectrobin, unsigned char *wedgeID,
                                          uint32_t *divcount);
HXTVEL_API int32_t HXTVEL_GetSpectrorefByMChartID(const unsigned char *spectrobin, int32_t chartid,
                                                  velSPECTRO_REF *outref, uint32_t *size,
                                                  uint32_t *length, velSensorInfo *outSensor);

/* ------------------------------------------------------------------------
 * Length-aware check of a spectrobin stream, header-only.
 *
 * hxtvel_check_spectrobin walks the header and the blocks of the stream in
 * buffer[0, size) the way the two functions above do, and gives a verdict:
 *
 *   HXTVEL_STREAM_OK           every byte either function can read, for any
 *                              chart ID and in any call mode, lies inside
 *                              the buffer. (A stream the functions refuse
 *                              with 402 without reading further is OK here.)
 *   HXTVEL_STREAM_TRUNCATED    a field they would read does not fit: `block`
 *                              (-1: the stream header) and `field` name it,
 *                              and it occupies bytes [field_begin, field_end).
 *   HXTVEL_STREAM_NO_CHARTS    complete, but the header declares no chart
 *                              block. Calling the functions is safe: the list
 *                              is empty and no chart ID is found.
 *   HXTVEL_STREAM_IMPLAUSIBLE  in bounds as for OK, but a block holds what no instrument
 *                              writes: patches declared with fewer than 2
 *                              bytes per patch (no value at all), or more
 *                              patches than columns x rows. `block` and
 *                              `field` name it, `value` is what the block
 *                              says and `limit` the bound it breaks. Such a
 *                              stream can make a caller allocate far more
 *                              than its size; refuse it.
 *
 * After OK, a caller's memory for the spectra (31 doubles per patch) is at
 * most 124 times the stream's size.
 * ------------------------------------------------------------------------ */
#define HXTVEL_STREAM_OK 0
#define HXTVEL_STREAM_TRUNCATED 1
#define HXTVEL_STREAM_NO_CHARTS 2
#define HXTVEL_STREAM_IMPLAUSIBLE 3

typedef struct hxtvel_stream_check {
    int verdict;          /* HXTVEL_STREAM_... */
    int32_t block;        /* the block concerned, from 0; -1 for the stream header */
    const char *field;    /* "stream header", "header", "patch data", "bytes per patch", "patch count", "" */
    uint64_t size;        /* bytes checked */
    uint64_t field_begin; /* TRUNCATED: first byte of the field */
    uint64_t field_end;   /* TRUNCATED: one past its last byte, the least length that holds it */
    uint64_t value;       /* IMPLAUSIBLE: the field's value */
    uint64_t limit;       /* IMPLAUSIBLE: the bound it breaks (least bytes per patch, most patches) */
} hxtvel_stream_check;

static inline uint64_t hxtvel_stream_be_(const unsigned char *p, int bytes) {
    uint64_t v = 0;
    int i;
    for (i = 0; i < bytes; ++i) v = (v << 8) | p[i];
    return v;
}

static inline hxtvel_stream_check hxtvel_check_spectrobin(const unsigned char *buffer, size_t size) {
    hxtvel_stream_check r;
    uint64_t at = 37, first_bpp, count, i;
    r.verdict = HXTVEL_STREAM_OK;
    r.block = -1;
    r.field = "";
    r.size = buffer ? (uint64_t)size : 0;
    r.field_begin = r.field_end = r.value = r.limit = 0;
#define HXTVEL_STREAM_NEEDS_(begin, len, blk, name)                                   \
    if ((uint64_t)(begin) + (uint64_t)(len) > r.size) {                               \
        r.verdict = HXTVEL_STREAM_TRUNCATED;                                          \
        r.block = (int32_t)(blk);                                                     \
        r.field = (name);                                                             \
        r.field_begin = (uint64_t)(begin);                                            \
        r.field_end = (uint64_t)(begin) + (uint64_t)(len);                            \
        return r;                                                                     \
    }
    HXTVEL_STREAM_NEEDS_(0, 37, -1, "stream header")
    count = buffer[1];
    /* The functions refuse a bad header (402) without walking the blocks;
       they read the first block's fields only when there is one. */
    if (count == 0) {
        if (buffer[0] == 1 && buffer[34] <= 2) r.verdict = HXTVEL_STREAM_NO_CHARTS;
        return r;
    }
    HXTVEL_STREAM_NEEDS_(37, 21, 0, "header")
    first_bpp = hxtvel_stream_be_(buffer + 56, 2);
    if (count > 64 || buffer[0] != 1 || buffer[34] > 2) return r;
    /* Every block is measured with the first block's bytes per patch; the
       walk stops at the first block that disagrees (the functions refuse it). */
    for (i = 0; i < count; ++i) {
        const unsigned char *b;
        uint64_t wedge_len, patches, cells, bpp;
        HXTVEL_STREAM_NEEDS_(at, 21, i, "header")
        b = buffer + at;
        wedge_len = hxtvel_stream_be_(b + 1, 4);
        patches = hxtvel_stream_be_(b + 5, 4);
        cells = hxtvel_stream_be_(b + 9, 2) * hxtvel_stream_be_(b + 11, 2);
        bpp = hxtvel_stream_be_(b + 19, 2);
        if (cells * first_bpp + 16 != wedge_len) return r;
        HXTVEL_STREAM_NEEDS_(at + 21, wedge_len - 16, i, "patch data")
        /* The first implausible block is remembered; the walk goes on, so
           that IMPLAUSIBLE also means every byte read lies in the buffer. */
        if (r.verdict == HXTVEL_STREAM_OK && ((patches > 0 && bpp < 2) || patches > cells)) {
            r.verdict = HXTVEL_STREAM_IMPLAUSIBLE;
            r.block = (int32_t)i;
            r.field = patches > cells ? "patch count" : "bytes per patch";
            r.value = patches > cells ? patches : bpp;
            r.limit = patches > cells ? cells : 2;
        }
        at += 5 + wedge_len;
    }
#undef HXTVEL_STREAM_NEEDS_
    return r;
}

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_SPECTROREF_H */
