// cgats.cpp - the measurement instance: store, CGATS reader and writer, text
// export.
#include "cgats.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include "tracelog.h"

namespace hxtvel {

// =====================================================================
// Store
// =====================================================================

namespace {

// Range tests of the setters; bounds are inclusive. A NaN fails every bound
// except the XYZ one, which only refuses values below zero.
inline bool in_range(double v, double lo, double hi) { return v >= lo && v <= hi; }

bool valid_record(const velCIELab &v) {
    return in_range(v.L, 0.0, 100.0) && in_range(v.a, -128.0, 128.0) && in_range(v.b, -128.0, 128.0);
}
bool valid_record(const velCIEXYZ &v) { return !(v.X < 0.0) && !(v.Y < 0.0) && !(v.Z < 0.0); }
bool valid_record(const velRGB &v) {
    return in_range(v.R, 0.0, 255.0) && in_range(v.G, 0.0, 255.0) && in_range(v.B, 0.0, 255.0);
}
bool valid_record(const velCMYK &v) {
    return in_range(v.C, 0.0, 100.0) && in_range(v.M, 0.0, 100.0) && in_range(v.Y, 0.0, 100.0) &&
           in_range(v.K, 0.0, 100.0);
}

// Frees the value arrays of n spectral records and the record array.
void free_spectra(velSPECTRO_REF *records, uint32_t n) {
    if (!records) return;
    for (uint32_t i = 0; i < n; ++i) delete[] records[i].data;
    delete[] records;
}

}  // namespace

c_cgats::c_cgats()
    : lab_data_(nullptr),
      spectral_data_(nullptr),
      xyz_data_(nullptr),
      rgb_data_(nullptr),
      cmyk_data_(nullptr),
      sensor_info_(nullptr),
      rgb_count_(0),
      cmyk_count_(0),
      lab_count_(0),
      xyz_count_(0),
      spectral_count_(0),
      read_done_(0),
      fld_key_array_(nullptr),
      spectral_nm_array_(nullptr),
      field_count_(0),
      block_state_(0) {
    HX_TRACE(HX_LV_INFO, "c_cgats_in");
    HX_TRACE(HX_LV_INFO, "c_cgats_out");
}

c_cgats::~c_cgats() {
    HX_TRACE(HX_LV_INFO, "~c_cgats in");
    free_reader_arrays();
    delete sensor_info_;
    sensor_info_ = nullptr;
    release_struct_memory();
    HX_TRACE(HX_LV_INFO, "~c_cgats out");
}

void c_cgats::destroy() {
    HX_TRACE(HX_LV_INFO, "destory in");
    HX_TRACE(HX_LV_INFO, "destory out");
    delete this;
}

void c_cgats::free_reader_arrays() {
    delete[] fld_key_array_;
    fld_key_array_ = nullptr;
    delete[] spectral_nm_array_;
    spectral_nm_array_ = nullptr;
}

// Appends count records after the stored ones. The new array is built in
// full before the stored one is replaced, so every failure (107, 105, 108)
// leaves the stored data as it was.
template <typename T>
uint32_t c_cgats::set_colour(T *&stored, uint32_t &stored_count, unsigned char, const T *data,
                             uint32_t count) {
    lock_guard guard(lock_);
    if (!data || count == 0) return HXTVEL_E_ARG;
    const uint64_t total = static_cast<uint64_t>(stored_count) + count;
    if (total > UINT32_MAX) return HXTVEL_E_MEMORY;
    T *merged = new (std::nothrow) T[total];
    if (!merged) return HXTVEL_E_MEMORY;
    if (stored_count) std::memcpy(merged, stored, sizeof(T) * stored_count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!valid_record(data[i])) {
            delete[] merged;
            return HXTVEL_E_RANGE;
        }
    }
    std::memcpy(merged + stored_count, data, sizeof(T) * count);
    delete[] stored;
    stored = merged;
    stored_count = static_cast<uint32_t>(total);
    return HXTVEL_OK;
}

template <typename T>
uint32_t c_cgats::get_colour(T *const &stored, const uint32_t &stored_count, T *data, uint32_t *count) {
    lock_guard guard(lock_);
    if (data) {
        if (stored_count) std::memcpy(data, stored, sizeof(T) * stored_count);
        return HXTVEL_OK;
    }
    if (count) {
        *count = stored_count;
        return HXTVEL_OK;
    }
    return HXTVEL_E_ARG;
}

uint32_t c_cgats::set_lab(const velCIELab *data, uint32_t count) {
    HX_TRACE_SCOPE("set_lab");
    return set_colour(lab_data_, lab_count_, CLR_LAB, data, count);
}
uint32_t c_cgats::set_xyz(const velCIEXYZ *data, uint32_t count) {
    HX_TRACE_SCOPE("set_xyz");
    return set_colour(xyz_data_, xyz_count_, CLR_XYZ, data, count);
}
uint32_t c_cgats::set_rgb(const velRGB *data, uint32_t count) {
    HX_TRACE_SCOPE("set_rgb");
    return set_colour(rgb_data_, rgb_count_, CLR_RGB, data, count);
}
uint32_t c_cgats::set_cmyk(const velCMYK *data, uint32_t count) {
    HX_TRACE_SCOPE("set_cmyk");
    return set_colour(cmyk_data_, cmyk_count_, CLR_CMYK, data, count);
}
uint32_t c_cgats::get_lab(velCIELab *data, uint32_t *count) {
    HX_TRACE_INOUT("get_lab int", "get_lab out");
    return get_colour(lab_data_, lab_count_, data, count);
}
uint32_t c_cgats::get_xyz(velCIEXYZ *data, uint32_t *count) {
    HX_TRACE_SCOPE("get_xyz");
    return get_colour(xyz_data_, xyz_count_, data, count);
}
uint32_t c_cgats::get_rgb(velRGB *data, uint32_t *count) {
    HX_TRACE_SCOPE("get_rgb");
    return get_colour(rgb_data_, rgb_count_, data, count);
}
uint32_t c_cgats::get_cmyk(velCMYK *data, uint32_t *count) {
    HX_TRACE_SCOPE("get_cmyk");
    return get_colour(cmyk_data_, cmyk_count_, data, count);
}

