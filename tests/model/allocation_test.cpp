// Every allocation of a call fails in turn: the call answers by a status and leaves what was there.
#include <functional>
#include <thread>

#include "core/objects/class_info.hpp"
#include "kit/documents.hpp"
#include "kit/failing_allocation.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/events.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::tests {
namespace {

// Runs `call` with its first allocation failing, then with its second, until there is no further one; after each one
// `check(status)`. Where one failure does no harm, the call is carried out. Each call comes from a thread that has not
// called the model yet, so that what waits to be told needs memory too. A stride above 0 passes over more and more
// allocations, as long saves make thousands.
template <class Call, class Check>
void FailEachAllocation(Call call, Check check, int stride = 0) {
    for (const bool one : {false, true}) {
        for (int at = 0;; at += 1 + at * stride / 8) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (one ? " alone" : " and all behind it"));
            std::function<HRESULT()> prepared = call();
            HRESULT status = E_FAIL;
            bool failed = false;
            std::thread([&] {
                FailAllocation(at, one);
                status = prepared();
                failed = EndFailingAllocation();
            }).join();
            if (FAILED(status)) {
                EXPECT_EQ(InHex(status), InHex(E_OUTOFMEMORY));
                EXPECT_TRUE(failed);
            }
            check(status);
            if (::testing::Test::HasFailure() || !failed) return;
        }
    }
}

// Of an object of every class, by late calls: what fails leaves both documents as they were and answers nothing.
TEST(AllocationOfEveryClass, FailsWithoutATrace) {
    const Bstr name(u"a name that is longer than what fits into a short text"),
        id(u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}");
    int failures = 0;
    for (const ClassTable& table : ClassTables()) {
        if (table.kind != Kind::Item) continue;
        SCOPED_TRACE(table.interfaceName);
        const Everything everything;
        everything.Fill(1);
        const Ref<IDispatch> other = NewRoot(*table.root);
        IDispatch* const item = everything.Of(table);
        IDispatch* const root = everything.RootOf(table);
        const Ref<IDispatch> owner(GetLate(item, member::kParentBase).Object());
        Ref<IDispatch> made;  // by the last call that came through
        int told = 0;
        const Subscription subscription(Object(Ref<IDispatch>(root)).As<Root>(), [&](const Change&) { ++told; });
        const auto call = [&](const char* what, const std::function<Answer()>& work) {
            SCOPED_TRACE(what);
            auto before = ReadTree(*table.root, root);
            bool done = false;
            told = 0;
            FailEachAllocation(
                [&] {
                    return [&] {
                        if (done) return S_OK;
                        Answer answer = work();
                        const AllocationsSucceed pause;
                        EXPECT_TRUE(SUCCEEDED(answer.status) || answer.value.vt == VT_EMPTY);
                        made = Ref<IDispatch>(answer.Object());
                        return answer.status;
                    };
                },
                [&](HRESULT status) {
                    done = done || SUCCEEDED(status);
                    if (done) return;
                    ++failures;
                    EXPECT_TRUE(told == 0 || !std::string_view(what).starts_with("put"))
                        << "told of what did not happen";
                    if (what == std::string("Remove")) return;  // what went before the item itself is gone
                    try {
                        Compare(*before->root, root, {});
                    } catch (const Wrong& wrong) {
                        ADD_FAILURE() << wrong.what();
                    }
                });
        };
        const VARIANT owned = ObjectArgument(owner.get()), text = TextArgument(name.get());
        call("get FQName", [&] { return GetLate(item, member::kFQName); });
        call("get DisplayName", [&] { return GetLate(item, member::kDisplayName); });
        call("FindName", [&] { return DoLate(owner.get(), member::kFindName, {text}); });
        call("FindID", [&] { return DoLate(item, member::kFindID, {TextArgument(id.get())}); });
        call("members", [&] { return GetLate(owner.get(), member::kNewEnum); });
        call("descendants", [&] { return GetLate(item, member::kDescendants); });
        call("dependents", [&] { return GetLate(item, member::kDependents); });
        for (const Property& property : table.properties) {
            if (property.IsArray() || property.IsText()) call("get", [&] { return GetLate(item, property.id); });
            const AsArgument value(property, ValueFor(table, property, 0, 2));
            if (property.put) call("put", [&] { return PutPlace(item, property, 0, value); });
        }
        for (const ReferenceTable& row : table.references)
            if (row.put)
                call("put reference",
                     [&] { return PutLate(item, row.id, {ObjectArgument(everything.Of(*row.target))}); });
        made = nullptr;
        if (!table.isLink && table.name != "CCrossoverConfig")  // these stay in their document
            call("Copy", [&] { return DoLate(item, member::kCopyWithParents, {ObjectArgument(other.get())}); });
        const Ref<IDispatch> elsewhere = made;
        if (elsewhere)
            call("CopyContents",
                 [&] { return DoLate(elsewhere.get(), member::kCopyContents, {ObjectArgument(item)}); });
        if (table.name != "CSpkrEQDesign" && table.name != "CCrossoverConfig") {
            call("Copy", [&] { return DoLate(item, member::kCopy, {owned}); });
            const LONG last = GetLate(owner.get(), member::kCount).value.lVal;
            call("Remove", [&] { return DoLate(owner.get(), member::kRemove, {LongArgument(last)}); });
        }
        const ClassTable* const collection = [&] {
            for (const ClassTable& each : ClassTables())
                if (each.member == &table) return &each;
            return static_cast<const ClassTable*>(nullptr);
        }();
        if (collection->add.size() == 1 && collection->add[0].type == "BSTR")
            call("Add", [&] { return DoLate(owner.get(), member::kAdd, {text}); });
        call("put Name", [&] { return PutLate(item, member::kName, {text}); });
    }
    std::printf("%d failures\n", failures);
    EXPECT_GT(failures, 1000);
}

