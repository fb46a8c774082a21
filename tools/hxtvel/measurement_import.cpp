// measurement_import.cpp - reading measurement files of every dialect into
// a measurement instance: the library's reader where it takes the file as
// written, LittleCMS's IT8 parser and the library's setters elsewhere.
#include "measurement_import.h"

#include <lcms2.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

namespace hximport {

// ---------------------------------------------------------------------------
// Instance access
// ---------------------------------------------------------------------------

namespace {

template <typename T>
std::vector<T> get_all(void *h, uint32_t (*get)(void *, T *, uint32_t *)) {
    uint32_t n = 0;
    get(h, nullptr, &n);
    std::vector<T> out(n);
    if (n) get(h, out.data(), &n);
    return out;
}

}  // namespace

std::vector<velRGB> measurement::rgb() const { return get_all(h_, HXTVEL_GetRGB); }
std::vector<velCMYK> measurement::cmyk() const { return get_all(h_, HXTVEL_GetCMYK); }
std::vector<velCIELab> measurement::lab() const { return get_all(h_, HXTVEL_GetLAB); }
std::vector<velCIEXYZ> measurement::xyz() const { return get_all(h_, HXTVEL_GetXYZ); }

measurement::spectra measurement::spectral() const {
    spectra s;
    uint32_t n = 0;
    uint16_t values = 0;
    HXTVEL_GetSpectroRef(h_, nullptr, &n, &values);
    if (n == 0 || values == 0) return s;
    s.records.resize(n);
    s.values.assign(n, std::vector<double>(values));
    for (uint32_t i = 0; i < n; ++i) s.records[i].data = s.values[i].data();
    HXTVEL_GetSpectroRef(h_, s.records.data(), &n, &values);
    return s;
}

const std::string *import_result::property(const std::string &keyword) const {
    for (const auto &[key, value] : properties) {
        if (key == keyword) return &value;
    }
    return nullptr;
}

bool import_result::conditions_stated() const {
    return property("MEASUREMENT_SOURCE") || property("INSTRUMENTATION");
}

// ---------------------------------------------------------------------------
// Names and words
// ---------------------------------------------------------------------------

namespace {

constexpr uint8_t kKindFlags[] = {HXTVEL_CLR_RGB, HXTVEL_CLR_CMYK, HXTVEL_CLR_LAB, HXTVEL_CLR_XYZ,
                                  HXTVEL_CLR_SPECTRAL};
constexpr const char *kKindNames[] = {"RGB", "CMYK", "LAB", "XYZ", "SPECTRAL"};
constexpr const char *kKindWords[] = {"RGB", "CMYK", "Lab", "XYZ", "spectral"};

// The components of the four colour kinds, with the ranges the library
// takes (lo > hi: no upper bound).
struct component_kind {
    uint8_t flag;
    const char *prefix;
    const char *names[4];
    size_t count;
    double lo[4], hi[4];
};
constexpr component_kind kComponents[] = {
    {HXTVEL_CLR_RGB, "RGB", {"RGB_R", "RGB_G", "RGB_B"}, 3, {0, 0, 0}, {255, 255, 255}},
    {HXTVEL_CLR_CMYK, "CMYK", {"CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K"}, 4, {0, 0, 0, 0}, {100, 100, 100, 100}},
    {HXTVEL_CLR_LAB, "LAB", {"LAB_L", "LAB_A", "LAB_B"}, 3, {0, -128, -128}, {100, 128, 128}},
    {HXTVEL_CLR_XYZ, "XYZ", {"XYZ_X", "XYZ_Y", "XYZ_Z"}, 3, {0, 0, 0}, {-1, -1, -1}},
};

// ASCII upper case, whatever the host's locale.
std::string upper(std::string s) {
    for (char &c : s) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return s;
}

// A number for messages and notes in at most six digits ("5", "3.33"),
// whatever the host's locale.
std::string num(double v) {
    char buf[32];
    return std::string(buf, std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 6).ptr);
}

std::string range_text(double a, double b) { return num(a) + "-" + num(b); }

[[noreturn]] void refuse(const std::string &message) { throw import_error(failure::bad_input, message); }

}  // namespace

std::vector<std::string> kind_names(uint8_t kinds) {
    std::vector<std::string> out;
    for (size_t i = 0; i < 5; ++i) {
        if (kinds & kKindFlags[i]) out.emplace_back(kKindNames[i]);
    }
    return out;
}

std::string describe_kinds(uint8_t kinds, const char *conjunction) {
    std::vector<std::string> words;
    for (size_t i = 0; i < 5; ++i) {
        if (kinds & kKindFlags[i]) words.emplace_back(kKindWords[i]);
    }
    std::string out;
    for (size_t i = 0; i < words.size(); ++i) {
        out += i == 0 ? "" : i + 1 == words.size() ? std::string(" ") + conjunction + " " : ", ";
        out += words[i];
    }
    return out.empty() ? "no colour values" : out;
}

std::string notes_line(const std::string &name, const import_result &result) {
    if (result.notes.empty()) return "";
    std::string line = name + ":";
    for (size_t i = 0; i < result.notes.size(); ++i) line += (i ? "; " : " ") + result.notes[i];
    return line;
}

// ---------------------------------------------------------------------------
// Numbers and column names
// ---------------------------------------------------------------------------

