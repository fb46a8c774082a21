// The hxtvel tool end to end: every subcommand's success path, its messages
// and exit status for bad input, and the demo from an empty directory.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "hxtvel.h"
#include "spectrobin_builder.h"
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
    const std::vector<std::string> names = list_dir(dir);
    return std::none_of(names.begin(), names.end(), [](const std::string &n) { return n.find(".tmp") != n.npos; });
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
    const Result v = run("--version");
    EXPECT_TRUE(v.status == 0 && v.out.find("hxtvel 1.0.0") != std::string::npos) << v.out;
    for (const char *sub : {"", "demo ", "chart ", "charts ", "extract ", "compare ", "export ", "info "}) {
        const Result h = run(std::string(sub) + "--help");
        EXPECT_EQ(h.status, 0) << sub;
        EXPECT_NE(h.out.find("Exit status"), std::string::npos) << sub;
    }
}

// A refused command: status 2 for a bad command line, 3 for bad input, 4 for
// an output that cannot be written; the message names the fault and nothing
// is written. Each runs beside lab.cgats (two Lab patches) and its own file.
struct Refusal {
    const char *name, *file;
    std::string content, args, message;
    int status;
};
Refusal usage(const char *name, const char *args, const char *message) {
    return {name, "p.csv", "0,0,0,100\n", args, message, 2};
}
Refusal chart(const char *name, const char *csv, const char *args, const char *message, int status = 3) {
    return {name, "p.csv", csv, std::string("chart p.csv -o out/c ") + args, message, status};
}
// lab.cgats with one change.
std::string lab_with(const char *from, const char *to) {
    std::string text = kLabFile;
    return text.replace(text.find(from), std::strlen(from), to);
}
Refusal cgats(const char *name, const char *from, const char *to, const char *message) {
    return {name, "bad.cgats", lab_with(from, to), "compare lab.cgats bad.cgats", "bad.cgats: " + std::string(message),
            3};
}
// A spectrobin stream as a refused file.
Refusal stream(const char *name, const hxtvel_test::Spectrobin &s, const char *args, const char *message) {
    const std::vector<unsigned char> b = s.build();
    return {name, "s.bin", std::string(b.begin(), b.end()), args, message, 3};
}
using hxtvel_test::ChartBlock;
using hxtvel_test::Spectrobin;
class CliRefuses : public testing::TestWithParam<Refusal> {};
TEST_P(CliRefuses, WithStatusAndMessageAndNoOutput) {
    const Refusal &c = GetParam();
    TempDir dir;
    write_file(dir.file("lab.cgats"), kLabFile);
    write_file(dir.file(c.file), c.content);
    const Result r = run(c.args, dir.path());
    EXPECT_EQ(r.status, c.status) << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(list_dir(dir.path()).size(), 2u);
}
INSTANTIATE_TEST_SUITE_P(
    Commands, CliRefuses,
    testing::Values(
        usage("NoSubcommand", "", "subcommand"), usage("ChartPage", "chart p.csv -o x --page B7", "--page"),
        usage("ExportCsvAndTsv", "export lab.cgats -o x --csv --tsv", "excludes"),
        usage("ExtractChart", "extract s.bin --chart 300 -o x", "--chart"),
        usage("CompareMethod", "compare a b --method 99", "--method"),
        usage("InfoTable", "info lab.cgats --table 0", "--table"),
        chart("ChartWidth", "1,2,3,4\n1,2,3,4,5\n", "", "p.csv:2: 5 numbers, but earlier lines have 4"),
        chart("ChartEmpty", "", "", "no patch colours found"),
        // Option values out of range name the option and the range.
        usage("ChartDpiHigh", "chart p.csv -o x --dpi 2000", "hxtvel: --dpi: expected a whole number from 30 to 1200, not '2000'"),
        usage("ChartDpiZero", "chart p.csv -o x --dpi 0", "--dpi: expected a whole number from 30 to 1200, not '0'"),
        usage("ChartDpiNegative", "chart p.csv -o x --dpi -300", "--dpi: expected a whole number from 30 to 1200, not '-300'"),
        usage("ChartWhitebar", "chart p.csv -o x --whitebar 100", "--whitebar: expected a whole number from 0 to 60"),
        usage("ChartPatchTooLarge", "chart p.csv -o x --patch 500x500", "--patch 500x500: at 300 dpi a patch on this page is at most 105.0 x 281.3 mm"),
        usage("ChartWhitebarInPatch", "chart p.csv -o x --patch 5x5 --whitebar 30", "--whitebar 30: white breaks of 30 px"),
        usage("UnknownOption", "chart p.csv -o x --bogus", "hxtvel: The following argument was not expected: --bogus"),
        usage("ExportNoExtension", "export lab.cgats -o x.dat", "export: give --csv or --tsv"),
        chart("ChartValue", "1,2,300\n", "", "p.csv:1: value 300 is outside 0 to 255 (RGB)"),
        Refusal{"ChartPng", "p.png", "\x89PNG\r\n\x1a\nIHDR", "chart p.png -o c", "p.png is a PNG image, not patch colours", 3},
        Refusal{"ChartsTruncated", "cut.bin", "0123456789", "charts cut.bin", "not a complete spectrobin stream", 3},
        stream("ChartsNone", Spectrobin(), "charts s.bin", "s.bin: the stream holds no charts"),
        stream("ChartsNoBytesPerPatch", Spectrobin().add(ChartBlock().grid(65535, 65535).bytes_per_patch(0)),
               "charts s.bin", "block 0 declares patches of 0 bytes per patch"),
        stream("ExtractMorePatchesThanCells", Spectrobin().add(ChartBlock().grid(2, 2).patch_count(5)),
               "extract s.bin --chart 1 -o x", "block 0 declares 5 patches in 4 cells"),
        Refusal{"ExportNoInput", "p.csv", "", "export no/in.cgats --csv -o x.csv", "no/in.cgats", 3},
        Refusal{"ExportUnwritable", "p.csv", "", "export lab.cgats --csv -o lab.cgats/out.csv", "lab.cgats: not a directory", 4},
        Refusal{"ComparePatchCounts", "one.cgats",
                lab_with("2\nBEGIN_DATA\n1\t50.00\t10.00\t-10.00\n", "1\nBEGIN_DATA\n"),
                "compare lab.cgats one.cgats", "1 of lab.cgats not in one.cgats: 1", 3},
        cgats("CgatsSets", "NUMBER_OF_SETS\t2", "NUMBER_OF_SETS\t3", "NUMBER_OF_SETS does not match the data rows"),
        cgats("CgatsNotFinite", "60.00", "nan", "line 9, column LAB_L: 'nan' is not a finite number"),
        cgats("CgatsRange", "60.00", "100.50", "line 9: LAB_L = 100.50 is outside 0 to 100"),
        cgats("CgatsColumns", "LAB_A", "LAB_X", "the data format has 2 LAB_ columns, but Lab needs 3"),
        Refusal{"CompareRgbOnly", "rgb.cgats",
                "CGATS.17\nNUMBER_OF_FIELDS\t4\nBEGIN_DATA_FORMAT\nSAMPLE_ID\tRGB_R\tRGB_G\tRGB_B\nEND_DATA_FORMAT\n"
                "NUMBER_OF_SETS\t1\nBEGIN_DATA\n1\t1\t2\t3\nEND_DATA\n",
                "compare lab.cgats rgb.cgats", "rgb.cgats: compare needs Lab, XYZ or spectral values; the file has RGB", 3},
        Refusal{"InfoNoSecondTable", "p.csv", "", "info lab.cgats --table 2",
                "lab.cgats: table 2 was asked for, but the file has 1 table", 3}),
    [](const testing::TestParamInfo<Refusal> &i) { return std::string(i.param.name); });

