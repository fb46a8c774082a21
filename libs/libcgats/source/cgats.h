// cgats.h - c_cgats, the measurement instance: up to five colour kinds side
// by side (RGB, CMYK, Lab, XYZ, spectral) with the instrument's conditions,
// filled by the setters or the CGATS reader and written as CGATS or text.
//
// Every public operation holds lock_ for its whole run and returns a code
// (0, or 101..108). Colour arrays are owned; a pointer is null exactly when
// its count is 0.
#ifndef HXTVEL_CGATS_H_INTERNAL
#define HXTVEL_CGATS_H_INTERNAL

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cgatsutility.h"
#include "hxtvel_types.h"
#include "liblock.h"

namespace hxtvel {

class c_cgats {
public:
    c_cgats();
    ~c_cgats();
    c_cgats(const c_cgats &) = delete;
    c_cgats &operator=(const c_cgats &) = delete;

    // Destroys and frees the instance itself.
    void destroy();

    // --- store ---------------------------------------------------------
    uint32_t set_lab(const velCIELab *data, uint32_t count);
    uint32_t set_xyz(const velCIEXYZ *data, uint32_t count);
    uint32_t set_rgb(const velRGB *data, uint32_t count);
    uint32_t set_cmyk(const velCMYK *data, uint32_t count);
    uint32_t get_lab(velCIELab *data, uint32_t *count);
    uint32_t get_xyz(velCIEXYZ *data, uint32_t *count);
    uint32_t get_rgb(velRGB *data, uint32_t *count);
    uint32_t get_cmyk(velCMYK *data, uint32_t *count);
    uint32_t set_spectroref(const velSPECTRO_REF *data, uint32_t count);
    uint32_t get_spectroref(velSPECTRO_REF *data, uint32_t *count, uint16_t *values);
    uint32_t set_sensorinfo(velSensorInfo info);

    // --- files ---------------------------------------------------------
    uint32_t read_cgats(const char *path, unsigned char kinds);
    uint32_t write_cgats(const char *path);
    uint32_t write_text(const char *path, uint32_t type);

    // --- memory (callers hold lock_) -------------------------------------
    void release_color_memory(unsigned char flag);
    void release_struct_memory();
    uint32_t alloc_array_memory(uint32_t kinds_count, unsigned char kinds);

private:
    // Values of one colour kind read from a file: each row holds the values
    // of one data line, in the order of the kind's columns.
    struct row_list {
        std::vector<double> values;
        std::vector<size_t> ends;  // end of each row in values
        size_t size() const { return ends.size(); }
        bool empty() const { return ends.empty(); }
        void append(const std::vector<double> &row);
    };
    struct field_span {
        const char *begin;
        const char *end;
    };
    class line_source;  // the input file, line by line
    class out_sink;     // the output file, buffered

    // --- reader ----------------------------------------------------------
    uint32_t read_locked(const char *path, unsigned char kinds, line_source &in);
    uint32_t analyze_file(line_source &in, unsigned long kinds_count,
                          const std::vector<unsigned char> &kinds);
    bool offer_line(const std::string &line, unsigned long kinds_count,
                    const std::vector<unsigned char> &kinds, std::vector<row_list> &rows,
                    std::vector<double> &values);
    bool analyze_data_line(std::string_view line, unsigned long kinds_count,
                           std::vector<row_list> &rows, std::vector<field_span> &fields);
    std::string pickup_line(const char *line, unsigned long index, bool &error);
    void analyze_line(const char *line, std::vector<double> &values, unsigned char kind,
                      unsigned long index, bool &error);
    void analyze_format(std::string content, unsigned char kind, unsigned long index);
    uint32_t check_key_num();
    uint32_t check_numberofsets();
    uint32_t convert_dbl_to_data(const row_list &rows, unsigned char kind, unsigned long index);
    template <typename T, size_t N>
    uint32_t convert_colour(T *&stored, uint32_t &stored_count, const row_list &rows,
                            unsigned char kind, double T::*const (&members)[N]);
    uint32_t convert_spectral(const row_list &rows, unsigned long index);
    void get_spectral(unsigned short &start, unsigned short &end, unsigned short &step,
                      unsigned long index);

    // --- writer ----------------------------------------------------------
    uint32_t write_cgats_locked(const char *path);
    uint32_t write_text_locked(const char *path, uint32_t type);
    void get_field(std::string_view delim, uint32_t &count, std::string &format);
    void write_format(out_sink &out, std::string_view delim, uint32_t fields, unsigned long sets,
                      const std::string &format);
    void write_data(out_sink &out, std::string_view delim, unsigned long sets,
                    bool sample_number);

    template <typename T>
    uint32_t set_colour(T *&stored, uint32_t &stored_count, unsigned char flag, const T *data,
                        uint32_t count);
    template <typename T>
    // stored and stored_count are the members themselves, read only once the
    // lock is held: a setter on another thread may replace them until then.
    uint32_t get_colour(T *const &stored, const uint32_t &stored_count, T *data, uint32_t *count);
    void free_reader_arrays();

    velCIELab *lab_data_;
    velSPECTRO_REF *spectral_data_;
    velCIEXYZ *xyz_data_;
    velRGB *rgb_data_;
    velCMYK *cmyk_data_;
    velSensorInfo *sensor_info_;
    uint32_t rgb_count_;
    uint32_t cmyk_count_;
    uint32_t lab_count_;
    uint32_t xyz_count_;
    uint32_t spectral_count_;

    // Reader working storage.
    uint32_t read_done_;
    std::vector<uint32_t> *fld_key_array_;       // per requested kind: its columns
    std::vector<uint16_t> *spectral_nm_array_;   // per requested kind: wavelengths
    std::vector<uint32_t> key_list_;             // block keywords met, in file order
    std::map<std::string, int32_t> key_num_map_; // NUMBER_OF_FIELDS / NUMBER_OF_SETS
    uint16_t field_count_;
    uint8_t block_state_;  // 0 outside, 1 data format, 2 data

    c_lock lock_;

    friend class c_cgats_peer;  // white-box access for the unit tests
};

}  // namespace hxtvel

#endif  // HXTVEL_CGATS_H_INTERNAL
