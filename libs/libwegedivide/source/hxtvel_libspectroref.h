// hxtvel_libspectroref.h - division of the spectrobin stream.
//
// The exported functions (hxtvel_spectroref.h) take the stream without its
// length: it must be complete. Callers that hold the stream in a buffer of
// known size (the command-line tool, the fuzz harness) check it first with
// hxtvel_check_spectrobin from that header: when it says OK or NO_CHARTS,
// neither exported function reads outside the buffer, for any chart ID and
// in any call mode. The stream layout is described there too.
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

// The verdict of hxtvel_check_spectrobin as one line for people:
// "ok (N bytes)", "truncated at byte 150: block 3 patch data needs bytes 100
// to 161", "no charts: ...", "block 0 declares 9 patches in 4 cells ...".
std::string describe(const hxtvel_stream_check &check);

}  // namespace hxtvel

#endif  // HXTVEL_LIBSPECTROREF_H