// Appends spectra. All spectra of an instance share the layout (start, end,
// pitch) of the first one stored. Built in full before the stored spectra
// are replaced, so a failure leaves them as they were.
uint32_t c_cgats::set_spectroref(const velSPECTRO_REF *data, uint32_t count) {
    HX_TRACE_SCOPE("set_spectroref");
    lock_guard guard(lock_);
    if (!data || count == 0) return HXTVEL_E_ARG;
    const uint64_t total64 = static_cast<uint64_t>(spectral_count_) + count;
    if (total64 > UINT32_MAX) return HXTVEL_E_MEMORY;
    const uint32_t total = static_cast<uint32_t>(total64);

    const velSPECTRO_REF &ref = spectral_count_ ? spectral_data_[0] : data[0];
    const uint16_t n = hxtvel::spectrcount_per_line(ref);
    if (n == 0) return HXTVEL_E_ARG;

    velSPECTRO_REF *merged = new (std::nothrow) velSPECTRO_REF[total]();
    if (!merged) return HXTVEL_E_MEMORY;
    uint32_t result = HXTVEL_OK;
    for (uint32_t i = 0; i < total && result == HXTVEL_OK; ++i) {
        velSPECTRO_REF &out = merged[i];
        const velSPECTRO_REF &in = i < spectral_count_ ? spectral_data_[i] : data[i - spectral_count_];
        if (i >= spectral_count_) {
            if (in.end <= in.start || in.start != ref.start || in.end != ref.end ||
                in.pitch != ref.pitch) {
                result = HXTVEL_E_ARG;
                break;
            }
            if (!in.data) {
                result = HXTVEL_E_MEMORY;
                break;
            }
            if (hxtvel::spectrcount_per_line(in) < 2) {
                result = HXTVEL_E_ARG;
                break;
            }
        }
        out.start = in.start;
        out.end = in.end;
        out.pitch = in.pitch;
        out.data = new (std::nothrow) double[n];
        if (!out.data) {
            result = HXTVEL_E_MEMORY;
            break;
        }
        if (in.data) {
            std::memcpy(out.data, in.data, sizeof(double) * n);
        } else {
            std::memset(out.data, 0, sizeof(double) * n);
        }
    }
    if (result != HXTVEL_OK) {
        free_spectra(merged, total);
        return result;
    }
    release_color_memory(CLR_SPECTRAL);
    spectral_data_ = merged;
    spectral_count_ = total;
    return HXTVEL_OK;
}

uint32_t c_cgats::get_spectroref(velSPECTRO_REF *data, uint32_t *count, uint16_t *values) {
    HX_TRACE_SCOPE("get_spectroref");
    lock_guard guard(lock_);
    if (!data) {
        if (!count || !values) return HXTVEL_E_ARG;
        *count = spectral_count_;
        *values = spectral_count_ ? hxtvel::spectrcount_per_line(spectral_data_[0]) : 0;
        return HXTVEL_OK;
    }
    for (uint32_t i = 0; i < spectral_count_; ++i) {
        const velSPECTRO_REF &in = spectral_data_[i];
        velSPECTRO_REF &out = data[i];
        out.start = in.start;
        out.end = in.end;
        out.pitch = in.pitch;
        if (!out.data) return HXTVEL_E_ARG;
        if (in.data) std::memcpy(out.data, in.data, sizeof(double) * hxtvel::spectrcount_per_line(in));
    }
    return HXTVEL_OK;
}

uint32_t c_cgats::set_sensorinfo(velSensorInfo info) {
    HX_TRACE_SCOPE("set_sensorinfo");
    lock_guard guard(lock_);
    const unsigned char fields[6] = {info.backing,      info.temperature, info.humidity,
                                     info.illumination, info.observer,    info.filter};
    const e_writefmtkey keys[6] = {WFK_BACKING,      WFK_TEMPERATURE, WFK_HUMIDITY,
                                   WFK_ILLUMINATION, WFK_OBSERVER,    WFK_FILTER};
    for (int i = 0; i < 6; ++i) {
        if (!c_cgats_utility::is_digitforchar(fields[i], keys[i])) return HXTVEL_E_RANGE;
    }
    const size_t name_length = ::strnlen(info.instrument, sizeof info.instrument);
    if (name_length >= sizeof info.instrument) return HXTVEL_E_RANGE;
    // The name is written between double quotes on one header line, so a
    // quote or a control character (a line break above all) would end the
    // value early or start a line of its own, and a structural keyword in it
    // would be taken for one by the reader: such a name is invalid.
    const std::string_view name(info.instrument, name_length);
    for (const unsigned char c : name) {
        if (c == '"' || c < 0x20 || c == 0x7F) return HXTVEL_E_RANGE;
    }
    for (const auto &key : c_cgats_utility::searchkeys) {
        if (name.find(key.text) != std::string_view::npos) return HXTVEL_E_RANGE;
    }
    velSensorInfo *copy = new (std::nothrow) velSensorInfo;
    if (!copy) return HXTVEL_E_MEMORY;
    std::memcpy(copy, &info, sizeof info);
    delete sensor_info_;
    sensor_info_ = copy;
    return HXTVEL_OK;
}

void c_cgats::release_color_memory(unsigned char flag) {
    switch (flag) {
    case CLR_RGB:
        rgb_count_ = 0;
        delete[] rgb_data_;
        rgb_data_ = nullptr;
        break;
    case CLR_CMYK:
        cmyk_count_ = 0;
        delete[] cmyk_data_;
        cmyk_data_ = nullptr;
        break;
    case CLR_LAB:
        lab_count_ = 0;
        delete[] lab_data_;
        lab_data_ = nullptr;
        break;
    case CLR_XYZ:
        xyz_count_ = 0;
        delete[] xyz_data_;
        xyz_data_ = nullptr;
        break;
    case CLR_SPECTRAL:
        free_spectra(spectral_data_, spectral_count_);
        spectral_data_ = nullptr;
        spectral_count_ = 0;
        break;
    default: break;
    }
}

