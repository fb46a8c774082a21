// Full disks and bad paths: every writer reports a write that fails at any
// point (open, first byte, middle, last byte, the final flush and close)
// with its code, and never reports success for a short file.
//
// Exact byte positions come from the file-size limit: in a child process
// with RLIMIT_FSIZE at k bytes (SIGXFSZ ignored) every write past byte k
// fails with EFBIG.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <map>
#include <tuple>

#include "cgats_support.h"
#include "hxtvel_mchartcreate.h"
#include "rounds.h"

namespace {

using namespace hxtvel_test;

uint32_t chart_files_of(void *chart, const std::string &t) {
    uint32_t pages = 0;
    return HXTVEL_CreateTiff(chart, t.c_str(), &pages, HXTVEL_POSBAR_ON);
}
std::vector<std::string> two_pages(const std::string &t) { return {t + "0.tif", t + "1.tif"}; }

// The instances the writers write, filled once. The small ones reach the
// file only when it is closed (the writers buffer more than they write),
// the large ones also on the way.
struct Sources {
    Measurements data{12, 3}, many{2500, 4};
    Instance m, m_large;
    Chart chart, chart_large;
    Sources() {
        EXPECT_EQ(data.store(m.h), 0u);
        EXPECT_EQ(many.store(m_large.h), 0u);
        EXPECT_EQ(prepare_chart(chart.h, true), 0u);
        const velPAreaStruct large{60, 600, 800, 254, 100, 100, 8, 4, 3};
        EXPECT_EQ(HXTVEL_SetMChartSetting(chart_large.h, large), 0u);
        EXPECT_EQ(HXTVEL_SetMChartData_RGB(chart_large.h, chart_rgb(60).data(), 60), 0u);
    }
    hxtvel::c_mchart &c() const { return *static_cast<hxtvel::c_mchart *>(chart.h); }
};

Sources &sources() {
    static Sources s;
    return s;
}

struct Writer {
    const char *name;
    uint32_t open_code, write_code;
    // The files written for a target, in order.
    std::vector<std::string> (*files)(const std::string &target);
    uint32_t (*write)(const std::string &target);
};

std::vector<std::string> as_given(const std::string &t) { return {t}; }

const Writer kWriters[] = {
    {"cgats", HXTVEL_E_OPEN, HXTVEL_E_WRITE, as_given,
     [](const std::string &t) { return HXTVEL_WriteCGATS(sources().m.h, t.c_str()); }},
    {"cgats_large", HXTVEL_E_OPEN, HXTVEL_E_WRITE, as_given,
     [](const std::string &t) { return HXTVEL_WriteCGATS(sources().m_large.h, t.c_str()); }},
    {"text", HXTVEL_E_OPEN, HXTVEL_E_WRITE, as_given,
     [](const std::string &t) { return HXTVEL_WriteText(sources().m.h, t.c_str(), HXTVEL_FILE_TAB); }},
    {"chart", HXTVEL_E_CHART_OPEN, HXTVEL_E_CHART_WRITE, two_pages,
     [](const std::string &t) { return chart_files_of(sources().chart.h, t); }},
    {"chart_large", HXTVEL_E_CHART_OPEN, HXTVEL_E_CHART_WRITE, two_pages,
     [](const std::string &t) { return chart_files_of(sources().chart_large.h, t); }},
    {"bar", HXTVEL_E_CHART_OPEN, HXTVEL_E_CHART_WRITE,
     [](const std::string &t) { return std::vector<std::string>{t + ".tif"}; },
     [](const std::string &t) { return sources().c().createpositioningbar(t.c_str(), 2, 600); }},
};

// The files of a target, each without a CGATS file's clock line.
std::vector<std::string> written(const Writer &w, const std::string &target) {
    std::vector<std::string> out;
    for (const std::string &f : w.files(target)) out.push_back(without_created_line(read_file(f)));
    return out;
}

// What the writer writes to a plain target, and the size of its largest file.
struct Reference {
    std::vector<std::string> files;
    size_t largest = 0;
};
const Reference &reference(const Writer &w) {
    static std::map<std::string, Reference> refs;
    Reference &r = refs[w.name];
    if (r.files.empty()) {
        TempDir dir;
        EXPECT_EQ(w.write(dir.file("ref")), 0u) << w.name;
        r.files = written(w, dir.file("ref"));
        for (const std::string &f : w.files(dir.file("ref"))) r.largest = std::max(r.largest, read_file(f).size());
    }
    return r;
}

// The writer run in a child whose files may not grow past `limit` bytes;
// its code, or 1000 + the signal that ended it.
uint32_t write_limited(const Writer &w, const std::string &target, rlim_t limit) {
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit r{limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &r);
        ::_exit(static_cast<int>(w.write(target)));
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? uint32_t(WEXITSTATUS(status)) : 1000u + uint32_t(WTERMSIG(status));
}

// A success must have written every file in full; a failure must carry the
// write code.
void expect_complete_or_code(const Writer &w, const std::string &target, uint32_t rc, uint32_t code) {
    if (rc == 0) {
        EXPECT_EQ(written(w, target), reference(w).files) << "success reported for a short file";
    } else {
        EXPECT_EQ(rc, code);
    }
}

// ---------------------------------------------------------------------------
// Bad targets
// ---------------------------------------------------------------------------

enum class Target { dev_full, directory, missing_directory, read_only };

struct BadTarget {
    const char *name;
    Target target;
};

class BadTargets : public testing::TestWithParam<std::tuple<Writer, BadTarget>> {};

TEST_P(BadTargets, AreReported) {
    const Writer &w = std::get<0>(GetParam());
    const Target t = std::get<1>(GetParam()).target;
    TempDir dir;
    std::string target = dir.file("out");
    const std::string first = w.files(target).front();  // the file the target names
    switch (t) {
    case Target::dev_full: ASSERT_EQ(::symlink("/dev/full", first.c_str()), 0); break;
    case Target::directory: ASSERT_EQ(::mkdir(first.c_str(), 0755), 0); break;
    case Target::missing_directory: target = dir.file("missing/out"); break;
    case Target::read_only:
        write_file(first, "old");
        ASSERT_EQ(::chmod(first.c_str(), 0444), 0);
        break;
    }
    const uint32_t rc = w.write(target);
    switch (t) {
    case Target::dev_full: EXPECT_EQ(rc, w.write_code); break;
    case Target::directory:
    case Target::missing_directory: EXPECT_EQ(rc, w.open_code); break;
    case Target::read_only:
        // Root writes a read-only file: then it must be complete.
        if (::geteuid() == 0) {
            EXPECT_EQ(rc, 0u);
            EXPECT_EQ(written(w, target), reference(w).files);
        } else {
            EXPECT_EQ(rc, w.open_code);
            EXPECT_EQ(read_file(first), "old");
        }
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Writers, BadTargets,
    testing::Combine(testing::ValuesIn(kWriters),
                     testing::Values(BadTarget{"dev_full", Target::dev_full}, BadTarget{"directory", Target::directory},
                                     BadTarget{"missing_directory", Target::missing_directory},
                                     BadTarget{"read_only", Target::read_only})),
    [](const testing::TestParamInfo<std::tuple<Writer, BadTarget>> &i) {
        return std::string(std::get<0>(i.param).name) + "_" + std::get<1>(i.param).name;
    });

// ---------------------------------------------------------------------------
// A full disk at every point of the file
// ---------------------------------------------------------------------------

// The limit as a function of the size of the largest file written.
struct Limit {
    const char *name;
    rlim_t (*of)(rlim_t size);
    bool fits;
};

const Limit kLimits[] = {
    {"nothing", [](rlim_t) { return rlim_t(0); }, false},
    {"first_byte", [](rlim_t) { return rlim_t(1); }, false},
    {"half", [](rlim_t s) { return s / 2; }, false},
    {"all_but_the_last_byte", [](rlim_t s) { return s - 1; }, false},
    {"exactly", [](rlim_t s) { return s; }, true},
};

class FileSizeLimits : public testing::TestWithParam<std::tuple<Writer, Limit>> {};

TEST_P(FileSizeLimits, FailWhereTheFileStops) {
    const Writer &w = std::get<0>(GetParam());
    const Limit &l = std::get<1>(GetParam());
    const size_t largest = reference(w).largest;
    ASSERT_GT(largest, 2u);
    TempDir dir;
    const std::string target = dir.file("out");
    const uint32_t rc = write_limited(w, target, l.of(rlim_t(largest)));
    if (l.fits) {
        EXPECT_EQ(rc, 0u);
    } else {
        EXPECT_NE(rc, 0u);
    }
    expect_complete_or_code(w, target, rc, w.write_code);
}

INSTANTIATE_TEST_SUITE_P(Writers, FileSizeLimits, testing::Combine(testing::ValuesIn(kWriters), testing::ValuesIn(kLimits)),
                         [](const testing::TestParamInfo<std::tuple<Writer, Limit>> &i) {
                             return std::string(std::get<0>(i.param).name) + "_" + std::get<1>(i.param).name;
                         });

}  // namespace
