// cmd_export.cpp - `hxtvel export`: a measurement file's values as CSV or TSV.
//
// The values are the library's text export, digit for digit; --header adds
// a row of column names and a SAMPLE_ID column in front of each row.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <strings.h>

#include "cgats_input.h"
#include "cli_common.h"
#include "commands.h"

namespace hxcli {

namespace {

bool ends_with(const std::string &s, const char *suffix) {
    const size_t n = std::strlen(suffix);
    return s.size() >= n && strcasecmp(s.c_str() + s.size() - n, suffix) == 0;
}

// The column names of the library's text export, in its order.
std::string header_row(const hximport::import_result &r, char sep) {
    std::string h = "SAMPLE_ID";
    const char *const names[] = {"RGB_R", "RGB_G", "RGB_B", "CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K",
                                 "LAB_L", "LAB_A", "LAB_B", "XYZ_X",  "XYZ_Y",  "XYZ_Z"};
    const uint8_t kinds[] = {HXTVEL_CLR_RGB, HXTVEL_CLR_CMYK, HXTVEL_CLR_LAB, HXTVEL_CLR_XYZ};
    const size_t first[] = {0, 3, 7, 10, 13};
    for (size_t k = 0; k < 4; ++k) {
        if (!(r.kinds & kinds[k])) continue;
        for (size_t i = first[k]; i < first[k + 1]; ++i) h += sep + std::string(names[i]);
    }
    if (r.kinds & HXTVEL_CLR_SPECTRAL) {
        const measurement::spectra s = r.data.spectral();
        if (!s.records.empty()) {
            const velSPECTRO_REF &l = s.records[0];
            for (unsigned nm = l.start; l.pitch && nm <= l.end; nm += l.pitch) h += sep + ("SPECTRAL_" + std::to_string(nm));
        }
    }
    return h;
}

}  // namespace

int run_export(const export_options &o) {
    bool csv = o.csv;
    if (!o.csv && !o.tsv) {
        if (ends_with(o.out, ".csv")) {
            csv = true;
        } else if (!ends_with(o.out, ".tsv") && !ends_with(o.out, ".tab") && !ends_with(o.out, ".txt")) {
            fail(exit_usage, "export: give --csv or --tsv (the output's name ends in neither .csv nor .tsv, .tab or .txt)");
        }
    }
    const char sep = csv ? ',' : '\t';
    hximport::import_options in;
    in.table = o.table;
    in.purpose = "export";
    const hximport::import_result r = import_or_fail(o.input, in);
    output_stage stage;
    const std::string values = stage.add(o.out);
    const uint32_t code = HXTVEL_WriteText(r.data.get(), values.c_str(), csv ? HXTVEL_FILE_COMMA : HXTVEL_FILE_TAB);
    if (code == 103) fail(exit_input, o.input + ": " + measurement_code_text(code, true));
    if (code != 0) fail(exit_io, o.out + ": " + measurement_code_text(code, true));
    if (o.header) {
        std::ifstream read(values, std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(read)), std::istreambuf_iterator<char>());
        std::string out = header_row(r, sep) + "\n";
        size_t row = 0;
        for (size_t at = 0; at < text.size(); ++row) {
            const size_t end = text.find('\n', at);
            out += (row < r.ids.size() ? r.ids[row] : std::to_string(row + 1)) + sep +
                   text.substr(at, end == std::string::npos ? std::string::npos : end - at + 1);
            at = end == std::string::npos ? text.size() : end + 1;
        }
        write_text_file(values, out, o.out);
    }
    stage.commit();
    std::printf("%s -> %s (%s%s)\n", o.input.c_str(), o.out.c_str(), csv ? "comma separated" : "tab separated",
                o.header ? ", with a header row and SAMPLE_ID" : "");
    return exit_ok;
}

}  // namespace hxcli