void c_cgats::release_struct_memory() {
    for (unsigned char flag : {CLR_RGB, CLR_CMYK, CLR_LAB, CLR_XYZ, CLR_SPECTRAL}) {
        release_color_memory(flag);
    }
}

// Fresh, empty column lists for kinds_count requested kinds, and wavelength
// lists when spectra are requested. Wavelength lists of an earlier request
// are dropped in any case: they may be fewer than the kinds of this one.
uint32_t c_cgats::alloc_array_memory(uint32_t kinds_count, unsigned char kinds) {
    free_reader_arrays();
    fld_key_array_ = new (std::nothrow) std::vector<uint32_t>[kinds_count];
    if (!fld_key_array_) return HXTVEL_E_MEMORY;
    if (kinds & CLR_SPECTRAL) {
        spectral_nm_array_ = new (std::nothrow) std::vector<uint16_t>[kinds_count];
        if (!spectral_nm_array_) return HXTVEL_E_MEMORY;
    }
    return HXTVEL_OK;
}

// =====================================================================
// Shared by reader and writer
// =====================================================================

namespace {

// True when the trace log writes none of the messages these operations can
// produce (levels 0 to 48). The reader and the writer then take paths that
// skip the per-field helper calls whose only other effect is their trace;
// results and files are the same on both paths.
inline bool trace_quiet() {
    return g_trace.glevel.load(std::memory_order_relaxed) == 0 ||
           g_trace.gelevel.load(std::memory_order_relaxed) > HX_LV_ERROR;
}

inline bool is_plain_number_char(char c) { return (c >= '0' && c <= '9') || c == '.' || c == '-'; }

// A write that did not reach the file.
struct write_failure {};

}  // namespace

// =====================================================================
// CGATS reader
// =====================================================================

void c_cgats::row_list::append(const std::vector<double> &row) {
    values.insert(values.end(), row.begin(), row.end());
    ends.push_back(values.size());
}

// The input file read in large blocks and cut into lines. A line ends at a
// line feed, a carriage return followed by a line feed, or a carriage return
// alone; the last line may lack an end. These are exactly the lines that
// reading up to a line feed, dropping one trailing carriage return and, if a
// carriage return is left inside, re-reading up to that one, would give.
class c_cgats::line_source {
public:
    line_source() = default;
    ~line_source() { close(); }
    line_source(const line_source &) = delete;
    line_source &operator=(const line_source &) = delete;

    bool open(const char *path) {
        if (!path) return false;
        do {
            fd_ = ::open(path, O_RDONLY | O_CLOEXEC);
        } while (fd_ < 0 && errno == EINTR);
        return fd_ >= 0;
    }

    void close() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

    // Whether the first 2048 bytes of the file hold a line break; a file
    // without one there is not read at all.
    bool probe() {
        while (end_ < kProbe && fill()) {
        }
        const size_t n = std::min(end_, kProbe);
        return std::memchr(buf_.get(), '\n', n) || std::memchr(buf_.get(), '\r', n);
    }

    // The next line (valid until the next call); false at the end.
    bool next(std::string_view &line) {
        for (;;) {
            const char *base = buf_.get();
            if (lf_ == kUnknown || lf_ < begin_) {
                const void *p = std::memchr(base + begin_, '\n', end_ - begin_);
                lf_ = p ? static_cast<size_t>(static_cast<const char *>(p) - base) : end_;
            }
            if (const void *p = std::memchr(base + begin_, '\r', lf_ - begin_)) {
                const size_t cr = static_cast<size_t>(static_cast<const char *>(p) - base);
                if (cr + 1 < end_ || eof_) {
                    line = std::string_view(base + begin_, cr - begin_);
                    begin_ = cr + 1;
                    if (begin_ < end_ && base[begin_] == '\n') ++begin_;
                    return true;
                }
            } else if (lf_ < end_) {
                line = std::string_view(base + begin_, lf_ - begin_);
                begin_ = lf_ + 1;
                return true;
            } else if (eof_) {
                if (begin_ == end_) return false;
                line = std::string_view(base + begin_, end_ - begin_);
                begin_ = end_;
                return true;
            }
            fill();  // need more bytes to end the line (or to see past a CR)
        }
    }

private:
    static constexpr size_t kProbe = 2048;
    static constexpr size_t kBlock = 256 * 1024;
    static constexpr size_t kSmallest = 4096;
    static constexpr size_t kUnknown = static_cast<size_t>(-1);

    // Reads more bytes behind the unconsumed ones; false at the end of the
    // file. A read error ends the file where it happened.
    bool fill() {
        if (eof_) return false;
        if (!buf_) {  // a small file gets a buffer of its own size
            struct stat st;
            cap_ = kBlock;
            if (fd_ >= 0 && ::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= 0 &&
                static_cast<unsigned long long>(st.st_size) < kBlock) {
                cap_ = std::max(static_cast<size_t>(st.st_size) + 1, kSmallest);
            }
            buf_.reset(new char[cap_]);
        } else if (begin_ > 0) {
            std::memmove(buf_.get(), buf_.get() + begin_, end_ - begin_);
            end_ -= begin_;
            begin_ = 0;
        }
        if (end_ == cap_) {  // one line fills the block: make room
            std::unique_ptr<char[]> bigger(new char[cap_ * 2]);
            std::memcpy(bigger.get(), buf_.get(), end_);
            buf_ = std::move(bigger);
            cap_ *= 2;
        }
        lf_ = kUnknown;
        ssize_t n;
        do {
            n = fd_ >= 0 ? ::read(fd_, buf_.get() + end_, cap_ - end_) : 0;
        } while (n < 0 && errno == EINTR);
        if (n <= 0) {
            eof_ = true;
            return false;
        }
        end_ += static_cast<size_t>(n);
        return true;
    }

