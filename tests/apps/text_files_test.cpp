#include <clocale>
#include <locale>

#include "files/text_lines.hpp"
#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string Utf16(std::string_view ascii, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF"s : "\xFF\xFE"s;
    for (char c : ascii) bytes += bigEndian ? "\0"s + c : c + "\0"s;
    return bytes;
}

using Kind = MeasurementFile::Kind;

const std::string kThree = "20.5\t63.1\t-170\n21\t64\t1e-3\n";

struct Syntax {
    const char* label;
    std::string text;
    std::vector<float> values;  // column after column
    std::size_t columns;
    ReadOptions options = {};
};

const std::vector<float> kTwoByTwo{20.5f, 21, 63.1f, 64};
const std::vector<float> kTwoByThree{20.5f, 21, 63.1f, 64, -170, 1e-3f};

const Syntax kSyntaxes[] = {
    {"tabs", kThree, kTwoByThree, 3},
    {"blanks, aligned", "   20.5    63.1 \n   21.0    64.0\n", kTwoByTwo, 2},
    {"blanks and tabs mixed", "20.5 \t 63.1\t\t-170 \t\n21\t 64 1e-3\n", kTwoByThree, 3},
    {"commas", "20.5,63.1\n21,64\n", kTwoByTwo, 2},
    {"commas and blanks", "20.5, 63.1, -170\n21 ,64 ,  .001\n", kTwoByThree, 3},
    {"commas between whole numbers", "20,63\n21,64\n", {20, 21, 63, 64}, 2},
    {"semicolons", "20.5;63.1;-170\n21;64;1E-3\n", kTwoByThree, 3},
    {"semicolons and decimal commas", "20,5;63,1;-170\n21;64;0,001\n", kTwoByThree, 3},
    {"blanks and decimal commas", "20,5 63,1\n21 64\n", kTwoByTwo, 2},
    {"tabs and decimal commas", "20,5\t63,1\t-170,0\n21,0\t64\t1,0e-3\n", kTwoByThree, 3},
    {"decimal commas only from the second line on", "20 64\n20,5 63,1\n", {20, 20.5f, 64, 63.1f}, 2},
    {"decimal points only from the second line on", "20;64\n20.5;63.1\n", {20, 20.5f, 64, 63.1f}, 2},
    {"a comma that blanks show to be decimal", "20,63 170\n21,64 171\n", {20.63f, 21.64f, 170, 171}, 2},
    {"CRLF", "20.5 63.1\r\n21 64\r\n", kTwoByTwo, 2},
    {"CR", "20.5 63.1\r21 64\r", kTwoByTwo, 2},
    {"line ends mixed, none at the end", "20.5 63.1\r\n\n\r21 64", kTwoByTwo, 2},
    {"UTF-8 mark", "\xEF\xBB\xBF" + kThree, kTwoByThree, 3},
    {"UTF-16, little-endian", Utf16(kThree, false), kTwoByThree, 3},
    {"UTF-16, big-endian", Utf16("Frequenz;Pegel\r\n20,5;63,1\r\n21;64\r\n", true), kTwoByTwo, 2},
    {"UTF-16 words beyond ASCII, half a pair",
     "\xFF\xFE\x3D\xD8\x0A\0\x3D\xD8\x00\xDE\x0A\0"s + Utf16(kThree, false).substr(2), kTwoByThree, 3},
    {"comments of every kind",
     "* a\n# 1 2\n\"3 4\"\n; 5 6\n% 7\n! 8\n// 9\n[Hz] [dB]\n20.5 63.1\n*1000Hz -40.1\n21 64\n# end\n", kTwoByTwo, 2},
    {"words before, between and after", "Freq dB\nmeasured 2 times\n20.5 63.1\nsecond half\n21 64\nend\n", kTwoByTwo,
     2},
    {"words that begin like numbers", "Infinite baffle\nNaN values are left out\nE 5\n20.5 63.1\n21 64\n", kTwoByTwo,
     2},
    {"words in Latin-1 and UTF-8", "Phase [\xB0]\n\xB0\n\xD0\xA7\n20.5 63.1\n21 64\n", kTwoByTwo, 2},
    {"blank lines and lines of separators", "\n \t\n20.5,63.1\n,,\n21,64\n , \n", kTwoByTwo, 2},
    {"a last line of semicolons", "20,5;63,1\n21;64\n;;\n", kTwoByTwo, 2},
    {"separators at line ends", "20.5,63.1,\n21,64,,\n", kTwoByTwo, 2},
    {"end-of-text character of old systems", "20.5 63.1\r\n21 64\r\n\x1A", kTwoByTwo, 2},
    {"signs, exponents and bare points", "+20.5e0 -.5 5.\n2.15E+1 -5e-1 +5\n", {20.5f, 21.5f, -0.5f, -0.5f, 5, 5}, 3},
    {"one row", "1 5\n", {1, 5}, 2},
    {"nearest floats", "16777217 0.1\n16777219 3.4028235e38\n", {16777216, 16777220.0f, 0.1f, 3.4028235e38f}, 2},
    {"numbers too small for a float are zero",
     "1e-46 -1e-400\n1e-45 0.5\n",
     {0, 1e-45f, -0.0f, 0.5f},
     2,
     {.as = Kind::Data}},
    {"groups of thousands, told by the first line",
     "20\t70\n1,000\t80\n20,000\t60\n",
     {20, 1000, 20000, 70, 80, 60},
     2},
    {"groups of thousands and a decimal point", "20.5 63.1\n1,000.5 64\n", {20.5f, 1000.5f, 63.1f, 64}, 2},
    {"groups of thousands and a decimal comma", "20,5;63,1\n1.000,5;64\n", {20.5f, 1000.5f, 63.1f, 64}, 2},
    {"three decimals everywhere, levels that are no thousands",
     "20.125 63.125\n21.250 64.250\n",
     {20.125f, 21.25f, 63.125f, 64.25f},
     2},
    {"three decimals, told by a zero in front", "20.125 63\n21.250 0.250\n", {20.125f, 21.25f, 63, 0.25f}, 2},
    {"groups of thousands, said", "1.000 63\n2.000 64\n", {1000, 2000, 63, 64}, 2, {.decimalMark = ','}},
    {"a decimal point, said", "1.000 63\n2.000 64\n", {1, 2, 63, 64}, 2, {.decimalMark = '.'}},
    {"quotation marks", "\"f\",\"level\",\"phase\"\n\"20.5\",\"63.1\",\"-170\"\n\"21\",64,1e-3\n", kTwoByThree, 3},
    {"quotation marks around decimal commas", "\"20,5\",\"63,1\"\n\"21\",\"64\"\n", kTwoByTwo, 2},
    {"comments behind the numbers", "20.5 63.1 # 1 note\n21 64 // no 2\n", kTwoByTwo, 2},
    {"comments behind separators", "20.5;63.1;# note\n21;64 ; a note\n", kTwoByTwo, 2},
    {"exponents of Fortran", "2.05D+01 6.31d1\n.21D+2 64\n", kTwoByTwo, 2},
    {"minus signs of their own", "20.5 63.1 \xE2\x88\x92\x31\x37\x30\n21 64 1e\xE2\x88\x92\x33\n", kTwoByThree, 3},
    {"UTF-16 without its mark, little-endian", Utf16(kThree, false).substr(2), kTwoByThree, 3},
    {"UTF-16 without its mark, big-endian", Utf16(kThree, true).substr(2), kTwoByThree, 3},
    {"phases that are all NaN", "20.5 63.1 NaN\n21 64 nan\n", kTwoByTwo, 2},
    {"one phase that is NaN, left out", "20.5 63.1 NaN\n21 64 5\n", kTwoByTwo, 2, {.columns = {1, 2}}},
    {"chosen columns", "1,20.5,9,63.1\n2,21,9,64\n", kTwoByTwo, 2, {.columns = {2, 4}}},
    {"columns in another order", "63.1 20.5\n64 21\n", kTwoByTwo, 2, {.columns = {2, 1}}},
    {"data of one column", "5\n-3\n5\n", {5, -3, 5}, 1, {.as = Kind::Data}},
    {"data of five columns that no response could have",
     "5 0 -1 2 1\n5 0 -2 3 1\n",
     {5, 5, 0, 0, -1, -2, 2, 3, 1, 1},
     5,
     {.as = Kind::Data}},
    {"frequencies that do not rise, forced", "20 1\n-20 2\n", {20, -20, 1, 2}, 2, {.force = true}},
    {"a count of rows taken for frequencies", "1 20 70\n2 30 71\n", {1, 2, 20, 30, 70, 71}, 3, {.columns = {1, 2, 3}}},
    {"an impedance taken as it is", "Freq Ohm\n20 6.5\n30 7\n", {20, 30, 6.5f, 7}, 2, {.as = Kind::Data}},
};

