// cmd_export.cpp - `hxtvel export`: a CGATS file's values as CSV or TSV.
#include <cstdio>

#include "cgats_input.h"
#include "cli_common.h"
#include "commands.h"

namespace hxcli {

int run_export(const export_options &o) {
    if (o.csv == o.tsv) fail(exit_usage, "export: give exactly one of --csv and --tsv");
    hximport::import_options in;
    in.table = o.table;
    in.purpose = "export";
    const hximport::import_result r = import_or_fail(o.input, in);
    output_stage stage;
    const uint32_t code =
        HXTVEL_WriteText(r.data.get(), stage.add(o.out).c_str(), o.csv ? HXTVEL_FILE_COMMA : HXTVEL_FILE_TAB);
    if (code == 103) fail(exit_input, o.input + ": " + measurement_code_text(code, true));
    if (code != 0) fail(exit_io, o.out + ": " + measurement_code_text(code, true));
    stage.commit();
    std::printf("%s -> %s (%s)\n", o.input.c_str(), o.out.c_str(), o.csv ? "comma separated" : "tab separated");
    return exit_ok;
}

}  // namespace hxcli