    int fd_ = -1;
    std::unique_ptr<char[]> buf_;
    size_t cap_ = 0;
    size_t begin_ = 0;  // first unconsumed byte
    size_t end_ = 0;    // end of the bytes read
    size_t lf_ = kUnknown;  // first line feed at or after begin_, end_ if none read
    bool eof_ = false;
};

uint32_t c_cgats::read_cgats(const char *path, unsigned char kinds) {
    HX_TRACE_SCOPE("read_cgats");
    uint32_t result;
    {
        lock_guard guard(lock_);
        HX_TRACE(HX_LV_WARN, "%s", "read_cgats lockin");
        line_source in;
        try {
            result = read_locked(path, kinds, in);
        } catch (...) {  // containers out of memory
            result = HXTVEL_E_MEMORY;
        }
        key_list_.clear();
        key_num_map_.clear();
        in.close();
        if (result != HXTVEL_OK) release_struct_memory();
        block_state_ = 0;
    }
    HX_TRACE(HX_LV_WARN, "%s", "read_cgats lockout");
    return result;
}

uint32_t c_cgats::read_locked(const char *path, unsigned char kinds, line_source &in) {
    if (kinds == 0 || kinds > 31) return HXTVEL_E_ARG;
    if (read_done_) return HXTVEL_E_READDONE;
    std::vector<unsigned char> list;
    c_cgats_utility::get_colorflag_array(kinds, list);
    if (list.empty()) return HXTVEL_E_WRITE;
    const uint32_t k = static_cast<uint32_t>(list.size());
    uint32_t result = alloc_array_memory(k, kinds);
    if (result != HXTVEL_OK) return result;
    if (!in.open(path)) return HXTVEL_E_OPEN;
    result = analyze_file(in, k, list);
    if (result != HXTVEL_OK) return result;
    result = check_numberofsets();
    if (result != HXTVEL_OK) {
        HX_TRACE(HX_LV_ERROR, "%s", "Check NumberOfSets err");
        return result;
    }
    result = check_key_num();
    if (result == HXTVEL_OK) read_done_ = 1;
    return result;
}

uint32_t c_cgats::analyze_file(line_source &in, unsigned long kinds_count,
                               const std::vector<unsigned char> &kinds) {
    HX_TRACE_SCOPE("analyze_file");
    std::vector<row_list> rows(kinds_count);
    const bool has_breaks = in.probe();
    const bool quiet = trace_quiet();
    bool bad = false;
    std::string_view view;
    std::string line;
    std::vector<double> values;
    std::vector<field_span> fields;
    while (!bad && has_breaks && in.next(view)) {
        if (!quiet) {
            line.assign(view);
            if (line.empty()) continue;
            if (c_cgats_utility::search_key(line) == KEY_NONE && block_state_ == 0) continue;
            bad = !offer_line(line, kinds_count, kinds, rows, values);
            continue;
        }
        // Nothing is traced: the line is looked at once for all kinds. The
        // operations see the line as a C string, so it ends at a NUL.
        if (const void *nul = std::memchr(view.data(), '\0', view.size())) {
            view = view.substr(0, static_cast<size_t>(static_cast<const char *>(nul) - view.data()));
        }
        if (view.empty()) continue;
        int code = KEY_NONE;
        if (std::memchr(view.data(), '_', view.size())) {  // every keyword holds one
            line.assign(view);
            code = c_cgats_utility::search_key(line);
        }
        if (code == KEY_NONE) {
            if (block_state_ == 0) continue;
            if (block_state_ == 2 && !std::memchr(view.data(), '#', view.size())) {
                bad = !analyze_data_line(view, kinds_count, rows, fields);
                continue;
            }
        }
        line.assign(view);
        bad = !offer_line(line, kinds_count, kinds, rows, values);
    }
    if (bad) {
        HX_TRACE(HX_LV_ERROR, "%s", "line format err");
        return HXTVEL_E_FORMAT;
    }
    uint32_t result = HXTVEL_OK;
    for (unsigned long i = 0; i < kinds_count && result == HXTVEL_OK; ++i) {
        if (!rows[i].empty()) result = convert_dbl_to_data(rows[i], kinds[i], i);
    }
    return result;
}

// Offers one line to every requested kind; false when the line breaks the
// format.
bool c_cgats::offer_line(const std::string &line, unsigned long kinds_count,
                         const std::vector<unsigned char> &kinds, std::vector<row_list> &rows,
                         std::vector<double> &values) {
    for (unsigned long i = 0; i < kinds_count; ++i) {
        bool error = false;
        values.clear();
        analyze_line(line.c_str(), values, kinds[i], i, error);
        if (!values.empty()) {
            rows[i].append(values);
        } else if (error) {
            return false;
        }
    }
    return true;
}

// A data line inside the data block, for all kinds at once: the same checks
// and values as analyze_line offered the line kind by kind, with the fields
// cut out once. Runs only while the trace log is quiet (it traces nothing).
bool c_cgats::analyze_data_line(std::string_view line, unsigned long kinds_count,
                                std::vector<row_list> &rows, std::vector<field_span> &fields) {
    fields.clear();
    bool delimited = false;
    const char *p = line.data();
    const char *const end = p + line.size();
    while (p < end) {
        if (*p == ' ' || *p == '\t') {
            delimited = true;
            ++p;
            continue;
        }
        const char *start = p;
        while (p < end && *p != ' ' && *p != '\t') ++p;
        fields.push_back({start, p});
    }
    if (!delimited || fields.size() != field_count_) return false;
    if (!fld_key_array_) return true;
    for (unsigned long i = 0; i < kinds_count; ++i) {
        const std::vector<uint32_t> &columns = fld_key_array_[i];
        if (columns.empty()) continue;
        if (columns.size() > fields.size()) return false;
        row_list &out = rows[i];
        for (uint32_t c : columns) {
            if (c >= fields.size()) return false;
            const field_span f = fields[c];
            for (const char *q = f.begin; q < f.end; ++q) {
                if (!is_plain_number_char(*q)) return false;
            }
            out.values.push_back(parse_plain_number(f.begin, f.end));
        }
        out.ends.push_back(out.values.size());
    }
    return true;
}

