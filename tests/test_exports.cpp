// The shared library as a host sees it: exported names, and a set/get round
// through dlopen/dlsym.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "hxtvel.h"

#ifndef HXTVEL_SHARED_LIBRARY
#error "HXTVEL_SHARED_LIBRARY must name the built libhxtvel.so"
#endif

namespace {

const std::set<std::string> kExported = {
    // measurement instance
    "HXTVEL_CreateCGATSInstance", "HXTVEL_DeleteCGATSInstance", "HXTVEL_ReadCGATS",
    "HXTVEL_WriteCGATS", "HXTVEL_WriteText", "HXTVEL_SetLAB", "HXTVEL_GetLAB", "HXTVEL_SetXYZ",
    "HXTVEL_GetXYZ", "HXTVEL_SetRGB", "HXTVEL_GetRGB", "HXTVEL_SetCMYK", "HXTVEL_GetCMYK",
    "HXTVEL_SetSpectroRef", "HXTVEL_GetSpectroRef", "HXTVEL_SetSensorInfo",
    // chart
    "HXTVEL_CreateMChartInstance", "HXTVEL_DeleteMChartInstance", "HXTVEL_SetMChartData_RGB",
    "HXTVEL_SetMChartData_CMYK", "HXTVEL_SetMChartSetting", "HXTVEL_GetMChartData",
    "HXTVEL_GetPatchWCountByWidth", "HXTVEL_GetPageSize", "HXTVEL_CalcTiffInfo",
    "HXTVEL_CalcTiffWidthInfo", "HXTVEL_CalcTiffHeightInfo", "HXTVEL_CreateTiff",
    "HXTVEL_CreateTiff_M",
    // conversion, colour difference, wedge division
    "HXTVEL_SpectroRefToLAB", "HXTVEL_SpectroRefToXYZ", "HXTVEL_DeltaE", "HXTVEL_GetMChartIDList",
    "HXTVEL_GetSpectrorefByMChartID",
    // trace log
    "trace_level", "trace_proc_name", "trace_remove", "trace_set_olevel", "trace_pos", "trace_msg"};

TEST(Exports, ExactlyTheInterfaceIsExported) {
    ASSERT_EQ(kExported.size(), 40u);
    const std::string cmd = std::string("nm -D --defined-only '") + HXTVEL_SHARED_LIBRARY + "'";
    FILE *p = popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::set<std::string> found;
    char line[1024];
    while (fgets(line, sizeof line, p)) {
        char addr[64], type[8], name[900];
        if (sscanf(line, "%63s %7s %899s", addr, type, name) == 3) found.insert(name);
    }
    ASSERT_EQ(pclose(p), 0);
    for (const std::string &name : kExported) EXPECT_TRUE(found.count(name)) << "missing " << name;
    for (const std::string &name : found) EXPECT_TRUE(kExported.count(name)) << "extra " << name;
}

class Host : public testing::Test {
protected:
    void SetUp() override {
        lib_ = dlopen(HXTVEL_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(lib_, nullptr) << dlerror();
    }
    void TearDown() override {
        if (lib_) dlclose(lib_);
    }
    template <typename F>
    F sym(const char *name) {
        void *p = dlsym(lib_, name);
        EXPECT_NE(p, nullptr) << name;
        return reinterpret_cast<F>(p);
    }
    void *lib_ = nullptr;
};

TEST_F(Host, SetGetRoundThroughDlsym) {
    auto create = sym<void *(*)()>("HXTVEL_CreateCGATSInstance");
    auto destroy = sym<void (*)(void *)>("HXTVEL_DeleteCGATSInstance");
    auto set_lab = sym<uint32_t (*)(void *, const velCIELab *, uint32_t)>("HXTVEL_SetLAB");
    auto get_lab = sym<uint32_t (*)(void *, velCIELab *, uint32_t *)>("HXTVEL_GetLAB");
    auto set_sensor = sym<uint32_t (*)(void *, velSensorInfo)>("HXTVEL_SetSensorInfo");
    ASSERT_TRUE(create && destroy && set_lab && get_lab && set_sensor);

    void *h = create();
    ASSERT_NE(h, nullptr);
    const velCIELab in[2] = {{50, 10, -10}, {100, -128, 128}};
    EXPECT_EQ(set_lab(h, in, 2), 0u);
    EXPECT_EQ(set_lab(nullptr, in, 2), 107u);
    uint32_t n = 0;
    EXPECT_EQ(get_lab(h, nullptr, &n), 0u);
    ASSERT_EQ(n, 2u);
    velCIELab out[2];
    EXPECT_EQ(get_lab(h, out, &n), 0u);
    EXPECT_EQ(out[1].a, -128.0);
    velSensorInfo s{};
    s.illumination = 12;  // passed by value through the C calling convention
    EXPECT_EQ(set_sensor(h, s), 105u);
    s.illumination = 11;
    EXPECT_EQ(set_sensor(h, s), 0u);
    destroy(h);
    destroy(nullptr);
}

}  // namespace
