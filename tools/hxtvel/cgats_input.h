// cgats_input.h - reading CGATS files through the library, with a precise
// explanation when the library refuses one.
#ifndef HXTVEL_CLI_CGATS_INPUT_H
#define HXTVEL_CLI_CGATS_INPUT_H

#include <cstdint>
#include <string>
#include <vector>

#include "hxtvel.h"

namespace hxcli {

// A measurement instance owned for one scope.
class measurement {
public:
    measurement() : h_(HXTVEL_CreateCGATSInstance()) {}
    ~measurement() { HXTVEL_DeleteCGATSInstance(h_); }
    measurement(const measurement &) = delete;
    measurement &operator=(const measurement &) = delete;
    void *get() const { return h_; }

    std::vector<velCIELab> lab() const;
    std::vector<velRGB> rgb() const;
    std::vector<velCMYK> cmyk() const;
    // Spectra with their values; each record's data points into values.
    struct spectra {
        std::vector<velSPECTRO_REF> records;
        std::vector<std::vector<double>> values;
    };
    spectra spectral() const;

private:
    void *h_;
};

// Loads path into m with the given colour kinds (HXTVEL_CLR_* flags). When
// the library refuses the file, fails with exit_input and a message that
// names the file, the line where there is one, and the rule that was broken.
void read_cgats_or_fail(measurement &m, const std::string &path, uint8_t kinds);

// The first rule of the CGATS reader that the file breaks, as a sentence
// ("line 12: 5 fields, but the data format names 7"), or "" if none is found.
std::string diagnose_cgats(const std::string &path, uint8_t kinds);

// Whether the bytes look like a CGATS file rather than plain delimited text.
bool looks_like_cgats(const std::vector<unsigned char> &bytes);

}  // namespace hxcli

#endif  // HXTVEL_CLI_CGATS_INPUT_H