std::string c_cgats::pickup_line(const char *line, unsigned long index, bool &error) {
    HX_TRACE_SCOPE("pickup_line");
    error = false;
    const std::string text(line);
    const int code = c_cgats_utility::search_key(text);
    const bool commented = text.find(c_cgats_utility::commentstr) != std::string::npos;
    const bool record = index == 0 && !commented;
    switch (code) {
    case KEY_NUMBER_OF_FIELDS:
    case KEY_NUMBER_OF_SETS:
        if (record) {
            const unsigned long n = c_cgats_utility::split_string_to_num(text);
            if (n == 0) {
                error = true;
            } else {
                const std::string key(code == KEY_NUMBER_OF_FIELDS ? "NUMBER_OF_FIELDS" : "NUMBER_OF_SETS");
                key_num_map_.emplace(key, static_cast<int32_t>(n));  // the first one wins
            }
        }
        block_state_ = 0;
        return std::string();
    case KEY_BEGIN_DATA_FORMAT:
    case KEY_END_DATA_FORMAT:
    case KEY_BEGIN_DATA:
    case KEY_END_DATA:
        if (record) key_list_.push_back(static_cast<uint32_t>(code));
        block_state_ = code == KEY_BEGIN_DATA_FORMAT ? 1 : code == KEY_BEGIN_DATA ? 2 : 0;
        return std::string();
    default:
        return (block_state_ != 0 && !commented) ? text : std::string();
    }
}

void c_cgats::analyze_line(const char *line, std::vector<double> &values, unsigned char kind,
                           unsigned long index, bool &error) {
    HX_TRACE(HX_LV_INFO, "%s", "analyze_line in");  // "out" only when values are handed back
    bool pickup_error = false;
    std::string content = pickup_line(line, index, pickup_error);
    if (pickup_error) {
        error = true;
        HX_TRACE(HX_LV_ERROR, "%s", "check line NG");
        return;
    }
    if (content.empty()) return;
    if (block_state_ == 1) {
        analyze_format(std::move(content), kind, index);
        return;
    }
    if (content.find_first_of(" \t") == std::string::npos) {
        error = true;
        HX_TRACE(HX_LV_ERROR, "%s", "tab or space not found.");
        return;
    }
    std::vector<std::string> fields;
    c_cgats_utility::stock_in_array(c_cgats_utility::replace_space_to_tab(std::move(content)), fields);
    if (fields.size() != field_count_) {
        error = true;
        HX_TRACE(HX_LV_ERROR, "%s", "fld count and data count not match.");
        return;
    }
    if (!fld_key_array_ || fld_key_array_[index].empty()) {
        HX_TRACE(HX_LV_WARN, "%s", "fldkey or colorcnt not found.");
        return;
    }
    const std::vector<uint32_t> &columns = fld_key_array_[index];
    if (columns.size() > fields.size()) {
        error = true;
        HX_TRACE(HX_LV_WARN, "%s", "tab or space not found.");
        return;
    }
    std::vector<double> found;
    found.reserve(columns.size());
    for (uint32_t c : columns) {
        // A column at or past the end can only come from a layout spread over
        // several format lines; such a line does not fit the format.
        if (c >= fields.size() || !c_cgats_utility::is_check_string(fields[c])) {
            error = true;
            return;
        }
        const std::string &f = fields[c];
        found.push_back(parse_plain_number(f.data(), f.data() + f.size()));
    }
    values = std::move(found);
    HX_TRACE(HX_LV_INFO, "%s", "analyze_line out");
}

void c_cgats::analyze_format(std::string content, unsigned char kind, unsigned long index) {
    HX_TRACE_SCOPE("analyze_format");
    if (content.find_first_of(" \t") == std::string::npos) return;  // a lone name
    std::vector<std::string> names;
    c_cgats_utility::stock_in_array(c_cgats_utility::replace_space_to_tab(std::move(content)), names);
    field_count_ = static_cast<uint16_t>(names.size());
    const std::string prefix = c_cgats_utility::get_color_string(kind);
    for (size_t c = 0; c < names.size(); ++c) {
        const std::string &name = names[c];
        HX_TRACE(HX_LV_DEBUG, "format colorstr = %s", name.c_str());
        if (name.find(prefix) == std::string::npos) continue;
        const uint32_t column = static_cast<uint32_t>(c);
        unsigned short wavelength = 0;
        if (c_cgats_utility::is_color_check(name)) {
            HX_TRACE(HX_LV_DEBUG, "format tmp = %s", name.c_str());
            if (fld_key_array_) {
                HX_TRACE(HX_LV_DEBUG, "fld_key_array_ = %u", column);
                fld_key_array_[index].push_back(column);
            }
        } else if (c_cgats_utility::get_spectralnum(name, wavelength)) {
            HX_TRACE(HX_LV_DEBUG, "spectral tmp = %s", name.c_str());
            if (fld_key_array_) fld_key_array_[index].push_back(column);
            if (spectral_nm_array_) spectral_nm_array_[index].push_back(wavelength);
        }
    }
}

// The four block keywords, once each, uncommented, in file order.
uint32_t c_cgats::check_key_num() {
    HX_TRACE_INOUT("analyze_line in", "check_key_num out");
    if (key_list_.empty() || key_list_.size() != 4) return HXTVEL_E_FORMAT;
    std::reverse(key_list_.begin(), key_list_.end());
    for (const auto &row : c_cgats_utility::mustkeys) {
        if (!key_list_.empty() && key_list_.back() == static_cast<uint32_t>(row.code)) {
            key_list_.pop_back();
        }
    }
    return key_list_.empty() ? HXTVEL_OK : HXTVEL_E_FORMAT;
}

