// cgatsutility.cpp - CGATS key tables and helpers.
#include "cgatsutility.h"

#include <locale.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "tracelog.h"

namespace hxtvel {

namespace {

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

// White space as the "C" locale's isspace sees it.
inline bool is_c_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

constexpr double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                             1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                             1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr uint64_t kPow10Int[] = {1u, 10u, 100u, 1000u, 10000u, 100000u, 1000000u, 10000000u,
                                  100000000u, 1000000000u};

// The "C" locale for the rare conversions that leave the exact fast path.
// glibc hands out its static C locale object here, so this does not fail in
// practice; from_chars stands in if it ever does.
locale_t c_numeric_locale() {
    static const locale_t loc = ::newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return loc;
}

double slow_plain_number(const char *begin, const char *end) {
    const std::string text(begin, end);
    if (const locale_t loc = c_numeric_locale()) return ::strtod_l(text.c_str(), nullptr, loc);
    double value = 0.0;
    const auto res = std::from_chars(text.data(), text.data() + text.size(), value,
                                     std::chars_format::fixed);
    if (res.ec == std::errc::result_out_of_range) {
        // Only digits and a point: too many integer digits overflow, a long
        // run of leading zeros underflows.
        const bool neg = text[0] == '-';
        const char *p = text.data() + (neg ? 1 : 0);
        while (*p == '0') ++p;
        value = is_digit(*p) ? HUGE_VAL : 0.0;
        if (neg) value = -value;
    }
    return value;
}

// atoi/atol over a digit text without sign: the value saturates at LONG_MAX
// as glibc's strtol does.
unsigned long saturating_digits(const char *p, const char *end, unsigned long limit) {
    unsigned long acc = 0;
    for (; p < end && is_digit(*p); ++p) {
        const unsigned d = static_cast<unsigned>(*p - '0');
        acc = acc > (limit - d) / 10 ? limit : acc * 10 + d;
    }
    return acc;
}

}  // namespace

// ---------------------------------------------------------------------------
// Number texts
// ---------------------------------------------------------------------------

char *format_fixed(char *out, double value, int decimals) {
    if (decimals < 0) decimals = 0;
    if (decimals > 9) decimals = 9;
    if (std::isfinite(value)) {
        const double scaled = std::fabs(value) * kPow10[decimals];
        if (scaled < 4503599627370496.0) {  // 2^52: integer part and fraction exact
            const double whole = std::floor(scaled);
            const double tie = (scaled - whole) - 0.5;
            // The product is within half an ulp of the exact value; when it is
            // farther than that from the halfway point both round alike.
            // Otherwise (ties and near-ties) the exact conversion decides.
            if (std::fabs(tie) > scaled * 2.3e-16) {
                const uint64_t n = static_cast<uint64_t>(whole) + (tie > 0 ? 1u : 0u);
                if (std::signbit(value)) *out++ = '-';
                const uint64_t unit = kPow10Int[decimals];
                out = std::to_chars(out, out + 24, n / unit).ptr;
                if (decimals > 0) {
                    *out++ = '.';
                    uint64_t frac = n % unit;
                    for (int i = decimals - 1; i >= 0; --i) {
                        out[i] = static_cast<char>('0' + frac % 10);
                        frac /= 10;
                    }
                    out += decimals;
                }
                return out;
            }
        }
    }
    return std::to_chars(out, out + kFixedTextMax, value, std::chars_format::fixed, decimals).ptr;
}

double parse_plain_number(const char *begin, const char *end) {
    const char *p = begin;
    const bool neg = p < end && *p == '-';
    if (neg) ++p;
    constexpr uint64_t kLimit = ((uint64_t{1} << 53) - 9) / 10;
    uint64_t mantissa = 0;
    int frac_digits = 0;
    bool exact = true;
    bool any = false;
    for (; p < end && is_digit(*p); ++p) {
        any = true;
        if (mantissa > kLimit) {
            exact = false;
        } else {
            mantissa = mantissa * 10 + static_cast<uint64_t>(*p - '0');
        }
    }
    if (p < end && *p == '.') {
        for (++p; p < end && is_digit(*p); ++p) {
            any = true;
            if (mantissa > kLimit) {
                exact = false;
            } else {
                mantissa = mantissa * 10 + static_cast<uint64_t>(*p - '0');
                ++frac_digits;
            }
        }
    }
    if (!any) return 0.0;  // no conversion: atof gives +0
    if (exact && frac_digits <= 22) {
        // Both operands are exact doubles, so the one division is correctly
        // rounded.
        const double v = static_cast<double>(mantissa) / kPow10[frac_digits];
        return neg ? -v : v;
    }
    return slow_plain_number(begin, p);
}

// ---------------------------------------------------------------------------
// c_cgats_utility
// ---------------------------------------------------------------------------

uint16_t spectrcount_per_line(velSPECTRO_REF ref) {
    if (ref.pitch == 0) return 0;
    const int n = (static_cast<int>(ref.end) - static_cast<int>(ref.start)) / static_cast<int>(ref.pitch) + 1;
    return static_cast<uint16_t>(n);
}

uint16_t c_cgats_utility::spectrcount_per_line(velSPECTRO_REF ref) {
    HX_TRACE_SCOPE("spectrcount_per_line");
    return hxtvel::spectrcount_per_line(ref);
}

bool c_cgats_utility::is_range_data(double value, unsigned char flag, bool first) {
    HX_TRACE_SCOPE("is_range_data");
    switch (flag) {
    case CLR_RGB: return value >= 0.0 && value <= 255.0;
    case CLR_CMYK: return value >= 0.0 && value <= 100.0;
    case CLR_LAB:
        return first ? (value >= 0.0 && value <= 100.0) : (value >= -128.0 && value <= 128.0);
    case CLR_XYZ: return !(value < 0.0);
    case CLR_SPECTRAL: return true;
    default: return false;
    }
}

int c_cgats_utility::search_key(const std::string &line) {
    HX_TRACE_SCOPE("search_key");
    for (const auto &row : searchkeys) {
        if (line.find(row.text) != std::string::npos) return row.code;
    }
    return KEY_NONE;
}

bool c_cgats_utility::is_digitforchar(unsigned char value, e_writefmtkey key) {
    HX_TRACE_SCOPE("is_digitforchar");
    switch (key) {
    case WFK_BACKING: return value <= 2;
    case WFK_ILLUMINATION: return value <= 11;
    case WFK_OBSERVER:
    case WFK_FILTER: return value <= 1;
    default: return true;
    }
}

bool c_cgats_utility::is_color_check(const std::string &name) {
    HX_TRACE_SCOPE("is_color_check");
    return std::find(colorstr.begin(), colorstr.end(), std::string_view(name)) != colorstr.end();
}

uint32_t c_cgats_utility::check_datasize(unsigned long count, unsigned char flag) {
    HX_TRACE_SCOPE("check_datasize");
    const unsigned long expected = (flag & CLR_CMYK) ? 4 : 3;
    return count == expected ? HXTVEL_OK : HXTVEL_E_FORMAT;
}

uint32_t c_cgats_utility::check_datarange(std::vector<double> values, unsigned char flag) {
    HX_TRACE_INOUT("chack_datarange in", "chack_datarange out");
    const size_t count = std::min<size_t>((flag & CLR_CMYK) ? 4 : 3, values.size());
    for (size_t i = 0; i < count; ++i) {
        const bool first = i == 0 && (flag & CLR_LAB) != 0;
        if (!is_range_data(values[i], flag, first)) {
            HX_TRACE(HX_LV_ERROR, "check_datarange err = %f", values[i]);
            return HXTVEL_E_RANGE;
        }
    }
    return HXTVEL_OK;
}

bool c_cgats_utility::is_check_string(const std::string &text) {
    HX_TRACE_SCOPE("is_check_string");
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return is_digit(c) || c == '.' || c == '-'; });
}

