// patches.cpp - reading chart patch colours.
#include "patches.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "cgats_input.h"
#include "cli_common.h"

namespace hxcli {

namespace {

std::vector<std::string> split_fields(const std::string &line) {
    std::vector<std::string> out;
    std::string cur;
    for (char c : line) {
        if (c == ',' || c == ';' || c == '\t' || c == ' ') {
            if (!cur.empty()) out.push_back(cur);
            cur.clear();
        } else if (c != '\r') {
            cur += c;
        }
    }
    if (!cur.empty()) out.push_back(cur);
    return out;
}

bool parse_double(const std::string &s, double &v) {
    const char *end = s.data() + s.size();
    const char *begin = s.data();
    if (begin != end && *begin == '+') ++begin;
    auto r = std::from_chars(begin, end, v);
    return r.ec == std::errc() && r.ptr == end;
}

patch_set read_csv(const std::string &path, const std::vector<unsigned char> &bytes) {
    patch_set set;
    size_t width = 0, number = 0;
    std::string text(bytes.begin(), bytes.end()), line;
    size_t pos = 0;
    bool first = true;
    while (pos <= text.size()) {
        size_t nl = text.find('\n', pos);
        if (nl == std::string::npos) nl = text.size();
        line = text.substr(pos, nl - pos);
        pos = nl + 1;
        ++number;
        const std::string at = path + ":" + std::to_string(number) + ": ";
        const std::vector<std::string> fields = split_fields(line);
        if (fields.empty() || fields[0][0] == '#') continue;
        std::vector<double> values(fields.size());
        bool numeric = true;
        for (size_t i = 0; i < fields.size(); ++i) numeric = numeric && parse_double(fields[i], values[i]);
        if (!numeric) {
            if (first) {  // column names
                first = false;
                continue;
            }
            fail(exit_input, at + "expected 3 (RGB) or 4 (CMYK) numbers, found '" + line + "'");
        }
        first = false;
        if (width == 0) {
            if (values.size() != 3 && values.size() != 4) {
                fail(exit_input, at + "expected 3 (RGB) or 4 (CMYK) numbers, found " +
                                     std::to_string(values.size()));
            }
            width = values.size();
            set.is_cmyk = width == 4;
        } else if (values.size() != width) {
            fail(exit_input, at + std::to_string(values.size()) + " numbers, but earlier lines have " +
                                 std::to_string(width));
        }
        const double hi = set.is_cmyk ? 100.0 : 255.0;
        for (double v : values) {
            if (!(v >= 0.0 && v <= hi)) {
                char shown[32];
                std::snprintf(shown, sizeof shown, "%g", v);
                fail(exit_input, at + "value " + shown + " is outside 0 to " +
                                     (set.is_cmyk ? "100 (CMYK in percent)" : "255 (RGB)"));
            }
        }
        if (set.is_cmyk) {
            set.cmyk.push_back({values[0], values[1], values[2], values[3]});
        } else {
            set.rgb.push_back({values[0], values[1], values[2]});
        }
    }
    if (set.size() == 0) fail(exit_input, path + ": no patch colours found");
    return set;
}

// What a file that is no text is, for the message that refuses it.
std::string binary_kind(const std::vector<unsigned char> &b) {
    auto starts = [&](const char *magic, size_t n) { return b.size() >= n && std::memcmp(b.data(), magic, n) == 0; };
    if (starts("\x89PNG\r\n\x1a\n", 8)) return "a PNG image";
    if (starts("\xff\xd8\xff", 3)) return "a JPEG image";
    if (starts("II*\0", 4) || starts("MM\0*", 4)) return "a TIFF image";
    if (starts("%PDF", 4)) return "a PDF document";
    const auto head_end = b.begin() + long(std::min<size_t>(b.size(), 4096));
    if (std::find(b.begin(), head_end, 0) != head_end) return "a binary file";
    return "";
}

}  // namespace

patch_set read_patches(const std::string &path, unsigned table) {
    const std::vector<unsigned char> bytes = read_binary(path);
    const std::string binary = binary_kind(bytes);
    if (!binary.empty()) {
        fail(exit_input, path + " is " + binary + ", not patch colours: give a measurement file (CGATS, "
                                "ArgyllCMS .ti1) or text with 3 (RGB 0-255) or 4 (CMYK %) numbers per line");
    }
    if (!looks_like_cgats(bytes)) return read_csv(path, bytes);
    hximport::import_options in;
    in.kinds = HXTVEL_CLR_RGB | HXTVEL_CLR_CMYK;
    in.table = table;
    in.purpose = "chart";
    const hximport::import_result r = import_or_fail(path, in);
    patch_set set;
    set.cmyk = r.data.cmyk();
    set.is_cmyk = !set.cmyk.empty();
    if (!set.is_cmyk) set.rgb = r.data.rgb();
    if (set.size() == 0) fail(exit_input, path + ": the file has no sets");
    return set;
}

}  // namespace hxcli
