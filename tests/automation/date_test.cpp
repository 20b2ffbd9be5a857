#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "lumvex/values.hpp"

namespace {

using lumvex::DateParts;
using lumvex::SplitDate;
using lumvex::ToDate;

TEST(Date, DaysCountFromTheEpochAndTimesCountUpOnBothSides) {
    const std::pair<DateParts, DATE> cases[] = {{{1899, 12, 30, 0, 0, 0}, 0.0},
                                                {{1899, 12, 31, 0, 0, 0}, 1.0},
                                                {{1899, 12, 29, 6, 0, 0}, -1.25},
                                                {{1899, 12, 30, 18, 0, 0}, 0.75},
                                                {{1970, 1, 1, 0, 0, 0}, 25569.0},
                                                {{2000, 2, 29, 12, 0, 0}, 36585.5},
                                                {{100, 1, 1, 0, 0, 0}, -657434.0},
                                                {{9999, 12, 31, 0, 0, 0}, 2958465},
                                                {{2011, 5, 25, 14, 3, 1}, 40688 + 50581 / 86400.0},
                                                {{1899, 12, 28, 23, 59, 59}, -2 - 86399 / 86400.0}};
    for (const auto& [parts, date] : cases) {
        const auto made = ToDate(parts);
        ASSERT_TRUE(made);
        EXPECT_DOUBLE_EQ(*made, date);
        const auto split = SplitDate(date);
        ASSERT_TRUE(split) << date;
        EXPECT_EQ(split->year, parts.year) << date;
        EXPECT_EQ(split->month, parts.month) << date;
        EXPECT_EQ(split->day, parts.day) << date;
        EXPECT_EQ(split->hour, parts.hour) << date;
        EXPECT_EQ(split->minute, parts.minute) << date;
        EXPECT_EQ(split->second, parts.second) << date;
    }
}

TEST(Date, RoundingToASecondMayReachTheNextDay) {
    const auto split = SplitDate(40688.9999999);
    ASSERT_TRUE(split);
    EXPECT_EQ(split->day, 26);
    EXPECT_EQ(split->hour, 0);
    const auto before = SplitDate(-1.9999999);  // the evening of the 29th
    ASSERT_TRUE(before);
    EXPECT_EQ(before->month, 12);
    EXPECT_EQ(before->day, 30);
}

TEST(Date, WhatIsNoDayIsRefused) {
    for (const DateParts& parts :
         {DateParts{2011, 2, 29}, DateParts{2011, 13, 1}, DateParts{2011, 0, 1}, DateParts{99, 12, 31},
          DateParts{10000, 1, 1}, DateParts{2011, 4, 31}, DateParts{2011, 257, 1}, DateParts{2011, 1, 1, 24},
          DateParts{2011, 1, 1, 0, 60}, DateParts{2011, 1, 1, 0, 0, -1}})
        EXPECT_FALSE(ToDate(parts)) << parts.year << '-' << parts.month << '-' << parts.day << ' ' << parts.hour;
    for (const double date :
         {2958466.0, 2958465.9999999, -657435.0, 1e300, std::nan(""), -std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(SplitDate(date)) << date;
}

TEST(Date, TimesAreByTheLocalClock) {
    for (const std::time_t time : {std::time_t{0}, std::time_t{1306332181}, std::time_t{1700000000}}) {
        const std::tm* local = std::localtime(&time);
        const auto split = SplitDate(ToDate(time));
        ASSERT_TRUE(split);
        EXPECT_EQ(split->year, local->tm_year + 1900);
        EXPECT_EQ(split->month, local->tm_mon + 1);
        EXPECT_EQ(split->day, local->tm_mday);
        EXPECT_EQ(split->hour, local->tm_hour);
        EXPECT_EQ(split->minute, local->tm_min);
        EXPECT_EQ(split->second, local->tm_sec);
    }
    EXPECT_EQ(ToDate(std::numeric_limits<std::time_t>::max()), 0);
    const DATE now = lumvex::LocalTimeNow();
    EXPECT_NEAR(now, ToDate(std::time(nullptr)), 60.0 / 86400);
}

}  // namespace
