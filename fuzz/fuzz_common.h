// fuzz_common.h - what the fuzz targets share.
#ifndef HXTVEL_FUZZ_COMMON_H
#define HXTVEL_FUZZ_COMMON_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// Stops the run with a message: libFuzzer records the input as a finding.
#define FUZZ_CHECK(cond)                                                            \
    do {                                                                            \
        if (!(cond)) {                                                              \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                           \
        }                                                                           \
    } while (0)

// A private scratch path for this process.
inline std::string scratch_path(const char *name) {
    const char *dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/hxtvel_fuzz_" + std::to_string(::getpid()) + "_" + name;
}

#endif