void ExpectEverySyntaxIsRead() {
    const Folder folder;
    for (const Syntax& syntax : kSyntaxes) {
        SCOPED_TRACE(syntax.label);
        const std::filesystem::path path = folder.Write("data.txt", syntax.text);
        MeasurementFile file;
        if (const auto error = ErrorOf([&] { file = ReadMeasurementFile(path, syntax.options); }))
            ADD_FAILURE() << error->what();
        EXPECT_EQ(file.kind, syntax.options.as.value_or(Kind::Response));
        EXPECT_EQ(file.columns, syntax.columns);
        EXPECT_EQ(file.rows, syntax.values.size() / syntax.columns);
        EXPECT_EQ(file.values, syntax.values);
        EXPECT_EQ(file.sampleRate, 0);
    }
}

TEST(TextFiles, ReadEverySyntaxThatMeasurementProgramsWrite) { ExpectEverySyntaxIsRead(); }

TEST(TextFiles, HoldImpulseResponsesInEveryForm) {
    const std::string described =
        "* Impulse response data\n0.5 // Peak value before normalisation\n2 // Peak index\n4 // Response length\n"
        "2.0833333333333333E-5 // Sample interval (seconds)\n-3.1250000000000001E-5 // Start time (seconds)\n"
        "* Data start\n";
    const struct {
        std::string text;
        std::int32_t rate;
        std::vector<float> values;
        std::optional<double> start;
        ReadOptions options = {};
        std::size_t columns = 1;
    } cases[] = {
        {described + "0\n1.5\n-0.25\n1e-9\n", 48000, {0, 1.5f, -0.25f, 1e-9f}, -3.125e-5},
        {"Sampling frequency = 44,1 kHz\nStart time: -2 ms\n0,5\n-0,25\n", 44100, {0.5f, -0.25f}, -0.002},
        {"* Sample rate: 47999 Hz\n5\n6\n", 47999, {5, 6}, {}},
        {"0.0 0.1\n0.0000208 0.2\n", 48000, {0.1f, 0.2f}, 0.0},
        {"Time (ms);Amplitude\n-0,010;1\n0,000;2\n0,010;3\n0,021;4\n0,031;5\n", 96000, {1, 2, 3, 4, 5}, -1e-5},
        {"t,v\n0.1,1\n0.1000226757,2\n0.1000453515,3\n", 44100, {1, 2, 3}, 0.1},
        {"0 1\n1e-4 2\n2.0e-4 3\n", 10000, {1, 2, 3}, 0.0},
        {"* Sample interval: 2.0833333e-5 s\nt v\n-0.0000208 1\n0 2\n0.0000208 3\n", 48000, {1, 2, 3}, -0.0000208},
        {"5\n6\n", 48000, {5, 6}, {}, {.as = Kind::Impulse, .sampleRate = 48000}},
        {"* Sample rate: 48000 Hz\n5 1\n6 2\n", 48000, {1, 2}, {}, {.as = Kind::Impulse, .columns = {2}}},
        {"* Channels: 2\n* Sample rate: 48000 Hz\n0,1\n1,0\n", 48000, {0, 1, 1, 0}, {}, {}, 2},
    };
    const Folder folder;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        MeasurementFile file;
        const auto path = folder.Write("ir.txt", test.text);
        if (const auto error = ErrorOf([&] { file = ReadMeasurementFile(path, test.options); }))
            ADD_FAILURE() << error->what();
        EXPECT_EQ(file.kind, Kind::Impulse);
        EXPECT_EQ(file.sampleRate, test.rate);
        EXPECT_EQ(file.columns, test.columns);
        EXPECT_EQ(file.values, test.values);
        ASSERT_EQ(file.startTime.has_value(), test.start.has_value());
        if (test.start) {
            EXPECT_DOUBLE_EQ(*file.startTime, *test.start);
        }
    }
    const auto cut = ReadError(folder.Write("ir.txt", described + "0\n1\n"));
    ASSERT_TRUE(cut);
    EXPECT_NE(std::string(cut->what()).find("expected 4 samples, as the header says, found 2"), std::string::npos);
    // A header that states a rate makes no impulse response of frequencies, levels and phases.
    EXPECT_EQ(
        ReadMeasurementFile(folder.Write("r.frd", "* Sample rate: 48000 Hz, impulse windowed\n20 1 2\n21 3 4\n")).kind,
        Kind::Response);
}

