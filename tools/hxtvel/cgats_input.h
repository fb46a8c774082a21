// cgats_input.h - measurement files for the subcommands: the import with its
// notes on standard error and its failures as the tool's exit status.
#ifndef HXTVEL_CLI_CGATS_INPUT_H
#define HXTVEL_CLI_CGATS_INPUT_H

#include <string>

#include "measurement_import.h"

namespace hxcli {

using hximport::looks_like_cgats;
using hximport::measurement;

// Imports a measurement file. What the import adjusted is printed as one
// line on standard error ("path: table 1 of 2; ...") unless quiet; a
// failure ends the command with exit_input and the import's message.
hximport::import_result import_or_fail(const std::string &path, const hximport::import_options &options,
                                       bool quiet = false);

}  // namespace hxcli

#endif  // HXTVEL_CLI_CGATS_INPUT_H