namespace {

enum class number_status { ok, not_number, not_finite, out_of_range, too_long };

// A decimal number as written in a data field: optional sign, digits with an
// optional point, an optional exponent. Independent of the host's locale.
number_status parse_number(const char *text, double &value) {
    const size_t len = std::strlen(text);
    if (len > 128) return number_status::too_long;
    const char *p = text, *end = text + len;
    if (p < end && *p == '+') {
        ++p;
        if (p < end && *p == '-') return number_status::not_number;
    }
    if (p == end) return number_status::not_number;
    const auto r = std::from_chars(p, end, value, std::chars_format::general);
    if (r.ec == std::errc::result_out_of_range) return number_status::out_of_range;
    if (r.ec != std::errc() || r.ptr != end) return number_status::not_number;
    return std::isfinite(value) ? number_status::ok : number_status::not_finite;
}

// A number in a header keyword. LittleCMS writes the numbers of the header
// it parses with the host's decimal separator, so a comma is taken as one.
bool property_number(const char *text, double &value) {
    if (!text) return false;
    std::string t = text;
    std::replace(t.begin(), t.end(), ',', '.');
    return parse_number(t.c_str(), value) == number_status::ok;
}

// Whether the library's reader gives the same value for the text: it takes
// digits, '.' and '-' only.
bool plain_number(const char *text) {
    double v;
    return std::strspn(text, "0123456789.-") == std::strlen(text) && parse_number(text, v) == number_status::ok;
}

// The wavelength of a spectral column in any spelling instruments and colour
// tools use - SPECTRAL_380, SPECTRAL_NM380, SPECTRAL_NM_380, SPEC_380, NM380,
// NM_380, in any case, the number with or without decimals. prefix receives
// the spelling as written ("SPEC_").
bool spectral_wavelength(const std::string &name, double &nm, std::string &prefix) {
    static const char *const kPrefixes[] = {"SPECTRAL_NM_", "SPECTRAL_NM", "SPECTRAL_", "SPEC_", "NM_", "NM"};
    const std::string up = upper(name);
    for (const char *p : kPrefixes) {
        const size_t n = std::strlen(p);
        if (up.compare(0, n, p) != 0 || up.size() == n) continue;
        const char *b = name.data() + n, *e = name.data() + name.size();
        if (std::strspn(b, "0123456789.") != static_cast<size_t>(e - b) || *b == '.') return false;
        const auto r = std::from_chars(b, e, nm, std::chars_format::fixed);
        if (r.ec != std::errc() || r.ptr != e || !(nm > 0 && nm < 100000)) return false;
        prefix = name.substr(0, n);
        return true;
    }
    return false;
}

// The spelling of the library's reader: SPECTRAL_ and digits.
bool strict_spectral_name(const std::string &name) {
    return name.size() > 9 && name.compare(0, 9, "SPECTRAL_") == 0 &&
           std::strspn(name.c_str() + 9, "0123456789") == name.size() - 9;
}

// ---------------------------------------------------------------------------
// LittleCMS
// ---------------------------------------------------------------------------

// The IT8 parser re-spells the numbers it reads (ten significant digits, 0x..
// taken as hexadecimal, leading zeros dropped) and, in the versions Debian
// ships, glues a field that starts with digits and goes on with letters (6e1,
// 1A) to the identifier before it. Quoting every field of the data blocks
// hands it each field as written; the numbers are converted here.
std::string quote_data_fields(const std::string &text) {
    std::string out;
    out.reserve(text.size() + text.size() / 2);
    bool data = false;
    size_t i = 0;
    while (i < text.size()) {
        size_t eol = text.find_first_of("\r\n", i);
        if (eol == std::string::npos) eol = text.size();
        const size_t first = text.find_first_not_of(" \t", i);
        const size_t word_end = std::min(text.find_first_of(" \t\r\n", first), eol);
        const std::string word = first < eol ? text.substr(first, word_end - first) : "";
        const bool keyword = word == "BEGIN_DATA" || word == "END_DATA";
        if (!data || keyword) {
            out.append(text, i, eol - i);
        } else {
            size_t p = i;
            while (p < eol) {
                const char c = text[p];
                if (c == ' ' || c == '\t') {
                    out += c;
                    ++p;
                } else if (c == '#') {  // a comment to the end of the line
                    out.append(text, p, eol - p);
                    p = eol;
                } else if (c == '"' || c == '\'') {  // a string: as it is
                    size_t close = text.find(c, p + 1);
                    close = close == std::string::npos || close > eol ? eol : close + 1;
                    out.append(text, p, close - p);
                    p = close;
                } else {
                    size_t e = text.find_first_of(" \t\r\n", p);
                    if (e == std::string::npos || e > eol) e = eol;
                    const std::string field = text.substr(p, e - p);
                    if (field.find_first_of("\"'") == std::string::npos) {
                        out += '"' + field + '"';
                    } else {
                        out += field;
                    }
                    p = e;
                }
            }
        }
        if (word == "BEGIN_DATA") data = true;
        if (word == "END_DATA") data = false;
        // The line break as it is: LF, CR or CR LF.
        size_t next = eol;
        if (next < text.size() && text[next] == '\r') ++next;
        if (next < text.size() && text[next] == '\n') ++next;
        out.append(text, eol, next - eol);
        i = next;
    }
    return out;
}

// LittleCMS's message ": Line 11, Count mismatch. ..." as "line 11: Count mismatch. ...".
std::string tidy_lcms_message(std::string m) {
    while (!m.empty() && (m.back() == '\n' || m.back() == ' ')) m.pop_back();
    if (m.rfind(": ", 0) == 0) m.erase(0, 2);
    const size_t fields = m.find("AllocateDataFormat: Unknown NUMBER_OF_FIELDS");
    if (fields != std::string::npos) {
        m.replace(fields, std::string::npos, "NUMBER_OF_FIELDS must come before the data format");
    }
    if (m.rfind("Line ", 0) == 0) {
        const size_t comma = m.find(", ");
        if (comma != std::string::npos) m = "line " + m.substr(5, comma - 5) + ": " + m.substr(comma + 2);
    }
    return m;
}

void keep_first_error(cmsContext ctx, cmsUInt32Number, const char *text) {
    auto *message = static_cast<std::string *>(cmsGetContextUserData(ctx));
    if (message && message->empty() && text) *message = text;
}

// A file parsed by LittleCMS, with the error message when it was refused.
class it8_file {
public:
    explicit it8_file(const std::string &text) {
        ctx_ = cmsCreateContext(nullptr, &error_);
        if (!ctx_) throw std::bad_alloc();
        cmsSetLogErrorHandlerTHR(ctx_, keep_first_error);
        if (text.empty() || text.size() > UINT32_MAX / 2) {
            error_ = text.empty() ? "the file is empty" : "the file is too large";
            return;
        }
        const std::string quoted = quote_data_fields(text);
        h_ = cmsIT8LoadFromMem(ctx_, quoted.data(), static_cast<cmsUInt32Number>(quoted.size()));
        if (!h_ && error_.empty()) error_ = "LittleCMS cannot parse the file";
    }
    ~it8_file() {
        if (h_) cmsIT8Free(h_);
        cmsDeleteContext(ctx_);
    }
    it8_file(const it8_file &) = delete;
    it8_file &operator=(const it8_file &) = delete;

