// cgats_input.cpp - the import as the subcommands use it.
#include "cgats_input.h"

#include <cstdio>

#include "cli_common.h"

namespace hxcli {

hximport::import_result import_or_fail(const std::string &path, const hximport::import_options &options,
                                       bool quiet) {
    try {
        hximport::import_result r = hximport::import_measurement(path, options);
        const std::string notes = hximport::notes_line(path, r);
        if (!quiet && !notes.empty()) std::fprintf(stderr, "%s\n", notes.c_str());
        return r;
    } catch (const hximport::import_error &e) {
        fail(exit_input, e.what());
    }
}

}  // namespace hxcli
