// cmd_compare.cpp - `hxtvel compare`: colour differences between a reference
// and a sample measurement, patch by patch, with a tolerance that can gate a
// script and an HTML report for people.
//
// It must not mislead a press operator: patches are paired by SAMPLE_ID when
// both files have one, values measured under different conditions are not
// compared without being told to, and every output says which conditions
// the colour values hold for.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>
#include <numeric>

#include "cgats_input.h"
#include "chart_geometry.h"
#include "cli_common.h"
#include "colour_view.h"
#include "commands.h"
#include "report.h"

namespace hxcli {

namespace {

struct method_name {
    const char *name;
    uint32_t method;
    const char *label;
};
const method_name kMethods[] = {{"76", HXTVEL_DE_76, "dE76"},       {"94", HXTVEL_DE_94, "dE94"},
                                {"2000", HXTVEL_DE_2000, "dE00"},   {"cmc21", HXTVEL_DE_CMC21, "dECMC(2:1)"},
                                {"cmc11", HXTVEL_DE_CMC11, "dECMC(1:1)"}};

// The sensor information's illumination codes that the conversion knows.
std::optional<conditions> convertible(const velSensorInfo &info) {
    conditions c;
    switch (info.illumination) {
    case 2: c.illuminant = HXTVEL_LIGHT_D50; break;
    case 3: c.illuminant = HXTVEL_LIGHT_D65; break;
    case 0: c.illuminant = HXTVEL_LIGHT_A; break;
    default: return std::nullopt;
    }
    c.observer = info.observer ? HXTVEL_OBSERVER_10 : HXTVEL_OBSERVER_2;
    return c;
}

const char *const kLightNames[] = {"A", "C", "D50", "D65", "F2", "F7", "F11", "F12", "D75", "D55", "F8", "F10"};

// One file's colour values for the comparison.
struct side {
    std::string path;
    std::vector<std::string> ids;
    std::vector<velCIELab> lab;
    std::vector<std::string> device;  // per patch, "" when the file has none
    std::string stated;               // the conditions the file states, in words, or ""
    std::optional<conditions> held;   // the conditions its L*a*b* hold for, when known
    std::string source;               // "L*a*b*", "spectra", "XYZ"
};

std::string number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", v);
    std::string s = text;
    if (s.size() > 2 && s.compare(s.size() - 2, 2, ".0") == 0) s.resize(s.size() - 2);
    return s;
}

// Reads a file and derives its L*a*b*: from its spectra under the chosen
// conditions when it has spectra (exact for any conditions), else its L*a*b*
// columns, else its XYZ, both as measured under the conditions it states.
side read_side(const std::string &path, const conditions &chosen, bool device) {
    hximport::import_options in;
    in.purpose = "compare";
    const hximport::import_result r = import_or_fail(path, in);
    if (!(r.kinds & (HXTVEL_CLR_LAB | HXTVEL_CLR_XYZ | HXTVEL_CLR_SPECTRAL))) {
        fail(exit_input, path + ": compare needs Lab, XYZ or spectral values; the file has " +
                             hximport::describe_kinds(r.kinds, "and"));
    }
    side s;
    s.path = path;
    s.ids = r.ids;
    const std::optional<velSensorInfo> info = hximport::stated_conditions(r);
    std::optional<conditions> stated;
    if (info) {
        s.stated = std::string(info->illumination < 12 ? kLightNames[info->illumination] : "?") +
                   (info->observer ? "/10°" : "/2°");
        stated = convertible(*info);
    }
    if (r.kinds & HXTVEL_CLR_SPECTRAL) {
        const measurement::spectra sp = r.data.spectral();
        s.lab.resize(sp.records.size());
        for (size_t i = 0; i < sp.records.size(); ++i) {
            const uint32_t code = HXTVEL_SpectroRefToLAB(chosen.illuminant, sp.records[i], chosen.observer, &s.lab[i]);
            if (code != 0) fail(exit_input, path + ": patch " + std::to_string(i + 1) + ": " + conversion_code_text(code));
        }
        s.held = chosen;
        s.source = "spectra";
    } else if (r.kinds & HXTVEL_CLR_LAB) {
        s.lab = r.data.lab();
        if (info) s.held = stated ? stated : std::optional<conditions>();
        s.source = "L*a*b*";
    } else {
        const conditions under = stated.value_or(chosen);
        const velCIEXYZ white = white_point(under);
        for (const velCIEXYZ &x : r.data.xyz()) s.lab.push_back(xyz_to_lab(x, white));
        s.held = stated ? stated : std::optional<conditions>();
        s.source = "XYZ";
    }
    if (device) {
        const std::vector<velCMYK> cmyk = r.data.cmyk();
        const std::vector<velRGB> rgb = r.data.rgb();
        for (size_t i = 0; i < s.lab.size(); ++i) {
            if (i < cmyk.size()) {
                s.device.push_back("CMYK " + number(cmyk[i].C) + " " + number(cmyk[i].M) + " " + number(cmyk[i].Y) +
                                   " " + number(cmyk[i].K));
            } else if (i < rgb.size()) {
                s.device.push_back("RGB " + number(rgb[i].R) + " " + number(rgb[i].G) + " " + number(rgb[i].B));
            } else {
                s.device.emplace_back();
            }
        }
    } else {
        s.device.assign(s.lab.size(), "");
    }
    return s;
}

// "A5, A6 and 3 more"
std::string some(const std::vector<std::string> &names) {
    std::string s;
    const size_t shown = std::min<size_t>(names.size(), 8);
    for (size_t i = 0; i < shown; ++i) s += (i ? ", " : "") + names[i];
    if (names.size() > shown) s += " and " + std::to_string(names.size() - shown) + " more";
    return s;
}

// The first SAMPLE_ID that appears twice, or "".
std::string repeated_id(const std::vector<std::string> &ids) {
    std::map<std::string, size_t> seen;
    for (const std::string &id : ids) {
        if (seen[id]++) return id;
    }
    return "";
}

struct pairing {
    std::vector<std::pair<size_t, size_t>> pairs;  // reference row, sample row
    std::string how;
    std::vector<std::string> notes;
};

pairing pair_patches(const side &ref, const side &smp, const compare_options &o) {
    pairing p;
    const bool by_id = !o.by_position && !ref.ids.empty() && !smp.ids.empty();
    if (!by_id) {
        if (ref.lab.size() != smp.lab.size()) {
            fail(exit_input, "the files hold different numbers of patches and cannot be paired by position: " +
                                 ref.path + " " + std::to_string(ref.lab.size()) + ", " + smp.path + " " +
                                 std::to_string(smp.lab.size()));
        }
        for (size_t i = 0; i < ref.lab.size(); ++i) p.pairs.emplace_back(i, i);
        p.how = "paired by position";
        if (!o.by_position) {
            p.how += " (" + (ref.ids.empty() ? ref.path : smp.path) + " has no SAMPLE_ID)";
        }
        return p;
    }
    for (const side *s : {&ref, &smp}) {
        const std::string twice = repeated_id(s->ids);
        if (!twice.empty()) fail(exit_input, s->path + ": SAMPLE_ID " + twice + " appears more than once");
    }
    std::map<std::string, size_t> in_sample;
    for (size_t i = 0; i < smp.ids.size(); ++i) in_sample[smp.ids[i]] = i;
    std::vector<std::string> not_in_sample, not_in_reference;
    std::vector<bool> used(smp.ids.size(), false);
    for (size_t i = 0; i < ref.ids.size(); ++i) {
        const auto it = in_sample.find(ref.ids[i]);
        if (it == in_sample.end()) {
            not_in_sample.push_back(ref.ids[i]);
            continue;
        }
        p.pairs.emplace_back(i, it->second);
        used[it->second] = true;
    }
    for (size_t i = 0; i < smp.ids.size(); ++i) {
        if (!used[i]) not_in_reference.push_back(smp.ids[i]);
    }
    std::string missing;
    if (!not_in_sample.empty()) {
        missing += std::to_string(not_in_sample.size()) + " of " + ref.path + " not in " + smp.path + ": " +
                   some(not_in_sample);
    }
    if (!not_in_reference.empty()) {
        missing += std::string(missing.empty() ? "" : "; ") + std::to_string(not_in_reference.size()) + " of " +
                   smp.path + " not in " + ref.path + ": " + some(not_in_reference);
    }
    if (!missing.empty()) {
        if (!o.allow_missing) fail(exit_input, "patches missing (by SAMPLE_ID): " + missing + " (--allow-missing compares the others)");
        p.notes.push_back("patches missing (by SAMPLE_ID): " + missing);
    }
    if (p.pairs.empty()) fail(exit_input, "no SAMPLE_ID is in both files");
    p.how = "paired by SAMPLE_ID";
    return p;
}

std::string now_text() {
    const std::time_t t = std::time(nullptr);
    std::tm local{};
    localtime_r(&t, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
    return text;
}

// The geometry that places the patches on the report's chart map.
chart_geometry map_geometry(const compare_options &o, size_t patches) {
    if (!o.chart.empty()) {
        chart_geometry g = chart_geometry::read(o.chart);
        if (g.patches != patches) {
            fail(exit_input, o.chart + ": the chart has " + std::to_string(g.patches) + " patches, " + o.reference +
                                 " " + std::to_string(patches));
        }
        return g;
    }
    const uint32_t n = static_cast<uint32_t>(patches);
    const uint32_t columns = o.columns ? o.columns : std::max<uint32_t>(1, uint32_t(std::ceil(std::sqrt(n * 1.5))));
    return chart_geometry::single_page(n, columns, o.layout);
}

}  // namespace

comparison compare_files(const compare_options &o) {
    const method_name *method = nullptr;
    for (const method_name &m : kMethods) {
        if (o.method == m.name) method = &m;
    }
    if (!method) fail(exit_usage, "--method: expected 76, 94, 2000, cmc21 or cmc11, not '" + o.method + "'");
    std::optional<double> tolerance;
    if (!o.tolerance.empty()) {
        char *end = nullptr;
        const double t = std::strtod(o.tolerance.c_str(), &end);
        if (*end || end == o.tolerance.c_str() || !std::isfinite(t) || t < 0) {
            fail(exit_usage, "--tolerance: expected a finite number of 0 or more, not '" + o.tolerance + "'");
        }
        tolerance = t;
    }
    conditions chosen;
    if (!parse_conditions(o.illuminant, 2, chosen)) {
        fail(exit_usage, "--illuminant: expected D50, D65 or A, not '" + o.illuminant + "'");
    }
    if (!parse_conditions(o.illuminant, o.observer, chosen)) fail(exit_usage, "--observer: expected 2 or 10");
    if (!find_layout(o.layout)) fail(exit_usage, "--layout: expected one of " + layout_list() + ", not '" + o.layout + "'");

    const side ref = read_side(o.reference, chosen, true);
    const side smp = read_side(o.sample, chosen, false);

    // Values for different conditions are not comparable.
    std::string cond = describe(chosen);
    if (ref.held && smp.held && *ref.held != *smp.held) {
        const std::string both = ref.path + " " + describe(*ref.held) + " (" + ref.source + "), " + smp.path + " " +
                                 describe(*smp.held) + " (" + smp.source + ")";
        if (!o.ignore_conditions) {
            fail(exit_input, "the files hold colour values for different conditions: " + both +
                                 ". Convert spectra under the other file's conditions (--illuminant, --observer), "
                                 "or --ignore-conditions to compare them anyway");
        }
        cond = "differ, ignored: " + both;
    } else {
        const std::optional<conditions> held = ref.held ? ref.held : smp.held;
        if (held) cond = describe(*held);
        for (const side *s : {&ref, &smp}) {
            if (!s->held) {
                cond += "; " + s->path + (s->stated.empty() ? " does not state its conditions"
                                                            : " states " + s->stated + ", compared as measured");
            }
        }
    }

    const pairing p = pair_patches(ref, smp, o);
    for (const std::string &n : p.notes) std::fprintf(stderr, "hxtvel: note: %s\n", n.c_str());

    comparison out;
    out.how = p.how;
    report_input &rep = out.report;
    rep.reference_path = o.reference;
    rep.sample_path = o.sample;
    rep.method = method->label;
    rep.conditions = cond;
    rep.tolerance = tolerance;
    rep.reference_white = white_point(ref.held.value_or(chosen));
    rep.sample_white = white_point(smp.held.value_or(chosen));
    rep.notes = p.notes;
    rep.notes.insert(rep.notes.begin(), p.how);
    std::vector<double> de;
    for (const auto &[r, s] : p.pairs) {
        compared_patch c;
        c.position = r;
        c.id = ref.ids.empty() ? std::to_string(r + 1) : ref.ids[r];
        c.device = ref.device[r];
        c.reference = ref.lab[r];
        c.sample = smp.lab[s];
        const uint32_t code = HXTVEL_DeltaE(method->method, c.reference, c.sample, &c.de);
        if (code != 0) fail(exit_input, "patch " + c.id + ": " + conversion_code_text(code));
        c.delta = split_difference(c.reference, c.sample);
        de.push_back(c.de);
        rep.patches.push_back(std::move(c));
    }
    out.summary = summarise(de, tolerance);
    if (!o.html.empty()) {
        rep.geometry = map_geometry(o, ref.lab.size());
        rep.when = now_text();
        output_stage stage;
        write_text_file(stage.add(o.html), render_report(rep), o.html);
        stage.commit();
    }
    return out;
}

int run_compare(const compare_options &o) {
    const comparison c = compare_files(o);
    const report_input &rep = c.report;
    const de_summary &s = c.summary;
    const std::optional<double> &tolerance = rep.tolerance;
    const char *label = rep.method.c_str();
    std::printf("hxtvel compare: %s against %s\n", o.sample.c_str(), o.reference.c_str());
    std::printf("%s, conditions %s, %zu patches %s%s\n", label, rep.conditions.c_str(), s.count, c.how.c_str(),
                tolerance ? (", tolerance " + number(*tolerance)).c_str() : "");
    if (!o.summary_only) {
        std::printf("%-8s %-20s %22s  %22s  %8s %7s %7s %7s\n", "patch", "device", "reference L* a* b*",
                    "sample L* a* b*", label, "dL*", "dC*", "dH*");
        for (const compared_patch &p : rep.patches) {
            std::printf("%-8s %-20s %6.2f %7.2f %7.2f  %6.2f %7.2f %7.2f  %8.2f %7.2f %7.2f %7.2f%s\n", p.id.c_str(),
                        p.device.c_str(), p.reference.L, p.reference.a, p.reference.b, p.sample.L, p.sample.a,
                        p.sample.b, p.de, p.delta.dL, p.delta.dC, p.delta.dH,
                        tolerance && p.de > *tolerance ? "  ABOVE" : "");
        }
    }
    std::printf("%zu patches, %s: mean %.2f, median %.2f, 95th percentile %.2f, max %.2f (patch %s)\n", s.count,
                label, s.mean, s.median, s.p95, s.max, rep.patches[s.max_index].id.c_str());
    std::vector<size_t> order(rep.patches.size());
    std::iota(order.begin(), order.end(), 0);
    const size_t worst = std::min<size_t>(o.worst, order.size());
    auto de = [&](size_t i) { return rep.patches[i].de; };
    std::partial_sort(order.begin(), order.begin() + long(worst), order.end(),
                      [&](size_t a, size_t b) { return de(a) > de(b) || (de(a) == de(b) && a < b); });
    if (worst) {
        std::printf("worst:");
        for (size_t i = 0; i < worst; ++i) std::printf("%s patch %s (%.2f)", i ? "," : "", rep.patches[order[i]].id.c_str(), de(order[i]));
        std::printf("\n");
    }
    if (!o.html.empty()) std::printf("report: %s\n", o.html.c_str());
    if (tolerance) {
        if (s.over) {
            std::printf("FAIL: %zu patch%s above the tolerance %.2f\n", s.over, s.over == 1 ? "" : "es", *tolerance);
            return exit_tolerance;
        }
        std::printf("PASS: every patch within the tolerance %.2f\n", *tolerance);
    }
    return exit_ok;
}

}  // namespace hxcli
