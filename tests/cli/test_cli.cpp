// The hxtvel tool end to end: every subcommand's success path, its messages
// and exit status for bad input, and the demo from an empty directory.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "hxtvel.h"
#include "test_support.h"

using hxtvel_test::file_exists;
using hxtvel_test::read_file;
using hxtvel_test::TempDir;
using hxtvel_test::write_file;

namespace {

struct Result {
    int status;
    std::string out, err;
};

Result run(const std::string &args, const std::string &cwd = ".") {
    TempDir tmp;
    const std::string out = tmp.file("out"), err = tmp.file("err");
    const std::string cmd = "cd '" + cwd + "' && '" + HXTVEL_CLI + "' " + args + " >'" + out + "' 2>'" + err + "'";
    const int rc = std::system(cmd.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, read_file(out), read_file(err)};
}

std::vector<std::string> list_dir(const std::string &dir) {
    std::vector<std::string> names;
    if (DIR *d = opendir(dir.c_str())) {
        while (dirent *e = readdir(d)) {
            const std::string n = e->d_name;
            if (n != "." && n != "..") names.push_back(n);
        }
        closedir(d);
    }
    return names;
}

bool no_temporaries(const std::string &dir) {
    for (const std::string &n : list_dir(dir)) {
        if (n.find(".tmp") != std::string::npos) return false;
    }
    return true;
}

// A CGATS file made by the library itself.
void write_lab_file(const std::string &path, const std::vector<velCIELab> &lab) {
    void *m = HXTVEL_CreateCGATSInstance();
    ASSERT_EQ(HXTVEL_SetLAB(m, lab.data(), uint32_t(lab.size())), 0u);
    ASSERT_EQ(HXTVEL_WriteCGATS(m, path.c_str()), 0u);
    HXTVEL_DeleteCGATSInstance(m);
}

const std::string kLabFile =
    "CGATS.17\nNUMBER_OF_FIELDS\t4\nBEGIN_DATA_FORMAT\nSAMPLE_ID\tLAB_L\tLAB_A\tLAB_B\nEND_DATA_FORMAT\n"
    "NUMBER_OF_SETS\t2\nBEGIN_DATA\n1\t50.00\t10.00\t-10.00\n2\t60.00\t0.00\t5.00\nEND_DATA\n";

// The demo's outputs serve as inputs for the stream and compare tests.
class Demo : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = new TempDir();
        result_ = new Result(run("demo --out '" + dir_->file("round") + "'"));
    }
    static void TearDownTestSuite() {
        delete result_;
        delete dir_;
    }
    static std::string file(const std::string &name) { return dir_->file("round/" + name); }
    static TempDir *dir_;
    static Result *result_;
};
TempDir *Demo::dir_ = nullptr;
Result *Demo::result_ = nullptr;

}  // namespace

// ------------------------------------------------------------------ general

TEST(Cli, VersionAndHelp) {
    Result v = run("--version");
    EXPECT_EQ(v.status, 0);
    EXPECT_NE(v.out.find("hxtvel 1.0.0"), std::string::npos) << v.out;
    Result h = run("--help");
    EXPECT_EQ(h.status, 0);
    for (const char *sub : {"demo", "chart", "charts", "extract", "compare", "export", "Exit status"}) {
        EXPECT_NE(h.out.find(sub), std::string::npos) << sub;
    }
    for (const char *sub : {"demo", "chart", "charts", "extract", "compare", "export"}) {
        Result s = run(std::string(sub) + " --help");
        EXPECT_EQ(s.status, 0) << sub;
        EXPECT_NE(s.out.find("Exit status"), std::string::npos) << sub;
    }
}

struct UsageCase {
    const char *args;
    const char *message;
};
class CliUsage : public testing::TestWithParam<UsageCase> {};
TEST_P(CliUsage, ExitsWithStatus2) {
    TempDir dir;
    write_file(dir.file("p.csv"), "0,0,0,100\n");
    const Result r = run(GetParam().args, dir.path());
    EXPECT_EQ(r.status, 2) << r.err;
    EXPECT_NE(r.err.find(GetParam().message), std::string::npos) << r.err;
}
INSTANTIATE_TEST_SUITE_P(
    BadCommandLines, CliUsage,
    testing::Values(UsageCase{"", "subcommand"}, UsageCase{"frobnicate", ""},
                    UsageCase{"chart p.csv", "--output"}, UsageCase{"chart p.csv -o x --page B7", "--page"},
                    UsageCase{"chart p.csv -o x --patch 6", "--patch"},
                    UsageCase{"chart p.csv -o x --layout middle", "--layout"},
                    UsageCase{"extract s.bin --chart 300 -o x", "--chart"},
                    UsageCase{"export in.cgats -o x", "--csv"},
                    UsageCase{"export in.cgats -o x --csv --tsv", "excludes"},
                    UsageCase{"compare a b --method 99", "--method"}));