    cmsHANDLE get() const { return h_; }
    std::string error() const { return tidy_lcms_message(error_); }

private:
    cmsContext ctx_ = nullptr;
    cmsHANDLE h_ = nullptr;
    std::string error_;
};

// ---------------------------------------------------------------------------
// The table: columns by name, scales, and where its rows are in the text
// ---------------------------------------------------------------------------

struct spectral_column {
    double nm;
    int column;
};

struct table_layout {
    std::vector<std::string> columns;
    int component[4][4];  // column of each component of RGB, CMYK, Lab, XYZ; -1 missing
    std::vector<spectral_column> spectral;  // in column order
    std::string spectral_prefix;            // spelling of the first spectral column
    int sample_id = -1;
    uint8_t complete = 0;  // kinds whose every component has a column
    bool canonical = true;  // every colour column as the library's reader names and orders it
};

// Maps the columns of every kind by name. Kinds that are wanted must be
// whole and named once; the others are only noted when whole.
table_layout map_columns(cmsHANDLE h, uint8_t wanted) {
    table_layout t;
    std::fill(&t.component[0][0], &t.component[0][0] + 16, -1);
    char **names = nullptr;
    const int n = cmsIT8EnumDataFormat(h, &names);
    for (int c = 0; c < n; ++c) t.columns.emplace_back(names[c] ? names[c] : "");
    for (int c = 0; c < n; ++c) {
        const std::string &name = t.columns[static_cast<size_t>(c)];
        const std::string up = upper(name);
        if (up == "SAMPLE_ID" && t.sample_id < 0) t.sample_id = c;
        for (size_t k = 0; k < 4; ++k) {
            const bool want = wanted & kComponents[k].flag;
            for (size_t i = 0; i < kComponents[k].count; ++i) {
                if (up != kComponents[k].names[i]) continue;
                int &slot = t.component[k][i];
                if (slot >= 0 && want) {
                    refuse(name + " appears twice in the data format (columns " + std::to_string(slot + 1) +
                           " and " + std::to_string(c + 1) + ")");
                }
                if (slot < 0) slot = c;
                if (name != up && want) t.canonical = false;
            }
        }
        double nm = 0;
        std::string prefix;
        const bool want = wanted & HXTVEL_CLR_SPECTRAL;
        if (spectral_wavelength(name, nm, prefix)) {
            for (const spectral_column &s : t.spectral) {
                if (want && std::fabs(s.nm - nm) < 1e-9) {
                    refuse("spectral columns " + t.columns[static_cast<size_t>(s.column)] + " and " + name +
                           " name the same wavelength");
                }
            }
            if (t.spectral.empty()) t.spectral_prefix = prefix;
            if (!strict_spectral_name(name) && want) t.canonical = false;
            t.spectral.push_back({nm, c});
        } else if (want && up.find("SPECTRAL_") != std::string::npos) {
            t.canonical = false;  // the library's reader would take part of it
        }
    }
    for (size_t k = 0; k < 4; ++k) {
        const component_kind &ck = kComponents[k];
        const bool want = wanted & ck.flag;
        size_t found = 0;
        for (size_t i = 0; i < ck.count; ++i) found += t.component[k][i] >= 0;
        if (found == ck.count) {
            t.complete |= ck.flag;
            for (size_t i = 1; i < ck.count && want; ++i) {
                if (t.component[k][i] < t.component[k][i - 1]) t.canonical = false;
            }
        } else if (found && want) {
            std::string missing;
            for (size_t i = 0; i < ck.count; ++i) {
                if (t.component[k][i] < 0) missing += std::string(missing.empty() ? "" : ", ") + ck.names[i];
            }
            refuse("the data format has " + std::to_string(found) + " " + ck.prefix + "_ columns, but " +
                   kKindWords[k] + " needs " + std::to_string(ck.count) + " (missing: " + missing + ")");
        }
    }
    if (!t.spectral.empty()) t.complete |= HXTVEL_CLR_SPECTRAL;
    return t;
}

// The line of the text that holds a row of a table, for messages: the rows
// of a table are the lines after its BEGIN_DATA that are neither blank nor
// comments. 0 when the row is not found there.
size_t line_of_row(const std::string &text, unsigned table, size_t row) {
    unsigned blocks = 0;
    bool inside = false;
    size_t rows = 0, number = 0, i = 0;
    while (i <= text.size()) {
        size_t eol = text.find_first_of("\r\n", i);
        if (eol == std::string::npos) eol = text.size();
        ++number;
        const size_t first = text.find_first_not_of(" \t", i);
        const bool content = first < eol && text[first] != '#';
        const size_t word_end = std::min(text.find_first_of(" \t\r\n", first), eol);
        const std::string word = content ? text.substr(first, word_end - first) : "";
        if (word == "END_DATA") inside = false;
        if (inside && content && rows++ == row) return number;
        if (word == "BEGIN_DATA") inside = ++blocks == table;
        if (eol == text.size()) break;
        i = eol + (text[eol] == '\r' && eol + 1 < text.size() && text[eol + 1] == '\n' ? 2 : 1);
    }
    return 0;
}

// The values of one table, taken field by field with the place of every
// refusal.
class table_values {
public:
    table_values(cmsHANDLE h, const std::string &text, unsigned table, const table_layout &layout)
        : h_(h), text_(text), table_(table), layout_(layout) {}

    std::string where(size_t row) const {
        const size_t line = line_of_row(text_, table_, row);
        return line ? "line " + std::to_string(line) : "set " + std::to_string(row + 1);
    }

    double number(size_t row, int column) {
        const char *t = text(row, column);
        double v = 0;
        const number_status s = parse_number(t, v);
        if (s != number_status::ok) {
            const std::string at = where(row) + ", column " + layout_.columns[static_cast<size_t>(column)] + ": ";
            const std::string quoted = std::string("'") + t + "'";
            switch (s) {
            case number_status::not_finite: refuse(at + quoted + " is not a finite number");
            case number_status::out_of_range: refuse(at + quoted + " is out of the range of numbers");
            case number_status::too_long:
                refuse(at + "a field of " + std::to_string(std::strlen(t)) + " characters is too long for a number");
            default: refuse(at + (*t ? quoted + " is not a number" : "no value"));
            }
        }
        if (std::strpbrk(t, "eE")) exponents = true;
        return v;
    }

    const char *text(size_t row, int column) const {
        const char *t = cmsIT8GetDataRowCol(h_, static_cast<int>(row), column);
        return t ? t : "";
    }

