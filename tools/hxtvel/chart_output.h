// chart_output.h - drawing a chart through the library and writing its pages.
#ifndef HXTVEL_CLI_CHART_OUTPUT_H
#define HXTVEL_CLI_CHART_OUTPUT_H

#include <string>
#include <vector>

#include "chart_geometry.h"
#include "cli_common.h"
#include "hxtvel.h"
#include "patches.h"

namespace hxcli {

struct drawn_chart {
    std::vector<velMChartStruct> pages;  // page records, pixels
    std::vector<std::string> files;      // final page file names
    chart_geometry geometry;             // where each patch is printed
    std::string geometry_file;           // "<prefix>.json", beside the pages
};

// Draws the patches with the setting, to memory (then written page by page)
// or straight to files, under temporary names registered with stage, and
// records the chart's geometry beside the pages.
// Fails with exit_input for a setting the library refuses and exit_io for
// write failures.
drawn_chart draw_chart(const patch_set &patches, const velPAreaStruct &setting, bool bar, bool memory,
                       const std::string &prefix, output_stage &stage);

}  // namespace hxcli

#endif  // HXTVEL_CLI_CHART_OUTPUT_H
