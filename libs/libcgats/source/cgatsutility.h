// cgatsutility.h - the CGATS vocabulary (colour-kind flags, key tables) and
// the stateless helpers shared by the measurement store, the CGATS reader and
// writer and the text export.
#ifndef HXTVEL_CGATSUTILITY_H
#define HXTVEL_CGATSUTILITY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hxtvel_types.h"

namespace hxtvel {

// Colour-kind flags; a set of kinds is their OR, always processed in
// ascending flag order.
enum : unsigned char {
    CLR_RGB = 1,
    CLR_CMYK = 2,
    CLR_LAB = 4,
    CLR_XYZ = 8,
    CLR_SPECTRAL = 16,
};

// The six byte-sized settings of the sensor information, in check order.
enum e_writefmtkey : int {
    WFK_BACKING = 1,
    WFK_TEMPERATURE = 2,
    WFK_HUMIDITY = 3,
    WFK_ILLUMINATION = 4,
    WFK_OBSERVER = 5,
    WFK_FILTER = 6,
};

// Line kinds reported by c_cgats_utility::search_key (0: no keyword).
enum : int32_t {
    KEY_NONE = 0,
    KEY_NUMBER_OF_FIELDS = 2,
    KEY_BEGIN_DATA_FORMAT = 3,
    KEY_END_DATA_FORMAT = 4,
    KEY_NUMBER_OF_SETS = 5,
    KEY_BEGIN_DATA = 6,
    KEY_END_DATA = 7,
};

// One row of a key table: a code and its keyword text.
template <typename Code>
struct KeyEntry {
    Code code;
    std::string_view text;
};

// Number of samples of a spectrum: (end - start) / pitch + 1 in signed
// arithmetic, low 16 bits; 0 when pitch is 0.
uint16_t spectrcount_per_line(velSPECTRO_REF ref);

// Longest text format_fixed writes (sign, 309 integer digits, point, 4
// decimals), without terminator.
constexpr size_t kFixedTextMax = 320;

// Writes value in fixed notation with `decimals` digits after the point (2
// or 4), exactly as printf's "%.*f" does in the "C" locale: correctly
// rounded, ties to even, a minus sign for every negative value (also -0.00),
// "nan"/"-nan"/"inf"/"-inf" for non-finite values. Independent of the host's
// locale. out must hold kFixedTextMax bytes; returns the end of the text.
char *format_fixed(char *out, double value, int decimals);

// Converts the number at the start of [begin, end) as atof does in the "C"
// locale for texts made only of digits, '.' and '-': an optional minus sign,
// digits, an optional point and digits; conversion stops at the first
// character that cannot continue the number, and a text without a leading
// number gives 0. Correctly rounded; overflow gives an infinity. Independent
// of the host's locale.
double parse_plain_number(const char *begin, const char *end);

class c_cgats_utility {
public:
    // --- key tables --------------------------------------------------------
    static constexpr std::string_view commentstr = "#";
    static constexpr std::string_view spacedelim = " ";
    static constexpr std::string_view tabdelim = "\t";
    static constexpr std::string_view spectstr = "SPECTRAL_";

    // Colour kind to field-name prefix.
    static constexpr std::array<KeyEntry<int32_t>, 5> clrkey{{
        {CLR_RGB, "RGB_"},
        {CLR_CMYK, "CMYK_"},
        {CLR_LAB, "LAB_"},
        {CLR_XYZ, "XYZ_"},
        {CLR_SPECTRAL, "SPECTRAL_"},
    }};

    // The colorimetric field names of the data format.
    static constexpr std::array<std::string_view, 13> colorstr{{
        "RGB_R", "RGB_G", "RGB_B",                 //
        "CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K",    //
        "LAB_L", "LAB_A", "LAB_B",                 //
        "XYZ_X", "XYZ_Y", "XYZ_Z",                 //
    }};

    // Structural keywords, searched in this order: the longer *_DATA_FORMAT
    // keywords come before the *_DATA ones they contain.
    static constexpr std::array<KeyEntry<int32_t>, 6> searchkeys{{
        {KEY_NUMBER_OF_FIELDS, "NUMBER_OF_FIELDS"},
        {KEY_BEGIN_DATA_FORMAT, "BEGIN_DATA_FORMAT"},
        {KEY_END_DATA_FORMAT, "END_DATA_FORMAT"},
        {KEY_NUMBER_OF_SETS, "NUMBER_OF_SETS"},
        {KEY_BEGIN_DATA, "BEGIN_DATA"},
        {KEY_END_DATA, "END_DATA"},
    }};

    // Block keywords every file must hold once each, in this order.
    static constexpr std::array<KeyEntry<int32_t>, 4> mustkeys{{
        {KEY_BEGIN_DATA_FORMAT, "BEGIN_DATA_FORMAT"},
        {KEY_END_DATA_FORMAT, "END_DATA_FORMAT"},
        {KEY_BEGIN_DATA, "BEGIN_DATA"},
        {KEY_END_DATA, "END_DATA"},
    }};

    // Sensor-information codes and their header texts.
    static constexpr std::array<KeyEntry<unsigned char>, 3> backingkey{{
        {0, "unknown"},
        {1, "white"},
        {2, "black"},
    }};
    static constexpr std::array<KeyEntry<unsigned char>, 2> observeraglkey{{
        {0, "2"},
        {1, "10"},
    }};
    static constexpr std::array<KeyEntry<unsigned char>, 2> uvcutkey{{
        {0, "No"},
        {1, "UVcut"},
    }};
    // The value scale of the illumination byte: not alphabetical.
    static constexpr std::array<KeyEntry<unsigned char>, 12> lightsrckey{{
        {0, "A"},
        {1, "C"},
        {2, "D50"},
        {3, "D65"},
        {4, "F2"},
        {5, "F7"},
        {6, "F11"},
        {7, "F12"},
        {8, "D75"},
        {9, "D55"},
        {10, "F8"},
        {11, "F10"},
    }};

    // --- helpers (each traces "<name> in" / "<name> out") ------------------
    static uint16_t spectrcount_per_line(velSPECTRO_REF ref);
    static bool is_range_data(double value, unsigned char flag, bool first);
    static int search_key(const std::string &line);
    static bool is_digitforchar(unsigned char value, e_writefmtkey key);
    static bool is_color_check(const std::string &name);
    static uint32_t check_datasize(unsigned long count, unsigned char flag);
    static uint32_t check_datarange(std::vector<double> values, unsigned char flag);
    static bool is_check_string(const std::string &text);
    static std::string double_to_string(double value, unsigned char flag);
    static void get_colorflag_array(unsigned char flags, std::vector<unsigned char> &out);
    static unsigned long get_datacount(unsigned long c1, unsigned long c2, unsigned long c3,
                                       unsigned long c4, unsigned long c5);
    static std::string replace_space_to_tab(std::string text);
    static void stock_in_array(std::string line, std::vector<std::string> &out);
    static std::string get_color_string(unsigned char flag);
    static std::string get_writefmtval(unsigned char value, e_writefmtkey key);
    static bool get_spectralnum(const std::string &name, unsigned short &wavelength);
    static unsigned long split_string_to_num(std::string line);
};

}  // namespace hxtvel

#endif  // HXTVEL_CGATSUTILITY_H