    bool exponents = false;

private:
    cmsHANDLE h_;
    const std::string &text_;
    unsigned table_;
    const table_layout &layout_;
};

// ---------------------------------------------------------------------------
// Spectra to 10 nm samples inside 380 to 780 nm
// ---------------------------------------------------------------------------

// Each 10 nm mark takes the sample at its wavelength, or interpolates
// linearly between the samples on either side.
struct resampling {
    int start = 0, end = 0;  // nm of the first and last mark
    std::vector<size_t> lo, hi;
    std::vector<double> weight;  // of the sample at hi
};

resampling plan_resampling(const std::vector<double> &nm) {
    constexpr double eps = 1e-6;
    resampling r;
    const double first = std::max(380.0, nm.front()), last = std::min(780.0, nm.back());
    r.start = static_cast<int>(std::ceil((first - eps) / 10.0)) * 10;
    r.end = static_cast<int>(std::floor((last + eps) / 10.0)) * 10;
    if (r.end - r.start < 10) {
        refuse("the spectra cover " + range_text(nm.front(), nm.back()) +
               " nm: at least two 10 nm marks between 380 and 780 nm are needed");
    }
    size_t i = 0;
    for (int mark = r.start; mark <= r.end; mark += 10) {
        while (nm[i] < mark - eps) ++i;
        if (std::fabs(nm[i] - mark) <= eps) {
            r.lo.push_back(i);
            r.hi.push_back(i);
            r.weight.push_back(0.0);
        } else {
            r.lo.push_back(i - 1);
            r.hi.push_back(i);
            r.weight.push_back((mark - nm[i - 1]) / (nm[i] - nm[i - 1]));
        }
    }
    return r;
}

// The wavelengths of the spectral columns. ArgyllCMS names its columns with
// rounded wavelengths (SPEC_383 for 383.33 nm) and states the exact layout
// in SPECTRAL_START_NM, SPECTRAL_END_NM and SPECTRAL_BANDS: that layout is
// used when it fits the names.
std::vector<spectral_column> wavelengths(cmsHANDLE h, std::vector<spectral_column> columns) {
    std::sort(columns.begin(), columns.end(),
              [](const spectral_column &a, const spectral_column &b) { return a.nm < b.nm; });
    const char *bands = cmsIT8GetProperty(h, "SPECTRAL_BANDS");
    const char *start = cmsIT8GetProperty(h, "SPECTRAL_START_NM");
    const char *end = cmsIT8GetProperty(h, "SPECTRAL_END_NM");
    double b = 0, s = 0, e = 0;
    if (!property_number(bands, b) || !property_number(start, s) || !property_number(end, e) ||
        b != static_cast<double>(columns.size()) || columns.size() < 2 || !(e > s)) {
        return columns;
    }
    std::vector<spectral_column> exact = columns;
    for (size_t i = 0; i < exact.size(); ++i) {
        exact[i].nm = s + (e - s) * static_cast<double>(i) / static_cast<double>(exact.size() - 1);
        if (std::fabs(exact[i].nm - columns[i].nm) >= 1.0) return columns;
    }
    return exact;
}

// ---------------------------------------------------------------------------
// Scales and conditions stated by the file
// ---------------------------------------------------------------------------

struct scales {
    double rgb_max = 255;   // top of the file's RGB scale
    double spectral = 1.0;  // divisor to 1.0 = perfect white
    std::string rgb_note, spectral_note;
    std::string norm_error;  // SPECTRAL_NORM that is no divisor
};

bool contains_nocase(const char *text, const char *word) {
    return text && upper(text).find(upper(word)) != std::string::npos;
}

scales file_scales(cmsHANDLE h, const std::string &sheet) {
    scales s;
    const std::string type = upper(sheet);
    const char *originator = cmsIT8GetProperty(h, "ORIGINATOR");
    // ArgyllCMS (and DisplayCAL, which writes its files) gives device values
    // in 0..100, its calibration tables in 0..1.
    const bool argyll = type == "CTI1" || type == "CTI2" || type == "CTI3" || contains_nocase(originator, "Argyll") ||
                        contains_nocase(originator, "DisplayCAL");
    if (type == "CAL") {
        s.rgb_max = 1;
        s.rgb_note = "RGB rescaled from 0-1";
    } else if (argyll) {
        s.rgb_max = 100;
        s.rgb_note = "RGB rescaled from 0-100";
    }
    if (const char *norm = cmsIT8GetProperty(h, "SPECTRAL_NORM")) {
        double v = 0;
        if (!property_number(norm, v) || !(v > 0)) {
            s.norm_error = std::string("SPECTRAL_NORM '") + norm + "' is not a positive number";
            v = 1;
        }
        s.spectral = v;
        if (v == 100) s.spectral_note = "spectra rescaled from percent (SPECTRAL_NORM 100)";
        else if (v != 1) s.spectral_note = "spectra divided by " + num(v) + " (SPECTRAL_NORM)";
    } else if (argyll) {  // ArgyllCMS writes spectra in percent
        s.spectral = 100;
        s.spectral_note = "spectra rescaled from percent (ArgyllCMS file)";
    }
    return s;
}

}  // namespace

std::optional<velSensorInfo> stated_conditions(const import_result &r) {
    const std::string *source = r.property("MEASUREMENT_SOURCE");
    if (!source) return std::nullopt;
    static const char *const kLights[] = {"A",  "C",   "D50", "D65", "F2", "F7",
                                          "F11", "F12", "D75", "D55", "F8", "F10"};
    velSensorInfo info{};
    int light = -1, observer = -1;
    std::string word;
    const std::string text = *source + " ";
    for (char c : text) {
        if (c != ' ' && c != '\t') {
            word += c;
            continue;
        }
        const size_t eq = word.find('=');
        const std::string key = upper(word.substr(0, eq));
        const std::string value = eq == std::string::npos ? "" : upper(word.substr(eq + 1));
        word.clear();
        if (key == "ILLUMINATION") {
            for (int i = 0; i < 12; ++i) {
                if (value == kLights[i]) light = i;
            }
        } else if (key == "OBSERVERANGLE") {
            observer = value == "2" ? 0 : value == "10" ? 1 : -1;
        } else if (key == "FILTER") {
            info.filter = value == "UVCUT" ? 1 : 0;
        }
    }
    if (light < 0 || observer < 0) return std::nullopt;
    info.illumination = static_cast<uint8_t>(light);
    info.observer = static_cast<uint8_t>(observer);
    if (const std::string *name = r.property("INSTRUMENTATION")) {
        std::strncpy(info.instrument, name->c_str(), sizeof info.instrument - 1);
    }
    if (const std::string *backing = r.property("SAMPLE_BACKING")) {
        info.backing = upper(*backing) == "WHITE" ? 1 : upper(*backing) == "BLACK" ? 2 : 0;
    }
    auto byte = [&](const char *key) -> uint8_t {
        const std::string *t = r.property(key);
        double v = 0;
        if (!t || !property_number(t->c_str(), v) || v < 0 || v > 255) return 0;
        return static_cast<uint8_t>(std::lround(v));
    };
    info.temperature = byte("INSIDE_TEMPERATURE");
    info.humidity = byte("INSIDE_HUMIDITY");
    make_name_writable(info);
    return info;
}

