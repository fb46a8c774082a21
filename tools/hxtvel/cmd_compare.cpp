// cmd_compare.cpp - `hxtvel compare`: colour differences between a reference
// and a sample measurement, with a tolerance that can gate a script.
#include <algorithm>
#include <cstdio>
#include <numeric>

#include "cgats_input.h"
#include "cli_common.h"
#include "commands.h"

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

// Lab values of a file: its Lab columns, or else its spectra under D50 and
// the 2 degree observer.
std::vector<velCIELab> lab_of(const std::string &path) {
    hximport::import_options in;
    in.kinds = HXTVEL_CLR_LAB | HXTVEL_CLR_SPECTRAL;
    in.purpose = "compare";
    const hximport::import_result r = import_or_fail(path, in);
    std::vector<velCIELab> lab = r.data.lab();
    if (!lab.empty()) return lab;
    const measurement::spectra s = r.data.spectral();
    if (s.records.empty()) fail(exit_input, path + ": the file has no sets");
    lab.resize(s.records.size());
    for (size_t i = 0; i < s.records.size(); ++i) {
        const uint32_t code = HXTVEL_SpectroRefToLAB(HXTVEL_LIGHT_D50, s.records[i], HXTVEL_OBSERVER_2, &lab[i]);
        if (code != 0) {
            fail(exit_input, path + ": patch " + std::to_string(i + 1) + ": " + conversion_code_text(code));
        }
    }
    return lab;
}

}  // namespace

int run_compare(const compare_options &o) {
    const method_name *method = nullptr;
    for (const method_name &m : kMethods) {
        if (o.method == m.name) method = &m;
    }
    if (!method) fail(exit_usage, "--method: expected 76, 94, 2000, cmc21 or cmc11, not '" + o.method + "'");

    const std::vector<velCIELab> ref = lab_of(o.reference);
    const std::vector<velCIELab> smp = lab_of(o.sample);
    if (ref.size() != smp.size()) {
        fail(exit_input, "the files hold different numbers of patches: " + o.reference + " " +
                             std::to_string(ref.size()) + ", " + o.sample + " " + std::to_string(smp.size()));
    }
    std::vector<double> de(ref.size());
    for (size_t i = 0; i < ref.size(); ++i) {
        const uint32_t code = HXTVEL_DeltaE(method->method, ref[i], smp[i], &de[i]);
        if (code != 0) fail(exit_input, "patch " + std::to_string(i + 1) + ": " + conversion_code_text(code));
    }

    if (!o.summary_only) {
        std::printf("%5s  %22s  %22s  %8s\n", "patch", "reference L* a* b*", "sample L* a* b*", method->label);
        for (size_t i = 0; i < ref.size(); ++i) {
            std::printf("%5zu  %6.2f %7.2f %7.2f  %6.2f %7.2f %7.2f  %8.2f\n", i + 1, ref[i].L, ref[i].a, ref[i].b,
                        smp[i].L, smp[i].a, smp[i].b, de[i]);
        }
    }
    const de_summary s = summarise(de);
    std::printf("%zu patches, %s: mean %.2f, max %.2f (patch %zu), 95th percentile %.2f\n", s.count, method->label,
                s.mean, s.max, s.max_index + 1, s.p95);
    std::vector<size_t> order(de.size());
    std::iota(order.begin(), order.end(), 0);
    const size_t worst = std::min<size_t>(o.worst, order.size());
    std::partial_sort(order.begin(), order.begin() + worst, order.end(),
                      [&](size_t a, size_t b) { return de[a] > de[b] || (de[a] == de[b] && a < b); });
    if (worst) {
        std::printf("worst:");
        for (size_t i = 0; i < worst; ++i) std::printf("%s patch %zu (%.2f)", i ? "," : "", order[i] + 1, de[order[i]]);
        std::printf("\n");
    }
    if (o.tolerance >= 0) {
        const size_t over = static_cast<size_t>(std::count_if(de.begin(), de.end(), [&](double d) { return d > o.tolerance; }));
        if (over) {
            std::printf("FAIL: %zu patch%s above the tolerance %.2f\n", over, over == 1 ? "" : "es", o.tolerance);
            return exit_tolerance;
        }
        std::printf("PASS: every patch within the tolerance %.2f\n", o.tolerance);
    }
    return exit_ok;
}

}  // namespace hxcli