// -------------------------------------------------------------------- demo

TEST_F(Demo, RunsFromAnEmptyDirectoryAndSummarises) {
    ASSERT_EQ(result_->status, 0) << result_->err;
    for (const char *f : {"chart0.tif", "chart1.tif", "reference.cgats", "measurement.spectrobin",
                          "measurement.cgats", "measurement.csv"}) {
        EXPECT_TRUE(file_exists(file(f))) << f;
    }
    EXPECT_TRUE(no_temporaries(dir_->file("round")));
    EXPECT_NE(result_->out.find("CIEDE2000 measured vs reference: mean"), std::string::npos) << result_->out;
    EXPECT_NE(result_->out.find("95th percentile"), std::string::npos);
}

TEST_F(Demo, MeasurementReadsBackThroughTheLibrary) {
    void *m = HXTVEL_CreateCGATSInstance();
    ASSERT_EQ(HXTVEL_ReadCGATS(m, file("measurement.cgats").c_str(), HXTVEL_CLR_LAB | HXTVEL_CLR_SPECTRAL), 0u);
    uint32_t lab = 0, spectra = 0;
    uint16_t values = 0;
    HXTVEL_GetLAB(m, nullptr, &lab);
    HXTVEL_GetSpectroRef(m, nullptr, &spectra, &values);
    EXPECT_GT(lab, 150u);
    EXPECT_EQ(spectra, lab);
    EXPECT_EQ(values, 31);
    HXTVEL_DeleteCGATSInstance(m);
    EXPECT_EQ(hxtvel_test::split_lines(read_file(file("measurement.csv"))).size(), lab);
}

// ------------------------------------------------------------ stream tools