bool make_name_writable(velSensorInfo &s) {
    std::string name(s.instrument, strnlen(s.instrument, sizeof s.instrument));
    const std::string before = name;
    if (name.size() >= sizeof s.instrument) name.resize(sizeof s.instrument - 1);
    for (char &c : name) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (c == '"') c = '\'';
        else if (u < 0x20 || u == 0x7F) c = ' ';
    }
    for (const char *key : {"NUMBER_OF_", "_DATA"}) {
        for (size_t at = name.find(key); at != std::string::npos; at = name.find(key, at + 1)) {
            for (size_t i = at; i < at + std::strlen(key); ++i) {
                if (name[i] == '_') name[i] = ' ';
            }
        }
    }
    std::memcpy(s.instrument, name.c_str(), name.size() + 1);
    return name != before;
}

namespace {

std::string read_text(const std::string &path) {
    FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) throw import_error(failure::missing_file, path + ": cannot open (" + std::strerror(errno) + ")");
    std::string text;
    char block[1 << 16];
    size_t n;
    while ((n = std::fread(block, 1, sizeof block, f)) > 0) text.append(block, n);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) throw import_error(failure::missing_file, path + ": read error");
    return text;
}

std::optional<spectral_layout> stored_layout(const measurement &m) {
    uint32_t n = 0;
    uint16_t values = 0;
    HXTVEL_GetSpectroRef(m.get(), nullptr, &n, &values);
    if (n == 0) return std::nullopt;
    // The layout alone: a layout of step 0 (one spectral column, or one
    // wavelength twice) holds no value per record.
    std::vector<velSPECTRO_REF> records(n);
    std::vector<std::vector<double>> values_of(n, std::vector<double>(std::max<uint16_t>(values, 1)));
    for (uint32_t i = 0; i < n; ++i) records[i].data = values_of[i].data();
    HXTVEL_GetSpectroRef(m.get(), records.data(), &n, &values);
    const velSPECTRO_REF &r = records[0];
    return spectral_layout{double(r.start), double(r.end), double(r.pitch)};
}

// The kinds an instance holds and the most sets any of them has.
struct stored {
    uint8_t kinds = 0;
    size_t sets = 0;
};
stored what_is_stored(const measurement &m) {
    stored s;
    uint32_t n[5] = {};
    uint16_t values = 0;
    HXTVEL_GetRGB(m.get(), nullptr, &n[0]);
    HXTVEL_GetCMYK(m.get(), nullptr, &n[1]);
    HXTVEL_GetLAB(m.get(), nullptr, &n[2]);
    HXTVEL_GetXYZ(m.get(), nullptr, &n[3]);
    HXTVEL_GetSpectroRef(m.get(), nullptr, &n[4], &values);
    for (size_t i = 0; i < 5; ++i) {
        if (n[i]) s.kinds |= kKindFlags[i];
        s.sets = std::max<size_t>(s.sets, n[i]);
    }
    return s;
}

void check_stored(uint32_t code, const char *what) {
    if (code == HXTVEL_E_MEMORY) throw std::bad_alloc();
    if (code != 0) refuse(std::string("the library refused the ") + what + " (code " + std::to_string(code) + ")");
}

// Stores values, the components of each set one after another, as records
// of T (a struct of doubles).
template <typename T>
void store(void *m, uint32_t (*set)(void *, const T *, uint32_t), const std::vector<double> &values,
           const char *what) {
    static_assert(sizeof(T) % sizeof(double) == 0, "a record of doubles");
    std::vector<T> records(values.size() * sizeof(double) / sizeof(T));
    std::memcpy(records.data(), values.data(), records.size() * sizeof(T));
    const uint32_t code = set(m, records.data(), static_cast<uint32_t>(records.size()));
    check_stored(code, (std::string(what) + " values").c_str());
}

// ---------------------------------------------------------------------------
// The import
// ---------------------------------------------------------------------------

// The file when LittleCMS refuses it: the library's reader may still take it
// (it needs no NUMBER_OF_FIELDS, for one); else the cause is named.
import_result strict_only(const std::string &path, const import_options &o, const std::string &lcms_error) {
    if (o.table != 1) refuse(lcms_error);
    import_result r;
    const uint32_t code = HXTVEL_ReadCGATS(r.data.get(), path.c_str(), o.kinds);
    r.spectral = r.file_spectral = stored_layout(r.data);
    const spectral_layout &l = r.spectral.value_or(spectral_layout{380, 780, 10});
    const bool usable = l.step == 10 && l.start >= 380 && l.end <= 780 && std::fmod(l.start, 10) == 0;
    if (code == 0 && usable) {
        const stored s = what_is_stored(r.data);
        r.kinds = r.file_kinds = s.kinds;
        r.sets = s.sets;
        r.strict = true;
        return r;
    }
    std::string why;
    if (code == HXTVEL_E_FORMAT || code == HXTVEL_E_NODATA || code == HXTVEL_E_RANGE) {
        why = diagnose_cgats(path, o.kinds);
    }
    if (code == HXTVEL_E_MEMORY) throw std::bad_alloc();
    refuse(why.empty() ? lcms_error : why);
}

