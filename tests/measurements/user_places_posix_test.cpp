// Display names of measurements as users of several places see them.
#include <clocale>
#include <cstdlib>
#include <limits>

#include "kit/full_project.hpp"

// The C library loses the list of folders of every locale that it finds by LOCPATH.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:argz_add_sep\n"; }

namespace lumvex::tests {
namespace {

// The locales that users of other places have, made where this machine may lack them.
class UserPlaces : public testing::Test {
protected:
    Folder folder;
    FullProject full;

    void SetUp() override {
        for (const char* name : kVariables) {
            const char* value = std::getenv(name);
            before_.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
        setenv("LOCPATH", folder.Path().c_str(), 1);
    }
    void TearDown() override {
        for (const auto& [name, value] : before_) {
            if (value)
                setenv(name, value->c_str(), 1);
            else
                unsetenv(name);
        }
    }
    void Make(const std::string& name, const std::string& charset) {
        const std::string output = (folder / (name + "." + charset)).string();
        const std::string command = "localedef --no-archive -i " + name + " -f " + charset + " '" + output + "' 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    std::string Shown() const { return ToUtf8(full.measurement.DisplayName()); }

private:
    static constexpr const char* kVariables[] = {"LC_ALL", "LC_TIME", "LC_CTYPE", "LANG", "LOCPATH"};
    std::vector<std::pair<const char*, std::optional<std::string>>> before_;
};

TEST_F(UserPlaces, SeeTheirOwnDatesAndTimes) {
    Make("en_US", "UTF-8");
    Make("de_DE", "ISO-8859-1");
    Make("ja_JP", "UTF-8");
    full.experiment.MicDistance(1);
    full.measurement.SampleRate(44100);
    full.measurement.Timestamp(*ToDate(DateParts{2024, 3, 14, 21, 26, 53}));
    const struct {
        const char *variable, *locale, *shown;
    } cases[] = {
        {"LANG", "en_US.UTF-8", "Woofer (44kHz On axis at 1.00m - 03/14/2024 09:26:53 PM)"},
        {"LC_TIME", "de_DE.ISO-8859-1", "Woofer (44kHz On axis at 1.00m - 14.03.2024 21:26:53)"},
        {"LC_ALL", "ja_JP.UTF-8", "Woofer (44kHz On axis at 1.00m - 2024年03月14日 21時26分53秒)"},
        {"LC_ALL", "C", "Woofer (44kHz On axis at 1.00m - 03/14/24 21:26:53)"},
        {"LC_ALL", "xx_XX.none", "Woofer (44kHz On axis at 1.00m - 03/14/24 21:26:53)"},
    };
    for (const auto& each : cases) {
        setenv(each.variable, each.locale, 1);
        EXPECT_EQ(Shown(), each.shown) << each.variable << "=" << each.locale;
    }
    // The user's locale and no other: the program's own, with a decimal comma, is left alone and not looked at.
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.ISO-8859-1"), nullptr);
    setenv("LC_ALL", "en_US.UTF-8", 1);
    EXPECT_EQ(Shown(), "Woofer (44kHz On axis at 1.00m - 03/14/2024 09:26:53 PM)");
    EXPECT_STREQ(std::setlocale(LC_TIME, nullptr), "de_DE.ISO-8859-1");
    std::setlocale(LC_ALL, "C");
}

TEST_F(UserPlaces, MeasurementsNameTheirRateAndSetUp) {
    setenv("LC_ALL", "C", 1);
    full.measurement.Timestamp(*ToDate(DateParts{2024, 2, 29, 0, 0, 0}));
    Measurement alone = full.config.Measurements().Add(u"");
    alone.Timestamp(-1.25);
    const struct {
        LONG rate;
        std::string_view shown;
    } cases[] = {{48000, ""},    {48001, "48kHz "}, {47999, "47kHz "},  {96000, "96kHz "},
                 {999, "0kHz "}, {0, "0kHz "},      {-44100, "-44kHz "}};
    for (const auto& each : cases) {
        full.measurement.SampleRate(each.rate);
        alone.SampleRate(each.rate);
        EXPECT_EQ(Shown(), "Woofer (" + std::string(each.shown) + "On axis at 0.00m - 02/29/24 00:00:00)");
        EXPECT_EQ(ToUtf8(alone.DisplayName()), " (" + std::string(each.shown) + "12/29/99 06:00:00)");
    }
    // A date beyond the calendar is left out.
    alone.SampleRate(48000);
    for (const DATE date : {1e300, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
        alone.Timestamp(date);
        EXPECT_EQ(ToUtf8(alone.DisplayName()), " ( )");
    }
}

}  // namespace
}  // namespace lumvex::tests
