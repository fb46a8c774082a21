// cmd_chart.cpp - `hxtvel chart`: patch colours to TIFF chart pages.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <charconv>
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
            write_bytes(stage.add(final_name), image.data() + offset, size, final_name);
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
        errno = 0;
        const uint32_t code = HXTVEL_CreateTiff(chart.get(), temp.c_str(), &pages, posbar);
        const int reason = errno;
        done = true;
        watcher.join();
        uint32_t written = 0;
        for (uint32_t p = 0; p <= std::max(pages, expected); ++p) {
            if (!exists(page_name(temp, p))) continue;
            stage.add_written(page_name(temp, p), page_name(prefix, p));
            written = p + 1;
        }
        // The library reports which step failed; the page and the system's
        // reason are ours to name.
        if (code == 208) {
            fail(exit_io, page_name(prefix, written) + ": cannot create (" + std::strerror(reason ? reason : EIO) + ")");
        }
        if (code == 209) {
            fail(exit_io, page_name(prefix, written ? written - 1 : 0) + ": write failed (" +
                              std::strerror(reason ? reason : EIO) + ")");
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


// A whole number of an option within its range; a usage error naming both.
uint32_t whole_number(const char *option, const std::string &text, uint32_t lo, uint32_t hi) {
    uint32_t v = 0;
    const auto r = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || r.ec != std::errc() || r.ptr != text.data() + text.size() || v < lo || v > hi) {
        fail(exit_usage, std::string(option) + ": expected a whole number from " + std::to_string(lo) + " to " +
                             std::to_string(hi) + ", not '" + text + "'");
    }
    return v;
}

std::string mm(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", v);
    return text;
}

// The library's page rules (margins of half a patch, the positioning bar,
// the white breaks) as usage errors that name the option and what fits.
void check_fit(const velPAreaStruct &s, bool bar, const std::string &patch, const std::string &whitebar) {
    const uint64_t r = s.resolution;
    const uint64_t page_w = r * s.page_width / 254, page_h = r * s.page_height / 254;
    const uint64_t bar_h = bar ? r * 184 / 300 : 0;
    const uint64_t pw = uint64_t(std::lround(double(r * s.patch_width) / 254.0));
    const uint64_t ph = uint64_t(std::lround(double(r * s.patch_height) / 254.0));
    const uint64_t margin = std::max<uint64_t>(1, pw / 2);
    const double px_mm = 25.4 / double(r);
    if (pw == 0 || ph == 0 || page_w < pw + 2 * margin || page_h < bar_h + ph) {
        const double max_w = double(page_w / 2) * px_mm, max_h = double(page_h > bar_h ? page_h - bar_h : 0) * px_mm;
        fail(exit_usage, "--patch " + patch + ": at " + std::to_string(r) + " dpi a patch on this page is at most " +
                             mm(max_w) + " x " + mm(max_h) + " mm and at least one pixel (a margin of half a patch "
                             "each side" + (bar ? ", and the positioning bar below" : "") + ")");
    }
    const uint64_t w = r * s.whitebar_width / 300;
    if (2 * w >= r * s.patch_height / 300 || ph <= 2 * w) {
        fail(exit_usage, "--whitebar " + whitebar + ": white breaks of " + whitebar + " px (at 300 dpi) above and "
                         "below each patch row leave no room in a patch " + mm(s.patch_height / 10.0) +
                         " mm high: give a smaller --whitebar or taller patches");
    }
}

// Pages "<prefix><n>.tif" from n = pages on, left by an earlier run.
std::vector<std::string> stale_pages(const std::string &prefix, size_t pages) {
    std::vector<std::string> stale;
    for (size_t n = pages; exists(page_name(prefix, unsigned(n))); ++n) stale.push_back(page_name(prefix, unsigned(n)));
    return stale;
}

}  // namespace

int run_chart(const chart_options &o) {
    double pw = 0, ph = 0, qw = 0, qh = 0;
    page_size(o.page, pw, ph);
    if (!parse_size(o.patch, qw, qh)) fail(exit_usage, "--patch: expected WxH in mm, not '" + o.patch + "'");
    const layout_name *layout = find_layout(o.layout);
    if (!layout) fail(exit_usage, "--layout: expected one of " + layout_list() + ", not '" + o.layout + "'");
    const uint32_t dpi = whole_number("--dpi", o.dpi, 30, 1200);
    const uint32_t whitebar = whole_number("--whitebar", o.whitebar, 0, 60);

    velPAreaStruct s{};
    s.page_width = tenths(pw);
    s.page_height = tenths(ph);
    s.resolution = dpi;
    s.patch_width = tenths(qw);
    s.patch_height = tenths(qh);
    s.layout_first = layout->first;
    s.layout_second = layout->second;
    s.whitebar_width = whitebar;
    check_fit(s, !o.no_bar, o.patch, o.whitebar);

    const patch_set patches = read_patches(o.patches, o.table);
    s.patch_count = static_cast<uint32_t>(patches.size());
    uint32_t code = 0;
    const size_t pages = chart_geometry::of_setting(s, !o.no_bar, code).pages.size();
    const std::vector<std::string> stale = stale_pages(o.prefix, pages);
    if (!stale.empty() && !o.force) {
        fail(exit_usage, stale.front() + (stale.size() > 1 ? " and " + std::to_string(stale.size() - 1) + " more" : "") +
                             " left from an earlier run with more pages would stand beside the " +
                             std::to_string(pages) + " new ones: --force removes them, or choose another -o");
    }

    output_stage stage;
    const drawn_chart chart = draw_chart(patches, s, !o.no_bar, o.memory, o.prefix, stage);
    stage.commit();
    for (const std::string &f : stale) std::remove(f.c_str());
    if (!stale.empty()) std::fprintf(stderr, "hxtvel: note: removed %zu page%s of an earlier run\n", stale.size(), stale.size() == 1 ? "" : "s");
    if (o.memory && whitebar) {
        std::fprintf(stderr, "hxtvel: note: --whitebar applies to pages drawn to files; with --memory the side bars "
                             "are solid\n");
    }
    if (!chart.pages.empty() && chart.pages[0].image_width > uint64_t(dpi) * s.page_width / 254) {
        std::fprintf(stderr, "hxtvel: note: the pages are %s mm wide, wider than the %s mm of --page, to hold the "
                             "positioning bar (--no-bar leaves it out)\n",
                     mm(chart.pages[0].image_width * 25.4 / dpi).c_str(), mm(pw).c_str());
    }

    std::printf("%zu %s patches on %zu page%s: page %.1f x %.1f mm at %u dpi, patches %.1f x %.1f mm, "
                "patch 0 %s\n",
                patches.size(), patches.is_cmyk ? "CMYK" : "RGB", chart.pages.size(),
                chart.pages.size() == 1 ? "" : "s", pw, ph, dpi, qw, qh, layout->words);
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
