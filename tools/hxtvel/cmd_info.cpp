// cmd_info.cpp - `hxtvel info`: what a measurement file holds after the
// import, and what the import adjusted, as text or one JSON object.
#include <charconv>
#include <cstdio>

#include "cgats_input.h"
#include "cli_common.h"
#include "commands.h"

namespace hxcli {

namespace {

// Header keywords that describe how the file was measured.
const char *const kConditionKeys[] = {"INSTRUMENTATION", "MEASUREMENT_SOURCE", "MEASUREMENT_GEOMETRY",
                                      "SAMPLE_BACKING",  "FILTER",             "POLARIZATION",
                                      "WEIGHTING_FUNCTION", "INSIDE_TEMPERATURE", "INSIDE_HUMIDITY"};

// A JSON string: quotes, backslashes and control characters escaped, bytes
// that are not UTF-8 given as U+FFFD.
std::string json_string(const std::string &s) {
    std::string out = "\"";
    for (size_t i = 0; i < s.size();) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
            ++i;
        } else if (c < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
            ++i;
        } else if (c < 0x80) {
            out += static_cast<char>(c);
            ++i;
        } else {
            const size_t len = c >= 0xF0 && c <= 0xF4   ? 4
                               : c >= 0xE0 && c <= 0xEF ? 3
                               : c >= 0xC2 && c <= 0xDF ? 2
                                                        : 0;
            bool ok = len && i + len <= s.size();
            for (size_t k = 1; ok && k < len; ++k) ok = (static_cast<unsigned char>(s[i + k]) & 0xC0) == 0x80;
            if (ok) {
                out.append(s, i, len);
                i += len;
            } else {
                out += "\\ufffd";
                ++i;
            }
        }
    }
    return out + "\"";
}

// Six significant digits with a point, whatever the host's locale.
std::string number(double v) {
    char buf[32];
    return std::string(buf, std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 6).ptr);
}

std::string json_layout(const std::optional<hximport::spectral_layout> &l) {
    if (!l) return "null";
    return "{\"start\": " + number(l->start) + ", \"end\": " + number(l->end) +
           ", \"step\": " + (l->step > 0 ? number(l->step) : "null") + "}";
}

std::string text_layout(const hximport::spectral_layout &l) {
    return number(l.start) + "-" + number(l.end) + " nm, " + (l.step > 0 ? number(l.step) + " nm steps" : "uneven");
}

template <typename T, typename F>
std::string joined(const std::vector<T> &items, const char *sep, F &&each) {
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) out += (i ? sep : "") + each(items[i]);
    return out;
}

}  // namespace

int run_info(const info_options &o) {
    hximport::import_options in;
    in.table = o.table;
    in.require = false;
    const hximport::import_result r = import_or_fail(o.input, in, true);
    std::vector<std::pair<std::string, std::string>> conditions;
    for (const char *key : kConditionKeys) {
        if (const std::string *v = r.property(key)) conditions.emplace_back(key, *v);
    }
    const std::vector<std::string> kinds = hximport::kind_names(r.kinds);
    const auto quote = [](const std::string &s) { return json_string(s); };
    const auto same = [](const std::string &s) { return s; };
    const auto member = [](const auto &c) { return json_string(c.first) + ": " + json_string(c.second); };

    if (o.json) {
        std::printf("{\"file\": %s, \"table\": %u, \"tables\": %u, \"sheet_type\": %s, \"sets\": %zu, "
                    "\"kinds\": [%s], \"spectral\": %s, \"file_spectral\": %s, \"sample_ids\": %s, "
                    "\"reader\": \"%s\", \"conditions\": {%s}, \"notes\": [%s]}\n",
                    json_string(o.input).c_str(), r.table, r.tables, json_string(r.sheet_type).c_str(), r.sets,
                    joined(kinds, ", ", quote).c_str(), json_layout(r.spectral).c_str(),
                    json_layout(r.file_spectral).c_str(), r.ids.empty() ? "false" : "true",
                    r.strict ? "library" : "import",
                    joined(conditions, ", ", member).c_str(),
                    joined(r.notes, ", ", quote).c_str());
        return exit_ok;
    }
    std::printf("%s: table %u of %u (%s), %zu set%s\n", o.input.c_str(), r.table, r.tables,
                r.sheet_type.empty() ? "CGATS" : r.sheet_type.c_str(), r.sets, r.sets == 1 ? "" : "s");
    std::printf("  kinds       %s\n", kinds.empty() ? "none the tool uses" : joined(kinds, ", ", same).c_str());
    if (r.spectral) {
        const std::string stored = text_layout(*r.spectral), file = text_layout(*r.file_spectral);
        std::printf("  spectral    %s%s\n", stored.c_str(), file == stored ? "" : (" (file: " + file + ")").c_str());
    }
    std::printf("  sample IDs  %s\n", r.ids.empty() ? "none" : "yes");
    std::printf("  read by     %s\n", r.strict ? "the library's reader, as written" : "the import (LittleCMS)");
    for (const auto &[key, value] : conditions) std::printf("  %s %s\n", key.c_str(), value.c_str());
    if (!r.notes.empty()) {
        std::printf("  notes       %s\n", joined(r.notes, "; ", same).c_str());
    }
    return exit_ok;
}

}  // namespace hxcli