TEST_F(Demo, ChartsListsTheStream) {
    const Result r = run("charts '" + file("measurement.spectrobin") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("2 charts"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("chart   1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("illumination D50"), std::string::npos) << r.out;
}

TEST_F(Demo, TruncatedStreamIsRefusedBeforeTheLibraryReadsIt) {
    TempDir dir;
    const std::string bytes = read_file(file("measurement.spectrobin"));
    for (size_t cut : {size_t(10), size_t(40), bytes.size() / 2, bytes.size() - 1}) {
        write_file(dir.file("cut.bin"), bytes.substr(0, cut));
        const Result r = run("charts '" + dir.file("cut.bin") + "'");
        EXPECT_EQ(r.status, 3) << cut;
        EXPECT_NE(r.err.find("not a complete spectrobin stream"), std::string::npos) << r.err;
    }
}

TEST_F(Demo, ExtractWritesOneChartOrNamesTheCharts) {
    TempDir dir;
    const std::string stream = " '" + file("measurement.spectrobin") + "' ";
    const Result r = run("extract" + stream + "--chart 2 --xyz --illuminant D65 -o '" + dir.file("c2.cgats") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string text = read_file(dir.file("c2.cgats"));
    for (const char *want : {"Illumination=D65", "XYZ_X", "SPECTRAL_700"}) EXPECT_NE(text.find(want), std::string::npos);
    const Result missing = run("extract" + stream + "--chart 9 -o '" + dir.file("x") + "'");
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("chart 9 is not in the stream (charts: 1, 2)"), std::string::npos) << missing.err;
    EXPECT_EQ(list_dir(dir.path()), std::vector<std::string>{"c2.cgats"});  // no temporaries, no x
}

// ------------------------------------------------------------------ compare

TEST_F(Demo, CompareSummarisesAndGatesOnTolerance) {
    const std::string files = " '" + file("reference.cgats") + "' '" + file("measurement.cgats") + "'";
    const Result plain = run("compare" + files + " --summary");
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_NE(plain.out.find("dE00: mean"), std::string::npos) << plain.out;
    EXPECT_NE(plain.out.find("worst: patch"), std::string::npos);
    EXPECT_EQ(run("compare" + files + " --tolerance 0.01").status, 1);
    const Result pass = run("compare" + files + " --tolerance 100 --method cmc21");
    EXPECT_EQ(pass.status, 0);
    EXPECT_NE(pass.out.find("PASS"), std::string::npos);
}

TEST(CliCompare, HandComputedDifferenceAndPatchCounts) {
    TempDir dir;
    write_lab_file(dir.file("a.cgats"), {{50, 0, 0}, {60, 10, 10}});
    write_lab_file(dir.file("b.cgats"), {{50, 0, 10}, {60, 10, 10}});
    write_lab_file(dir.file("c.cgats"), {{50, 0, 10}});
    const Result r = run("compare a.cgats b.cgats --method 76", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("mean 5.00, max 10.00 (patch 1)"), std::string::npos) << r.out;
    const Result c = run("compare a.cgats c.cgats", dir.path());
    EXPECT_EQ(c.status, 3);
    EXPECT_NE(c.err.find("different numbers of patches"), std::string::npos) << c.err;
}

// A valid file with one change must be refused with the rule it breaks.
struct BrokenFile {
    const char *name;
    const char *from, *to;
    const char *message;
};
class CliCgatsDiagnosis : public testing::TestWithParam<BrokenFile> {};
TEST_P(CliCgatsDiagnosis, NamesTheBrokenRule) {
    TempDir dir;
    write_lab_file(dir.file("ok.cgats"), {{50, 0, 0}, {60, 10, 10}});
    std::string text = kLabFile;
    const size_t at = text.find(GetParam().from);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, std::string(GetParam().from).size(), GetParam().to);
    write_file(dir.file("bad.cgats"), text);
    const Result r = run("compare ok.cgats bad.cgats", dir.path());
    EXPECT_EQ(r.status, 3) << r.out;
    EXPECT_NE(r.err.find(std::string("bad.cgats: ") + GetParam().message), std::string::npos) << r.err;
}
INSTANTIATE_TEST_SUITE_P(
    Rules, CliCgatsDiagnosis,
    testing::Values(
        BrokenFile{"sets", "NUMBER_OF_SETS\t2", "NUMBER_OF_SETS\t3", "NUMBER_OF_SETS does not match the data rows"},
        BrokenFile{"nosets", "NUMBER_OF_SETS\t2\n", "", "NUMBER_OF_SETS is missing"},
        BrokenFile{"setsword", "NUMBER_OF_SETS\t2", "NUMBER_OF_SETS\ttwo", "line 6: NUMBER_OF_SETS is not followed"},
        BrokenFile{"fields", "2\t60.00\t0.00\t5.00", "2\t60.00\t0.00", "line 9: 3 fields, but the data format names 4"},
        BrokenFile{"exponent", "60.00", "6e1", "line 9: '6e1' in column LAB_L is not a plain number"},
        BrokenFile{"range", "60.00", "100.50", "line 9: LAB_L = 100.50 is outside 0 to 100"},
        BrokenFile{"nobegin", "BEGIN_DATA\n", "", "NUMBER_OF_SETS does not match the data rows: it says 2, the data block holds 0 (BEGIN_DATA is missing"},
        BrokenFile{"noformatend", "END_DATA_FORMAT\n", "", "END_DATA_FORMAT is missing"},
        BrokenFile{"twice", "END_DATA\n", "END_DATA\nEND_DATA\n", "END_DATA appears 2 times"},
        BrokenFile{"onecolumn", "LAB_A", "LAB_X", "the data format has 2 LAB_ columns, but Lab needs 3"}),
    [](const testing::TestParamInfo<BrokenFile> &i) { return std::string(i.param.name); });

// ------------------------------------------------------------------- export

// Exit status 3 for a missing input, 4 for an unwritable output (and no file
// left behind).
TEST(CliExport, CsvTsvAndFailures) {
    TempDir dir;
    write_file(dir.file("in.cgats"), kLabFile);
    ASSERT_EQ(run("export in.cgats --csv -o out.csv", dir.path()).status, 0);
    EXPECT_EQ(read_file(dir.file("out.csv")), "50.00,10.00,-10.00\n60.00,0.00,5.00\n");
    ASSERT_EQ(run("export in.cgats --tsv -o out.tsv", dir.path()).status, 0);
    EXPECT_EQ(read_file(dir.file("out.tsv")), "50.00\t10.00\t-10.00\n60.00\t0.00\t5.00\n");
    const Result missing = run("export /nonexistent/in.cgats --csv -o x.csv", dir.path());
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("/nonexistent/in.cgats"), std::string::npos) << missing.err;
    const Result unwritable = run("export in.cgats --csv -o missing/out.csv", dir.path());
    EXPECT_EQ(unwritable.status, 4) << unwritable.err;
    EXPECT_NE(unwritable.err.find("missing/out.csv"), std::string::npos) << unwritable.err;
    EXPECT_EQ(list_dir(dir.path()).size(), 3u);  // in, out.csv, out.tsv
}

// -------------------------------------------------------------------- chart

TEST(CliChart, CsvPatchesToPagesInBothModes) {
    TempDir dir;
    std::string csv = "C,M,Y,K\n";
    for (int i = 0; i < 40; ++i) csv += std::to_string(i * 2.5) + ",0,0," + std::to_string(100 - i * 2.5) + "\n";
    write_file(dir.file("p.csv"), csv);
    const std::string common = "chart p.csv --page 60x80 --dpi 100 --patch 10x10 --layout br-up";
    const Result files = run(common + " -o f", dir.path());
    ASSERT_EQ(files.status, 0) << files.err;
    EXPECT_NE(files.out.find("40 CMYK patches on 2 pages"), std::string::npos) << files.out;
    EXPECT_NE(files.out.find("page 1:"), std::string::npos);
    const Result mem = run(common + " --memory -o m", dir.path());
    ASSERT_EQ(mem.status, 0) << mem.err;
    for (const char *page : {"0.tif", "1.tif"}) {
        const std::string a = read_file(dir.file(std::string("f") + page));
        EXPECT_FALSE(a.empty());
        EXPECT_EQ(a, read_file(dir.file(std::string("m") + page))) << "without white bars both modes agree";
    }
    EXPECT_TRUE(no_temporaries(dir.path()));
}

TEST(CliChart, RgbFromCgats) {
    TempDir dir;
    void *m = HXTVEL_CreateCGATSInstance();
    const velRGB rgb[3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
    HXTVEL_SetRGB(m, rgb, 3);
    HXTVEL_WriteCGATS(m, dir.file("rgb.cgats").c_str());
    HXTVEL_DeleteCGATSInstance(m);
    const Result r = run("chart rgb.cgats -o page --no-bar --dpi 72", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("3 RGB patches on 1 page"), std::string::npos) << r.out;
    EXPECT_TRUE(file_exists(dir.file("page0.tif")));
}

struct ChartFailure {
    const char *name;
    const char *csv;
    const char *args;
    int status;
    const char *message;
};
class CliChartFailure : public testing::TestWithParam<ChartFailure> {};
TEST_P(CliChartFailure, ClearMessageAndNothingWritten) {
    TempDir dir;
    write_file(dir.file("p.csv"), GetParam().csv);
    const Result r = run(std::string("chart p.csv -o out/c ") + GetParam().args, dir.path());
    EXPECT_EQ(r.status, GetParam().status) << r.err;
    EXPECT_NE(r.err.find(GetParam().message), std::string::npos) << r.err;
    EXPECT_FALSE(file_exists(dir.file("out/c0.tif")));
}
INSTANTIATE_TEST_SUITE_P(
    Inputs, CliChartFailure,
    testing::Values(ChartFailure{"width", "1,2,3,4\n1,2,3,4,5\n", "", 3, "p.csv:2: 5 numbers, but earlier lines have 4"},
                    ChartFailure{"range", "0,0,0,101\n", "", 3, "p.csv:1: value 101"},
                    ChartFailure{"text", "R G B\n1 2 3\nx y z\n", "", 3, "p.csv:3: expected 3 (RGB) or 4 (CMYK)"},
                    ChartFailure{"empty", "", "", 3, "no patch colours found"},
                    ChartFailure{"dpi", "1,2,3\n", "--dpi 2000", 3, "resolution is out of range"},
                    ChartFailure{"nodir", "1,2,3\n", "", 4, ""}),
    [](const testing::TestParamInfo<ChartFailure> &i) { return std::string(i.param.name); });
