// Every allocation of a call fails in turn: the call answers by a status and leaves what was there.
#include <cstdlib>
#include <functional>
#include <new>
#include <thread>
#include <utility>

#include "lumvex/diagnostics.hpp"
#include "lumvex/events.hpp"
#include "lumvex/maintenance.hpp"
#include "kit/documents.hpp"

namespace {

// Counts down on the thread that is being tested; at 0 an allocation fails, and so do all that follow until it is off
// (or, with onlyOne, none of them).
thread_local long allocationsLeft = -1;
thread_local bool onlyOne = false, failed = false;

void* Allocate(std::size_t size) {
    if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
        failed = true;
        if (!onlyOne) allocationsLeft = 0;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

// Not inlined: g++ would see free() called on what new gave.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* memory = Allocate(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// Nothing here cuts the power; waiting for the disk would be most of the time.
extern "C" {
int fdatasync(int) { return 0; }
int fsync(int) { return 0; }
}

namespace lumvex::tests {
namespace {

// Runs `call` with its first allocation failing, then with its second, until there is no further one; after each one
// `check(status)`. Where one failure does no harm, the call is carried out.
template <class Call, class Check>
void FailEachAllocation(Call call, Check check) {
    for (const bool one : {false, true}) {
        for (int at = 0;; ++at) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (one ? " alone" : " and all behind it"));
            std::function<HRESULT()> prepared = call();
            failed = false;
            onlyOne = one;
            allocationsLeft = at;
            const HRESULT status = prepared();
            allocationsLeft = -1;
            TakeErrorInfo();
            if (FAILED(status)) {
                EXPECT_EQ(InHex(status), InHex(E_OUTOFMEMORY));
                EXPECT_TRUE(failed);
            }
            check(status);
            if (::testing::Test::HasFailure() || !failed) return;
        }
    }
}

// The same for a call that can be repeated until it comes through. Answers how often it failed.
template <class Call, class Check>
int FailEveryAllocation(Call call, Check check) {
    int failures = 0;
    bool done = false;
    const auto checkFailure = [&](HRESULT status) {
        done = SUCCEEDED(status);
        failures += done ? 0 : 1;
        if (!done) check();
    };
    FailEachAllocation([&] { return [&] { return done ? S_OK : call(); }; }, checkFailure);
    return failures;
}

class Allocation : public ::testing::Test {
protected:
    Allocation() {
        Datum datum = project.Data().Add(u"a name that is longer than what fits into a short text");
        datum.Data(Floats({1, 2, 3}));
        datum.SampleRate(44100);
        project.Data().Add(u"B");
    }
    void ExpectUnchanged() {
        ASSERT_EQ(project.Data().Count(), 2);
        EXPECT_EQ(project.Data().Item(1).Name(), u"a name that is longer than what fits into a short text");
        EXPECT_EQ(ContentOf(project.Data().Item(1).Data()), FloatContent({1, 2, 3}));
        EXPECT_EQ(project.Data().Item(2).Name(), u"B");
        int below = 0;
        for ([[maybe_unused]] const Object& object : project.NewDescendantsEnum()) below += object.As<Datum>() ? 1 : 0;
        EXPECT_EQ(below, 2);
    }

    Project project = Project::Create();
    const Folder folder;
};

TEST_F(Allocation, GetsAndFinds) {
    const Data data = project.Data();
    const Datum datum = data.Item(1);
    const Bstr name(u"b");
    BSTR text = nullptr;
    VARIANT value{};
    IUnknown* all = nullptr;
    EXPECT_GT(FailEveryAllocation([&] { return datum.Get()->get_FQName(&text); }, [&] { EXPECT_EQ(text, nullptr); }),
              0);
    SysFreeString(text);
    FailEveryAllocation([&] { return datum.Get()->get_Data(&value); }, [&] { EXPECT_EQ(value.vt, VT_EMPTY); });
    VariantClear(&value);
    FailEveryAllocation([&] { return data.Get()->FindName(name.get(), &value); },
                        [&] { EXPECT_EQ(value.vt, VT_EMPTY); });
    VariantClear(&value);
    EXPECT_GT(FailEveryAllocation([&] { return data.Get()->get__NewEnum(&all); }, [&] { EXPECT_EQ(all, nullptr); }), 0);
    all->Release();
    ExpectUnchanged();
}

TEST_F(Allocation, PutsAndAdds) {
    const Data data = project.Data();
    const Datum datum = data.Item(1);
    const Variant array = Floats({4, 5, 6});
    const Bstr name(std::u16string(500, u'n'));
    EXPECT_GT(FailEveryAllocation([&] { return datum.Get()->put_Data(array); }, [&] { ExpectUnchanged(); }), 0);
    datum.Get()->put_Data(Floats({1, 2, 3}));
    EXPECT_GT(FailEveryAllocation([&] { return datum.Get()->put_Name(name.get()); }, [&] { ExpectUnchanged(); }), 0);
    datum.Get()->put_Name(Bstr(u"a name that is longer than what fits into a short text").get());
    IDatum* added = nullptr;
    EXPECT_GT(FailEveryAllocation([&] { return data.Get()->Add(name.get(), &added); },
                                  [&] {
                                      EXPECT_EQ(added, nullptr);
                                      ExpectUnchanged();
                                  }),
              0);
    ASSERT_NE(added, nullptr);
    added->Release();
    EXPECT_EQ(data.Count(), 3);
    project.SaveFileAs(PathText(folder / "a.lvx"));
    project = Project();
    EXPECT_TRUE(CheckDocument(folder / "a.lvx").empty()) << "something half made was saved";
}

// The first late call of an interface looks for its members, of which every class has others.
TEST_F(Allocation, TheFirstLateCallOfEveryInterface) {
    std::vector<Ref<IDispatch>> objects{Ref<IDispatch>(project.Configs().Pointer()),
                                        Ref<IDispatch>(project.Configs().Item(1).Pointer())};
    for (const inside::ClassInfo* each : inside::AllClasses())
        objects.emplace_back(Ref<inside::Object>(each->create())->Dispatch());
    OLECHAR name[] = {'N', 'a', 'm', 'e', 0};
    for (const Ref<IDispatch>& object : objects)
        FailEachAllocation(
            [&] {
                return [&] {
                    DISPID id = DISPID_UNKNOWN;
                    LPOLESTR asked = name;
                    const HRESULT status = object->GetIDsOfNames(IID_NULL, &asked, 1, 0, &id);
                    return status == DISP_E_UNKNOWNNAME ? S_OK : status;
                };
            },
            [](HRESULT) {});
}

// Arguments are converted to what the member takes.
TEST_F(Allocation, LateCalls) {
    const Data data = project.Data();
    DISPID put = DISPID_PROPERTYPUT;
    Variant number = Variant::FromDouble(1.0 / 3), text = Variant::FromText(u"2"), result;
    const auto call = [&](IDispatch* object, DISPID id, WORD flags, VARIANT* argument) {
        return [&, object, id, flags, argument] {
            DISPPARAMS given{argument, flags == DISPATCH_PROPERTYPUT ? &put : nullptr, 1,
                             flags == DISPATCH_PROPERTYPUT ? 1u : 0u};
            EXCEPINFO exception{};
            const HRESULT status =
                object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &given, result.Out(), &exception, nullptr);
            for (const BSTR left : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
                SysFreeString(left);
            return status == DISP_E_EXCEPTION ? exception.scode : status;
        };
    };
    FailEveryAllocation(call(data.Pointer(), LX_DISPITEM, DISPATCH_PROPERTYGET, &text), [&] { ExpectUnchanged(); });
    ASSERT_EQ(result.vt, VT_DISPATCH);
    EXPECT_EQ(Object(Ref<IDispatch>(result.pdispVal)).As<Datum>().Name(), u"B");
    const Datum datum = data.Item(2);
    EXPECT_GT(FailEveryAllocation(call(datum.Pointer(), DISPID_VALUE, DISPATCH_PROPERTYPUT, &number),
                                  [&] { ExpectUnchanged(); }),
              0);
    EXPECT_EQ(datum.Name(), u"0.333333333333333");
}

TEST_F(Allocation, RemovalIsAllOrNothing) {
    project.SaveFileAs(PathText(folder / "a.lvx"));
    const Data data = project.Data();
    FailEveryAllocation([&] { return data.Get()->Remove(2); }, [&] { ExpectUnchanged(); });
    EXPECT_EQ(data.Count(), 1);
}

TEST_F(Allocation, AnAddThatFailsIsNeitherToldNorAChange) {
    const std::filesystem::path path = folder / "a.lvx";
    MakeDocument(path, 40);
    const Bstr name(u"added");
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(path);
            return [&, data = project.Data(), told = std::make_shared<int>(0)] {
                const long wanted = std::exchange(allocationsLeft, -1);
                const Subscription subscription(project, [told](const lumvex::Change&) { ++*told; });
                IDatum* added = nullptr;
                allocationsLeft = wanted;
                const HRESULT status = data.Get()->Add(name.get(), &added);
                allocationsLeft = -1;
                EXPECT_EQ(*told, SUCCEEDED(status) ? 2 : 0);
                EXPECT_EQ(added != nullptr, SUCCEEDED(status));
                if (added) added->Release();
                return status;
            };
        },
        [&](HRESULT status) {
            EXPECT_EQ(project.Data().Count(), SUCCEEDED(status) ? 41 : 40);
            EXPECT_EQ(static_cast<const VARIANT&>(project.Modified()).boolVal != 0, SUCCEEDED(status));
        });
}

