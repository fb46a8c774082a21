// The import of measurement files: each dialect as the values and notes it
// gives, and each refusal with the cause it names.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "measurement_import.h"
#include "test_support.h"

using namespace hximport;
using hxtvel_test::read_file;
using hxtvel_test::TempDir;
using hxtvel_test::write_file;

namespace {

using Rows = std::vector<std::vector<std::string>>;

// One table: header lines, then the data format and the rows.
std::string table(const std::string &head, const std::vector<std::string> &names, const Rows &rows,
                  const std::string &eol = "\n") {
    auto join = [&](const std::vector<std::string> &v) {
        std::string s;
        for (const std::string &f : v) s += (s.empty() ? "" : "\t") + f;
        return s + eol;
    };
    std::string t = head + "NUMBER_OF_FIELDS " + std::to_string(names.size()) + eol + "BEGIN_DATA_FORMAT" + eol +
                    join(names) + "END_DATA_FORMAT" + eol + "NUMBER_OF_SETS " + std::to_string(rows.size()) + eol +
                    "BEGIN_DATA" + eol;
    for (const auto &r : rows) t += join(r);
    return t + "END_DATA" + eol;
}

const std::vector<std::string> kLab = {"SAMPLE_ID", "LAB_L", "LAB_A", "LAB_B"};
std::string lab(const std::string &l2, const std::string &head = "CGATS.17\n", const std::string &eol = "\n") {
    return table(head, kLab, {{"A1", "50", "10", "-10"}, {"A2", l2, "0", "5"}}, eol);
}

// Patch p (0, 1) of these spectra is p + nm / 1000 at every wavelength, so
// that every 10 nm mark, taken or interpolated, is p + mark / 1000. Columns
// are named prefix + the rounded wavelength.
std::string spectra(const std::string &prefix, std::vector<double> nm, double scale = 1,
                    const std::string &head = "CGATS.17\n") {
    std::vector<std::string> names{"SAMPLE_ID"};
    Rows rows{{"1"}, {"2"}};
    for (double w : nm) {
        names.push_back(prefix + std::to_string(std::lround(w)));
        for (int p = 0; p < 2; ++p) rows[p].push_back(std::to_string(scale * (p + w / 1000)));
    }
    return table(head, names, rows);
}
std::vector<double> steps(double from, double to, double step) {
    std::vector<double> v;
    for (int i = 0; from + i * step <= to + 1e-9; ++i) v.push_back(from + i * step);
    return v;
}

const std::string kArgyll =
    table("CTI3\nORIGINATOR \"Argyll chartread\"\n", {"SAMPLE_ID", "RGB_R", "RGB_G", "RGB_B", "XYZ_X", "XYZ_Y", "XYZ_Z"},
          {{"1", "100", "50", "0", "95.1", "100", "108.8"}, {"2", "0", "0", "0", "5.67518e-05", "1.2", "0.3"}}) +
    table("CAL\n", {"RGB_I", "RGB_R", "RGB_G", "RGB_B"}, {{"0", "0", "0", "0"}, {"1", "1", "0.5", "1"}});

std::string path_with(TempDir &dir, const std::string &text) {
    write_file(dir.file("m.txt"), text);
    return dir.file("m.txt");
}

struct Dialect {
    const char *name;
    std::string text;
    std::vector<std::string> notes;  // exactly these
    std::function<void(const import_result &)> check;
    unsigned table = 1;
};

// Every spectrum stored must be the ramp of spectra() on 10 nm marks.
std::function<void(const import_result &)> ramp(int start, int end) {
    return [=](const import_result &r) {
        const measurement::spectra s = r.data.spectral();
        ASSERT_EQ(s.records.size(), 2u);
        EXPECT_EQ(r.spectral->start, start);
        EXPECT_EQ(r.spectral->end, end);
        EXPECT_EQ(s.records[0].pitch, 10);
        ASSERT_EQ(s.values[0].size(), size_t((end - start) / 10 + 1));
        for (size_t p = 0; p < 2; ++p) {
            for (size_t i = 0; i < s.values[p].size(); ++i)
                EXPECT_NEAR(s.values[p][i], p + (start + 10.0 * i) / 1000, 1e-6) << "patch " << p << " mark " << i;
        }
    };
}
auto lab_is(size_t set, velCIELab want) {
    return [=](const import_result &r) {
        const velCIELab got = r.data.lab().at(set);
        EXPECT_TRUE(got.L == want.L && got.a == want.a && got.b == want.b) << got.L << " " << got.a << " " << got.b;
    };
}

void PrintTo(const Dialect &d, std::ostream *os) { *os << d.name; }
class Dialects : public testing::TestWithParam<Dialect> {};
TEST_P(Dialects, GiveTheirValuesAndNotes) {
    const Dialect &d = GetParam();
    TempDir dir;
    import_options o;
    o.table = d.table;
    const import_result r = import_measurement(path_with(dir, d.text), o);
    EXPECT_EQ(r.notes, d.notes);
    EXPECT_EQ(r.strict, d.notes.empty()) << "the library's reader takes exactly the files that need no note";
    d.check(r);
}
const std::string kHead3 = "CTI3\nSPECTRAL_BANDS 121\nSPECTRAL_START_NM 380\nSPECTRAL_END_NM 780\n";
INSTANTIATE_TEST_SUITE_P(
    Import, Dialects,
    testing::Values(
        Dialect{"LibraryReaderTakesItsOwn", spectra("SPECTRAL_", steps(380, 730, 10)), {}, ramp(380, 730)},
        Dialect{"SpectralNm", spectra("SPECTRAL_NM", steps(380, 730, 10)), {"spectral columns SPECTRAL_NMnnn"}, ramp(380, 730)},
        Dialect{"SpectralNmUnderscore", spectra("SPECTRAL_NM_", steps(400, 700, 10)), {"spectral columns SPECTRAL_NM_nnn"}, ramp(400, 700)},
        Dialect{"LowerNm", spectra("nm", steps(380, 780, 10)), {"spectral columns nmnnn"}, ramp(380, 780)},
        Dialect{"ArgyllPercent", spectra("SPEC_", steps(380, 730, 10), 100, "CTI3\nKEYWORD \"SPECTRAL_NORM\"\nSPECTRAL_NORM \"100.0\"\n"),
                {"spectral columns SPEC_nnn", "spectra rescaled from percent (SPECTRAL_NORM 100)"}, ramp(380, 730)},
        Dialect{"OneNmSumPast65535", spectra("SPECTRAL_", steps(380, 780, 1)), {"spectra 1 nm -> 10 nm (380-780)"}, ramp(380, 780)},
        Dialect{"TwoNm", spectra("SPECTRAL_", steps(380, 780, 2)), {"spectra 2 nm -> 10 nm (380-780)"}, ramp(380, 780)},
        Dialect{"FiveNm", spectra("SPECTRAL_", steps(380, 730, 5)), {"spectra 5 nm -> 10 nm (380-730)"}, ramp(380, 730)},
        Dialect{"TwentyNmInterpolated", spectra("SPECTRAL_", steps(400, 700, 20)), {"spectra 20 nm -> 10 nm (400-700)"}, ramp(400, 700)},
        Dialect{"ArgyllThirdsOf10NmRoundedNames", spectra("SPEC_", steps(380, 780, 400.0 / 120), 100, kHead3),
                {"spectral columns SPEC_nnn", "spectra rescaled from percent (ArgyllCMS file)", "spectra 3.33 nm -> 10 nm (380-780)"},
                ramp(380, 780)},
        Dialect{"Uneven", spectra("SPECTRAL_", {400, 500, 510, 520, 530}), {"spectra uneven (400-530 nm) -> 10 nm (400-530)"}, ramp(400, 530)},
        Dialect{"Unsorted", spectra("SPECTRAL_", {400, 420, 410, 430}), {"spectral columns taken in wavelength order"}, ramp(400, 430)},
        Dialect{"CutTo380To780", spectra("SPECTRAL_", steps(360, 830, 10)), {"spectra 360-830 nm cut to 380-780"}, ramp(380, 780)},
        Dialect{"LabReordered", table("CGATS.17\n", {"LAB_B", "LAB_A", "LAB_L"}, {{"-10", "10", "50"}}),
                {"LAB columns mapped by name (LAB_B LAB_A LAB_L)"}, lab_is(0, {50, 10, -10})},
        Dialect{"ExponentsCrLf", lab("6e1", "CGATS.17\r\n", "\r\n"), {"numbers with exponents"}, lab_is(1, {60, 0, 5})},
        Dialect{"CrOnly", lab("60", "CGATS.17\r", "\r"), {}, lab_is(1, {60, 0, 5})},
        Dialect{"HeaderLineEndsInBlanks", lab("60", "CGATS.17\nORIGINATOR \t \n"), {}, lab_is(1, {60, 0, 5})},
        Dialect{"ArgyllFirstTable", kArgyll, {"table 1 of 2", "RGB rescaled from 0-100", "numbers with exponents"},
                [](const import_result &r) {
                    EXPECT_EQ(r.ids, (std::vector<std::string>{"1", "2"}));
                    EXPECT_EQ(r.data.rgb().at(0).R, 255);
                    EXPECT_EQ(r.data.rgb().at(0).G, 127.5);
                    EXPECT_EQ(r.data.xyz().at(1).X, 5.67518e-05);
                }},
        Dialect{"ArgyllCalibrationTable", kArgyll, {"table 2 of 2", "RGB rescaled from 0-1"},
                [](const import_result &r) {
                    EXPECT_TRUE(r.ids.empty());
                    EXPECT_EQ(r.data.rgb().at(1).G, 127.5);
                },
                2}),
    [](const testing::TestParamInfo<Dialect> &i) { return std::string(i.param.name); });

TEST(Import, ConditionsReachTheInstanceAndStayReadable) {
    TempDir dir;
    const std::string head = "CGATS.17\nINSTRUMENTATION \"Spectro 1\"\nMEASUREMENT_SOURCE "
                             "\"Filter=UVcut\tIllumination=D65\tObserverAngle=10\tWhiteBase=Abs\"\n";
    const import_result r = import_measurement(path_with(dir, lab("60", head)));
    ASSERT_TRUE(r.strict && r.conditions_stated());
    EXPECT_EQ(*r.property("INSTRUMENTATION"), "Spectro 1");
    ASSERT_EQ(HXTVEL_WriteCGATS(r.data.get(), dir.file("out").c_str()), 0u);
    const std::string out = read_file(dir.file("out"));
    EXPECT_NE(out.find("\"Spectro 1\"\nMEASUREMENT_SOURCE\t\"Filter=UVcut\tIllumination=D65\tObserverAngle=10"), out.npos)
        << out;
}

struct Refusal {
    const char *name;
    std::string text, message;
    uint8_t kinds = kAllKinds;
    unsigned table = 1;
};
void PrintTo(const Refusal &r, std::ostream *os) { *os << r.name; }
class Refusals : public testing::TestWithParam<Refusal> {};
TEST_P(Refusals, NameTheCause) {
    const Refusal &c = GetParam();
    TempDir dir;
    import_options o;
    o.kinds = c.kinds;
    o.table = c.table;
    o.purpose = "compare";
    try {
        import_measurement(c.text.empty() ? dir.file("none") : path_with(dir, c.text), o);
        FAIL() << "imported";
    } catch (const import_error &e) {
        EXPECT_EQ(e.kind(), c.text.empty() ? failure::missing_file : failure::bad_input);
        EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
}
INSTANTIATE_TEST_SUITE_P(
    Import, Refusals,
    testing::Values(
        Refusal{"MissingFile", "", "none: cannot open"},
        Refusal{"Infinite", lab("inf"), "m.txt: line 9, column LAB_L: 'inf' is not a finite number"},
        Refusal{"Overflow", lab("1e999"), "line 9, column LAB_L: '1e999' is out of the range of numbers"},
        Refusal{"Overlong", lab(std::string(200, '1')), "a field of 200 characters is too long for a number"},
        Refusal{"NotANumber", lab("1,5"), "line 9, column LAB_L: '1,5' is not a number"},
        Refusal{"LabRange", lab("100.5"), "line 9: LAB_L = 100.5 is outside 0 to 100"},
        Refusal{"ArgyllRgbRange", table("CTI3\n", {"RGB_R", "RGB_G", "RGB_B"}, {{"120", "0", "0"}}), "RGB_R = 120 is outside 0 to 100"},
        Refusal{"OneMark", spectra("SPEC_", {375, 380, 385}), "the spectra cover 375-385 nm: at least two 10 nm marks"},
        Refusal{"SameWavelength", table("CGATS.17\n", {"SPEC_400", "nm400"}, {{"1", "1"}}), "SPEC_400 and nm400 name the same"},
        Refusal{"LabIncomplete", table("CGATS.17\n", {"LAB_L", "LAB_X", "LAB_B"}, {{"1", "1", "1"}}),
                "the data format has 2 LAB_ columns, but Lab needs 3 (missing: LAB_A)"},
        Refusal{"KindWanted", table("CGATS.17\n", {"XYZ_X", "XYZ_Y", "XYZ_Z"}, {{"1", "1", "1"}}),
                "compare needs Lab or spectral values; the file has XYZ", HXTVEL_CLR_LAB | HXTVEL_CLR_SPECTRAL},
        Refusal{"TableMissing", kArgyll, "table 3 was asked for, but the file has 2 tables", kAllKinds, 3},
        // Only the library's reader takes it (no NUMBER_OF_FIELDS), and it
        // loads one spectral column with a step of 0.
        Refusal{"StrictOneColumn",
                "CGATS.17\nBEGIN_DATA_FORMAT\nSAMPLE_ID SPECTRAL_500\nEND_DATA_FORMAT\nNUMBER_OF_SETS 1\n"
                "BEGIN_DATA\n1 0.5\nEND_DATA\n",
                "NUMBER_OF_FIELDS"},
        Refusal{"SetsMismatch", lab("60").replace(lab("60").find("SETS 2"), 6, "SETS 3"),
                "NUMBER_OF_SETS does not match the data rows: it says 3, the data block holds 2"}),
    [](const testing::TestParamInfo<Refusal> &i) { return std::string(i.param.name); });

}  // namespace
