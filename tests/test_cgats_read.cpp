// CGATS reader: line ends, the accepted grammar, result codes, the state of
// the instance after each outcome, traces, and the quiet and traced paths
// agreeing on every file.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "cgats_support.h"
#include "trace_capture.h"

namespace hxtvel {
// White-box view of the reader's working storage.
class c_cgats_peer {
public:
    static std::string layout(const c_cgats &m, size_t kinds) {
        std::ostringstream s;
        s << "fields " << m.field_count_ << " done " << m.read_done_;
        for (size_t i = 0; i < kinds && m.fld_key_array_; ++i) {
            for (uint32_t c : m.fld_key_array_[i]) s << " c" << i << ':' << c;
        }
        for (size_t i = 0; i < kinds && m.spectral_nm_array_; ++i) {
            for (uint16_t w : m.spectral_nm_array_[i]) s << " w" << i << ':' << w;
        }
        return s.str();
    }
};
}  // namespace hxtvel

namespace {

using hxtvel_test::contents;
using hxtvel_test::Instance;
using hxtvel_test::TempDir;

std::string join(const std::vector<std::string> &lines, const std::string &eol = "\n") {
    std::string out;
    for (const auto &l : lines) out += l + eol;
    return out;
}

const std::vector<std::string> kLab = {
    "CGATS.17", "BEGIN_DATA_FORMAT", "SAMPLE_ID LAB_L LAB_A LAB_B", "END_DATA_FORMAT",
    "NUMBER_OF_SETS 2", "BEGIN_DATA", "1 50.0 -3.5 12", "2\t60\t0.25\t-1", "END_DATA"};
const std::string kLabData = "lab 50 -3.5 12\nlab 60 0.25 -1\n";

// kLab with line i replaced; an empty replacement removes the line.
std::string lab_with(size_t i, const std::string &line) {
    std::vector<std::string> l = kLab;
    if (line.empty()) l.erase(l.begin() + long(i));
    if (!line.empty()) l[i] = line;
    return join(l);
}

struct Outcome {
    uint32_t rc;
    std::string data, layout;
};

// Reads text into a new instance, the trace log quiet or writing everything.
Outcome read_text(const std::string &text, uint8_t kinds, bool traced) {
    static TempDir dir;
    const std::string path = dir.file("in.txt");
    hxtvel_test::write_file(path, text);
    Instance m;
    std::unique_ptr<hxtvel_test::TraceCapture> trace;
    if (traced) trace = std::make_unique<hxtvel_test::TraceCapture>();
    const uint32_t rc = HXTVEL_ReadCGATS(m.h, path.c_str(), kinds);
    const size_t requested = size_t(__builtin_popcount(kinds & 31));
    return {rc, contents(m.h), hxtvel::c_cgats_peer::layout(m.m(), requested)};
}

// Reads on both paths, checks that they agree, returns the quiet outcome.
Outcome read_both(const std::string &text, uint8_t kinds) {
    const Outcome quiet = read_text(text, kinds, false), traced = read_text(text, kinds, true);
    EXPECT_EQ(quiet.rc, traced.rc);
    EXPECT_EQ(quiet.data, traced.data);
    EXPECT_EQ(quiet.layout, traced.layout);
    EXPECT_TRUE(quiet.rc == 0 || quiet.data.empty()) << "a failed read keeps no colour data";
    return quiet;
}

class LineEnds : public testing::TestWithParam<const char *> {};
TEST_P(LineEnds, LabFileReadsTheSame) {
    EXPECT_EQ(read_both(join(kLab, GetParam()), 4).data, kLabData);
    const Outcome lab_rgb = read_both(join(kLab, GetParam()), 5);  // no RGB columns: no error
    EXPECT_EQ(lab_rgb.rc, 0u);
    EXPECT_EQ(lab_rgb.data, kLabData);
}
INSTANTIATE_TEST_SUITE_P(Reader, LineEnds, testing::Values("\n", "\r\n", "\r"));

struct File {
    const char *name;
    std::string text;
    uint8_t kinds;
    uint32_t rc;
    std::string data = "-";  // "-": not checked
};
class Files : public testing::TestWithParam<File> {};
TEST_P(Files, ResultAndData) {
    const File &c = GetParam();
    const Outcome out = read_both(c.text, c.kinds);
    EXPECT_EQ(out.rc, c.rc);
    EXPECT_TRUE(c.data == "-" || out.data == c.data) << out.data;
}
INSTANTIATE_TEST_SUITE_P(
    Reader, Files,
    testing::Values(
        File{"sets_mismatch", lab_with(4, "NUMBER_OF_SETS 3"), 4, 102},
        File{"sets_quoted", lab_with(4, "NUMBER_OF_SETS\t\"2\""), 4, 102},
        File{"sets_commented", lab_with(4, "NUMBER_OF_SETS 2 # two"), 4, 102},
        File{"sets_huge", lab_with(4, "NUMBER_OF_SETS 99999999999"), 4, 102},
        File{"sets_first_wins", lab_with(0, "NUMBER_OF_SETS 2\nNUMBER_OF_SETS 7"), 4, 0},
        File{"end_before_begin", lab_with(5, "END_DATA\nBEGIN_DATA"), 4, 102},
        File{"second_block", join(kLab) + "BEGIN_DATA\nEND_DATA\n", 4, 102},
        File{"format_end_missing", lab_with(3, ""), 4, 102},
        File{"begin_commented", lab_with(5, "BEGIN_DATA #"), 4, 102},
        File{"exponent", lab_with(6, "1 5e1 0 0"), 4, 102},
        File{"plus_sign", lab_with(6, "1 +5 0 0"), 4, 102},
        File{"lone_minus", lab_with(6, "A_1 50 - 0"), 4, 0, "lab 50 0 0\nlab 60 0.25 -1\n"},
        File{"truncated_line", lab_with(6, "1 50 0"), 4, 102},
        File{"no_separator", lab_with(6, "150"), 4, 102},
        File{"comment_in_data", lab_with(6, "1 50 0 0\n# 3 1 1 1"), 4, 0},
        File{"L_out_of_range", lab_with(6, "1 100.5 0 0"), 4, 105},
        File{"columns_in_file_order", lab_with(2, "ID LAB_B LAB_A LAB_L"), 4, 0, kLabData},
        File{"rgb_two_columns", lab_with(2, "SAMPLE_ID RGB_R RGB_G LAB_L"), 1, 102},
        File{"negative_xyz", lab_with(2, "SAMPLE_ID XYZ_X XYZ_Y XYZ_Z"), 8, 0},
        File{"cmyk_range", lab_with(2, "CMYK_C CMYK_M CMYK_Y CMYK_K"), 2, 105},
        File{"column_past_end",  // a layout spread over two format lines
             join({"BEGIN_DATA_FORMAT", "A B C LAB_L", "LAB_A LAB_B Q", "END_DATA_FORMAT",
                   "NUMBER_OF_SETS 1", "BEGIN_DATA", "1 2 3", "END_DATA"}), 4, 102},
        File{"one_spectral_column", lab_with(2, "ID X Y SPECTRAL_700"), 16, 0,
             "spectral 700 700 0:\nspectral 700 700 0:\n"},  // no pitch, so no values
        File{"step_sum_wraps", lab_with(2, "ID SPECTRAL_400 SPECTRAL_410 SPECTRAL_65535"), 16, 0,
             "spectral 400 65535 65405: 50\nspectral 400 65535 65405: 60\n"},  // 16-bit sum: one value
        File{"uneven_wavelengths", lab_with(2, "ID SPECTRAL_400 SPECTRAL_400 SPECTRAL_410"), 16, 102},
        File{"empty_file", "", 31, 102},
        File{"no_break_in_2048_bytes", "CGATS.17" + std::string(2100, ' ') + "\n" + join(kLab), 4, 102},
        File{"binary_junk", std::string("\0\x01\xff\r\n\x80LAB_L\0BEGIN_DATA\n\x1b", 24) + join(kLab), 31, 0},
        File{"nul_in_data_line", lab_with(6, std::string("1 50.0 -3.5 12\0 junk", 20)), 4, 0, kLabData}),
    [](const testing::TestParamInfo<File> &i) { return std::string(i.param.name); });

TEST(Reader, SpectralColumns) {
    std::string format = "SAMPLE_ID", row = "1", want = "spectral 400 700 10:";
    for (int nm = 400; nm <= 700; nm += 10) {
        std::ostringstream v;
        v << (nm - 400) / 8.0;  // exact in binary: prints alike everywhere
        format += " SPECTRAL_" + std::to_string(nm);
        row += " " + v.str();
        want += " " + v.str();
    }
    const Outcome out = read_both(
        join({"BEGIN_DATA_FORMAT", format, "END_DATA_FORMAT", "NUMBER_OF_SETS 1", "BEGIN_DATA", row, "END_DATA"}), 31);
    EXPECT_EQ(out.rc, 0u);
    EXPECT_EQ(out.data, want + "\n");
}

TEST(Reader, InstanceStateAcrossReads) {
    TempDir dir;
    const std::string lab = dir.file("lab.txt"), bad = dir.file("bad.txt");
    hxtvel_test::write_file(lab, join(kLab));
    hxtvel_test::write_file(bad, lab_with(4, "NUMBER_OF_SETS 9"));
    const velRGB rgb{1, 2, 3};
    Instance m;
    HXTVEL_SetRGB(m.h, &rgb, 1);
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, lab.c_str(), 0), 107u);
    EXPECT_EQ(contents(m.h), "");  // even the data set before is gone
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, lab.c_str(), 32), 107u);
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, dir.file("missing.txt").c_str(), 4), 104u);
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, nullptr, 4), 104u);
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, bad.c_str(), 4), 102u);
    HXTVEL_SetRGB(m.h, &rgb, 1);  // kept: the file has no RGB
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, lab.c_str(), 5), 0u);  // failures left it open
    EXPECT_EQ(contents(m.h), "rgb 1 2 3\n" + kLabData);
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, lab.c_str(), 4), 106u);
    EXPECT_EQ(contents(m.h), "");
    EXPECT_EQ(HXTVEL_ReadCGATS(m.h, lab.c_str(), 4), 106u);
    EXPECT_EQ(HXTVEL_ReadCGATS(nullptr, lab.c_str(), 4), 107u);
}