// On a thread that has not called the model yet, so that what waits to be told needs memory too.
template <class Call>
HRESULT OnANewThread(Call call) {
    const long left = std::exchange(allocationsLeft, -1);
    const bool one = onlyOne;
    bool hasFailed = false;
    HRESULT status = E_FAIL;
    std::thread([&] {
        onlyOne = one;
        allocationsLeft = left;
        status = call();
        allocationsLeft = -1;
        hasFailed = failed;
    }).join();
    failed = hasFailed;
    return status;
}

// Every kind of field: a put that fails stores nothing, changes nothing and tells nobody.
TEST_F(Allocation, PutsAreWholeOrNotAtAll) {
    const Specifications library = Specifications::Create();
    const Model model = library.Manufacturers().Add(u"Acme").Models().Add(u"Alpha");
    const ModelConfig one = model.ModelConfigs().Add(library.Configs().Item(LX_SINGLEAMP)),
                      two = model.ModelConfigs().Add(library.Configs().Item(LX_BIAMP));
    const SpkrEQConfig config = project.SpeakerEQs().Add(u"S", model).SpkrEQConfigs().Add(one);
    const Experiment experiment = project.Experiments().Add(u"E");
    const BoxCfg box = project.BoxCfgs().Add(u"B");
    const Datum datum = project.Data().Item(1);
    const Bstr text(std::u16string(100, u'x'));
    const Variant array = Floats({4, 5, 6});
    const struct {
        const char* what;
        std::function<HRESULT()> put;
        std::function<bool()> isStored;
    } cases[] = {
        {"number", [&] { return datum.Get()->put_SampleRate(5); }, [&] { return datum.SampleRate() == 5; }},
        {"text", [&] { return experiment.Get()->put_MicSerialNo(text.get()); },
         [&] { return !experiment.MicSerialNo().empty(); }},
        {"array", [&] { return datum.Get()->put_Data(array); },
         [&] { return ContentOf(datum.Data()).values[0] == 4; }},
        {"one of a table", [&] { return box.Get()->put_XdA_Mute(2, 3, 1); }, [&] { return box.XdA_Mute(2, 3) == 1; }},
        {"reference into the library", [&] { return experiment.Get()->put_ModelConfig(two.Get()); },
         [&] { return bool(experiment.ModelConfig()); }},
        {"model configuration", [&] { return config.Get()->put_ModelConfig(two.Get()); },
         [&] { return config.ConfigID() == LX_BIAMP || config.ModelConfig().ID() == two.ID(); }},
        {"setting of the root", [&] { return project.Get()->put_Units(LX_UNITS_IMPERIAL); },
         [&] { return project.Units() == LX_UNITS_IMPERIAL; }},
        {"library", [&] { return project.Get()->put_Specifications(library.Get()); },
         [&] { return bool(project.Specifications()); }},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        project.SaveFileAs(PathText(folder / "a.lvx"));
        project.CloseFile();  // not modified any more
        int told = 0;
        const Subscription subscription(project, [&](const lumvex::Change&) { ++told; });
        const int failures = FailEveryAllocation([&] { return OnANewThread(each.put); }, [&] {
            EXPECT_FALSE(each.isStored());
            EXPECT_EQ(told, 0);
            EXPECT_EQ(static_cast<const VARIANT&>(project.Modified()).boolVal, VARIANT_FALSE);
        });
        EXPECT_GT(failures, 0);
        EXPECT_TRUE(each.isStored());
        EXPECT_EQ(told, 1);
    }
}