std::string c_cgats_utility::double_to_string(double value, unsigned char flag) {
    HX_TRACE_SCOPE("double_to_string");
    int decimals;
    switch (flag) {
    case CLR_RGB:
    case CLR_CMYK:
    case CLR_LAB:
    case CLR_XYZ: decimals = 2; break;
    case CLR_SPECTRAL: decimals = 4; break;
    default: return std::string();
    }
    char text[kFixedTextMax];
    return std::string(text, format_fixed(text, value, decimals));
}

void c_cgats_utility::get_colorflag_array(unsigned char flags, std::vector<unsigned char> &out) {
    HX_TRACE_SCOPE("get_colorflag_array");
    for (unsigned char flag : {CLR_RGB, CLR_CMYK, CLR_LAB, CLR_XYZ, CLR_SPECTRAL}) {
        if (flags & flag) out.push_back(flag);
    }
}

unsigned long c_cgats_utility::get_datacount(unsigned long c1, unsigned long c2, unsigned long c3,
                                             unsigned long c4, unsigned long c5) {
    HX_TRACE_SCOPE("get_datacount");
    unsigned long common = 0;
    for (unsigned long c : {c1, c2, c3, c4, c5}) {
        if (c == 0) continue;
        if (common == 0) {
            common = c;
        } else if (c != common) {
            return 0;
        }
    }
    return common;
}