// The table the options pick: its header, its columns by name, its sets.
table_layout read_table(cmsHANDLE h, const std::string &path, const import_options &o, import_result &r) {
    r.tables = cmsIT8TableCount(h);
    r.table = o.table;
    if (o.table < 1 || o.table > r.tables) {
        refuse("table " + std::to_string(o.table) + " was asked for, but the file has " + std::to_string(r.tables) +
               (r.tables == 1 ? " table" : " tables"));
    }
    cmsIT8SetTable(h, o.table - 1);
    if (const char *sheet = cmsIT8GetSheetType(h)) {
        r.sheet_type = sheet;
        const size_t end = r.sheet_type.find_last_not_of(" \t");
        r.sheet_type.erase(end == std::string::npos ? 0 : end + 1);
    }
    char **keys = nullptr;
    const cmsUInt32Number nkeys = cmsIT8EnumProperties(h, &keys);
    for (cmsUInt32Number i = 0; i < nkeys; ++i) {
        const char *v = cmsIT8GetProperty(h, keys[i]);
        r.properties.emplace_back(keys[i], v ? v : "");
    }
    table_layout layout = map_columns(h, o.kinds);
    r.columns = layout.columns;
    if (r.columns.empty()) {
        const std::string why = diagnose_cgats(path, o.kinds);
        refuse(why.empty() ? "table " + std::to_string(o.table) + " has no data format" : why);
    }
    const double sets = cmsIT8GetPropertyDbl(h, "NUMBER_OF_SETS");
    if (!(sets >= 0 && sets <= UINT32_MAX)) refuse("NUMBER_OF_SETS is missing or out of range");
    r.sets = static_cast<size_t>(sets);
    r.file_kinds = layout.complete;
    if (o.require && !(layout.complete & o.kinds)) {
        const std::string has = layout.complete ? "the file has " + describe_kinds(layout.complete, "and")
                                                : "the file has no colour columns";
        const std::string wanted = describe_kinds(o.kinds, "or") + " values";
        refuse((o.purpose.empty() ? wanted + " were asked for" : o.purpose + " needs " + wanted) + "; " + has +
               (r.tables > 1 ? " in table " + std::to_string(o.table) : ""));
    }
    return layout;
}

// The spectra of a table: their columns in wavelength order, and how they
// become 10 nm samples.
struct spectral_plan {
    std::vector<spectral_column> columns;
    resampling marks;
};

std::optional<spectral_plan> plan_spectra(cmsHANDLE h, const table_layout &layout, import_result &r) {
    if (layout.spectral.empty()) return std::nullopt;
    spectral_plan p;
    p.columns = wavelengths(h, layout.spectral);
    std::vector<double> nm;
    for (const spectral_column &c : p.columns) nm.push_back(c.nm);
    p.marks = plan_resampling(nm);
    spectral_layout file{nm.front(), nm.back(), 0};
    const double step = (nm.back() - nm.front()) / static_cast<double>(nm.size() - 1);
    bool even = true;
    for (size_t i = 1; i < nm.size(); ++i) even = even && std::fabs(nm[i] - nm[i - 1] - step) < 1e-3;
    if (even) file.step = std::round(step * 100) / 100;
    r.file_spectral = file;
    r.spectral = spectral_layout{double(p.marks.start), double(p.marks.end), 10};
    return p;
}

// The columns the kinds are read from.
std::vector<int> columns_of(const table_layout &layout, uint8_t kinds, const std::optional<spectral_plan> &spectra) {
    std::vector<int> used;
    for (size_t k = 0; k < 4; ++k) {
        const component_kind &ck = kComponents[k];
        if (kinds & ck.flag) used.insert(used.end(), layout.component[k], layout.component[k] + ck.count);
    }
    if (spectra) {
        for (const spectral_column &c : spectra->columns) used.push_back(c.column);
    }
    return used;
}

// Whether the library's reader takes the table as written: the file's only
// table, its own names in its own order, 10 nm spectra inside 380 to 780 nm
// in ascending columns, no scale to convert, plain numbers.
bool library_takes(const import_result &r, const table_layout &layout, uint8_t kinds, const scales &sc,
                   const std::optional<spectral_plan> &spectra, const table_values &values) {
    const bool rescale =
        ((kinds & HXTVEL_CLR_RGB) && sc.rgb_max != 255) || ((kinds & HXTVEL_CLR_SPECTRAL) && sc.spectral != 1);
    if (r.tables != 1 || !layout.canonical || rescale || !kinds) return false;
    if (spectra) {
        const spectral_layout &f = *r.file_spectral;
        if (f.step != 10 || f.start != spectra->marks.start || f.end != spectra->marks.end) return false;
        for (size_t i = 1; i < spectra->columns.size(); ++i) {
            if (spectra->columns[i].column < spectra->columns[i - 1].column) return false;
        }
    }
    const std::vector<int> used = columns_of(layout, kinds, spectra);
    for (size_t row = 0; row < r.sets; ++row) {
        for (int c : used) {
            if (!plain_number(values.text(row, c))) return false;
        }
    }
    return true;
}

// RGB, CMYK, Lab and XYZ of the table, by name, range-checked on the file's
// scale and stored through the library's setters.
void store_components(import_result &r, const table_layout &layout, uint8_t kinds, const scales &sc,
                      table_values &values) {
    const size_t n = r.sets;
    for (size_t k = 0; k < 4; ++k) {
        const component_kind &ck = kComponents[k];
        if (!(kinds & ck.flag)) continue;
        const bool rgb = ck.flag == HXTVEL_CLR_RGB;
        std::vector<double> v(n * ck.count);
        for (size_t row = 0; row < n; ++row) {
            for (size_t i = 0; i < ck.count; ++i) {
                const int c = layout.component[k][i];
                const double x = values.number(row, c);
                const double lo = ck.lo[i], hi = rgb ? sc.rgb_max : ck.hi[i];
                if (x < lo || (hi >= lo && x > hi)) {
                    refuse(values.where(row) + ": " + layout.columns[size_t(c)] + " = " + values.text(row, c) +
                           (hi >= lo ? " is outside " + num(lo) + " to " + num(hi) : " is below " + num(lo)));
                }
                v[row * ck.count + i] = rgb && sc.rgb_max != 255 ? x * 255 / sc.rgb_max : x;
            }
        }
        void *m = r.data.get();
        switch (ck.flag) {
        case HXTVEL_CLR_RGB: store(m, HXTVEL_SetRGB, v, kKindWords[k]); break;
        case HXTVEL_CLR_CMYK: store(m, HXTVEL_SetCMYK, v, kKindWords[k]); break;
        case HXTVEL_CLR_LAB: store(m, HXTVEL_SetLAB, v, kKindWords[k]); break;
        default: store(m, HXTVEL_SetXYZ, v, kKindWords[k]); break;
        }
        if (rgb && !sc.rgb_note.empty()) r.notes.push_back(sc.rgb_note);
        std::vector<int> cols(layout.component[k], layout.component[k] + ck.count);
        if (!std::is_sorted(cols.begin(), cols.end())) {
            std::sort(cols.begin(), cols.end());
            std::string order;
            for (int c : cols) order += (order.empty() ? "" : " ") + layout.columns[size_t(c)];
            r.notes.push_back(std::string(ck.prefix) + " columns mapped by name (" + order + ")");
        }
    }
}