std::vector<std::string> traced_read(const std::string &text) {
    static TempDir dir;
    hxtvel_test::write_file(dir.file("in.txt"), text);
    Instance m;
    hxtvel_test::TraceCapture trace(0x12);  // Info and above
    HXTVEL_ReadCGATS(m.h, dir.file("in.txt").c_str(), 4);
    return trace.lines();
}

// Whether want occurs in lines as a subsequence.
bool in_order(const std::vector<std::string> &lines, const std::vector<std::string> &want) {
    auto it = lines.begin();
    for (const auto &w : want) {
        it = std::find(it, lines.end(), w);
        if (it == lines.end()) return false;
        ++it;
    }
    return true;
}

TEST(Reader, TraceTexts) {
    const auto ok = traced_read(join(kLab));
    ASSERT_GE(ok.size(), 2u);
    EXPECT_EQ(ok[0], "Info:read_cgats in");
    EXPECT_EQ(ok[1], "Warn:read_cgats lockin");
    EXPECT_TRUE(in_order(ok, {"Info:analyze_file in", "Info:pickup_line in", "Info:search_key in",
                              "Info:analyze_format out", "Info:analyze_line out", "Info:convert_dbl_to_data in",
                              "Info:chack_datarange in", "Info:convert_dbl_to_data out", "Info:analyze_file out",
                              "Info:check_numberofsets out", "Info:analyze_line in", "Info:check_key_num out",
                              "Warn:read_cgats lockout", "Info:read_cgats out"}));
    EXPECT_EQ(ok.back(), "Info:read_cgats out");
    EXPECT_EQ(std::count(ok.begin(), ok.end(), "Info:analyze_line out"), 2);  // only with values
    EXPECT_TRUE(in_order(traced_read(lab_with(4, "NUMBER_OF_SETS \"2\"")),
                         {"Error:check line NG", "Error:line format err"}));
    EXPECT_TRUE(in_order(traced_read(lab_with(4, "")),
                         {"Error:NUMBER OF SETS not found.", "Error:Check NumberOfSets err"}));
}