struct DecimalComma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(TextFiles, ReadAndWriteTheSameInALocaleWithDecimalCommas) {
    const std::string cLocale = std::setlocale(LC_ALL, nullptr);
    const std::locale old = std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
    for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) != nullptr)
            break;  // C functions read decimal commas from here on, where such a locale is installed
    }
    ExpectEverySyntaxIsRead();
    const Folder folder;
    WriteMeasurementFile(folder / "a.csv", Table(MeasurementFile::Kind::Response, 2, {1234.5f, 2, 0.25f, -1e9f}));
    EXPECT_EQ(Bytes(folder / "a.csv"), "* Frequency (Hz),Level (dB)\n1234.5,0.25\n2,-1e+09\n");
    std::locale::global(old);
    std::setlocale(LC_ALL, cLocale.c_str());
}

TEST(TextFiles, RefuseEveryOtherLineByItsNumber) {
    const std::string kForce = " (--force takes it as it is, --as says what else the file is), found ",
                      kFew = "expected 2 or 3 numbers (frequency, level, phase)",
                      kMark =
                          "expected numbers whose decimal mark some line of the file shows (else --decimal says it), ",
                      kFinite = "expected a finite number (--columns leaves a column out), found ",
                      kOther =
                          "expected levels in dB and phases in degrees (--as data keeps other quantities, --columns "
                          "chooses columns), found ",
                      kThousands =
                          "expected columns that are no groups of thousands (--columns 1,2,3 takes them as they are, "
                          "1 500 70 as 1 Hz, 500 dB and 70 degrees), found ";
    const struct {
        std::string text;
        std::size_t line;
        std::string message;  // behind "path:line: "
    } cases[] = {
        {"20 1\n21 x\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "x" in "21 x")"},
        {"Hz dB\n\n20 1\r\n21 2 3\r\n", 4,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found 3 numbers in "21 2 3")"},
        {"20 1 2\n21 1\n", 2,
         R"(expected 3 numbers separated by blanks or tabs, as in the other lines, found 2 numbers in "21 1")"},
        {"20;1;2\n21;1;2\n22\n", 3,
         R"(expected 3 numbers separated by semicolons, as in the other lines, found 1 number in "22")"},
        {"20,1,2\r21,,2\r", 2,
         R"(expected 3 numbers separated by commas, as in the other lines, found an empty column in "21,,2")"},
        // The line that differs from the others is named, wherever it is.
        {"20 1 2 3\n20 1\n21 2\n22 3\n", 1,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found 4 numbers in "20 1 2 3")"},
        {"20,5;1,5\n21.5;1\n22;2\n", 2,
         R"(expected 2 numbers separated by semicolons, with decimal commas, found "21.5" in "21.5;1")"},
        {"20.5,1\n21.5 1\n22,2\n", 2,
         R"(expected 2 numbers separated by commas, as in the other lines, found "21.5 1" in "21.5 1")"},
        {"1,000.5 63\n20.5 63\n21.5 63\n", 2, "expected a frequency above the 1000.5 Hz before it" + kForce + "20.5"},
        {"* f l p c\n20 1 2 3\n", 2,
         kFew + R"(; --columns 1,2,3 says which these are, --as data keeps all, found "20 1 2 3" below "* f l p c")"},
        {"\n\n1000\n", 3, kFew + R"(; --as data keeps any others, --as impulse --rate HZ takes samples, found "1000")"},
        {"20,5,63,1\n", 1, kFew + R"(; --columns 1,2,3 says which these are, --as data keeps all, found "20,5,63,1")"},
        {"1,000,70\n2,000,71\n", 1, kFew + R"(, found "1,000,70")"},
        {"-20 70\n20 75\n", 1, "expected a frequency above 0 Hz" + kForce + "-20"},
        {"0 70\n20 75\n", 1, "expected a frequency above 0 Hz" + kForce + "0"},
        {"2000 1\n20 1\n40 1\n", 2, "expected a frequency above the 2000 Hz before it" + kForce + "20"},
        {"20 1\n\n20 2\n40 3\n", 3, "expected a frequency above the 20 Hz before it" + kForce + "20"},
        {"1.000\t70\n2.000\t71\n20.000\t72\n", 1, kMark + R"(found "1.000", which could be 1 or 1000)"},
        {"# f;l\n1,000;70\n2,000;71\n", 2, kMark + R"(found "1,000", which could be 1 or 1000)"},
        {"1 20 70\n2 30 71\n", 1,
         "expected frequencies in the first column, found numbers that count the rows; --columns 2,3 leaves them out, "
         "--columns 1,2,3 takes them as they are"},
        {"Freq Ohm Phase\n20 6.1 12\n", 2,
         "expected levels in dB (--as data keeps other quantities), found an impedance"},
        {"Freq THD[%]\n20 6.1\n", 2, kOther + "parts in percent in \"Freq THD[%]\""},
        {"Freq dB Phase(rad)\n20 6.1 0\n", 2, kOther + "phases in radians in \"Freq dB Phase(rad)\""},
        {"1 500 70\n2 500 71\n", 1, kThousands + R"("1 500 70")"},
        {"1,500,70\n2,500,71\n", 1, kThousands + R"("1,500,70")"},
        {"Freq(kHz) dB\n0.02 6.1\n", 2, R"(expected frequencies in Hz, found kHz in "Freq(kHz) dB")"},
        {"Time Amplitude\n0.0 0.1\n0.00002 0.2\n0.00005 0.3\n", 3,
         R"(expected times at an even step of 2.5e-05, found "0.00002 0.2")"},
        {"0.0 0.1\n0.0000208 0.2\n0.0000609 0.3\n", 2,
         R"(expected times at an even step of 3.045e-05, found "0.0000208 0.2")"},
        {"* Sample interval: 2.12e-5\n0.5\n", 2,
         "expected an interval of a whole number of samples per second (else --rate HZ says it), found 2.12e-05 s, "
         "which is 47169.8113 Hz"},
        {"20 63 dB\n", 1, kFew + R"(, found "20 63 dB")"},
        {"@!\n20 63\n", 1,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "@!" in "@!")"},
        {"20 1\n0x15 2\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "0x15" in "0x15 2")"},
        {"20 1\n+-21 2\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "+-21" in "+-21 2")"},
        {"20 1\n21e 2\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "21e" in "21e 2")"},
        {"20 1\n21 NaN\n", 2, kFinite + R"("NaN")"},
        {"20 1 2\n21 1 -1.#IND\n", 2, kFinite + R"("-1.#IND")"},
        {"20,5;-inf\n", 1, kFinite + R"("-inf")"},
        {"20 1\nNaN 3\n21 4\n", 2, kFinite + R"("NaN")"},
        {"20 1e39\n", 1, R"(expected a number within the range of 32-bit floats, found "1e39")"},
        {"20 1\n21 -1e999\n", 2, R"(expected a number within the range of 32-bit floats, found "-1e999")"},
        {"20 1\n21 "s + std::string(70, 'x') + "\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx..." in "21 xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...")"},
        {"20 1\n21\0 2\n"s, 2, "expected text, found a zero byte"},
        {std::string(100'000, '\0'), 1, "expected text, found a zero byte"},
        {"20 1\n" + std::string(TextLines::kLongestLine + 100'000, 'x'), 2,
         "expected lines of text, found one of more than 1048576 bytes"},
    };
    const Folder folder;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        const std::filesystem::path path = folder.Write("bad.frd", test.text);
        const auto error = ReadError(path);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->Line(), test.line);
        EXPECT_EQ(error->Path(), path);
        EXPECT_FALSE(error->Expected().empty());
        EXPECT_EQ(error->what(), path.string() + ":" + std::to_string(test.line) + ": " + test.message);
    }
}

TEST(Samples, HoldTheLoudspeakerTheyAreMadeFrom) {
    const std::filesystem::path samples = LUMVEX_SAMPLES;
    const auto read = [&](const char* name) { return ReadMeasurementFile(samples / name); };
    const auto level = [](const MeasurementFile& file, float frequency) {
        std::size_t row = 0;
        while (file.values[row] < frequency) ++row;
        return file.values[file.rows + row];
    };
    const MeasurementFile woofer = read("woofer.frd"), tweeter = read("tweeter.txt");
    EXPECT_EQ(woofer.columns, 3u);
    EXPECT_EQ(tweeter.columns, 3u);
    EXPECT_NEAR(level(woofer, 2200), level(tweeter, 2200), 2.0f);  // the crossover
    EXPECT_GT(level(woofer, 500), level(tweeter, 500) + 30);
    const MeasurementFile near = read("woofer-near.txt");
    EXPECT_NEAR(level(near, 200) - level(woofer, 200), 5.0f, 1.0f);  // the baffle step
    const MeasurementFile left = read("room-left.csv"), right = read("room-right.csv");
    EXPECT_EQ(left.columns, 2u);
    EXPECT_EQ(right.columns, 3u);
    ASSERT_EQ(left.rows, right.rows);
    for (std::size_t i = 0; i < left.rows; ++i) EXPECT_NEAR(left.values[i], right.values[i], 0.006f);
    const MeasurementFile microphone = read("microphone.txt");
    EXPECT_EQ(microphone.kind, MeasurementFile::Kind::Calibration);
    EXPECT_EQ(microphone.serialNumber, "7000042");
    EXPECT_EQ(microphone.sensitivity, -12.34);
    EXPECT_NEAR(level(microphone, 1000), 0, 0.05f);
}

}  // namespace
}  // namespace lumvex::app