// NUMBER_OF_SETS must name the number of records of one of the kinds.
uint32_t c_cgats::check_numberofsets() {
    HX_TRACE_SCOPE("check_numberofsets");
    const auto it = key_num_map_.find("NUMBER_OF_SETS");
    if (it == key_num_map_.end()) {
        HX_TRACE(HX_LV_ERROR, "%s", "NUMBER OF SETS not found.");
        return HXTVEL_E_FORMAT;
    }
    const uint32_t sets = static_cast<uint32_t>(it->second);
    for (uint32_t count : {cmyk_count_, rgb_count_, lab_count_, spectral_count_, xyz_count_}) {
        if (sets == count) return HXTVEL_OK;
    }
    return HXTVEL_E_FORMAT;
}

uint32_t c_cgats::convert_dbl_to_data(const row_list &rows, unsigned char kind, unsigned long index) {
    HX_TRACE_SCOPE("convert_dbl_to_data");
    static double velRGB::*const rgb[] = {&velRGB::R, &velRGB::G, &velRGB::B};
    static double velCMYK::*const cmyk[] = {&velCMYK::C, &velCMYK::M, &velCMYK::Y, &velCMYK::K};
    static double velCIELab::*const lab[] = {&velCIELab::L, &velCIELab::a, &velCIELab::b};
    static double velCIEXYZ::*const xyz[] = {&velCIEXYZ::X, &velCIEXYZ::Y, &velCIEXYZ::Z};
    if (rows.size() > UINT32_MAX) return HXTVEL_E_MEMORY;
    switch (kind) {
    case CLR_RGB: return convert_colour(rgb_data_, rgb_count_, rows, kind, rgb);
    case CLR_CMYK: return convert_colour(cmyk_data_, cmyk_count_, rows, kind, cmyk);
    case CLR_LAB: return convert_colour(lab_data_, lab_count_, rows, kind, lab);
    case CLR_XYZ: return convert_colour(xyz_data_, xyz_count_, rows, kind, xyz);
    case CLR_SPECTRAL: {
        const uint32_t result = convert_spectral(rows, index);
        if (result == HXTVEL_E_NODATA) hx_trace_scope_.cancel();
        return result;
    }
    default: return HXTVEL_OK;
    }
}

// RGB, CMYK, Lab and XYZ rows: each must hold the kind's number of values,
// in range (XYZ is not range-checked when read), taken in column order.
template <typename T, size_t N>
uint32_t c_cgats::convert_colour(T *&stored, uint32_t &stored_count, const row_list &rows,
                                 unsigned char kind, double T::*const (&members)[N]) {
    const uint32_t n = static_cast<uint32_t>(rows.size());
    release_color_memory(kind);  // data stored before the read is replaced
    stored = new (std::nothrow) T[n];
    if (!stored) {
        release_color_memory(kind);
        return HXTVEL_E_MEMORY;
    }
    const bool quiet = trace_quiet();
    size_t begin = 0;
    for (uint32_t r = 0; r < n; ++r) {
        const double *row = rows.values.data() + begin;
        const size_t len = rows.ends[r] - begin;
        begin = rows.ends[r];
        uint32_t result = c_cgats_utility::check_datasize(len, kind);
        if (result == HXTVEL_OK && kind != CLR_XYZ) {
            if (!quiet) {
                result = c_cgats_utility::check_datarange(std::vector<double>(row, row + len), kind);
            } else {  // the same test without the copy check_datarange takes
                for (size_t i = 0; i < len && result == HXTVEL_OK; ++i) {
                    if (!c_cgats_utility::is_range_data(row[i], kind, i == 0 && kind == CLR_LAB)) {
                        result = HXTVEL_E_RANGE;
                    }
                }
            }
        }
        if (result != HXTVEL_OK) {
            stored_count = n;
            release_color_memory(kind);
            return result;
        }
        for (size_t i = 0; i < N; ++i) stored[r].*members[i] = row[i];
    }
    stored_count = n;
    return HXTVEL_OK;
}

// Spectral rows: one record per row with the layout of the sorted
// wavelengths and the row's values in column order.
uint32_t c_cgats::convert_spectral(const row_list &rows, unsigned long index) {
    if (!spectral_nm_array_ || spectral_nm_array_[index].empty()) return HXTVEL_E_NODATA;
    const uint32_t n = static_cast<uint32_t>(rows.size());
    release_color_memory(CLR_SPECTRAL);
    spectral_data_ = new (std::nothrow) velSPECTRO_REF[n]();
    if (!spectral_data_) return HXTVEL_E_MEMORY;
    const size_t columns = spectral_nm_array_[index].size();
    const bool quiet = trace_quiet();
    unsigned short start = 0, end = 0, step = 0;
    size_t begin = 0;
    for (uint32_t r = 0; r < n; ++r) {
        if (r == 0 || !quiet) {  // the same layout every time: sorting is idempotent
            start = end = step = 0;
            get_spectral(start, end, step, index);
        }
        velSPECTRO_REF &rec = spectral_data_[r];
        rec.start = start;
        rec.end = end;
        rec.pitch = step;
        // Every reader of a record takes as many values as its layout names.
        // Wavelengths that span more samples than there are columns (uneven
        // or repeated wavelengths) cannot be stored.
        if (hxtvel::spectrcount_per_line(rec) > columns) {
            spectral_count_ = n;
            release_color_memory(CLR_SPECTRAL);
            return HXTVEL_E_FORMAT;
        }
        rec.data = new (std::nothrow) double[columns]();
        if (!rec.data) {
            spectral_count_ = n;
            release_color_memory(CLR_SPECTRAL);
            return HXTVEL_E_MEMORY;
        }
        const size_t len = std::min(rows.ends[r] - begin, columns);
        std::memcpy(rec.data, rows.values.data() + begin, len * sizeof(double));
        begin = rows.ends[r];
    }
    spectral_count_ = n;
    return HXTVEL_OK;
}

