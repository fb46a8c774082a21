// patches.h - the patch colours of a chart, from a CGATS file or a CSV file.
#ifndef HXTVEL_CLI_PATCHES_H
#define HXTVEL_CLI_PATCHES_H

#include <string>
#include <vector>

#include "hxtvel.h"

namespace hxcli {

struct patch_set {
    bool is_cmyk = false;
    std::vector<velRGB> rgb;    // 0..255
    std::vector<velCMYK> cmyk;  // percent
    size_t size() const { return is_cmyk ? cmyk.size() : rgb.size(); }
};

// Reads patch colours. A CGATS file gives its CMYK columns, or its RGB
// columns when it has no CMYK. Any other file is delimited text: one patch
// per line, 3 numbers (R, G, B, 0 to 255) or 4 (C, M, Y, K, percent),
// separated by commas, semicolons, tabs or blanks; an optional first line of
// column names and lines starting with '#' are skipped. Fails with
// exit_input naming the file and line. table picks the table of a CGATS
// file, counting from 1.
patch_set read_patches(const std::string &path, unsigned table = 1);

}  // namespace hxcli

#endif  // HXTVEL_CLI_PATCHES_H
