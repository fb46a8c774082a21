// hxtvel_positioningbar.h - the positioning bar: a fixed black-and-white
// pattern of 16 columns, 1276 x 184 pixels at 300 dpi, scaled to the
// resolution and centred in the image; drawn below the patches of a chart
// page or produced alone as a TIFF image (members of c_mchart).
#ifndef HXTVEL_POSITIONINGBAR_H
#define HXTVEL_POSITIONINGBAR_H

#include <cstdint>

#include "hxtvel_mchartcreate.h"

namespace hxtvel {

// Pattern at 300 dpi. Rows of pos_l / pos_bw are segments from the top of
// the bar, entries are pattern columns.
constexpr int kPosColumns = 16;
constexpr int kPosSegments = 7;
constexpr unsigned char kPosBlack = 0xBE;
constexpr unsigned char kPosWhite = 0xC7;
constexpr unsigned char kPosEnd = 0x9D;  // the column stays white from here

extern const uint32_t pos_w[kPosColumns];      // column widths, pixels
extern const uint32_t pos_order[kPosColumns];  // pattern column of each slot, left to right
extern const uint32_t pos_l[kPosSegments * kPosColumns];        // run lengths, rows
extern const unsigned char pos_bw[kPosSegments * kPosColumns];  // run kinds
extern const unsigned char p_bar_white_rgb[3];

// Bar height in rows at a vertical resolution.
inline uint64_t posbar_height(uint64_t resolution) { return resolution * 184 / 300; }

}  // namespace hxtvel

#endif  // HXTVEL_POSITIONINGBAR_H