void c_cgats::get_spectral(unsigned short &start, unsigned short &end, unsigned short &step,
                           unsigned long index) {
    HX_TRACE_SCOPE("get_spectral");
    if (!spectral_nm_array_ || spectral_nm_array_[index].empty()) {
        start = end = step = 0;
        return;
    }
    std::vector<uint16_t> &nm = spectral_nm_array_[index];
    std::sort(nm.begin(), nm.end());
    start = nm.front();
    end = nm.back();
    uint16_t sum = 0;  // wraps modulo 65536
    for (uint16_t w : nm) sum = static_cast<uint16_t>(sum + w);
    const int64_t m = static_cast<int64_t>(nm.size());
    if (m < 2) return;
    step = static_cast<unsigned short>((2 * int64_t{sum}) / (m * (m - 1)) - (2 * int64_t{start}) / (m - 1));
}

// =====================================================================
// CGATS writer and text export
// =====================================================================

// The output file behind a large buffer. Every failure to hand bytes to the
// file, and a failed close, throws write_failure.
class c_cgats::out_sink {
public:
    out_sink() = default;
    ~out_sink() {
        if (fd_ >= 0) ::close(fd_);
    }
    out_sink(const out_sink &) = delete;
    out_sink &operator=(const out_sink &) = delete;

    bool open(const char *path) {
        if (!path) return false;
        do {
            fd_ = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        } while (fd_ < 0 && errno == EINTR);
        return fd_ >= 0;
    }

    void put(std::string_view text) {
        if (text.empty()) return;
        if (text.size() > static_cast<size_t>(end_ - pos_)) {
            flush();
            if (text.size() > static_cast<size_t>(end_ - pos_)) {
                write_all(text.data(), text.size());
                return;
            }
        }
        std::memcpy(pos_, text.data(), text.size());
        pos_ += text.size();
    }
    void put(char c) {
        if (pos_ == end_) flush();
        *pos_++ = c;
    }
    void put_uint(unsigned long value) {
        room(24);
        pos_ = std::to_chars(pos_, pos_ + 24, value).ptr;
    }
    void put_fixed(double value, int decimals) {
        room(kFixedTextMax);
        pos_ = format_fixed(pos_, value, decimals);
    }

    // Hands everything to the file and closes it.
    void close() {
        flush();
        const int fd = fd_;
        fd_ = -1;
        if (::close(fd) != 0 && errno != EINTR) throw write_failure();
    }

private:
    // The buffer starts small, so that small files cost little, and doubles
    // on each flush up to its full size.
    static constexpr size_t kFirst = 16 * 1024;
    static constexpr size_t kSize = 256 * 1024;

    void room(size_t n) {
        if (static_cast<size_t>(end_ - pos_) < n) flush();
    }
    void flush() {
        if (!buf_) {  // the buffer is made on first use
            buf_.reset(new char[kFirst]);
            pos_ = buf_.get();
            end_ = pos_ + kFirst;
            return;
        }
        write_all(buf_.get(), static_cast<size_t>(pos_ - buf_.get()));
        size_t cap = static_cast<size_t>(end_ - buf_.get());
        if (cap < kSize) {  // without memory for a larger one, the old one serves
            if (char *bigger = new (std::nothrow) char[cap * 2]) {
                buf_.reset(bigger);
                cap *= 2;
            }
        }
        pos_ = buf_.get();
        end_ = pos_ + cap;
    }
    void write_all(const char *p, size_t n) {
        while (n > 0) {
            const ssize_t w = ::write(fd_, p, n);
            if (w < 0 && errno == EINTR) continue;
            if (w <= 0) throw write_failure();
            p += w;
            n -= static_cast<size_t>(w);
        }
    }

    int fd_ = -1;
    std::unique_ptr<char[]> buf_;
    char *pos_ = nullptr;
    char *end_ = nullptr;
};

uint32_t c_cgats::write_cgats(const char *path) {
    HX_TRACE_SCOPE("write_cgats");
    uint32_t result;
    {
        lock_guard guard(lock_);
        HX_TRACE(HX_LV_WARN, "%s", "write_cgats lockin");
        result = write_cgats_locked(path);
    }
    HX_TRACE(HX_LV_WARN, "%s", "write_cgats lockout");
    return result;
}

uint32_t c_cgats::write_cgats_locked(const char *path) {
    const unsigned long sets = c_cgats_utility::get_datacount(rgb_count_, cmyk_count_, lab_count_,
                                                              xyz_count_, spectral_count_);
    if (sets == 0) return HXTVEL_E_NODATA;
    out_sink out;
    if (!out.open(path)) return HXTVEL_E_OPEN;
    try {
        const std::string_view tab = c_cgats_utility::tabdelim;
        uint32_t fields = 0;
        std::string format;
        get_field(tab, fields, format);
        write_format(out, tab, fields, sets, format);
        out.put("BEGIN_DATA\n");
        write_data(out, tab, sets, true);
        out.put("END_DATA\n");
        out.close();
        return HXTVEL_OK;
    } catch (const write_failure &) {
        return HXTVEL_E_WRITE;
    } catch (...) {  // containers out of memory
        return HXTVEL_E_MEMORY;
    }
}

void c_cgats::get_field(std::string_view delim, uint32_t &count, std::string &format) {
    HX_TRACE_SCOPE("get_field");
    std::vector<std::string> names{"SAMPLE_ID"};
    auto add = [&names](size_t first, size_t n) {
        for (size_t i = first; i < first + n; ++i) {
            names.emplace_back(c_cgats_utility::colorstr[i]);
        }
    };
    if (rgb_data_) add(0, 3);
    if (cmyk_data_) add(3, 4);
    if (lab_data_) add(7, 3);
    if (xyz_data_) add(10, 3);
    if (spectral_data_) {
        const velSPECTRO_REF &first = spectral_data_[0];
        const uint16_t n = c_cgats_utility::spectrcount_per_line(first);
        for (uint16_t k = 0; k < n; ++k) {
            const uint16_t nm = static_cast<uint16_t>(first.start + k * first.pitch);
            names.push_back(std::string(c_cgats_utility::spectstr) + std::to_string(nm));
        }
    }
    std::string joined;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i) joined += delim;
        joined += names[i];
    }
    format = std::move(joined);
    count = static_cast<uint32_t>(names.size());
}

