// spectrobin_input.h - a spectrobin file, checked for completeness before the
// library reads it, and its charts.
#ifndef HXTVEL_CLI_SPECTROBIN_INPUT_H
#define HXTVEL_CLI_SPECTROBIN_INPUT_H

#include <cstdint>
#include <string>
#include <vector>

#include "hxtvel.h"

namespace hxcli {

struct stream_chart {
    uint8_t id = 0;
    velSensorInfo sensor{};
    std::vector<velSPECTRO_REF> refs;         // one per patch, 400..700 nm by 10
    std::vector<std::vector<double>> values;  // refs[i].data points into values[i]
};

class spectrobin_file {
public:
    // Reads the file and checks that every field the library will read lies
    // inside it; a truncated or malformed file fails with exit_input.
    explicit spectrobin_file(const std::string &path);

    const std::string &path() const { return path_; }
    // Chart IDs in stream order.
    std::vector<uint8_t> chart_ids() const;
    // The patches and sensor information of a chart (the first block with
    // that ID); exit_input when the ID is not in the stream.
    stream_chart read_chart(int id) const;

private:
    std::string path_;
    std::vector<unsigned char> bytes_;
};

}  // namespace hxcli

#endif  // HXTVEL_CLI_SPECTROBIN_INPUT_H
