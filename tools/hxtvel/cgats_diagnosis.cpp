// cgats_diagnosis.cpp - why the library's reader refuses a CGATS file: it
// reports a code; users need the rule that was broken.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "measurement_import.h"

namespace hximport {

bool looks_like_cgats(const std::vector<unsigned char> &bytes) {
    const std::string head(bytes.begin(), bytes.begin() + std::min<size_t>(bytes.size(), 65536));
    return head.rfind("CGATS", 0) == 0 || head.find("BEGIN_DATA_FORMAT") != std::string::npos;
}

// ---------------------------------------------------------------------------
// Diagnosis: walks the file with the reader's rules, in the reader's order
// (line rules while reading, then value counts and ranges, then
// NUMBER_OF_SETS, then the block keywords), and names the first broken one.
// ---------------------------------------------------------------------------

namespace {

struct kind_info {
    uint8_t flag;
    const char *prefix;
    const char *name;
    size_t components;
    double lo[4], hi[4];  // ranges of the components; lo > hi: not checked
};

const kind_info kKinds[] = {
    {HXTVEL_CLR_RGB, "RGB_", "RGB", 3, {0, 0, 0, 0}, {255, 255, 255, 0}},
    {HXTVEL_CLR_CMYK, "CMYK_", "CMYK", 4, {0, 0, 0, 0}, {100, 100, 100, 100}},
    {HXTVEL_CLR_LAB, "LAB_", "Lab", 3, {0, -128, -128, 0}, {100, 128, 128, 0}},
    {HXTVEL_CLR_XYZ, "XYZ_", "XYZ", 3, {1, 1, 1, 1}, {0, 0, 0, 0}},
    {HXTVEL_CLR_SPECTRAL, "SPECTRAL_", "spectral", 0, {1, 1, 1, 1}, {0, 0, 0, 0}},
};

const char *const kColourNames[] = {"RGB_R", "RGB_G", "RGB_B", "CMYK_C", "CMYK_M",
                                    "CMYK_Y", "CMYK_K", "LAB_L", "LAB_A", "LAB_B",
                                    "XYZ_X", "XYZ_Y", "XYZ_Z"};

// Keywords in the order the reader looks for them (longer ones first).
const char *const kKeywords[] = {"NUMBER_OF_FIELDS", "BEGIN_DATA_FORMAT", "END_DATA_FORMAT",
                                 "NUMBER_OF_SETS",   "BEGIN_DATA",        "END_DATA"};

std::vector<std::string> fields_of(const std::string &line) {
    std::vector<std::string> out;
    std::string cur;
    for (char c : line) {
        if (c == ' ' || c == '\t') {
            if (!cur.empty()) out.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) out.push_back(cur);
    return out;
}

bool plain_number(const std::string &s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return (c >= '0' && c <= '9') || c == '.' || c == '-'; });
}

bool spectral_name(const std::string &name) {
    const size_t p = name.find("SPECTRAL_");
    if (p == std::string::npos) return false;
    const std::string rest = name.substr(p + 9);
    return std::all_of(rest.begin(), rest.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool colour_name(const std::string &name) {
    return std::any_of(std::begin(kColourNames), std::end(kColourNames),
                       [&](const char *n) { return name == n; });
}

// The number after a keyword, as the reader takes it: digits after the
// first blank; "" when there are none.
bool keyword_number(const std::string &line, long &value) {
    const size_t blank = line.find_first_of(" \t");
    if (blank == std::string::npos) return false;
    const std::string rest = line.substr(blank);
    if (rest.find_first_of("0123456789") == std::string::npos) return false;
    value = std::atol(rest.c_str());
    return value != 0;
}

std::vector<std::pair<std::string, size_t>> split_lines(const std::string &text) {
    std::vector<std::pair<std::string, size_t>> lines;
    size_t start = 0, number = 1;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == '\n' || text[i] == '\r') {
            lines.emplace_back(text.substr(start, i - start), number++);
            if (i < text.size() && text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
            start = i + 1;
        }
    }
    return lines;
}

std::string fmt(double v) {
    std::ostringstream s;
    s << v;
    return s.str();
}

}  // namespace

std::string diagnose_cgats(const std::string &path, uint8_t kinds) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::string("cannot open (") + std::strerror(errno) + ")";
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.empty()) return "the file is empty";
    const size_t probe = std::min<size_t>(bytes.size(), 2048);
    if (std::find_if(bytes.begin(), bytes.begin() + probe,
                     [](unsigned char c) { return c == '\n' || c == '\r'; }) == bytes.begin() + probe) {
        return "no line break in the first 2048 bytes: this is not a CGATS text file";
    }
    const std::string text(bytes.begin(), bytes.end());

    int block = 0;
    std::vector<std::pair<std::string, size_t>> keys;  // block keywords with their lines
    std::map<std::string, long> numbers;
    std::vector<std::string> format;
    size_t rows = 0;
    std::vector<const kind_info *> wanted;
    for (const kind_info &k : kKinds) {
        if (kinds & k.flag) wanted.push_back(&k);
    }
    std::map<const kind_info *, std::vector<size_t>> columns;

    for (const auto &[raw, number] : split_lines(text)) {
        const std::string line = raw;
        if (line.empty()) continue;
        const std::string at = "line " + std::to_string(number) + ": ";
        const bool commented = line.find('#') != std::string::npos;
        const char *keyword = nullptr;
        for (const char *k : kKeywords) {
            if (line.find(k) != std::string::npos) {
                keyword = k;
                break;
            }
        }
        if (keyword) {
            const std::string kw = keyword;
            if (kw == "NUMBER_OF_FIELDS" || kw == "NUMBER_OF_SETS") {
                long v = 0;
                if (!commented) {
                    if (!keyword_number(line, v)) return at + kw + " is not followed by a plain number";
                    numbers.emplace(kw, v);
                }
                block = 0;
            } else {
                if (!commented) keys.emplace_back(kw, number);
                block = kw == "BEGIN_DATA_FORMAT" ? 1 : kw == "BEGIN_DATA" ? 2 : 0;
            }
            continue;
        }
        if (block == 0 || commented) continue;
        const std::vector<std::string> fields = fields_of(line);
        if (block == 1) {
            if (fields.size() < 2) continue;
            format = fields;
            columns.clear();
            for (const kind_info *k : wanted) {
                for (size_t c = 0; c < fields.size(); ++c) {
                    if (fields[c].find(k->prefix) == std::string::npos) continue;
                    if (colour_name(fields[c]) || spectral_name(fields[c])) columns[k].push_back(c);
                }
            }
            continue;
        }
        if (line.find_first_of(" \t") == std::string::npos) {
            return at + "a data line needs its fields separated by tabs or spaces";
        }
        if (fields.size() != format.size()) {
            return at + std::to_string(fields.size()) + " fields, but the data format names " +
                   std::to_string(format.size()) +
                   " (a field with a blank inside, or a missing value?)";
        }
        ++rows;
        for (const kind_info *k : wanted) {
            const auto &cols = columns[k];
            for (size_t i = 0; i < cols.size(); ++i) {
                const std::string &v = fields[cols[i]];
                if (!plain_number(v)) {
                    return at + "'" + v + "' in column " + format[cols[i]] +
                           " is not a plain number (digits, '.' and '-' only: no exponent, no '+')";
                }
            }
        }
    }

    // Values per kind: the component count, then the ranges.
    for (const kind_info *k : wanted) {
        const auto &cols = columns[k];
        if (cols.empty() || k->components == 0) continue;
        if (cols.size() != k->components) {
            return "the data format has " + std::to_string(cols.size()) + " " + k->prefix +
                   " columns, but " + k->name + " needs " + std::to_string(k->components);
        }
    }
    block = 0;
    for (const auto &[raw, number] : split_lines(text)) {
        const char *keyword = nullptr;
        for (const char *kw : kKeywords) {
            if (raw.find(kw) != std::string::npos) {
                keyword = kw;
                break;
            }
        }
        if (keyword) {
            const std::string kw = keyword;
            block = kw == "BEGIN_DATA_FORMAT" ? 1 : kw == "BEGIN_DATA" ? 2 : 0;
            continue;
        }
        if (block != 2 || raw.empty() || raw.find('#') != std::string::npos) continue;
        const std::vector<std::string> fields = fields_of(raw);
        for (const kind_info *k : wanted) {
            const auto &cols = columns[k];
            for (size_t i = 0; i < cols.size() && i < k->components; ++i) {
                if (k->lo[i] > k->hi[i] || cols[i] >= fields.size()) continue;
                const double v = std::atof(fields[cols[i]].c_str());
                if (v < k->lo[i] || v > k->hi[i]) {
                    return "line " + std::to_string(number) + ": " + format[cols[i]] + " = " + fields[cols[i]] +
                           " is outside " + fmt(k->lo[i]) + " to " + fmt(k->hi[i]);
                }
            }
        }
    }

    const auto sets = numbers.find("NUMBER_OF_SETS");
    if (sets == numbers.end()) return "NUMBER_OF_SETS is missing";
    if (static_cast<size_t>(sets->second) != rows) {
        const bool has_data = std::any_of(keys.begin(), keys.end(),
                                          [](const auto &e) { return e.first == "BEGIN_DATA"; });
        return "NUMBER_OF_SETS does not match the data rows: it says " + std::to_string(sets->second) +
               ", the data block holds " + std::to_string(rows) +
               (has_data ? "" : " (BEGIN_DATA is missing or commented out)");
    }

    const char *const order[] = {"BEGIN_DATA_FORMAT", "END_DATA_FORMAT", "BEGIN_DATA", "END_DATA"};
    for (const char *k : order) {
        const auto n = std::count_if(keys.begin(), keys.end(), [&](const auto &e) { return e.first == k; });
        if (n == 0) return std::string(k) + " is missing (or commented out)";
        if (n > 1) return std::string(k) + " appears " + std::to_string(n) + " times";
    }
    for (size_t i = 0; i < keys.size(); ++i) {
        if (keys[i].first != order[i]) {
            return keys[i].first + " (line " + std::to_string(keys[i].second) +
                   ") is out of order: the blocks must run BEGIN_DATA_FORMAT, END_DATA_FORMAT, "
                   "BEGIN_DATA, END_DATA";
        }
    }
    return "";
}

}  // namespace hximport