void c_cgats::write_format(out_sink &out, std::string_view delim, uint32_t fields,
                           unsigned long sets, const std::string &format) {
    HX_TRACE_SCOPE("write_format");
    out.put("CGATS.17\n");

    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char created[96];
    std::snprintf(created, sizeof created, "\"%02d/%02d/%04d\" # Time: %02d:%02d\n",
                  local.tm_mon + 1, local.tm_mday, local.tm_year + 1900, local.tm_hour,
                  local.tm_min);
    out.put("CREATED");
    out.put(delim);
    out.put(created);

    if (sensor_info_) {
        const velSensorInfo &si = *sensor_info_;
        const std::string filter = c_cgats_utility::get_writefmtval(si.filter, WFK_FILTER);
        const std::string light = c_cgats_utility::get_writefmtval(si.illumination, WFK_ILLUMINATION);
        const std::string observer = c_cgats_utility::get_writefmtval(si.observer, WFK_OBSERVER);
        const std::string backing = c_cgats_utility::get_writefmtval(si.backing, WFK_BACKING);
        out.put("INSTRUMENTATION");
        out.put(delim);
        out.put('"');
        out.put(std::string_view(si.instrument, ::strnlen(si.instrument, sizeof si.instrument)));
        out.put("\"\n");
        out.put("MEASUREMENT_SOURCE");
        out.put(delim);
        out.put("\"Filter=");
        out.put(filter);
        out.put(delim);
        out.put("Illumination=");
        out.put(light);
        out.put(delim);
        out.put("ObserverAngle=");
        out.put(observer);
        out.put(delim);
        out.put("WhiteBase=Abs\"\n");
        out.put("SAMPLE_BACKING");
        out.put(delim);
        out.put('"');
        out.put(backing);
        out.put("\"\n");
        out.put("INSIDE_TEMPERATURE");
        out.put(delim);
        out.put_uint(si.temperature);
        out.put('\n');
        out.put("INSIDE_HUMIDITY");
        out.put(delim);
        out.put_uint(si.humidity);
        out.put('\n');
    }
    out.put("NUMBER_OF_FIELDS");
    out.put(delim);
    out.put_uint(fields);
    out.put("\nBEGIN_DATA_FORMAT\n");
    out.put(format);
    out.put("\nEND_DATA_FORMAT\nNUMBER_OF_SETS");
    out.put(delim);
    out.put_uint(sets);
    out.put('\n');
}

void c_cgats::write_data(out_sink &out, std::string_view delim, unsigned long sets,
                         bool sample_number) {
    HX_TRACE_SCOPE("write_data");
    const bool quiet = trace_quiet();
    const uint16_t spectral_values =
        spectral_data_ ? c_cgats_utility::spectrcount_per_line(spectral_data_[0]) : 0;
    bool first = true;
    auto value = [&](double v, unsigned char flag) {
        if (!first) out.put(delim);
        first = false;
        if (quiet) {
            out.put_fixed(v, flag == CLR_SPECTRAL ? 4 : 2);
        } else {
            out.put(c_cgats_utility::double_to_string(v, flag));
        }
    };
    for (unsigned long i = 0; i < sets; ++i) {
        first = true;
        if (sample_number) {
            out.put_uint(i + 1);
            first = false;
        }
        if (rgb_data_) {
            const velRGB &v = rgb_data_[i];
            value(v.R, CLR_RGB);
            value(v.G, CLR_RGB);
            value(v.B, CLR_RGB);
        }
        if (cmyk_data_) {
            const velCMYK &v = cmyk_data_[i];
            value(v.C, CLR_CMYK);
            value(v.M, CLR_CMYK);
            value(v.Y, CLR_CMYK);
            value(v.K, CLR_CMYK);
        }
        if (lab_data_) {
            const velCIELab &v = lab_data_[i];
            value(v.L, CLR_LAB);
            value(v.a, CLR_LAB);
            value(v.b, CLR_LAB);
        }
        if (xyz_data_) {
            const velCIEXYZ &v = xyz_data_[i];
            value(v.X, CLR_XYZ);
            value(v.Y, CLR_XYZ);
            value(v.Z, CLR_XYZ);
        }
        if (spectral_data_ && spectral_data_[i].data) {
            const double *d = spectral_data_[i].data;
            for (uint16_t k = 0; k < spectral_values; ++k) value(d[k], CLR_SPECTRAL);
        }
        out.put('\n');
    }
}

uint32_t c_cgats::write_text(const char *path, uint32_t type) {
    HX_TRACE_SCOPE("write_text");
    uint32_t result;
    {
        lock_guard guard(lock_);
        HX_TRACE(HX_LV_WARN, "%s", "write_text lockin");
        result = write_text_locked(path, type);
    }
    HX_TRACE(HX_LV_WARN, "%s", "write_text lockout");
    return result;
}

uint32_t c_cgats::write_text_locked(const char *path, uint32_t type) {
    if (type > 1) return HXTVEL_E_ARG;
    const std::string_view delim = type == HXTVEL_FILE_COMMA ? std::string_view(",")
                                                             : c_cgats_utility::tabdelim;
    const unsigned long sets = c_cgats_utility::get_datacount(rgb_count_, cmyk_count_, lab_count_,
                                                              xyz_count_, spectral_count_);
    if (sets == 0) return HXTVEL_E_NODATA;
    out_sink out;
    if (!out.open(path)) return HXTVEL_E_OPEN;
    try {
        write_data(out, delim, sets, false);
        out.close();
        return HXTVEL_OK;
    } catch (const write_failure &) {
        return HXTVEL_E_WRITE;
    } catch (...) {  // containers out of memory
        return HXTVEL_E_MEMORY;
    }
}

}  // namespace hxtvel