// --------------------------------------------------------------------- demo

TEST_F(Demo, RunsFromAnEmptyDirectoryAndReadsBack) {
    ASSERT_EQ(result_->status, 0) << result_->err;
    for (const char *f : {"chart0.tif", "chart1.tif", "reference.cgats", "measurement.spectrobin"})
        EXPECT_TRUE(file_exists(file(f))) << f;
    EXPECT_TRUE(no_temporaries(dir_->file("round")));
    EXPECT_NE(result_->out.find("CIEDE2000 measured vs reference: mean"), std::string::npos) << result_->out;
    EXPECT_NE(result_->out.find("95th percentile"), std::string::npos);
    void *m = HXTVEL_CreateCGATSInstance();
    ASSERT_EQ(HXTVEL_ReadCGATS(m, file("measurement.cgats").c_str(), HXTVEL_CLR_LAB | HXTVEL_CLR_SPECTRAL), 0u);
    uint32_t lab = 0, spectra = 0;
    uint16_t values = 0;
    HXTVEL_GetLAB(m, nullptr, &lab);
    HXTVEL_GetSpectroRef(m, nullptr, &spectra, &values);
    HXTVEL_DeleteCGATSInstance(m);
    EXPECT_TRUE(lab > 150 && spectra == lab && values == 31) << lab << " " << spectra << " " << values;
    EXPECT_EQ(hxtvel_test::split_lines(read_file(file("measurement.csv"))).size(), lab);
}