std::string c_cgats_utility::replace_space_to_tab(std::string text) {
    HX_TRACE_SCOPE("replace_space_to_tab");
    std::replace(text.begin(), text.end(), ' ', '\t');
    return text;
}

void c_cgats_utility::stock_in_array(std::string line, std::vector<std::string> &out) {
    HX_TRACE_SCOPE("stock_in_array");
    std::vector<std::string> fields;
    size_t pos = 0;
    while (pos <= line.size()) {
        size_t tab = line.find('\t', pos);
        if (tab == std::string::npos) tab = line.size();
        if (tab > pos) fields.emplace_back(line, pos, tab - pos);
        pos = tab + 1;
    }
    out = std::move(fields);
}

std::string c_cgats_utility::get_color_string(unsigned char flag) {
    HX_TRACE_SCOPE("get_color_string");
    for (const auto &row : clrkey) {
        if (row.code == flag) return std::string(row.text);
    }
    return std::string();
}

std::string c_cgats_utility::get_writefmtval(unsigned char value, e_writefmtkey key) {
    HX_TRACE_SCOPE("get_writefmtval");
    auto lookup = [value](const auto &table) {
        for (const auto &row : table) {
            if (row.code == value) return std::string(row.text);
        }
        return std::string();
    };
    switch (key) {
    case WFK_BACKING: return lookup(backingkey);
    case WFK_ILLUMINATION: return lookup(lightsrckey);
    case WFK_OBSERVER: return lookup(observeraglkey);
    case WFK_FILTER: return lookup(uvcutkey);
    default: return std::string();
    }
}

bool c_cgats_utility::get_spectralnum(const std::string &name, unsigned short &wavelength) {
    HX_TRACE_SCOPE("get_spectralnum");
    const size_t at = name.find(spectstr);
    if (at == std::string::npos) return false;
    const char *p = name.data() + at + spectstr.size();
    const char *end = name.data() + name.size();
    if (!std::all_of(p, end, is_digit)) return false;
    // atoi: the long value (saturated) cut to int, then to 16 bits.
    wavelength = static_cast<unsigned short>(saturating_digits(p, end, LONG_MAX));
    return true;
}

unsigned long c_cgats_utility::split_string_to_num(std::string line) {
    HX_TRACE_SCOPE("split_string_to_num");
    line = replace_space_to_tab(std::move(line));
    const size_t tab = line.find('\t');
    if (tab == std::string::npos) return 0;
    const char *p = line.data() + tab;
    const char *end = line.data() + line.size();
    if (std::none_of(p, end, is_digit)) return 0;
    // atol: white space, an optional sign, digits; saturates like strtol.
    while (p < end && is_c_space(*p)) ++p;
    bool neg = false;
    if (p < end && (*p == '+' || *p == '-')) neg = *p++ == '-';
    const unsigned long limit = neg ? static_cast<unsigned long>(LONG_MAX) + 1 : LONG_MAX;
    const unsigned long magnitude = saturating_digits(p, end, limit);
    return neg ? 0UL - magnitude : magnitude;
}

}  // namespace hxtvel