// The spectra of the table on their 10 nm marks, scaled to 1.0 = perfect
// white and stored through the library's setter.
void store_spectra(import_result &r, const table_layout &layout, const spectral_plan &p, const scales &sc,
                   table_values &values) {
    const resampling &plan = p.marks;
    const size_t n = r.sets, marks = plan.lo.size();
    std::vector<double> sample(p.columns.size()), out(n * marks);
    std::vector<velSPECTRO_REF> records(n);
    for (size_t row = 0; row < n; ++row) {
        for (size_t i = 0; i < p.columns.size(); ++i) {
            sample[i] = values.number(row, p.columns[i].column) / sc.spectral;
        }
        double *o = &out[row * marks];
        for (size_t m = 0; m < marks; ++m) {
            const double w = plan.weight[m];
            o[m] = w == 0 ? sample[plan.lo[m]] : sample[plan.lo[m]] * (1 - w) + sample[plan.hi[m]] * w;
        }
        records[row] = {uint16_t(plan.start), uint16_t(plan.end), 10, o};
    }
    check_stored(HXTVEL_SetSpectroRef(r.data.get(), records.data(), static_cast<uint32_t>(n)), "spectral values");

    if (!strict_spectral_name(layout.columns[size_t(layout.spectral.front().column)])) {
        r.notes.push_back("spectral columns " + layout.spectral_prefix + "nnn");
    }
    if (!std::is_sorted(layout.spectral.begin(), layout.spectral.end(),
                        [](const spectral_column &a, const spectral_column &b) { return a.nm < b.nm; })) {
        r.notes.push_back("spectral columns taken in wavelength order");
    }
    if (!sc.spectral_note.empty()) r.notes.push_back(sc.spectral_note);
    const spectral_layout &f = *r.file_spectral;
    const bool cut = f.start != plan.start || f.end != plan.end;
    const std::string to = " -> 10 nm (" + range_text(plan.start, plan.end) + ")";
    if (f.step == 0) {
        r.notes.push_back("spectra uneven (" + range_text(f.start, f.end) + " nm)" + to);
    } else if (f.step != 10) {
        const std::string from = cut ? " (" + range_text(f.start, f.end) + ")" : "";
        r.notes.push_back("spectra " + num(f.step) + " nm" + from + to);
    } else if (cut) {
        r.notes.push_back("spectra " + range_text(f.start, f.end) + " nm cut to " + range_text(plan.start, plan.end));
    }
}

// ---------------------------------------------------------------------------
// Plain files: what the library's reader takes as written, recognised from
// the header alone, read by it without a second parser.
// ---------------------------------------------------------------------------

// The fields of a line (or of lines) split at blanks, tabs and line ends.
std::vector<std::string_view> words_of(std::string_view line) {
    std::vector<std::string_view> out;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::strchr(" \t\r\n", line[i])) ++i;
        const size_t start = i;
        while (i < line.size() && !std::strchr(" \t\r\n", line[i])) ++i;
        if (i > start) out.push_back(line.substr(start, i - start));
    }
    return out;
}

// Field `column` (from 0) of every data line of the file, between the
// BEGIN_DATA and END_DATA lines: fields split at blanks and tabs, comment
// and empty lines skipped. A line without that field ends the scan (the
// count then disagrees with the library's, and the file goes to the full
// import). Streams the file line by line: no copy of it is kept.
std::vector<std::string> data_column(const std::string &path, size_t column) {
    std::vector<std::string> out;
    FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) return out;
    char *buffer = nullptr;
    size_t capacity = 0;
    bool data = false;
    for (ssize_t n; (n = ::getline(&buffer, &capacity, f)) >= 0;) {
        std::string_view line(buffer, size_t(n));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
        if (!data) {
            data = line.compare(0, 10, "BEGIN_DATA") == 0 && line.compare(0, 17, "BEGIN_DATA_FORMAT") != 0;
            continue;
        }
        if (line.empty() || line[0] == '#') continue;
        if (line.compare(0, 8, "END_DATA") == 0) break;
        size_t i = 0, field = 0;
        for (;; ++field) {
            while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
            const size_t start = i;
            while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
            if (start == i || field == column) {
                if (start != i) out.emplace_back(line.substr(start, i - start));
                break;
            }
        }
        if (field != column) break;
    }
    std::free(buffer);
    std::fclose(f);
    return out;
}