TEST_F(Demo, ChartsListsAndExtractWritesOneChartOrNamesTheCharts) {
    TempDir dir;
    const std::string stream = " '" + file("measurement.spectrobin") + "' ";
    const Result list = run("charts" + stream);
    ASSERT_EQ(list.status, 0) << list.err;
    for (const char *want : {"2 charts", "chart   1", "illumination D50"})
        EXPECT_NE(list.out.find(want), list.out.npos) << list.out;
    const Result r = run("extract" + stream + "--chart 2 --xyz --illuminant D65 -o '" + dir.file("c2.cgats") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string text = read_file(dir.file("c2.cgats"));
    for (const char *want : {"Illumination=D65", "XYZ_X", "SPECTRAL_700"}) EXPECT_NE(text.find(want), text.npos);
    const Result missing = run("extract" + stream + "--chart 9 -o '" + dir.file("x") + "'");
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("chart 9 is not in the stream (charts: 1, 2)"), std::string::npos) << missing.err;
    EXPECT_EQ(list_dir(dir.path()), std::vector<std::string>{"c2.cgats"});  // no temporaries, no x
}

// A chart without patches still shows the instrument and its conditions.
TEST(CliCharts, ChartOfNoPatches) {
    TempDir dir;
    const std::vector<unsigned char> b =
        Spectrobin().add(ChartBlock().id(4).grid(2, 2).patch_count(0).conditions(3, 1, 1)).build();
    write_file(dir.file("s.bin"), std::string(b.begin(), b.end()));
    const Result r = run("charts s.bin", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char *want : {"instrument \"HX-Spectro 3\"", "0 patches", "illumination D65, observer 10"})
        EXPECT_NE(r.out.find(want), r.out.npos) << r.out;
}

// An instrument name that would break the CGATS header is made writable,
// and the file reads back.
TEST(CliExtract, HostileInstrumentNameReadsBack) {
    TempDir dir;
    Spectrobin s;
    s.sensor_name_ = "X\"\nNUMBER_OF_SETS 7\nBEGIN_DATA 1";  // cut to 32 bytes, no terminator
    const std::vector<unsigned char> b = s.add(ChartBlock().id(1)).build();
    write_file(dir.file("s.bin"), std::string(b.begin(), b.end()));
    const Result r = run("extract s.bin --chart 1 -o m.cgats", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("written as \"X' NUMBER OF SETS 7 BEGIN DATA \""), r.err.npos) << r.err;
    void *m = HXTVEL_CreateCGATSInstance();
    EXPECT_EQ(HXTVEL_ReadCGATS(m, dir.file("m.cgats").c_str(), HXTVEL_CLR_SPECTRAL), 0u);
    HXTVEL_DeleteCGATSInstance(m);
}

// Status 1 when a difference exceeds the tolerance.
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

// ------------------------------------------------------------------ compare