class Allocation : public ::testing::Test {
protected:
    Project project = Project::Create();
    const Folder folder;
};

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

TEST_F(Allocation, AnAddThatFailsIsNeitherToldNorAChange) {
    const std::filesystem::path path = folder / "a.lvx";
    MakeDocument(path, 40);
    const Bstr name(u"added");
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(path);
            auto told = std::make_shared<int>(0);
            auto subscription = std::make_shared<Subscription>(project, [told](const lumvex::Change&) { ++*told; });
            return [&, data = project.Data(), told, subscription] {
                IDatum* added = nullptr;
                const HRESULT status = data.Get()->Add(name.get(), &added);
                EndFailingAllocation();
                EXPECT_EQ(*told, SUCCEEDED(status) ? 2 : 0);
                EXPECT_EQ(added != nullptr, SUCCEEDED(status));
                if (added) added->Release();
                return status;
            };
        },
        [&](HRESULT status) {
            EXPECT_EQ(project.Data().Count(), SUCCEEDED(status) ? 41 : 40);
            EXPECT_EQ(project.Modified(), SUCCEEDED(status));
        });
}

TEST_F(Allocation, MembersThatCouldNotBeLoadedAreLoadedTheNextTime) {
    const std::filesystem::path path = folder / "a.lvx";
    MakeDocument(path, 40);
    const std::string content = Seen(path);
    const auto load = [](const Data& data) {
        HRESULT status = S_OK;
        for (LONG member = 1; SUCCEEDED(status) && member <= 40; ++member) {
            Ref<IDatum> loaded;
            status = data.Get()->get_Item(member, loaded.Out());
        }
        return status;
    };
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(path);
            return [&, data = project.Data()] { return load(data); };
        },
        [&](HRESULT) {
            EXPECT_EQ(load(project.Data()), S_OK);
            EXPECT_EQ(Seen(project), content);
        });
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
    const std::filesystem::path path = folder / "a.lvx", original = folder / "original.lvx",
                                other = folder / "other.lvx";
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
        },
        1);
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
        },
        1);
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
                const AllocationsSucceed pause;
                EXPECT_EQ(Seen(path), SUCCEEDED(status) ? content : saved);
                return status;
            };
        },
        [&](HRESULT) {
            EXPECT_EQ(Seen(project), content);
            ExpectSavedNow(content);
        },
        1);
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
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 3)
                << "nothing stays beside it";
        },
        1);
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
        },
        1);
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(original);
            return [&] {
                return Answered([&] {
                    for (const Datum& datum : project.Data()) Datum(datum).Data();
                });
            };
        },
        [&](HRESULT) { EXPECT_EQ(Seen(project), content); });
    FailEachAllocation(
        [&] {
            project = Project();
            project = Opened(original);
            EXPECT_EQ(project.Data().Item(6).SampleRate(), 48000);
            return [&] { return project.Get()->CloseFile(); };
        },
        [&](HRESULT status) {
            if (FAILED(status)) project.CloseFile();  // it may not even have begun
            EXPECT_EQ(project.Get()->SaveFile(), inside::StatusOf(inside::Message::NoFile));
            EXPECT_EQ(Seen(original), content) << "closed, so that others can open it";
        },
        1);
    project = Project();
    EXPECT_EQ(inside::LiveObjects(), 0u);
}

}  // namespace
}  // namespace lumvex::tests
