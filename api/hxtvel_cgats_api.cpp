// hxtvel_cgats_api.cpp - the exported measurement-instance functions: check
// the handle, forward to the instance, return its code unchanged.
#include <cstring>

#include "cgats.h"
#include "hxtvel_cgats.h"

using hxtvel::c_cgats;

namespace {
inline c_cgats *inst(void *handle) { return static_cast<c_cgats *>(handle); }
}  // namespace

extern "C" {

// A failed allocation or constructor is not turned into a null handle.
HXTVEL_API void *HXTVEL_CreateCGATSInstance(void) { return new c_cgats(); }

HXTVEL_API void HXTVEL_DeleteCGATSInstance(void *handle) {
    if (handle) inst(handle)->destroy();
}

HXTVEL_API uint32_t HXTVEL_ReadCGATS(void *handle, const char *path, uint8_t kinds) {
    return handle ? inst(handle)->read_cgats(path, kinds) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_WriteCGATS(void *handle, const char *path) {
    return handle ? inst(handle)->write_cgats(path) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_WriteText(void *handle, const char *path, HXTVEL_FileType type) {
    // Any number may arrive in the enum: read its bits, never load it as the enum.
    uint32_t raw;
    std::memcpy(&raw, &type, sizeof raw);
    return handle ? inst(handle)->write_text(path, raw) : HXTVEL_E_ARG;
}

HXTVEL_API uint32_t HXTVEL_SetLAB(void *handle, const velCIELab *data, uint32_t count) {
    return handle ? inst(handle)->set_lab(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_GetLAB(void *handle, velCIELab *data, uint32_t *count) {
    return handle ? inst(handle)->get_lab(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_SetXYZ(void *handle, const velCIEXYZ *data, uint32_t count) {
    return handle ? inst(handle)->set_xyz(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_GetXYZ(void *handle, velCIEXYZ *data, uint32_t *count) {
    return handle ? inst(handle)->get_xyz(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_SetRGB(void *handle, const velRGB *data, uint32_t count) {
    return handle ? inst(handle)->set_rgb(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_GetRGB(void *handle, velRGB *data, uint32_t *count) {
    return handle ? inst(handle)->get_rgb(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_SetCMYK(void *handle, const velCMYK *data, uint32_t count) {
    return handle ? inst(handle)->set_cmyk(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_GetCMYK(void *handle, velCMYK *data, uint32_t *count) {
    return handle ? inst(handle)->get_cmyk(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_SetSpectroRef(void *handle, const velSPECTRO_REF *data, uint32_t count) {
    return handle ? inst(handle)->set_spectroref(data, count) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_GetSpectroRef(void *handle, velSPECTRO_REF *data, uint32_t *count,
                                         uint16_t *values) {
    return handle ? inst(handle)->get_spectroref(data, count, values) : HXTVEL_E_ARG;
}
HXTVEL_API uint32_t HXTVEL_SetSensorInfo(void *handle, velSensorInfo info) {
    return handle ? inst(handle)->set_sensorinfo(info) : HXTVEL_E_ARG;
}

}  // extern "C"
