// measurement_import.h - measurement files as instrument software and other
// colour tools write them, read into a measurement instance of the library.
//
// The library's reader (HXTVEL_ReadCGATS) takes one table with its own
// column names and plain numbers. A file it takes as written is read by it.
// Any other file - other spellings of the spectral columns, columns in
// another order, several tables, exponents, ArgyllCMS scales, spectra at
// another spacing - is parsed by LittleCMS's IT8 parser; its columns are
// mapped by name, scales and spectra are converted, and the values go into
// the instance through the library's setters. Every conversion is listed in
// the notes of the result. Nothing here depends on the command-line tool.
#ifndef HXTVEL_MEASUREMENT_IMPORT_H
#define HXTVEL_MEASUREMENT_IMPORT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "hxtvel.h"

namespace hximport {

constexpr uint8_t kAllKinds =
    HXTVEL_CLR_RGB | HXTVEL_CLR_CMYK | HXTVEL_CLR_LAB | HXTVEL_CLR_XYZ | HXTVEL_CLR_SPECTRAL;

// Why an import failed: the file could not be read at all, or its content
// cannot be taken.
enum class failure { missing_file, bad_input };

// A failed import. The message names the file and the cause (line and
// column where there is one).
class import_error : public std::runtime_error {
public:
    import_error(failure kind, const std::string &message) : std::runtime_error(message), kind_(kind) {}
    failure kind() const noexcept { return kind_; }

private:
    failure kind_;
};

// A measurement instance of the library, owned by this object.
class measurement {
public:
    measurement() : h_(HXTVEL_CreateCGATSInstance()) {}
    ~measurement() { HXTVEL_DeleteCGATSInstance(h_); }
    measurement(measurement &&other) noexcept : h_(std::exchange(other.h_, nullptr)) {}
    measurement &operator=(measurement &&other) noexcept {
        std::swap(h_, other.h_);
        return *this;
    }
    measurement(const measurement &) = delete;
    measurement &operator=(const measurement &) = delete;
    void *get() const { return h_; }

    std::vector<velRGB> rgb() const;
    std::vector<velCMYK> cmyk() const;
    std::vector<velCIELab> lab() const;
    std::vector<velCIEXYZ> xyz() const;
    // Spectra with their values; each record's data points into values.
    struct spectra {
        std::vector<velSPECTRO_REF> records;
        std::vector<std::vector<double>> values;
    };
    spectra spectral() const;

private:
    void *h_;
};

// Wavelengths of spectra in nm; step 0 when they are unevenly spaced.
struct spectral_layout {
    double start = 0, end = 0, step = 0;
};

struct import_options {
    uint8_t kinds = kAllKinds;  // colour kinds wanted (HXTVEL_CLR_* flags)
    unsigned table = 1;         // table of the file, counting from 1
    bool require = true;        // fail when the table holds none of the kinds
    std::string purpose;        // who wants the values, for messages ("compare")
};

struct import_result {
    measurement data;
    uint8_t kinds = 0;       // kinds stored in data
    uint8_t file_kinds = 0;  // complete kinds in the table, wanted or not
    size_t sets = 0;
    unsigned table = 1, tables = 1;
    bool strict = false;  // read by the library's reader as written
    // Spectra as stored (10 nm steps inside 380 to 780 nm) and as written.
    std::optional<spectral_layout> spectral, file_spectral;
    std::vector<std::string> ids;      // SAMPLE_ID of each set; empty when none
    std::vector<std::string> columns;  // the table's data format
    std::string sheet_type;            // first word of the table: CGATS.17, CTI3 ...
    // Header keywords of the table with their values as written.
    std::vector<std::pair<std::string, std::string>> properties;
    std::vector<std::string> notes;  // every conversion made, in words

    const std::string *property(const std::string &keyword) const;
    // Whether the file states how it was measured (MEASUREMENT_SOURCE or
    // INSTRUMENTATION).
    bool conditions_stated() const;
};

// The measuring conditions the file states, as the library's writer states
// them (MEASUREMENT_SOURCE "Filter=No Illumination=D50 ObserverAngle=2 ...",
// INSTRUMENTATION, SAMPLE_BACKING, INSIDE_TEMPERATURE, INSIDE_HUMIDITY);
// empty when the illumination or the observer is missing or unknown.
std::optional<velSensorInfo> stated_conditions(const import_result &result);

// Makes an instrument name one that a CGATS header line can carry (the
// library refuses the others): double quotes become apostrophes, control
// characters blanks, a block keyword's underscores blanks, and a name of all
// 32 bytes loses its last. Returns whether the name changed.
bool make_name_writable(velSensorInfo &info);

// Reads a measurement file. Throws import_error.
import_result import_measurement(const std::string &path, const import_options &options = {});

// "name: note; note", or "" when the file was taken as written.
std::string notes_line(const std::string &name, const import_result &result);

// Names of kinds: "RGB", "CMYK", "LAB", "XYZ", "SPECTRAL" in flag order.
std::vector<std::string> kind_names(uint8_t kinds);
// Kinds in words for messages: "Lab or spectral".
std::string describe_kinds(uint8_t kinds, const char *conjunction);

// The first rule of the library's reader that the file breaks, as a
// sentence ("line 12: 5 fields, but the data format names 7"), or "".
std::string diagnose_cgats(const std::string &path, uint8_t kinds);

// Whether the bytes look like a CGATS file rather than plain delimited text.
bool looks_like_cgats(const std::vector<unsigned char> &bytes);

}  // namespace hximport

#endif  // HXTVEL_MEASUREMENT_IMPORT_H
