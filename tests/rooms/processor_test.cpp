// Processor configurations: defaults, index ranges, what a put compares and tells, and many of them in one document.
#include <functional>
#include <limits>

#include "kit/listener.hpp"
#include "kit/hand_made.hpp"

namespace lumvex::tests {
namespace {

class Processor : public ::testing::Test {
protected:
    Project project = Project::Create();
    BoxCfgs configurations = project.BoxCfgs();
    BoxCfg box = configurations.Add(u"Box");
};

// One property by bank, or by bank and channel, through its published methods; values as LONG.
struct Table {
    const char* name;
    SHORT channels;  // 0: by bank alone
    DISPID id;
    std::function<HRESULT(IBoxCfg*, SHORT, SHORT, LONG*)> get;
    std::function<HRESULT(IBoxCfg*, SHORT, SHORT, LONG)> put;
};

template <class Value>
Table ByChannel(const char* name, DISPID id, HRESULT (STDMETHODCALLTYPE IBoxCfg::*get)(SHORT, SHORT, Value*),
                HRESULT (STDMETHODCALLTYPE IBoxCfg::*put)(SHORT, SHORT, Value)) {
    return {name, 6, id,
            [get](IBoxCfg* box, SHORT bank, SHORT channel, LONG* value) {
                Value found{};
                const HRESULT status = (box->*get)(bank, channel, value ? &found : nullptr);
                if (value && SUCCEEDED(status)) *value = static_cast<LONG>(found);
                return status;
            },
            [put](IBoxCfg* box, SHORT bank, SHORT channel, LONG value) {
                return (box->*put)(bank, channel, static_cast<Value>(value));
            }};
}

Table ByBank(const char* name, DISPID id, HRESULT (STDMETHODCALLTYPE IBoxCfg::*get)(SHORT, SHORT*),
             HRESULT (STDMETHODCALLTYPE IBoxCfg::*put)(SHORT, SHORT)) {
    return {
        name, 0, id,
        [get](IBoxCfg* box, SHORT bank, SHORT, LONG* value) {
            SHORT found{};
            const HRESULT status = (box->*get)(bank, value ? &found : nullptr);
            if (value && SUCCEEDED(status)) *value = found;
            return status;
        },
        [put](IBoxCfg* box, SHORT bank, SHORT, LONG value) { return (box->*put)(bank, static_cast<SHORT>(value)); }};
}

const Table kTables[] = {
    ByChannel("delay", 0x3, &IBoxCfg::get_XdA_DelayTweak, &IBoxCfg::put_XdA_DelayTweak),
    ByChannel("level", 0x4, &IBoxCfg::get_XdA_LevelTweak, &IBoxCfg::put_XdA_LevelTweak),
    ByChannel("invert", 0x5, &IBoxCfg::get_XdA_Invert, &IBoxCfg::put_XdA_Invert),
    ByChannel("mute", 0x6, &IBoxCfg::get_XdA_Mute, &IBoxCfg::put_XdA_Mute),
    ByBank("FIR", 0x9, &IBoxCfg::get_XdA_FIR, &IBoxCfg::put_XdA_FIR),
    ByBank("left IIR", 0xa, &IBoxCfg::get_XdA_IIRLeft, &IBoxCfg::put_XdA_IIRLeft),
    ByBank("right IIR", 0xb, &IBoxCfg::get_XdA_IIRRight, &IBoxCfg::put_XdA_IIRRight),
};

TEST_F(Processor, ANewConfiguration) {
    const SHORT fir[16] = {0, 2, 2, 2, 1, 3, 3, 3, 1, 3, 3, 3, 1, 3, 3, 3};
    for (SHORT bank = 1; bank <= 16; ++bank) {
        EXPECT_EQ(box.XdA_FIR(bank), fir[bank - 1]) << bank;
        EXPECT_EQ(box.XdA_IIRLeft(bank), (bank - 1) / 4) << bank;
        EXPECT_EQ(box.XdA_IIRRight(bank), (bank - 1) % 4) << bank;
        for (SHORT channel = 1; channel <= 6; ++channel) {
            EXPECT_EQ(box.XdA_Mute(bank, channel), 0);
            EXPECT_EQ(box.XdA_Invert(bank, channel), 0);
            EXPECT_EQ(box.XdA_DelayTweak(bank, channel), 0);
            EXPECT_EQ(box.XdA_LevelTweak(bank, channel), 0.0f);
        }
    }
    EXPECT_EQ(box.XdA_UserParametric(), 0);
    EXPECT_EQ(box.XdA_LockEQ(), 0);
    EXPECT_EQ(box.XdA_CustomText(), u"");
    EXPECT_EQ(configurations.Name(), u"QDU CONFIGURATIONS");
    EXPECT_EQ(box.Banks().Name(), u"QDU PROFILES");
    EXPECT_TRUE(IsSameObject(LateGet(project.Pointer(), 0x08), configurations));
    EXPECT_TRUE(IsSameObject(LateGet(box.Pointer(), 0x28), configurations));
    EXPECT_TRUE(IsSameObject(LateGet(box.Pointer(), 0x29), project));
    EXPECT_TRUE(IsSameObject(LateGet(configurations.Pointer(), 0x28), project));
    const double now = LocalTimeNow();
    EXPECT_LE(box.Timestamp(), now);
    EXPECT_GT(box.Timestamp(), now - 1.0 / 24);
}

TEST_F(Processor, ProfilesAreCountedFrom0ByBankAndFrom1ByItem) {
    const std::u16string_view names[] = {u"Bypass", u"Profile 1", u"Profile 2", u"Profile 3"};
    ASSERT_EQ(box.Banks().Count(), 4);
    for (int number = 0; number < 4; ++number) {
        EXPECT_EQ(box.Bank(number).Name(), names[number]);
        EXPECT_EQ(box.Bank(number).IsSame(box.Banks().Item(number + 1)), 1);
        EXPECT_TRUE(IsSameObject(LateGet(box.Pointer(), 0x2, {Variant::FromLong(number)}), box.Bank(number)));
    }
    IBoxCfgBank* none = nullptr;
    for (const int number : {-1, 4, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        EXPECT_TRUE(FailsBare(E_INVALIDARG, box.Get()->get_Bank(number, &none))) << number;
}

TEST_F(Processor, IndicesOutsideTheTablesAreRefused) {
    const SHORT outside[] = {-32768, -1, 0, 17, 32767};
    Listener listener(project);
    for (const Table& table : kTables) {
        SCOPED_TRACE(table.name);
        const auto refused = [&](SHORT bank, SHORT channel) {
            LONG value = 0;
            EXPECT_TRUE(FailsBare(E_INVALIDARG, table.get(box.Get(), bank, channel, &value))) << bank << "," << channel;
            EXPECT_TRUE(FailsBare(E_INVALIDARG, table.put(box.Get(), bank, channel, 9))) << bank << "," << channel;
        };
        for (const SHORT bank : outside) refused(bank, 1);
        if (table.channels == 6)
            for (const SHORT channel : {SHORT{-1}, SHORT{0}, SHORT{7}, SHORT{16}}) refused(1, channel);
    }
    EXPECT_EQ(listener.Taken(), Strings{});
}

// Every place of every table holds its own value, by both bindings.
TEST_F(Processor, EachPlaceIsItsOwn) {
    for (const Table& table : kTables) {
        SCOPED_TRACE(table.name);
        const SHORT channels = std::max<SHORT>(table.channels, 1);
        LONG next = -20;
        for (SHORT bank = 1; bank <= 16; ++bank)
            for (SHORT channel = 1; channel <= channels; ++channel) {
                if (bank % 2 == 0) {
                    EXPECT_EQ(table.put(box.Get(), bank, channel, next++), S_OK);
                } else {
                    std::vector<Variant> arguments{Variant::FromLong(bank), Variant::FromLong(next++)};
                    if (table.channels) arguments.insert(arguments.begin() + 1, Variant::FromLong(channel));
                    EXPECT_EQ(LatePut(box.Pointer(), table.id, std::move(arguments)), S_OK);
                }
            }
        next = -20;
        for (SHORT bank = 1; bank <= 16; ++bank)
            for (SHORT channel = 1; channel <= channels; ++channel, ++next) {
                LONG value = 0;
                EXPECT_EQ(table.get(box.Get(), bank, channel, &value), S_OK);
                EXPECT_EQ(value, next) << bank << "," << channel;
            }
    }
}

TEST_F(Processor, APutOfWhatIsThereIsNoChange) {
    const Folder folder;
    project.SaveFileAs(PathText(folder / "box.lvx"));
    project.CloseFile();
    project = Project::Create();
    project.OpenFile(PathText(folder / "box.lvx"));
    box = project.BoxCfgs().Item(1);
    Listener listener(project);
    const auto modified = [&] { return project.Modified().boolVal != VARIANT_FALSE; };
    for (const Table& table : kTables) EXPECT_EQ(table.put(box.Get(), 1, 1, 0), S_OK) << table.name;
    box.XdA_UserParametric(0);
    box.XdA_LockEQ(0);
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_FALSE(modified());

    for (const Table& table : kTables) {
        EXPECT_EQ(table.put(box.Get(), 16, std::max<SHORT>(table.channels, 1), 5), S_OK);
        EXPECT_EQ(listener.Taken(), Strings{"item Box 0"}) << table.name;
        EXPECT_EQ(table.put(box.Get(), 16, std::max<SHORT>(table.channels, 1), 5), S_OK);
        EXPECT_EQ(listener.Taken(), Strings{}) << table.name;
    }
    EXPECT_TRUE(modified());
    box.XdA_UserParametric(-7);
    EXPECT_EQ(listener.Taken(), Strings{"item Box 0"});
    box.XdA_LockEQ(1);
    EXPECT_EQ(listener.Taken(), Strings{"item Box 0"});
    for (int round = 0; round < 2; ++round) {  // the text is not compared
        box.XdA_CustomText(u"same");
        EXPECT_EQ(listener.Taken(), Strings{"item Box 0"});
    }
    EXPECT_EQ(box.XdA_UserParametric(), -7);
    EXPECT_EQ(box.XdA_LockEQ(), 1);
    EXPECT_EQ(box.XdA_CustomText(), u"same");
    project = Project();
}

// A delay is kept as a real number: large ones lose their last digits, and one too many for a LONG becomes the largest.
TEST_F(Processor, DelaysPassThroughRealNumbers) {
    const struct {
        LONG given, found;
    } cases[] = {{5, 5}, {-5, -5}, {16777217, 16777216}, {2147483647, 2147483647}, {-2147483647 - 1, -2147483647 - 1}};
    for (const auto& each : cases) {
        box.XdA_DelayTweak(3, 2, each.given);
        EXPECT_EQ(box.XdA_DelayTweak(3, 2), each.found);
    }
    box.XdA_DelayTweak(3, 2, 16777216);
    Listener listener(project);
    box.XdA_DelayTweak(3, 2, 16777217);
    EXPECT_EQ(listener.Taken(), Strings{}) << "equal once it is a real number";
}

TEST_F(Processor, OwnersComeFirstThenThePointerThenTheIndices) {
    const auto gets = [&](const std::function<void(HRESULT, const char*)>& expect, bool indexIsGood) {
        const SHORT bank = indexIsGood ? 1 : 0;
        for (const Table& table : kTables) expect(table.get(box.Get(), bank, 1, nullptr), table.name);
        expect(box.Get()->get_Bank(indexIsGood ? 0 : 99, nullptr), "Bank");
        expect(box.Get()->get_Banks(nullptr), "Banks");
        expect(box.Get()->get_Root(nullptr), "Root");
        expect(box.Get()->get_Parent(nullptr), "Parent");
        expect(box.Get()->get_XdA_CustomText(nullptr), "CustomText");
        expect(box.Get()->get_XdA_UserParametric(nullptr), "UserParametric");
        expect(box.Get()->get_XdA_LockEQ(nullptr), "LockEQ");
    };
    gets([](HRESULT status, const char* name) { EXPECT_TRUE(FailsBare(E_POINTER, status)) << name; }, false);
    configurations.RemoveAll();
    gets([](HRESULT status, const char* name) { EXPECT_TRUE(FailsWith(4009, status)) << name; }, false);
    BSTR text = reinterpret_cast<BSTR>(&text);
    EXPECT_TRUE(FailsWith(4009, box.Get()->get_XdA_CustomText(&text)));
    EXPECT_EQ(text, nullptr);
    for (const Table& table : kTables) {
        LONG value = 0;
        EXPECT_TRUE(FailsWith(4009, table.get(box.Get(), 1, 1, &value))) << table.name;
        EXPECT_TRUE(FailsBare(E_INVALIDARG, table.put(box.Get(), 0, 1, 8))) << table.name;
        EXPECT_TRUE(FailsWith(4009, table.put(box.Get(), 1, 1, 8))) << table.name;
        EXPECT_EQ(table.put(box.Get(), 1, 1, 8), S_OK) << table.name << ": the value stayed, so this changes nothing";
    }
}

TEST_F(Processor, HundredsInOneDocument) {
    constexpr LONG kMany = 300;
    const Folder folder;
    for (LONG number = 2; number <= kMany; ++number) {
        const std::string name = "Box " + std::to_string(number);
        BoxCfg next = configurations.Add(std::u16string(name.begin(), name.end()));
        next.XdA_Mute(16, 6, number);
        next.Bank(number % 4).Spkrs().Item(4).FilterQHi(6, static_cast<float>(number));
    }
    project.SaveFileAs(PathText(folder / "many.lvx"));
    project = Project::Create();
    project.OpenFile(PathText(folder / "many.lvx"));
    project.SetCacheBounds(40, 80);
    configurations = project.BoxCfgs();
    ASSERT_EQ(configurations.Count(), kMany);
    for (LONG step = 0; step < 60; ++step) {
        const LONG number = 2 + (step * 97) % (kMany - 1);
        const BoxCfg found = configurations.Item(number);
        EXPECT_EQ(found.Name(), [&] {
            const std::string name = "Box " + std::to_string(number);
            return std::u16string(name.begin(), name.end());
        }());
        EXPECT_EQ(found.XdA_Mute(16, 6), number);
        EXPECT_EQ(found.Banks().Count(), 4);
        EXPECT_EQ(found.Bank(number % 4).Spkrs().Item(4).FilterQHi(6), static_cast<float>(number));
    }
    BoxCfg last = configurations.Item(kMany);
    last.XdA_CustomText(u"changed");
    configurations.Remove(1);
    project.SaveFile();
    project = Project::Create();
    box = BoxCfg();
    project.OpenFile(PathText(folder / "many.lvx"));
    EXPECT_EQ(project.BoxCfgs().Count(), kMany - 1);
    EXPECT_EQ(project.BoxCfgs().Item(kMany - 1).XdA_CustomText(), u"changed");
    project = Project();
    configurations = BoxCfgs();
}

}  // namespace
}  // namespace lumvex::tests