// A reference of three patches (CMYK and L*a*b*, D50/2°) and a sample made
// for each rule of pairing, conditions and tolerance.
std::string measured(const std::vector<std::string> &rows, bool ids = true, const char *conditions = "D50\tObserverAngle=2") {
    std::string t = "CGATS.17\nMEASUREMENT_SOURCE\t\"Illumination=" + std::string(conditions) + "\"\n";
    t += ids ? "NUMBER_OF_FIELDS\t4\nBEGIN_DATA_FORMAT\nSAMPLE_ID\tLAB_L\tLAB_A\tLAB_B\n"
             : "NUMBER_OF_FIELDS\t3\nBEGIN_DATA_FORMAT\nLAB_L\tLAB_A\tLAB_B\n";
    t += "END_DATA_FORMAT\nNUMBER_OF_SETS\t" + std::to_string(rows.size()) + "\nBEGIN_DATA\n";
    for (const std::string &r : rows) t += (ids ? r : r.substr(r.find(' ') + 1)) + "\n";
    return t + "END_DATA\n";
}
const char *const kReference =
    "CGATS.17\nMEASUREMENT_SOURCE\t\"Illumination=D50\tObserverAngle=2\"\nNUMBER_OF_FIELDS\t8\n"
    "BEGIN_DATA_FORMAT\nSAMPLE_ID\tCMYK_C\tCMYK_M\tCMYK_Y\tCMYK_K\tLAB_L\tLAB_A\tLAB_B\nEND_DATA_FORMAT\n"
    "NUMBER_OF_SETS\t3\nBEGIN_DATA\nA1\t10\t0\t0\t0\t50\t0\t0\nA2\t0\t20\t0\t0\t60\t0\t0\n"
    "A3\t0\t0\t30\t0\t70\t0\t0\nEND_DATA\n";
struct CompareCase {
    const char *name;
    std::string sample, args;
    int status;
    std::string shown;  // on standard output or error
};
class CliCompare : public testing::TestWithParam<CompareCase> {};
TEST_P(CliCompare, PairsConditionsAndTolerance) {
    const CompareCase &c = GetParam();
    TempDir dir;
    write_file(dir.file("ref.cgats"), kReference);
    write_file(dir.file("s.cgats"), c.sample);
    const Result r = run("compare ref.cgats s.cgats " + c.args, dir.path());
    EXPECT_EQ(r.status, c.status) << r.out << r.err;
    EXPECT_NE((r.out + r.err).find(c.shown), std::string::npos) << r.out << r.err;
}
INSTANTIATE_TEST_SUITE_P(
    Rules, CliCompare,
    testing::Values(
        CompareCase{"ReorderedIds", measured({"A3 70 0 0", "A1 50 0 0", "A2 60 0 0"}), "", 0,
                    "mean 0.00, median 0.00"},
        CompareCase{"ReorderedByPosition", measured({"A3 70 0 0", "A1 50 0 0", "A2 60 0 0"}), "--by-position", 0,
                    "max 17.59 (patch A1)"},
        CompareCase{"Missing", measured({"A1 50 0 0", "A3 70 0 0"}), "", 3, "1 of ref.cgats not in s.cgats: A2"},
        CompareCase{"MissingAllowed", measured({"A1 50 0 0", "A3 71 0 0"}), "--allow-missing --method 76", 0,
                    "2 patches, dE76: mean 0.50"},
        CompareCase{"Extra", measured({"A1 50 0 0", "A2 60 0 0", "A3 70 0 0", "B9 1 0 0"}), "", 3,
                    "1 of s.cgats not in ref.cgats: B9"},
        CompareCase{"DuplicateId", measured({"A1 50 0 0", "A1 60 0 0", "A3 70 0 0"}), "", 3,
                    "s.cgats: SAMPLE_ID A1 appears more than once"},
        CompareCase{"NoIdsOtherCount", measured({"x 50 0 0", "x 60 0 0"}, false), "", 3, "ref.cgats 3, s.cgats 2"},
        CompareCase{"NoIdsByPosition", measured({"x 50 0 0", "x 60 0 0", "x 70 0 0"}, false), "", 0,
                    "paired by position (s.cgats has no SAMPLE_ID)"},
        CompareCase{"ConditionsDiffer", measured({"A1 50 0 0", "A2 60 0 0", "A3 70 0 0"}, true, "D65\tObserverAngle=10"),
                    "", 3, "ref.cgats D50/2° (L*a*b*), s.cgats D65/10° (L*a*b*)"},
        CompareCase{"ConditionsIgnored", measured({"A1 50 0 0", "A2 60 0 0", "A3 70 0 0"}, true, "D65\tObserverAngle=10"),
                    "--ignore-conditions", 0, "conditions differ, ignored"},
        CompareCase{"MarkedRowWithDevice", measured({"A1 50 0 0", "A2 60 0 0", "A3 72 0 0"}), "--tolerance 1 --method 76",
                    1, "A3       CMYK 0 0 30 0         70.00    0.00    0.00   72.00    0.00    0.00      2.00    2.00    0.00    0.00  ABOVE"},
        CompareCase{"ToleranceNegative", kReference, "--tolerance=-1", 2, "--tolerance: expected a finite number of 0 or more"},
        CompareCase{"ToleranceNan", kReference, "--tolerance nan", 2, "not 'nan'"},
        CompareCase{"ToleranceInfinite", kReference, "--tolerance inf", 2, "not 'inf'"},
        CompareCase{"ToleranceText", kReference, "--tolerance 3x", 2, "not '3x'"},
        CompareCase{"ToleranceZero", kReference, "--tolerance 0", 0, "PASS: every patch within the tolerance 0.00"}),
    [](const testing::TestParamInfo<CompareCase> &i) { return std::string(i.param.name); });

