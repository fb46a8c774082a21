// cgats.cpp - the measurement instance: store, CGATS reader and writer, text
// export.
#include "cgats.h"

#include <cstring>
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
uint32_t c_cgats::get_colour(const T *stored, uint32_t stored_count, T *data, uint32_t *count) {
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
    if (::strnlen(info.instrument, sizeof info.instrument) >= sizeof info.instrument) {
        return HXTVEL_E_RANGE;
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

uint32_t c_cgats::alloc_array_memory(uint32_t kinds_count, unsigned char kinds) {
    delete[] fld_key_array_;
    fld_key_array_ = new (std::nothrow) std::vector<uint32_t>[kinds_count];
    if (!fld_key_array_) return HXTVEL_E_MEMORY;
    if (kinds & CLR_SPECTRAL) {
        delete[] spectral_nm_array_;
        spectral_nm_array_ = new (std::nothrow) std::vector<uint16_t>[kinds_count];
        if (!spectral_nm_array_) return HXTVEL_E_MEMORY;
    }
    return HXTVEL_OK;
}

// =====================================================================
// CGATS reader
// =====================================================================

uint32_t c_cgats::read_cgats(const char *, unsigned char) {
    lock_guard guard(lock_);
    return (read_done_ || field_count_ || block_state_) ? HXTVEL_E_READDONE : HXTVEL_E_ARG;
}

// =====================================================================
// CGATS writer and text export
// =====================================================================

uint32_t c_cgats::write_cgats(const char *) { return HXTVEL_E_ARG; }
uint32_t c_cgats::write_text(const char *, HXTVEL_FileType) { return HXTVEL_E_ARG; }

}  // namespace hxtvel