// A file of one CGATS.17 table whose columns are the library's own names in
// their order (SAMPLE_ID, the colour kinds complete, spectra as SPECTRAL_<nm>
// in 10 nm steps inside 380-780 nm), with nothing to rescale: read by the
// library's reader. Anything else, or a file that reader refuses, is left to
// the full import (nullopt).
// The header alone decides; a second table is left to the library's reader
// to refuse (its block keywords must stand once each).
std::optional<import_result> plain_file(const std::string &path, const import_options &o) {
    std::string text;  // the file up to its data format, at least
    if (FILE *f = std::fopen(path.c_str(), "rb")) {
        char block[1 << 14];
        size_t n;
        while (text.find("END_DATA_FORMAT") == std::string::npos && text.size() < (1 << 20) &&
               (n = std::fread(block, 1, sizeof block, f)) > 0) {
            text.append(block, n);
        }
        std::fclose(f);
    }
    if (text.compare(0, 5, "CGATS") != 0) return std::nullopt;
    const size_t format = text.find("BEGIN_DATA_FORMAT");
    if (format == std::string::npos) return std::nullopt;
    import_result r;
    r.sheet_type = "CGATS.17";
    size_t at = 0;
    for (size_t line = 0; at < format; ++line) {  // header keywords
        const size_t end = std::min(text.find_first_of("\r\n", at), format);
        std::string_view l(text.data() + at, end - at);
        at = end + 1;
        while (!l.empty() && (l.back() == ' ' || l.back() == '\t')) l.remove_suffix(1);
        if (line == 0 || l.empty() || l[0] == '#') continue;
        const size_t blank = std::min(l.find_first_of(" \t"), l.size());
        std::string key(l.substr(0, blank)), value;
        if (blank < l.size()) value = std::string(l.substr(l.find_first_not_of(" \t", blank)));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        if (key == "SPECTRAL_NORM" || (key == "ORIGINATOR" && (upper(value).find("ARGYLL") != std::string::npos ||
                                                               upper(value).find("DISPLAYCAL") != std::string::npos))) {
            return std::nullopt;
        }
        r.properties.emplace_back(key, value);
    }
    const size_t format_line_end = text.find_first_of("\r\n", format);
    if (format_line_end == std::string::npos) return std::nullopt;
    const size_t fields_at = format_line_end + 1;
    const size_t fields_end = text.find("END_DATA_FORMAT", fields_at);
    if (fields_end == std::string::npos) return std::nullopt;
    const std::vector<std::string_view> fields = words_of(std::string_view(text).substr(fields_at, fields_end - fields_at));
    static const char *const kOrder[] = {"RGB_R", "RGB_G", "RGB_B", "CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K",
                                         "LAB_L", "LAB_A", "LAB_B", "XYZ_X", "XYZ_Y", "XYZ_Z"};
    static const size_t kFirst[] = {0, 3, 7, 10, 13};
    int sample_id = -1;
    size_t next = 0;  // the next colour name expected in the library's order
    std::vector<unsigned> nm;
    for (size_t c = 0; c < fields.size(); ++c) {
        const std::string_view f = fields[c];
        r.columns.emplace_back(f);
        if (f == "SAMPLE_ID" && sample_id < 0) {
            sample_id = int(c);
        } else if (f.compare(0, 9, "SPECTRAL_") == 0 && f.size() > 9 &&
                   f.find_first_not_of("0123456789", 9) == std::string_view::npos && f.size() < 14) {
            nm.push_back(unsigned(std::stoul(std::string(f.substr(9)))));
        } else {
            const auto known = std::find(std::begin(kOrder), std::end(kOrder), f);
            if (known == std::end(kOrder) || size_t(known - kOrder) < next || !nm.empty()) return std::nullopt;
            const size_t i = size_t(known - kOrder);
            const size_t kind = size_t(std::upper_bound(std::begin(kFirst), std::end(kFirst), i) - kFirst) - 1;
            if (i != kFirst[kind] && i != next) return std::nullopt;  // a kind's components in order, complete
            next = i + 1;
            if (next == kFirst[kind + 1]) r.file_kinds |= kKindFlags[kind];
        }
    }
    for (size_t k = 0; k < 4; ++k) {
        if (next > kFirst[k] && next < kFirst[k + 1]) return std::nullopt;  // the last kind cut short
    }
    if (!nm.empty()) {
        if (nm.size() < 2 || nm[0] < 380 || nm.back() > 780 || nm[0] % 10) return std::nullopt;
        for (size_t i = 1; i < nm.size(); ++i) {
            if (nm[i] != nm[i - 1] + 10) return std::nullopt;
        }
        r.file_kinds |= HXTVEL_CLR_SPECTRAL;
        r.spectral = r.file_spectral = spectral_layout{double(nm[0]), double(nm.back()), 10};
    }
    const uint8_t kinds = r.file_kinds & o.kinds;
    if (!kinds) return std::nullopt;
    const uint32_t code = HXTVEL_ReadCGATS(r.data.get(), path.c_str(), kinds);
    if (code != 0) return std::nullopt;
    if (sample_id >= 0) r.ids = data_column(path, size_t(sample_id));
    const stored s = what_is_stored(r.data);
    if (s.kinds != kinds || (sample_id >= 0 && r.ids.size() != s.sets)) return std::nullopt;
    r.kinds = kinds;
    r.sets = s.sets;
    r.strict = true;
    if (const std::optional<velSensorInfo> sensor = stated_conditions(r)) {
        check_stored(HXTVEL_SetSensorInfo(r.data.get(), *sensor), "measuring conditions");
    }
    return r;
}

import_result import_file(const std::string &path, const import_options &o) {
    if (o.table == 1) {
        if (std::optional<import_result> plain = plain_file(path, o)) return std::move(*plain);
    }
    const std::string text = read_text(path);
    const it8_file file(text);
    cmsHANDLE h = file.get();
    if (!h) return strict_only(path, o, file.error());

    import_result r;
    const table_layout layout = read_table(h, path, o, r);
    const uint8_t kinds = layout.complete & o.kinds;
    table_values values(h, text, o.table, layout);
    if (layout.sample_id >= 0) {
        for (size_t row = 0; row < r.sets; ++row) r.ids.emplace_back(values.text(row, layout.sample_id));
    }
    const scales sc = file_scales(h, r.sheet_type);
    if ((kinds & HXTVEL_CLR_SPECTRAL) && !sc.norm_error.empty()) refuse(sc.norm_error);
    const std::optional<spectral_plan> spectra =
        kinds & HXTVEL_CLR_SPECTRAL ? plan_spectra(h, layout, r) : std::nullopt;
    const std::optional<velSensorInfo> sensor = stated_conditions(r);
    auto store_conditions = [&] {
        if (sensor) check_stored(HXTVEL_SetSensorInfo(r.data.get(), *sensor), "measuring conditions");
    };

    if (library_takes(r, layout, kinds, sc, spectra, values) &&
        HXTVEL_ReadCGATS(r.data.get(), path.c_str(), kinds) == 0 && what_is_stored(r.data).kinds == kinds) {
        r.kinds = kinds;
        r.strict = true;
        store_conditions();
        return r;
    }

    r.data = measurement();  // a failed read leaves nothing behind
    if (r.tables > 1) r.notes.push_back("table " + std::to_string(o.table) + " of " + std::to_string(r.tables));
    if (r.sets == 0) return r;
    store_components(r, layout, kinds, sc, values);
    if (spectra) store_spectra(r, layout, *spectra, sc, values);
    if (values.exponents) r.notes.push_back("numbers with exponents");
    store_conditions();
    r.kinds = kinds;
    return r;
}

}  // namespace

import_result import_measurement(const std::string &path, const import_options &options) {
    try {
        return import_file(path, options);
    } catch (const import_error &e) {
        if (e.kind() == failure::missing_file) throw;
        throw import_error(e.kind(), path + ": " + e.what());
    }
}

}  // namespace hximport
