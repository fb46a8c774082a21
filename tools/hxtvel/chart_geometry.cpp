// chart_geometry.cpp - the chart geometry file and the patch places.
#include "chart_geometry.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli_common.h"

namespace hxcli {

const std::vector<layout_name> &layouts() {
    static const std::vector<layout_name> all = {
        {"tl-right", 8, 4, "top left, rightwards"},    {"tl-down", 8, 1, "top left, downwards"},
        {"tr-left", 4, 8, "top right, leftwards"},     {"tr-down", 4, 1, "top right, downwards"},
        {"bl-right", 2, 4, "bottom left, rightwards"}, {"bl-up", 2, 2, "bottom left, upwards"},
        {"br-left", 1, 8, "bottom right, leftwards"},  {"br-up", 1, 2, "bottom right, upwards"},
    };
    return all;
}

const layout_name *find_layout(const std::string &name) {
    for (const layout_name &l : layouts()) {
        if (name == l.name) return &l;
    }
    return nullptr;
}

std::string layout_list() {
    std::string s;
    for (const layout_name &l : layouts()) s += std::string(s.empty() ? "" : ", ") + l.name;
    return s;
}

std::string geometry_path(const std::string &prefix) { return prefix + ".json"; }

chart_geometry chart_geometry::single_page(uint32_t patches, uint32_t columns, const std::string &layout) {
    chart_geometry g;
    g.patches = patches;
    g.columns = columns ? columns : 1;
    g.layout = layout;
    g.pages.push_back({patches, (patches + g.columns - 1) / g.columns});
    return g;
}

chart_geometry chart_geometry::of_setting(const velPAreaStruct &setting, bool bar, uint32_t &code) {
    chart_geometry g;
    void *chart = HXTVEL_CreateMChartInstance();
    const HXTVEL_PosBar posbar = bar ? HXTVEL_POSBAR_ON : HXTVEL_POSBAR_OFF;
    uint32_t pages = 0;
    code = HXTVEL_CalcTiffInfo(chart, setting, HXTVEL_UNIT_PIXEL, posbar, &pages, nullptr);
    std::vector<velMChartStruct> records(code == 0 ? pages : 0);
    if (code == 0 && pages) code = HXTVEL_CalcTiffInfo(chart, setting, HXTVEL_UNIT_PIXEL, posbar, &pages, records.data());
    HXTVEL_DeleteMChartInstance(chart);
    if (code != 0 || records.empty()) return g;
    g.patches = setting.patch_count;
    g.columns = records[0].columns;
    for (const layout_name &l : layouts()) {
        if (l.first == setting.layout_first && l.second == setting.layout_second) g.layout = l.name;
    }
    g.patch_w_mm = setting.patch_width / 10.0;
    g.patch_h_mm = setting.patch_height / 10.0;
    g.dpi = setting.resolution;
    // Every page but the last is full: the rows of a full page times the
    // columns; the last takes the rest.
    uint32_t left = setting.patch_count;
    for (const velMChartStruct &r : records) {
        const uint32_t taken = std::min(left, records[0].rows * g.columns);
        g.pages.push_back({taken, r.rows});
        left -= taken;
    }
    return g;
}

std::string chart_geometry::to_json() const {
    nlohmann::ordered_json j;
    j["format"] = "hxtvel chart geometry";
    j["version"] = 1;
    j["patches"] = patches;
    j["columns"] = columns;
    j["layout"] = layout;
    j["patch_mm"] = {patch_w_mm, patch_h_mm};
    j["dpi"] = dpi;
    j["colour"] = colour;
    j["pages"] = nlohmann::json::array();
    for (const page &p : pages) j["pages"].push_back({{"patches", p.patches}, {"rows", p.rows}});
    return j.dump(1) + "\n";
}

chart_geometry chart_geometry::read(const std::string &path) {
    const std::vector<unsigned char> bytes = read_binary(path);
    chart_geometry g;
    try {
        const nlohmann::json j = nlohmann::json::parse(bytes.begin(), bytes.end());
        if (j.value("format", "") != "hxtvel chart geometry") {
            fail(exit_input, path + ": not a chart geometry file (written by hxtvel chart beside the pages)");
        }
        g.patches = j.at("patches").get<uint32_t>();
        g.columns = j.at("columns").get<uint32_t>();
        g.layout = j.at("layout").get<std::string>();
        if (j.contains("patch_mm")) {
            g.patch_w_mm = j["patch_mm"].at(0).get<double>();
            g.patch_h_mm = j["patch_mm"].at(1).get<double>();
        }
        g.dpi = j.value("dpi", 0u);
        g.colour = j.value("colour", "");
        uint64_t total = 0;
        for (const auto &p : j.at("pages")) {
            g.pages.push_back({p.at("patches").get<uint32_t>(), p.at("rows").get<uint32_t>()});
            total += g.pages.back().patches;
            if (uint64_t{g.pages.back().rows} * g.columns < g.pages.back().patches) {
                fail(exit_input, path + ": page " + std::to_string(g.pages.size() - 1) + " holds more patches (" +
                                     std::to_string(g.pages.back().patches) + ") than its rows and columns");
            }
        }
        if (g.columns == 0 || total != g.patches) {
            fail(exit_input, path + ": the pages hold " + std::to_string(total) + " patches in " +
                                 std::to_string(g.columns) + " columns, the chart " + std::to_string(g.patches));
        }
    } catch (const nlohmann::json::exception &e) {
        fail(exit_input, path + ": not a chart geometry file: " + e.what());
    }
    if (!find_layout(g.layout)) fail(exit_input, path + ": unknown layout '" + g.layout + "'");
    return g;
}

// The chart is one grid of `columns` columns and as many rows as the pages
// hold together; pages are horizontal slices of it. Patch numbers run from
// the layout's corner, along its first direction, as the library places
// them (filler cells of the last row included in the count of the grid).
chart_geometry::place chart_geometry::where(uint32_t n) const {
    uint64_t rows = 0;
    for (const page &p : pages) rows += p.rows;
    const uint64_t cols = columns;
    const std::string &l = layout;
    const bool by_column = l == "tl-down" || l == "tr-down" || l == "bl-up" || l == "br-up";
    const bool from_bottom = l.rfind("bl", 0) == 0 || l.rfind("br", 0) == 0;
    const bool from_right = l.rfind("tr", 0) == 0 || l.rfind("br", 0) == 0;
    uint64_t row = by_column ? n % rows : n / cols;
    uint64_t col = by_column ? n / rows : n % cols;
    if (from_bottom) row = rows - 1 - row;
    if (from_right) col = cols - 1 - col;
    place at;
    at.column = static_cast<uint32_t>(col);
    for (const page &p : pages) {
        if (row < p.rows) break;
        row -= p.rows;
        ++at.page;
    }
    at.row = static_cast<uint32_t>(row);
    return at;
}

}  // namespace hxcli
