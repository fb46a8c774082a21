// chart_geometry.h - where each patch of a chart sits on its printed pages.
//
// `hxtvel chart` and `hxtvel demo` record the geometry beside the pages in a
// small JSON file, <prefix>.json for pages <prefix>0.tif, <prefix>1.tif ...:
//
//   {"format": "hxtvel chart geometry", "version": 1, "patches": 205,
//    "columns": 11, "layout": "tl-right", "patch_mm": [12, 12], "dpi": 300,
//    "colour": "CMYK", "pages": [{"patches": 154, "rows": 14}, ...]}
//
// and `hxtvel compare --chart FILE` reads it to draw the report's chart map.
#ifndef HXTVEL_CLI_CHART_GEOMETRY_H
#define HXTVEL_CLI_CHART_GEOMETRY_H

#include <cstdint>
#include <string>
#include <vector>

#include "hxtvel.h"

namespace hxcli {

// The eight layouts: corner of patch 0, then the direction the numbers run
// first, with the library's two layout bytes.
struct layout_name {
    const char *name;
    uint8_t first, second;
    const char *words;
};
const std::vector<layout_name> &layouts();
// The layout of that name, or null.
const layout_name *find_layout(const std::string &name);
// "tl-right, tl-down, ..."
std::string layout_list();

struct chart_geometry {
    uint32_t patches = 0;
    uint32_t columns = 0;
    std::string layout = "tl-right";
    double patch_w_mm = 0, patch_h_mm = 0;
    uint32_t dpi = 0;
    std::string colour;  // "CMYK" or "RGB"
    struct page {
        uint32_t patches = 0, rows = 0;
    };
    std::vector<page> pages;

    // A geometry of one page holding every patch in `columns` columns.
    static chart_geometry single_page(uint32_t patches, uint32_t columns, const std::string &layout);
    // The geometry the library gives the setting (HXTVEL_CalcTiffInfo), with
    // or without the positioning bar; the code of a refusal in `code`.
    static chart_geometry of_setting(const velPAreaStruct &setting, bool bar, uint32_t &code);

    // The JSON text of the file, and the geometry read from one; read fails
    // with exit_input naming the file and what is wrong.
    std::string to_json() const;
    static chart_geometry read(const std::string &path);

    // Where patch n (from 0) is printed: its page, and its row and column
    // on that page (from the top left).
    struct place {
        uint32_t page = 0, row = 0, column = 0;
    };
    place where(uint32_t n) const;
};

// "<prefix>.json" for the page prefix.
std::string geometry_path(const std::string &prefix);

}  // namespace hxcli

#endif  // HXTVEL_CLI_CHART_GEOMETRY_H
