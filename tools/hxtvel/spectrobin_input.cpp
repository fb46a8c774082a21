// spectrobin_input.cpp - reading spectrobin files for the tool.
#include "spectrobin_input.h"

#include <algorithm>

#include "cli_common.h"
#include "hxtvel_libspectroref.h"

namespace hxcli {

spectrobin_file::spectrobin_file(const std::string &path) : path_(path), bytes_(read_binary(path)) {
    // Checked before the library reads it: the stream must hold every byte
    // the library will read, at least one chart, and no block that could
    // make this process allocate far more than the file's size.
    const hxtvel_stream_check check = hxtvel_check_spectrobin(bytes_.data(), bytes_.size());
    switch (check.verdict) {
    case HXTVEL_STREAM_OK:
        return;
    case HXTVEL_STREAM_TRUNCATED:
        fail(exit_input, path + ": not a complete spectrobin stream: " + hxtvel::describe(check));
    case HXTVEL_STREAM_NO_CHARTS:
        fail(exit_input, path + ": the stream holds no charts (its header declares 0 chart blocks)");
    default:
        fail(exit_input, path + ": not a spectrobin stream an instrument writes: " + hxtvel::describe(check));
    }
}

std::vector<uint8_t> spectrobin_file::chart_ids() const {
    uint32_t count = 0;
    int32_t code = HXTVEL_GetMChartIDList(bytes_.data(), nullptr, &count);
    if (code != 0) fail(exit_input, path_ + ": " + wedge_code_text(code));
    std::vector<uint8_t> ids(count);
    if (count) {
        code = HXTVEL_GetMChartIDList(bytes_.data(), ids.data(), &count);
        if (code != 0) fail(exit_input, path_ + ": " + wedge_code_text(code));
    }
    return ids;
}

stream_chart spectrobin_file::read_chart(int id) const {
    stream_chart chart;
    chart.id = static_cast<uint8_t>(id);
    uint32_t patches = 0, length = 0;
    int32_t code = HXTVEL_GetSpectrorefByMChartID(bytes_.data(), id, nullptr, &patches, &length, nullptr);
    if (code != 0) {
        std::string known;
        for (uint8_t k : chart_ids()) known += (known.empty() ? "" : ", ") + std::to_string(k);
        fail(exit_input, path_ + ": chart " + std::to_string(id) + " is not in the stream (charts: " +
                             (known.empty() ? "none" : known) + ")");
    }
    // At least one record, so that a chart of no patches still fills the
    // sensor information (a null record array is the query mode).
    std::vector<velSPECTRO_REF> refs(std::max<uint32_t>(patches, 1));
    chart.values.assign(patches, std::vector<double>(length));
    for (uint32_t i = 0; i < patches; ++i) refs[i].data = chart.values[i].data();
    code = HXTVEL_GetSpectrorefByMChartID(bytes_.data(), id, refs.data(), &patches, &length, &chart.sensor);
    refs.resize(patches);
    chart.refs = std::move(refs);
    if (code != 0) fail(exit_input, path_ + ": chart " + std::to_string(id) + ": " + wedge_code_text(code));
    return chart;
}

}  // namespace hxcli
