// hxtvel_libspectroref.h - division of the spectrobin stream.
//
// The exported functions (hxtvel_spectroref.h) take the stream without its
// length: it must be complete. check_spectrobin is for callers that hold the
// stream in a buffer of known size (the command-line tool, the fuzz harness):
// when it accepts a buffer, neither exported function reads outside it, for
// any chart ID and in any call mode.
//
// Stream layout (big-endian, no alignment):
//   0  sensor ID (1)        1  block count (<= 64)   2  sensor name, 32 bytes
//   34 backing (0..2)       35 temperature           36 humidity
//   37 the blocks, one after another, each 5 + wedge_len bytes:
//     0 chart ID   1 wedge_len (4)   5 patch count (4)   9 columns (2)
//     11 rows (2)  13 -  14 illumination  15 observer  16 -  17 filter
//     18 data_dir  19 bytes per patch (2)  21 patch data
//   wedge_len = columns * rows * bytes per patch + 16.
#ifndef HXTVEL_LIBSPECTROREF_H
#define HXTVEL_LIBSPECTROREF_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "hxtvel_spectroref.h"

namespace hxtvel {

// Fixed sizes of the stream format.
constexpr size_t k_spectrobin_header = 37;  // stream header before the first block
constexpr size_t k_block_header = 21;       // block fields before the patch data
constexpr uint32_t k_max_blocks = 64;
constexpr uint32_t k_values_per_patch = 31;  // 400 to 700 nm in 10 nm steps

// Verdict of check_spectrobin. When ok is false, the field named by `block`
// and `field` occupies bytes [field_begin, field_end) and the buffer ends
// before field_end.
struct spectrobin_check {
    bool ok = true;
    uint64_t size = 0;         // bytes in the buffer that was checked
    uint64_t field_begin = 0;  // first byte of the field that does not fit
    uint64_t field_end = 0;    // one past its last byte: the least length that holds it
    int32_t block = -1;        // its block, counted from 0; -1 for the stream header
    const char *field = "";    // "stream header"; in a block "header" or "patch data"
};

// Walks the header and the blocks of the stream in buffer[0, size) the way
// the exported functions do (the header and the first block's fields always;
// the blocks while the header is acceptable and each block's wedge_len agrees
// with the first block's bytes per patch) and tells whether every byte they
// can read lies inside the buffer. It accepts streams that the functions
// refuse with 402, as long as refusing them reads nothing outside; bytes
// after the last block are allowed.
spectrobin_check check_spectrobin(const unsigned char *buffer, size_t size) noexcept;

// One line for people: "ok (N bytes)" or
// "truncated at byte 150: block 3 patch data needs bytes 100 to 161".
std::string describe(const spectrobin_check &check);

}  // namespace hxtvel

#endif  // HXTVEL_LIBSPECTROREF_H
