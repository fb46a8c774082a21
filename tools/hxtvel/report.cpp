// report.cpp - the HTML compare report: verdict, chart map, histogram, a*b*
// plot, tables. Inline CSS and SVG only, so that the file opens offline,
// reads without scripts and prints on A4.
#include "report.h"

#include "cli_common.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <numeric>

namespace hxcli {

namespace {

// printf into a string (the tool keeps the "C" numeric locale).
void put(std::string &out, const char *format, ...) __attribute__((format(printf, 2, 3)));
void put(std::string &out, const char *format, ...) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (n > 0) out.append(buffer, std::min<size_t>(size_t(n), sizeof buffer - 1));
}

std::string escape(const std::string &text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

const char *const kStyle = R"(<style>
*{-webkit-print-color-adjust:exact;print-color-adjust:exact;box-sizing:border-box}
body{font:14px/1.45 system-ui,-apple-system,"Segoe UI",Roboto,Helvetica,Arial,sans-serif;color:#222;margin:0 auto;max-width:1100px;padding:16px}
.verdict{border-radius:8px;padding:14px 18px;color:#fff}
.pass{background:#1b7f3b}.fail{background:#c62828}.none{background:#455a64}
.verdict h1{margin:0;font-size:30px;letter-spacing:.02em}
.verdict p{margin:4px 0}
dl.stats{display:flex;flex-wrap:wrap;gap:6px 26px;margin:10px 0 6px}
dl.stats dt{font-size:12px;opacity:.85}dl.stats dd{margin:0;font-size:19px;font-weight:600}
.files{font-size:12px;opacity:.9}
h2{font-size:18px;margin:26px 0 8px;border-bottom:1px solid #ddd;padding-bottom:2px}
h3{font-size:14px;margin:12px 0 4px;color:#555}
.note{color:#555;font-size:12px;margin:2px 0}
svg{max-width:100%;height:auto;display:block}
svg text{font-family:inherit}
.cell text{font-size:9px;fill:#fff;stroke:#000;stroke-width:2px;paint-order:stroke;text-anchor:middle}
.o{fill:none;stroke:#d50000;stroke-width:4}
.clip{fill:#000;stroke:#fff;stroke-width:.8}
.axis{stroke:#999;stroke-width:1}.grid{stroke:#eee;stroke-width:1}
.lbl{font-size:11px;fill:#555}
.bar{fill:#607d8b}.bar.over{fill:#c62828}
.tol{stroke:#c62828;stroke-width:2;stroke-dasharray:6 4}
.dot{fill:#bbb}
.ref{fill:#fff;stroke:#333;stroke-width:1.5}
.arrow{stroke:#c62828;stroke-width:1.8;fill:none}
table{border-collapse:collapse;font-size:12px;font-variant-numeric:tabular-nums;width:100%}
th,td{padding:2px 6px;text-align:right;border-bottom:1px solid #eee;white-space:nowrap}
th{border-bottom:2px solid #ccc;background:#fff}
.lazy{content-visibility:auto}
th:first-child,td:first-child,td.dev,th.dev{text-align:left}
tr.over td{background:#fdecea}tr.over td:first-child{font-weight:700;color:#c62828}
.sw{display:inline-block;width:13px;height:13px;border:1px solid #888;vertical-align:-2px;margin-right:1px}
@page{size:A4;margin:12mm}
@media print{body{max-width:none;padding:0;font-size:11px}section{break-inside:avoid-page}
section.all{break-inside:auto}thead{display:table-header-group}tr{break-inside:avoid}}
</style>)";

std::string fixed2(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%.2f", v);
    return b;
}

// The verdict banner.
void banner(std::string &out, const report_input &in, const de_summary &s) {
    const char *cls = !in.tolerance ? "none" : s.over ? "fail" : "pass";
    out += "<section class=\"verdict ";
    out += cls;
    out += "\"><h1>";
    if (!in.tolerance) {
        out += "NO TOLERANCE SET";
    } else if (s.over) {
        put(out, "FAIL: %zu of %zu patches above %s %s", s.over, s.count, in.method.c_str(),
            fixed2(*in.tolerance).c_str());
    } else {
        put(out, "PASS: every patch within %s %s", in.method.c_str(), fixed2(*in.tolerance).c_str());
    }
    out += "</h1><dl class=\"stats\">";
    auto stat = [&](const char *name, const std::string &value) {
        out += "<div><dt>";
        out += name;
        out += "</dt><dd>" + escape(value) + "</dd></div>";
    };
    stat("method", in.method);
    stat("conditions", in.conditions);
    stat("patches", std::to_string(s.count));
    stat("mean", fixed2(s.mean));
    stat("median", fixed2(s.median));
    stat("95th percentile", fixed2(s.p95));
    stat("maximum", fixed2(s.max) + (s.count ? " (" + in.patches[s.max_index].id + ")" : ""));
    if (in.tolerance) stat("tolerance", fixed2(*in.tolerance));
    out += "</dl><p class=\"files\">reference <b>" + escape(in.reference_path) + "</b> &middot; sample <b>" +
           escape(in.sample_path) + "</b> &middot; compared " + escape(in.when) + "</p></section>\n";
    for (const std::string &n : in.notes) out += "<p class=\"note\">" + escape(n) + "</p>\n";
}

bool over(const report_input &in, const compared_patch &p) { return in.tolerance && p.de > *in.tolerance; }

// The chart map: each page as a grid of cells; a cell's left half shows the
// reference colour, its right half the sample, its ΔE below; a red frame
// marks a patch above the tolerance, a black corner a colour outside sRGB.
void chart_map(std::string &out, const report_input &in) {
    constexpr int kCell = 40, kGap = 4, kPitch = kCell + kGap;
    out += "<section><h2>Chart map</h2><p class=\"note\">Left half: reference, right half: sample, as sRGB; "
           "the number is the patch's " +
           escape(in.method) +
           ". A red frame marks a patch above the tolerance; a black corner, a colour outside sRGB (shown "
           "clipped).</p>\n";
    const chart_geometry &g = in.geometry;
    std::vector<std::vector<size_t>> on_page(g.pages.size());
    std::vector<chart_geometry::place> places(in.patches.size());
    for (size_t i = 0; i < in.patches.size(); ++i) {
        if (in.patches[i].position >= g.patches) continue;
        places[i] = g.where(uint32_t(in.patches[i].position));
        if (places[i].page < on_page.size()) on_page[places[i].page].push_back(i);
    }
    // Each page is drawn in bands of rows, each band an SVG of its own that
    // the browser lays out and paints only when it is scrolled to: a chart of
    // 10,000 patches opens as fast as one of a hundred.
    constexpr uint32_t kBand = 12;
    for (size_t p = 0; p < g.pages.size(); ++p) {
        if (g.pages.size() > 1) put(out, "<h3>Page %zu of %zu</h3>\n", p + 1, g.pages.size());
        const uint32_t rows = g.pages[p].rows;
        const int w = int(g.columns) * kPitch + kGap;
        const int shown = std::min(w, 1060);
        const bool numbers = shown * kCell >= 24 * w;  // smaller ones are left to the tooltips
        std::vector<std::vector<size_t>> in_band((rows + kBand - 1) / kBand);
        for (size_t i : on_page[p]) in_band[std::min<size_t>(places[i].row / kBand, in_band.size() - 1)].push_back(i);
        for (size_t band = 0; band < in_band.size(); ++band) {
            const int top = int(band * kBand) * kPitch;
            const uint32_t n = std::min(kBand, rows - uint32_t(band * kBand));
            const int h = int(n) * kPitch + (band + 1 == in_band.size() ? kGap : 0);
            put(out, "<div class=\"lazy\" style=\"contain-intrinsic-size:auto %dpx\">", h * shown / w + 1);
            put(out, "<svg viewBox=\"0 %d %d %d\" width=\"%d\" overflow=\"visible\" role=\"img\" "
                     "aria-label=\"chart page %zu, rows %zu to %zu\">\n",
                top, w, h, shown, p + 1, band * kBand + 1, band * kBand + n);
            for (size_t i : in_band[band]) {
                const compared_patch &c = in.patches[i];
                const int x = kGap + int(places[i].column) * kPitch, y = kGap + int(places[i].row) * kPitch;
                const srgb8 r = lab_to_srgb(c.reference, in.reference_white);
                const srgb8 s = lab_to_srgb(c.sample, in.sample_white);
                out += "<g class=\"cell\"><title>" + escape(c.id) + ": reference " + fixed2(c.reference.L) + " " +
                       fixed2(c.reference.a) + " " + fixed2(c.reference.b) + ", sample " + fixed2(c.sample.L) + " " +
                       fixed2(c.sample.a) + " " + fixed2(c.sample.b) + ", " + escape(in.method) + " " +
                       fixed2(c.de) + "</title>";
                put(out, "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\"/>", x, y, kCell / 2,
                    kCell, r.hex().c_str());
                put(out, "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\"/>", x + kCell / 2, y,
                    kCell / 2, kCell, s.hex().c_str());
                if (r.clipped) put(out, "<path class=\"clip\" d=\"M%d %dh7l-7 7z\"/>", x, y);
                if (s.clipped) put(out, "<path class=\"clip\" d=\"M%d %dh-7l7 7z\"/>", x + kCell, y);
                if (numbers) put(out, "<text x=\"%d\" y=\"%d\">%.1f</text>", x + kCell / 2, y + kCell - 4, c.de);
                if (over(in, c)) {
                    put(out, "<rect class=\"o\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\"/>", x, y, kCell, kCell);
                }
                out += "</g>\n";
            }
            out += "</svg></div>\n";
        }
    }
    out += "</section>\n";
}

// A step of 1, 2 or 5 times a power of ten near span / parts.
double nice_step(double span, double parts) {
    const double raw = std::max(span / parts, 1e-9);
    const double p = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0}) {
        if (m * p >= raw) return m * p;
    }
    return 10.0 * p;
}

// Histogram of the differences, with the tolerance as a dashed line.
void histogram(std::string &out, const report_input &in, const de_summary &s) {
    constexpr int W = 720, H = 260, L = 46, B = 36, T = 12;
    const double top = std::max({s.max, in.tolerance.value_or(0.0) * 1.1, 0.5});
    const double width = nice_step(top, 24);
    const size_t bins = size_t(std::floor(top / width)) + 1;
    std::vector<size_t> count(bins, 0);
    for (const compared_patch &p : in.patches) ++count[std::min(bins - 1, size_t(std::max(0.0, p.de) / width))];
    const size_t most = std::max<size_t>(1, *std::max_element(count.begin(), count.end()));
    const double xs = double(W - L - 10) / (double(bins) * width), ys = double(H - B - T) / double(most);
    out += "<section><h2>Distribution of " + escape(in.method) + "</h2>\n";
    put(out, "<svg viewBox=\"0 0 %d %d\" width=\"%d\" role=\"img\" aria-label=\"histogram\">\n", W, H, W);
    const double ystep = nice_step(double(most), 5);
    for (double v = 0; v <= double(most) + 1e-9; v += ystep) {
        const double y = H - B - v * ys;
        put(out, "<line class=\"grid\" x1=\"%d\" x2=\"%d\" y1=\"%.1f\" y2=\"%.1f\"/>", L, W - 10, y, y);
        put(out, "<text class=\"lbl\" x=\"%d\" y=\"%.1f\" text-anchor=\"end\">%.0f</text>\n", L - 5, y + 4, v);
    }
    for (size_t b = 0; b < bins; ++b) {
        if (!count[b]) continue;
        const double x = L + double(b) * width * xs, h = double(count[b]) * ys;
        const bool above = in.tolerance && double(b) * width >= *in.tolerance;
        put(out, "<rect class=\"bar%s\" x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\"><title>%.2f to %.2f: %zu</title></rect>\n",
            above ? " over" : "", x + 0.5, H - B - h, std::max(1.0, width * xs - 1), h, double(b) * width,
            double(b + 1) * width, count[b]);
    }
    const double xstep = nice_step(double(bins) * width, 10);
    for (double v = 0; v <= double(bins) * width + 1e-9; v += xstep) {
        put(out, "<text class=\"lbl\" x=\"%.1f\" y=\"%d\" text-anchor=\"middle\">%g</text>", L + v * xs, H - B + 15, v);
    }
    put(out, "<line class=\"axis\" x1=\"%d\" x2=\"%d\" y1=\"%d\" y2=\"%d\"/>", L, W - 10, H - B, H - B);
    put(out, "<text class=\"lbl\" x=\"%d\" y=\"%d\" text-anchor=\"middle\">%s</text>\n", (L + W) / 2, H - 4,
        escape(in.method).c_str());
    if (in.tolerance) {
        const double x = L + *in.tolerance * xs;
        put(out, "<line class=\"tol\" x1=\"%.1f\" x2=\"%.1f\" y1=\"%d\" y2=\"%d\"/>", x, x, T - 4, H - B);
        put(out, "<text class=\"lbl\" x=\"%.1f\" y=\"%d\" fill=\"#c62828\">tolerance %s</text>\n", x + 4, T + 6,
            fixed2(*in.tolerance).c_str());
    }
    out += "</svg></section>\n";
}

// Worst patches first (ties in chart order).
std::vector<size_t> worst_first(const report_input &in) {
    std::vector<size_t> order(in.patches.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return in.patches[a].de > in.patches[b].de; });
    return order;
}

// a*b* plane: every sample as a grey dot, and for the worst patches an arrow
// from the reference (white circle) to the sample.
void ab_plot(std::string &out, const report_input &in, const std::vector<size_t> &order) {
    constexpr int S = 420, M = 30;
    const size_t worst = std::min(kReportWorst, order.size());
    double range = 20;
    for (size_t k = 0; k < worst; ++k) {
        const compared_patch &p = in.patches[order[k]];
        range = std::max({range, std::fabs(p.reference.a), std::fabs(p.reference.b), std::fabs(p.sample.a),
                          std::fabs(p.sample.b)});
    }
    range = std::min(128.0, std::ceil(range * 1.1 / 10.0) * 10.0);
    const double k = double(S - 2 * M) / (2 * range);
    auto X = [&](double a) { return M + (a + range) * k; };
    auto Y = [&](double b) { return M + (range - b) * k; };
    out += "<section><h2>a*b* plane: the worst patches, reference to sample</h2>\n";
    put(out, "<svg viewBox=\"0 0 %d %d\" width=\"%d\" role=\"img\" aria-label=\"a*b* plot\">\n", S, S, S);
    out += "<defs><marker id=\"ah\" viewBox=\"0 0 10 10\" refX=\"9\" refY=\"5\" markerWidth=\"7\" "
           "markerHeight=\"7\" orient=\"auto-start-reverse\"><path d=\"M0 0L10 5L0 10z\" fill=\"#c62828\"/>"
           "</marker></defs>\n";
    put(out, "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"none\" class=\"axis\"/>", M, M, S - 2 * M,
        S - 2 * M);
    put(out, "<line class=\"axis\" x1=\"%d\" x2=\"%d\" y1=\"%.1f\" y2=\"%.1f\"/>", M, S - M, Y(0), Y(0));
    put(out, "<line class=\"axis\" x1=\"%.1f\" x2=\"%.1f\" y1=\"%d\" y2=\"%d\"/>", X(0), X(0), M, S - M);
    put(out, "<text class=\"lbl\" x=\"%d\" y=\"%.1f\" text-anchor=\"end\">+a*</text>", S - M - 2, Y(0) - 4);
    put(out, "<text class=\"lbl\" x=\"%.1f\" y=\"%d\">+b*</text>", X(0) + 4, M + 12);
    put(out, "<text class=\"lbl\" x=\"%d\" y=\"%d\">%g</text><text class=\"lbl\" x=\"%d\" y=\"%d\" "
             "text-anchor=\"end\">%g</text>\n",
        M, S - M + 14, -range, S - M, S - M + 14, range);
    if (in.patches.size() <= 5000) {
        for (const compared_patch &p : in.patches) {
            if (std::fabs(p.sample.a) <= range && std::fabs(p.sample.b) <= range)
                put(out, "<circle class=\"dot\" cx=\"%.1f\" cy=\"%.1f\" r=\"1.6\"/>", X(p.sample.a), Y(p.sample.b));
        }
        out += "\n";
    }
    for (size_t i = 0; i < worst; ++i) {
        const compared_patch &p = in.patches[order[i]];
        put(out, "<g><title>%s: %s %s</title>", escape(p.id).c_str(), escape(in.method).c_str(), fixed2(p.de).c_str());
        put(out, "<line class=\"arrow\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" marker-end=\"url(#ah)\"/>",
            X(p.reference.a), Y(p.reference.b), X(p.sample.a), Y(p.sample.b));
        put(out, "<circle class=\"ref\" cx=\"%.1f\" cy=\"%.1f\" r=\"3.5\"/>", X(p.reference.a), Y(p.reference.b));
        put(out, "<text class=\"lbl\" x=\"%.1f\" y=\"%.1f\">%s</text></g>\n", X(p.sample.a) + 5, Y(p.sample.b) - 5,
            escape(p.id).c_str());
    }
    out += "</svg></section>\n";
}

void table_head(std::string &out, const report_input &in, bool swatches) {
    out += "<table><thead><tr><th>patch</th><th class=\"dev\">device</th>";
    if (swatches) out += "<th class=\"dev\">colour</th>";
    out += "<th>ref L*</th><th>a*</th><th>b*</th><th>sample L*</th><th>a*</th><th>b*</th><th>" + escape(in.method) +
           "</th><th>&Delta;L*</th><th>&Delta;C*</th><th>&Delta;H*</th></tr></thead><tbody>\n";
}

void table_row(std::string &out, const report_input &in, const compared_patch &p, bool swatches) {
    out += over(in, p) ? "<tr class=\"over\"><td>" : "<tr><td>";
    out += escape(p.id) + "</td><td class=\"dev\">" + escape(p.device) + "</td>";
    if (swatches) {
        put(out, "<td class=\"dev\"><span class=\"sw\" style=\"background:%s\"></span><span class=\"sw\" "
                 "style=\"background:%s\"></span></td>",
            lab_to_srgb(p.reference, in.reference_white).hex().c_str(), lab_to_srgb(p.sample, in.sample_white).hex().c_str());
    }
    put(out, "<td>%.2f</td><td>%.2f</td><td>%.2f</td><td>%.2f</td><td>%.2f</td><td>%.2f</td><td>%.2f</td>"
             "<td>%.2f</td><td>%.2f</td><td>%.2f</td></tr>\n",
        p.reference.L, p.reference.a, p.reference.b, p.sample.L, p.sample.a, p.sample.b, p.de, p.delta.dL,
        p.delta.dC, p.delta.dH);
}

}  // namespace

std::string render_report(const report_input &in) {
    std::vector<double> de;
    for (const compared_patch &p : in.patches) de.push_back(p.de);
    const de_summary s = summarise(de, in.tolerance);
    std::string out;
    out.reserve(4096 + in.patches.size() * 900);
    out += "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>";
    out += !in.tolerance ? "" : s.over ? "FAIL &middot; " : "PASS &middot; ";
    out += "hxtvel compare: " + escape(in.sample_path) + " against " + escape(in.reference_path) + "</title>\n";
    out += kStyle;
    out += "\n</head><body>\n";
    banner(out, in, s);
    chart_map(out, in);
    histogram(out, in, s);
    const std::vector<size_t> order = worst_first(in);
    ab_plot(out, in, order);
    put(out, "<section><h2>The %zu worst patches</h2>\n", std::min(kReportWorst, order.size()));
    table_head(out, in, true);
    for (size_t i = 0; i < std::min(kReportWorst, order.size()); ++i) table_row(out, in, in.patches[order[i]], true);
    out += "</tbody></table></section>\n<section class=\"all\"><h2>Every patch</h2>\n";
    // In tables of 500 rows, each laid out only when scrolled to.
    constexpr size_t kChunk = 500;
    for (size_t first = 0; first < in.patches.size(); first += kChunk) {
        const size_t n = std::min(kChunk, in.patches.size() - first);
        put(out, "<div class=\"lazy\" style=\"contain-intrinsic-size:auto %zupx\">", 24 + n * 19);
        table_head(out, in, false);
        for (size_t i = first; i < first + n; ++i) table_row(out, in, in.patches[i], false);
        out += "</tbody></table></div>\n";
    }
    out += "</section>\n<p class=\"note\">Written by hxtvel compare. L*a*b* are shown as sRGB through a "
           "Bradford adaptation from the white of the measurement's conditions to D65.</p>\n</body></html>\n";
    return out;
}

}  // namespace hxcli
