#include <clocale>
#include <locale>

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

const std::string kThree = "20.5\t63.1\t-170\n21\t64\t1e-3\n";

struct Syntax {
    const char* label;
    std::string text;
    std::vector<float> values;  // column after column
    std::size_t columns;
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
    {"decimal commas only from the second line on", "21 64\n20,5 63,1\n", {21, 20.5f, 64, 63.1f}, 2},
    {"decimal points only from the second line on", "21;64\n20.5;63.1\n", {21, 20.5f, 64, 63.1f}, 2},
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
    {"signs, exponents and bare points", "+20.5e0 -.5 5.\n2.05E+1 -5e-1 +5\n", {20.5f, 20.5f, -0.5f, -0.5f, 5, 5}, 3},
    {"one row, frequencies descending or negative", "-1 5\n", {-1, 5}, 2},
    {"nearest floats", "16777217 0.1\n16777219 3.4028235e38\n", {16777216, 16777220, 0.1f, 3.4028235e38f}, 2},
    {"numbers too small for a float are zero", "1e-46 -1e-400\n1e-45 0.5\n", {0, 1e-45f, -0.0f, 0.5f}, 2},
};

void ExpectEverySyntaxIsRead() {
    const Folder folder;
    for (const Syntax& syntax : kSyntaxes) {
        SCOPED_TRACE(syntax.label);
        const std::filesystem::path path = folder.Write("data.txt", syntax.text);
        MeasurementFile file;
        if (const auto error = ErrorOf([&] { file = ReadMeasurementFile(path); })) ADD_FAILURE() << error->what();
        EXPECT_EQ(file.kind, MeasurementFile::Kind::Response);
        EXPECT_EQ(file.columns, syntax.columns);
        EXPECT_EQ(file.rows, syntax.values.size() / syntax.columns);
        EXPECT_EQ(file.values, syntax.values);
        EXPECT_EQ(file.sampleRate, 0);
    }
}

TEST(TextFiles, ReadEverySyntaxThatMeasurementProgramsWrite) { ExpectEverySyntaxIsRead(); }

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
    const struct {
        std::string text;
        std::size_t line;
        const char* message;  // behind "path:line: "
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
        {"1,000.5 63\n20.5 63\n21.5 63\n", 1,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "1,000.5" in "1,000.5 63")"},
        {"20 1 2 3\n", 1, R"(expected 2 or 3 numbers (frequency, level, phase), found "20 1 2 3")"},
        {"\n\n1000\n", 3, R"(expected 2 or 3 numbers (frequency, level, phase), found "1000")"},
        {"20,5,63,1\n", 1, R"(expected 2 or 3 numbers (frequency, level, phase), found "20,5,63,1")"},
        {"20 63 dB\n", 1, R"(expected 2 or 3 numbers (frequency, level, phase), found "20 63 dB")"},
        {"@!\n20 63\n", 1,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "@!" in "@!")"},
        {"20 1\n0x15 2\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "0x15" in "0x15 2")"},
        {"20 1\n+-21 2\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "+-21" in "+-21 2")"},
        {"20 1\n21e 2\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "21e" in "21e 2")"},
        {"20 1\n21 NaN\n", 2, R"(expected a finite number, found "NaN")"},
        {"20 1\n21 -1.#IND\n", 2, R"(expected a finite number, found "-1.#IND")"},
        {"20,5;-inf\n", 1, R"(expected a finite number, found "-inf")"},
        {"20 1\nNaN 3\n21 4\n", 2, R"(expected a finite number, found "NaN")"},
        {"20 1e39\n", 1, R"(expected a number within the range of 32-bit floats, found "1e39")"},
        {"20 1\n21 -1e999\n", 2, R"(expected a number within the range of 32-bit floats, found "-1e999")"},
        {"20 1\n21 "s + std::string(70, 'x') + "\n", 2,
         R"(expected 2 numbers separated by blanks or tabs, as in the other lines, found "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx..." in "21 xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...")"},
        {"20 1\n21\0 2\n"s, 2, "expected text (in UTF-16 with its byte-order mark), found a zero byte"},
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
