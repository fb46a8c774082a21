// cmd_chart.cpp - `hxtvel chart`: patch colours to TIFF chart pages.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

#include "chart_output.h"
#include "commands.h"

namespace hxcli {

namespace {

class chart_instance {
public:
    chart_instance() : h_(HXTVEL_CreateMChartInstance()) {}
    ~chart_instance() { HXTVEL_DeleteMChartInstance(h_); }
    chart_instance(const chart_instance &) = delete;
    chart_instance &operator=(const chart_instance &) = delete;
    void *get() const { return h_; }

private:
    void *h_;
};

void check_chart(uint32_t code, const std::string &what) {
    if (code == 0) return;
    const int status = (code == 208 || code == 209) ? exit_io : code == 207 ? exit_io : exit_input;
    fail(status, what + ": " + chart_code_text(code));
}

std::string page_name(const std::string &prefix, unsigned page) {
    return prefix + std::to_string(page) + ".tif";
}

bool exists(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// Writes one page of a memory image to its own file.
void write_page(const std::string &path, const unsigned char *data, unsigned long long size) {
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) fail(exit_io, path + ": cannot create (" + std::strerror(errno) + ")");
    const bool ok = std::fwrite(data, 1, size, f) == size;
    const bool closed = std::fclose(f) == 0;
    if (!ok || !closed) fail(exit_io, path + ": write failed (" + std::strerror(errno) + ")");
}

}  // namespace

drawn_chart draw_chart(const patch_set &patches, const velPAreaStruct &setting, bool bar, bool memory,
                       const std::string &prefix, output_stage &stage) {
    chart_instance chart;
    check_chart(HXTVEL_SetMChartSetting(chart.get(), setting), "chart setting");
    const uint32_t n = static_cast<uint32_t>(patches.size());
    check_chart(patches.is_cmyk ? HXTVEL_SetMChartData_CMYK(chart.get(), patches.cmyk.data(), n)
                                : HXTVEL_SetMChartData_RGB(chart.get(), patches.rgb.data(), n),
                "patch colours");
    const HXTVEL_PosBar posbar = bar ? HXTVEL_POSBAR_ON : HXTVEL_POSBAR_OFF;
    drawn_chart out;
    uint32_t pages = 0;

    if (memory) {
        unsigned long long total = 0;
        check_chart(HXTVEL_CreateTiff_M(chart.get(), nullptr, &total, &pages, posbar), "chart size");
        std::vector<unsigned char> image;
        try {
            image.resize(total);
        } catch (const std::bad_alloc &) {
            fail(exit_io, "not enough memory for the chart image (" + std::to_string(total) +
                              " bytes); draw to files instead (without --memory)");
        }
        check_chart(HXTVEL_CreateTiff_M(chart.get(), image.data(), &total, &pages, posbar), "chart drawing");
        progress bar_progress("writing pages", pages);
        unsigned long long offset = 0;
        for (uint32_t p = 0; p < pages; ++p) {
            unsigned long long size = 0;
            check_chart(HXTVEL_GetPageSize(chart.get(), p, &size), "page size");
            const std::string final_name = page_name(prefix, p);
            write_page(stage.add(final_name), image.data() + offset, size);
            out.files.push_back(final_name);
            offset += size;
            bar_progress.update(p + 1);
        }
    } else {
        const std::string temp = stage.add_prefix(prefix);
        uint32_t expected = 0;
        HXTVEL_CalcTiffInfo(chart.get(), setting, HXTVEL_UNIT_PIXEL, posbar, &expected, nullptr);
        // The library writes the pages one after another; a watcher reports
        // how far it has come.
        std::atomic<bool> done{false};
        std::thread watcher([&] {
            progress watch("drawing pages", expected);
            unsigned seen = 0;
            while (!done.load()) {
                while (seen < expected && exists(page_name(temp, seen + 1))) ++seen;
                watch.update(seen);
                std::this_thread::sleep_for(std::chrono::milliseconds(200));
            }
        });
        const uint32_t code = HXTVEL_CreateTiff(chart.get(), temp.c_str(), &pages, posbar);
        done = true;
        watcher.join();
        for (uint32_t p = 0; p <= std::max(pages, expected); ++p) {
            if (exists(page_name(temp, p))) stage.add_written(page_name(temp, p), page_name(prefix, p));
        }
        check_chart(code, "chart drawing");
        for (uint32_t p = 0; p < pages; ++p) out.files.push_back(page_name(prefix, p));
    }

    out.pages.resize(pages);
    if (pages) check_chart(HXTVEL_GetMChartData(chart.get(), out.pages.data(), HXTVEL_UNIT_PIXEL), "page records");

    // Where each patch landed, for the compare report's chart map.
    uint32_t code = 0;
    out.geometry = chart_geometry::of_setting(setting, bar, code);
    check_chart(code, "chart geometry");
    out.geometry.colour = patches.is_cmyk ? "CMYK" : "RGB";
    out.geometry_file = geometry_path(prefix);
    write_text_file(stage.add(out.geometry_file), out.geometry.to_json(), out.geometry_file);
    return out;
}

namespace {

// Millimetres to tenths of a millimetre.
uint32_t tenths(double mm) { return static_cast<uint32_t>(std::lround(mm * 10.0)); }

bool parse_size(const std::string &text, double &w, double &h) {
    const size_t x = text.find_first_of("xX");
    if (x == std::string::npos) return false;
    char *end = nullptr;
    const std::string a = text.substr(0, x), b = text.substr(x + 1);
    w = std::strtod(a.c_str(), &end);
    if (a.empty() || *end) return false;
    h = std::strtod(b.c_str(), &end);
    if (b.empty() || *end) return false;
    return w > 0 && h > 0 && w < 100000 && h < 100000;
}

void page_size(const std::string &name, double &w, double &h) {
    struct named {
        const char *name;
        double w, h;
    };
    static const named sizes[] = {{"A3", 297, 420}, {"A4", 210, 297}, {"A5", 148, 210},
                                  {"letter", 215.9, 279.4}};
    for (const named &s : sizes) {
        if (strcasecmp(name.c_str(), s.name) == 0) {
            w = s.w;
            h = s.h;
            return;
        }
    }
    if (!parse_size(name, w, h)) fail(exit_usage, "--page: expected A3, A4, A5, letter or WxH in mm, not '" + name + "'");
}

}  // namespace

int run_chart(const chart_options &o) {
    double pw = 0, ph = 0, qw = 0, qh = 0;
    page_size(o.page, pw, ph);
    if (!parse_size(o.patch, qw, qh)) fail(exit_usage, "--patch: expected WxH in mm, not '" + o.patch + "'");
    const layout_name *layout = find_layout(o.layout);
    if (!layout) fail(exit_usage, "--layout: expected one of " + layout_list() + ", not '" + o.layout + "'");

    const patch_set patches = read_patches(o.patches, o.table);
    velPAreaStruct s{};
    s.patch_count = static_cast<uint32_t>(patches.size());
    s.page_width = tenths(pw);
    s.page_height = tenths(ph);
    s.resolution = o.dpi;
    s.patch_width = tenths(qw);
    s.patch_height = tenths(qh);
    s.layout_first = layout->first;
    s.layout_second = layout->second;
    s.whitebar_width = o.whitebar;

    output_stage stage;
    const drawn_chart chart = draw_chart(patches, s, !o.no_bar, o.memory, o.prefix, stage);
    stage.commit();

    std::printf("%zu %s patches on %zu page%s: page %.1f x %.1f mm at %u dpi, patches %.1f x %.1f mm, "
                "patch 0 %s\n",
                patches.size(), patches.is_cmyk ? "CMYK" : "RGB", chart.pages.size(),
                chart.pages.size() == 1 ? "" : "s", pw, ph, o.dpi, qw, qh, layout->words);
    for (size_t p = 0; p < chart.pages.size(); ++p) {
        const velMChartStruct &r = chart.pages[p];
        std::printf("  page %zu: %u patches in %u columns x %u rows, %u x %u px (patch %u x %u px)  %s\n", p,
                    r.patch_count, r.columns, r.rows, r.image_width, r.image_height, r.patch_width,
                    r.patch_height, chart.files[p].c_str());
    }
    std::printf("  chart geometry (for compare --chart): %s\n", chart.geometry_file.c_str());
    return exit_ok;
}

}  // namespace hxcli