// Random damage to a file with three kinds: no crash, and the quiet and the
// traced reader agree on the result and on everything the read left behind.
TEST(Reader, DamagedFilesAgreeOnBothPaths) {
    const std::string base =
        join({"CGATS.17", "NUMBER_OF_FIELDS 8", "BEGIN_DATA_FORMAT",
              "SAMPLE_ID RGB_R RGB_G RGB_B LAB_L LAB_A LAB_B SPECTRAL_400 SPECTRAL_410", "END_DATA_FORMAT",
              "NUMBER_OF_SETS 3", "BEGIN_DATA", "1 10 20 30 50 -1.5 2 0.5 0.75", "2 10 20 30 50 -1.5 2 0.5 0.75",
              "3 10 20 30 50 -1.5 2 0.5 0.75", "END_DATA"});
    const std::string alphabet = "0123456789.- \t\r\n#_ABDEGLNRSTX";
    std::mt19937 rng(3);
    for (int round = 0; round < 250; ++round) {
        std::string text = base;
        for (int edits = 1 + int(rng() % 4); edits > 0; --edits) {
            const size_t at = rng() % text.size();
            if (rng() % 3 == 0) text.erase(at, 1 + rng() % 3);
            else if (rng() % 2) text.insert(at, 1, alphabet[rng() % alphabet.size()]);
            else text.insert(at, text.substr(rng() % text.size(), rng() % 40));
        }
        SCOPED_TRACE(text);
        read_both(text, uint8_t(1 + rng() % 31));
    }
}

}  // namespace