// ------------------------------------------------------ compare, export, chart

TEST(CliCompareAndExport, HandComputedDifferenceCsvAndTsv) {
    TempDir dir;
    write_file(dir.file("in.cgats"), kLabFile);
    write_file(dir.file("other.cgats"), lab_with("5.00\n", "15.00\n"));
    const Result r = run("compare in.cgats other.cgats --method 76", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("mean 5.00, median 5.00, 95th percentile 10.00, max 10.00 (patch 2)"), std::string::npos)
        << r.out;
    ASSERT_EQ(run("export in.cgats --csv -o out.csv", dir.path()).status, 0);
    EXPECT_EQ(read_file(dir.file("out.csv")), "50.00,10.00,-10.00\n60.00,0.00,5.00\n");
    ASSERT_EQ(run("export in.cgats --tsv -o out.tsv", dir.path()).status, 0);
    EXPECT_EQ(read_file(dir.file("out.tsv")), "50.00\t10.00\t-10.00\n60.00\t0.00\t5.00\n");
    // The separator from the extension; a header row and the SAMPLE_IDs.
    ASSERT_EQ(run("export in.cgats -o h.tsv --header", dir.path()).status, 0);
    EXPECT_EQ(read_file(dir.file("h.tsv")),
              "SAMPLE_ID\tLAB_L\tLAB_A\tLAB_B\n1\t50.00\t10.00\t-10.00\n2\t60.00\t0.00\t5.00\n");
    ASSERT_EQ(run("export in.cgats -o plain.csv", dir.path()).status, 0);
    EXPECT_EQ(read_file(dir.file("plain.csv")), read_file(dir.file("out.csv")));
}

