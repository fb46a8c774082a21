// main.cpp - the hxtvel command-line tool: the measurement round of the
// hxtvel library from the shell. Uses only the library's public C interface
// (and, for spectrobin files, its length-aware stream check).
#include <CLI/CLI.hpp>

#include <cstdio>

#include "chart_geometry.h"
#include "cli_common.h"
#include "commands.h"
#include "hxtvel.h"

namespace {

const char *const kExitCodes =
    "\nExit status: 0 success, 1 tolerance exceeded (compare), 2 usage error,\n"
    "3 bad input (missing, unreadable or malformed file), 4 output could not be written.";


}  // namespace

int main(int argc, char **argv) {
    using namespace hxcli;
    CLI::App app{"hxtvel: measurement charts, CGATS files, spectra and colour differences"};
    app.set_version_flag("--version", "hxtvel " + std::to_string(HXTVEL_VERSION_MAJOR) + "." +
                                          std::to_string(HXTVEL_VERSION_MINOR) + "." +
                                          std::to_string(HXTVEL_VERSION_PATCH));
    app.require_subcommand(1);
    app.footer(kExitCodes);
    int status = exit_ok;

    demo_options demo;
    auto *cmd_demo = app.add_subcommand(
        "demo", "Run a whole measurement round on a built-in CMYK chart: chart pages, a simulated print "
                "and measurement, Lab, CIEDE2000 against the reference, CGATS and CSV output");
    cmd_demo->add_option("--out", demo.out, "Output directory (created if missing)")->capture_default_str();
    cmd_demo->callback([&] { status = run_demo(demo); });

    chart_options chart;
    auto *cmd_chart = app.add_subcommand("chart", "Make the TIFF pages of a measurement chart from patch colours");
    cmd_chart->add_option("PATCHES", chart.patches,
                          "Patch colours: a measurement file (CGATS, ArgyllCMS .ti1/.ti3; CMYK_ or RGB_ columns) "
                          "or delimited text with 3 (RGB 0-255) or 4 (CMYK %) numbers per line")
        ->required();
    cmd_chart->add_option("-o,--output", chart.prefix, "Page file prefix: pages are PREFIX0.tif, PREFIX1.tif, ...")
        ->required();
    cmd_chart->add_option("--page", chart.page, "Printable page: A3, A4, A5, letter or WxH in mm")->capture_default_str();
    cmd_chart->add_option("--dpi", chart.dpi, "Resolution in dots per inch (30 to 1200)")->capture_default_str();
    cmd_chart->add_option("--patch", chart.patch, "Patch size WxH in mm")->capture_default_str();
    cmd_chart->add_option("--layout", chart.layout,
                          "Corner of patch 0 and the direction the numbers run first: " + layout_list())
        ->capture_default_str();
    cmd_chart->add_option("--whitebar", chart.whitebar,
                          "White breaks in the side bars, in pixels at 300 dpi (0 to 60; files only)")
        ->capture_default_str();
    cmd_chart->add_flag("--no-bar", chart.no_bar, "Leave out the positioning bar");
    cmd_chart->add_flag("--memory", chart.memory,
                        "Draw the whole chart in memory, then write the pages (side bars without white breaks)");
    cmd_chart->add_flag("--force", chart.force, "Remove the pages an earlier run with more pages left under PREFIX");
    cmd_chart->add_option("--table", chart.table, "Table of a CGATS file with several, counting from 1")
        ->check(CLI::PositiveNumber);
    cmd_chart->callback([&] { status = run_chart(chart); });

    charts_options charts;
    auto *cmd_charts = app.add_subcommand("charts", "List the charts of a spectrobin stream");
    cmd_charts->add_option("STREAM", charts.stream, "Spectrobin file")->required();
    cmd_charts->callback([&] { status = run_charts(charts); });

    extract_options extract;
    auto *cmd_extract = app.add_subcommand("extract", "Write one chart of a spectrobin stream as CGATS");
    cmd_extract->add_option("STREAM", extract.stream, "Spectrobin file")->required();
    cmd_extract->add_option("--chart", extract.chart, "Chart ID")->required()->check(CLI::Range(0, 255));
    cmd_extract->add_option("-o,--output", extract.out, "CGATS file to write")->required();
    cmd_extract->add_option("--illuminant", extract.illuminant, "D50, D65 or A")->capture_default_str();
    cmd_extract->add_option("--observer", extract.observer, "2 or 10 (degrees)")->capture_default_str();
    cmd_extract->add_flag("--xyz", extract.xyz, "Write XYZ as well");
    cmd_extract->callback([&] { status = run_extract(extract); });

    compare_options compare;
    auto *cmd_compare = app.add_subcommand(
        "compare", "Colour differences of a sample measurement against a reference, patch by patch");
    cmd_compare->add_option("REFERENCE", compare.reference, "Reference measurement file (Lab or spectra)")->required();
    cmd_compare->add_option("SAMPLE", compare.sample, "Sample measurement file (Lab or spectra)")->required();
    cmd_compare->add_option("--method", compare.method, "76, 94, 2000, cmc21 or cmc11")->capture_default_str();
    cmd_compare->add_option("--tolerance", compare.tolerance,
                            "Exit with status 1 when any patch differs by more than this (a number >= 0)");
    cmd_compare->add_option("--worst", compare.worst, "How many of the worst patches to name")->capture_default_str();
    cmd_compare->add_flag("--summary", compare.summary_only, "Print only the summary, not every patch");
    cmd_compare->add_flag("--by-position", compare.by_position,
                          "Pair the patches row by row instead of by SAMPLE_ID");
    cmd_compare->add_flag("--allow-missing", compare.allow_missing,
                          "Compare the patches both files have when a SAMPLE_ID is missing on either side");
    cmd_compare->add_option("--illuminant", compare.illuminant, "Illuminant for spectra: D50, D65 or A")
        ->capture_default_str();
    cmd_compare->add_option("--observer", compare.observer, "Observer for spectra: 2 or 10 (degrees)")
        ->capture_default_str();
    cmd_compare->add_flag("--ignore-conditions", compare.ignore_conditions,
                          "Compare L*a*b* that the files state for different conditions");
    cmd_compare->add_option("--html", compare.html, "Write a report as one self-contained HTML file");
    cmd_compare->add_option("--chart", compare.chart,
                            "Chart geometry file (PREFIX.json, written by chart and demo) for the report's map");
    cmd_compare->add_option("--columns", compare.columns, "Without --chart: columns of the report's map");
    cmd_compare->add_option("--layout", compare.layout, "Without --chart: layout of the report's map")
        ->capture_default_str();
    cmd_compare->callback([&] { status = run_compare(compare); });

    export_options exp;
    auto *cmd_export = app.add_subcommand("export", "Write the values of a measurement file as CSV or TSV");
    cmd_export->add_option("INPUT", exp.input, "Measurement file (CGATS, ArgyllCMS .ti1/.ti3/.gam, ...)")->required();
    cmd_export->add_option("-o,--output", exp.out, "Text file to write")->required();
    auto *csv = cmd_export->add_flag("--csv", exp.csv, "Comma separated (the default for a .csv output)");
    cmd_export->add_flag("--tsv", exp.tsv, "Tab separated (the default for .tsv, .tab and .txt)")->excludes(csv);
    cmd_export->add_flag("--header", exp.header,
                         "First a row of column names, and each row starting with its SAMPLE_ID");
    cmd_export->add_option("--table", exp.table, "Table of a file with several, counting from 1")
        ->check(CLI::PositiveNumber);
    cmd_export->callback([&] { status = run_export(exp); });

    info_options info;
    auto *cmd_info = app.add_subcommand(
        "info", "Say what a measurement file holds: sets, colour kinds, spectral range, measuring conditions, "
                "tables, and what reading it adjusts");
    cmd_info->add_option("FILE", info.input, "Measurement file (CGATS, ArgyllCMS .ti1/.ti3/.gam, ...)")->required();
    cmd_info->add_flag("--json", info.json, "Print one JSON object");
    cmd_info->add_option("--table", info.table, "Table of a file with several, counting from 1")
        ->check(CLI::PositiveNumber);
    cmd_info->callback([&] { status = run_info(info); });

    for (CLI::App *sub : app.get_subcommands({})) sub->footer(kExitCodes);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp &e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        // CLI11's own words, in the tool's voice, with the way to the options.
        std::string command;
        for (const CLI::App *sub : app.get_subcommands()) command += " " + sub->get_name();
        std::fprintf(stderr, "hxtvel: %s\nRun 'hxtvel%s --help' for the options.\n", e.what(), command.c_str());
        return exit_usage;
    } catch (const cli_error &e) {
        std::fprintf(stderr, "hxtvel: %s\n", e.what());
        return e.status();
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "hxtvel: out of memory\n");
        return exit_io;
    }
    return status;
}