class AllocationOfFiles : public ::testing::Test {
protected:
    AllocationOfFiles() {
        MakeDocument(original, 6);
        MakeDocument(other, 3);
    }
    // The memory of a failed save takes part in the next one, which has to be as good as any.
    void ExpectSavedNow(const std::string& content) {
        project.SaveFile();
        EXPECT_EQ(Seen(project), content);
        project = Project();
        EXPECT_EQ(Seen(path), content);
        EXPECT_TRUE(CheckDocument(path).empty());
    }
    static void Copy(const std::filesystem::path& from, const std::filesystem::path& to) {
        std::filesystem::remove(to);  // not every library's copy_file overwrites when told to
        std::filesystem::copy_file(from, to);
    }

    // Of what tells its failure by throwing.
    template <class Work>
    static HRESULT Answered(Work work) {
        try {
            work();
            return S_OK;
        } catch (const Error& error) {
            return error.Status();
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

    const Folder folder;
    const std::filesystem::path path = folder / "a.lvx", original = folder / "original.lvx", other = folder / "other.lvx";
    const Bstr pathText{PathText(path)};
    Project project = Project::Create();
};

TEST_F(AllocationOfFiles, ANewDocumentIsSavedOrNot) {
    std::string content;
    FailEachAllocation(
        [&] {
            std::filesystem::remove(path);
            project = Project::Create();
            for (int member = 0; member < 5; ++member) project.Data().Add(u"member");
            content = Seen(project);
            return [&] { return project.Get()->SaveFileAs(pathText.get()); };
        },
        [&](HRESULT status) {
            EXPECT_EQ(Seen(project), content);
            EXPECT_EQ(std::filesystem::exists(path), SUCCEEDED(status));
            if (FAILED(status)) {
                EXPECT_EQ(project.Get()->SaveFile(), inside::StatusOf(inside::Message::NoFile));
                project.SaveFileAs(PathText(path));
            }
            ExpectSavedNow(content);
        });
}

TEST_F(AllocationOfFiles, ADocumentIsReplacedOrNot) {
    const std::string before = Seen(other);
    std::string content;
    FailEachAllocation(
        [&] {
            project = Project();
            Copy(other, path);
            Copy(original, folder / "work.lvx");
            project = Opened(folder / "work.lvx");
            ChangeEverything(project, 1);
            content = Seen(project);
            return [&] { return project.Get()->SaveFileAs(pathText.get()); };
        },
        [&](HRESULT status) {
            EXPECT_EQ(Seen(project), content);
            if (FAILED(status)) {
                EXPECT_EQ(Seen(path), before);
                project.SaveFileAs(PathText(path));
            }
            ExpectSavedNow(content);
        });
}

TEST_F(AllocationOfFiles, ChangesAreSavedOrNot) {
    const std::string before = Seen(original);
    std::string content;
    FailEachAllocation(
        [&] {
            project = Project();
            Copy(original, path);
            project = Opened(path, LX_SHARE_READWRITE);
            ChangeEverything(project, 1);
            project.SaveFile();
            ChangeEverything(project, 2);
            content = Seen(project);
            return [&, saved = Seen(path)] {
                const HRESULT status = project.Get()->SaveFile();
                allocationsLeft = -1;
                EXPECT_EQ(Seen(path), SUCCEEDED(status) ? content : saved);
                return status;
            };
        },
        [&](HRESULT) {
            EXPECT_EQ(Seen(project), content);
            ExpectSavedNow(content);
        });
}

TEST_F(AllocationOfFiles, AFileIsCompactedOrNot) {
    project = Opened(original);
    while (project.Data().Count() > 3) project.Data().Remove(1);
    project.SaveFile();
    project = Project();
    const std::string content = Seen(original);
    const std::uintmax_t before = std::filesystem::file_size(original);
    FailEachAllocation(
        [&] {
            Copy(original, path);
            return [&] { return Answered([&] { CompactDocument(path); }); };
        },
        [&](HRESULT status) {
            EXPECT_EQ(Seen(path), content);
            EXPECT_EQ(std::filesystem::file_size(path) < before, SUCCEEDED(status));
            EXPECT_TRUE(CheckDocument(path).empty());
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 3) << "nothing stays beside it";
        });
}

TEST_F(AllocationOfFiles, ADocumentIsOpenedReadAndClosedOrNot) {
    const std::string content = Seen(original);
    const Bstr from(PathText(original));
    std::u16string id;
    FailEachAllocation(
        [&] {
            project = Project::Create();
            id = project.ID();
            return [&] { return project.Get()->OpenFile(from.get()); };
        },
        [&](HRESULT status) {
            if (FAILED(status)) {
                EXPECT_EQ(project.ID(), id);
                EXPECT_EQ(project.Get()->SaveFile(), inside::StatusOf(inside::Message::NoFile));
                EXPECT_EQ(project.Data().Count(), 0);
                project.OpenFile(PathText(original));
            }
            EXPECT_EQ(Seen(project), content);
        });
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(original);
            return [&] { return Answered([&] { Seen(project); }); };
        },
        [&](HRESULT) { EXPECT_EQ(Seen(project), content); });
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(original);
            EXPECT_EQ(project.Data().Item(6).SampleRate(), 48000);
            return [&] { return project.Get()->CloseFile(); };
        },
        [&](HRESULT) {
            EXPECT_EQ(project.Get()->SaveFile(), inside::StatusOf(inside::Message::NoFile));
            EXPECT_EQ(Seen(original), content) << "closed, so that others can open it";
        });
    project = Project();
    EXPECT_EQ(inside::LiveObjects(), 0u);
}

}  // namespace
}  // namespace lumvex::tests