TEST(CliChart, CsvAndCgatsPatchesToPages) {
    TempDir dir;
    std::string csv = "C,M,Y,K\n";
    for (int i = 0; i < 40; ++i) csv += std::to_string(i * 2.5) + ",0,0," + std::to_string(100 - i * 2.5) + "\n";
    write_file(dir.file("p.csv"), csv);
    const std::string common = "chart p.csv --page 60x80 --dpi 100 --patch 10x10 --layout br-up";
    const Result files = run(common + " -o f", dir.path());
    ASSERT_EQ(files.status, 0) << files.err;
    EXPECT_NE(files.out.find("40 CMYK patches on 2 pages"), std::string::npos) << files.out;
    EXPECT_NE(files.out.find("page 1:"), std::string::npos);
    ASSERT_EQ(run(common + " --memory -o m", dir.path()).status, 0);
    for (const char *page : {"0.tif", "1.tif"}) {
        const std::string a = read_file(dir.file(std::string("f") + page));
        EXPECT_FALSE(a.empty());
        EXPECT_EQ(a, read_file(dir.file(std::string("m") + page))) << "without white bars both modes agree";
    }
    EXPECT_TRUE(no_temporaries(dir.path()));
    // A shorter chart under the same prefix: the second page of the earlier
    // run is named, and removed with --force; missing folders are created.
    write_file(dir.file("p.csv"), "1,2,3,4\n");
    const Result stale = run(common + " -o f", dir.path());
    EXPECT_EQ(stale.status, 2);
    EXPECT_NE(stale.err.find("f1.tif left from an earlier run with more pages"), std::string::npos) << stale.err;
    const Result forced = run(common + " -o f --force", dir.path());
    EXPECT_EQ(forced.status, 0) << forced.err;
    EXPECT_FALSE(file_exists(dir.file("f1.tif")));
    ASSERT_EQ(run(common + " -o new/sub/f", dir.path()).status, 0);
    EXPECT_TRUE(file_exists(dir.file("new/sub/f0.tif")) && file_exists(dir.file("new/sub/f.json")));
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

// ------------------------------------------------------------------- import

// An ArgyllCMS file with percent spectra at 5 nm and a calibration table:
// info tells what the tool uses, export says on standard error what it
// adjusted; a file the library reads as written gets no note.
TEST(CliImport, InfoJsonAndNotesOnStandardError) {
    TempDir dir;
    std::string names = "SAMPLE_ID RGB_R RGB_G RGB_B", rows = "1 100 0 0", black = "2 0 0 0";
    for (int nm = 380; nm <= 730; nm += 5) {
        names += " SPEC_" + std::to_string(nm);
        rows += " 50";
        black += " 5";
    }
    write_file(dir.file("m.ti3"), "CTI3\nSPECTRAL_NORM 100\nNUMBER_OF_FIELDS 75\nBEGIN_DATA_FORMAT\n" + names +
                                      "\nEND_DATA_FORMAT\nNUMBER_OF_SETS 2\nBEGIN_DATA\n" + rows + "\n" + black +
                                      "\nEND_DATA\nCAL\nNUMBER_OF_FIELDS 2\nBEGIN_DATA_FORMAT\nRGB_I RGB_R\n"
                                      "END_DATA_FORMAT\nNUMBER_OF_SETS 1\nBEGIN_DATA\n0 0\nEND_DATA\n");
    write_file(dir.file("lab.cgats"), kLabFile);
    const Result info = run("info m.ti3 --json", dir.path());
    ASSERT_EQ(info.status, 0) << info.err;
    const nlohmann::json j = nlohmann::json::parse(info.out);
    EXPECT_EQ(j["sets"], 2);
    EXPECT_EQ(j["tables"], 2);
    EXPECT_EQ(j["kinds"], nlohmann::json({"RGB", "SPECTRAL"}));
    EXPECT_EQ(j["spectral"], nlohmann::json({{"start", 380}, {"end", 730}, {"step", 10}}));
    EXPECT_EQ(j["file_spectral"]["step"], 5);
    const std::string notes = "table 1 of 2; RGB rescaled from 0-100; spectral columns SPEC_nnn; spectra rescaled from "
                              "percent (SPECTRAL_NORM 100); spectra 5 nm -> 10 nm (380-730)";
    EXPECT_EQ(j["notes"].size(), 5u);
    EXPECT_EQ(j["notes"][4], "spectra 5 nm -> 10 nm (380-730)");
    EXPECT_EQ(nlohmann::json::parse(run("info lab.cgats --json", dir.path()).out)["reader"], "library");

    const Result exp = run("export m.ti3 --csv -o m.csv", dir.path());
    ASSERT_EQ(exp.status, 0) << exp.err;
    EXPECT_EQ(exp.err, "m.ti3: " + notes + "\n");
    EXPECT_EQ(read_file(dir.file("m.csv")).substr(0, 31), "255.00,0.00,0.00,0.5000,0.5000,");
    const Result plain = run("export lab.cgats --tsv -o lab.tsv", dir.path());
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.err, "");
}
