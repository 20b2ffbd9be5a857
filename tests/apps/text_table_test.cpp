// Tables as people write them or a spreadsheet saves them: separators, decimal marks, headers, and the line of a
// mistake.
#include "files/text_table.hpp"

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

const std::vector<std::string> kNames = {"frequency", "gain"};

TEST(TextTable, NumbersInEveryFormThatSpreadsheetsSave) {
    const Folder folder;
    const std::vector<float> expected{20, -1.5f, 2000.25f, 3};
    for (const char* text :
         {"20,-1.5\n2000.25,3\n",
          "\xEF\xBB\xBF"
          "Frequency;GAIN\r\n20;-1,5\r\n\r\n2000,25;3\r\n",
          "20;-1.5;;\n2000.25;3;;", "\"frequency\", gain ,\r20 , \"-1,5\",\r2.00025e3,+3,", "20,-1.5\n\t\n2000.25,3",
          "gain;frequency\n-1,5;20\n3;2000,25\n", "20\t-1,5\n2000.25\t3\n"}) {
        EXPECT_EQ(ReadNumbers(folder.Write("table.csv", text), kNames), expected) << text;
    }
}

TEST(TextTable, WhatIsWrongIsToldWithItsLine) {
    const Folder folder;
    const struct {
        const char* text;
        std::size_t line;
        const char* found;
    } cases[] = {
        {"20,1\n\n30\n", 3, "1 fields"},
        {"20,1\n30,2,3\n", 2, "3 fields"},
        {"frequency,gain\n20,x\n", 2, "\"x\""},
        {"20,nan\n", 1, "\"nan\""},
        {"20;1\n1,000;2\n", 2, "without groups of thousands, found \"1,000\""},
        {"20,1e99\n", 1, "\"1e99\""},
        {"20,\n", 1, "\"\""},
        {"20,1\nfrequency,gain\n", 2, "\"freq"},
        {"20,\"1\n", 1, "not closed"},
        {"20,\xFF\n", 1, "UTF-8"},
        {"gain,frequency,gain\n1,2,3\n", 1, "expected the columns frequency, gain, found \"gain frequency gain\""},
        {"", 0, "the file is empty"},
        {"frequency,gain\n", 0, "below the header"}};
    for (const auto& each : cases) {
        const auto error =
            ErrorOf([&] { static_cast<void>(ReadNumbers(folder.Write("table.csv", each.text), kNames)); });
        ASSERT_TRUE(error) << each.text;
        EXPECT_EQ(error->Line(), each.line) << each.text;
        EXPECT_NE(std::string(error->what()).find(each.found), std::string::npos) << error->what();
    }
}

}  // namespace
}  // namespace lumvex::app
