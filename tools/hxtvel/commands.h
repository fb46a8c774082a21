// commands.h - the subcommands of the hxtvel tool. Each returns the exit
// status; failures are thrown as cli_error.
#ifndef HXTVEL_CLI_COMMANDS_H
#define HXTVEL_CLI_COMMANDS_H

#include <cstdint>
#include <string>

#include "cli_common.h"
#include "report.h"

namespace hxcli {

struct chart_options {
    std::string patches;       // CGATS or CSV file
    unsigned table = 1;        // table of a CGATS file, from 1
    std::string prefix;        // pages go to <prefix><n>.tif
    std::string page = "A4";   // A3, A4, A5, letter or WxH in mm
    std::string dpi = "300";   // 30 to 1200, checked by run_chart
    std::string patch = "6x6"; // WxH in mm
    std::string layout = "tl-right";
    std::string whitebar = "0";  // pixels at 300 dpi, 0 to 60
    bool no_bar = false;
    bool memory = false;       // draw into memory, then write the pages
    bool force = false;        // remove pages an earlier, longer run left
};
int run_chart(const chart_options &o);

struct charts_options {
    std::string stream;
};
int run_charts(const charts_options &o);

struct extract_options {
    std::string stream;
    int chart = -1;
    std::string out;
    std::string illuminant = "D50";
    int observer = 2;
    bool xyz = false;
};
int run_extract(const extract_options &o);

struct compare_options {
    std::string reference, sample;
    std::string method = "2000";
    std::string tolerance;     // "": no tolerance; else a finite number >= 0
    unsigned worst = 5;
    bool summary_only = false;
    bool by_position = false;  // pair row by row, not by SAMPLE_ID
    bool allow_missing = false;
    std::string illuminant = "D50";
    int observer = 2;
    bool ignore_conditions = false;
    std::string html;          // report file, or ""
    std::string chart;         // chart geometry file for the report's map
    uint32_t columns = 0;      // without --chart: columns of the map (0: about square)
    std::string layout = "tl-right";
};
int run_compare(const compare_options &o);
// The comparison behind run_compare: both files read and paired, the
// differences and their summary, the report written when o.html is set.
struct comparison {
    report_input report;
    de_summary summary;
    std::string how;  // "paired by SAMPLE_ID" ...
};
comparison compare_files(const compare_options &o);

struct export_options {
    std::string input, out;
    bool csv = false, tsv = false;  // neither: from the output's extension
    bool header = false;            // a row of column names and a SAMPLE_ID column
    unsigned table = 1;
};
int run_export(const export_options &o);

struct info_options {
    std::string input;
    bool json = false;
    unsigned table = 1;
};
int run_info(const info_options &o);

struct demo_options {
    std::string out = "hxtvel-demo";
};
int run_demo(const demo_options &o);

}  // namespace hxcli

#endif  // HXTVEL_CLI_COMMANDS_H
