// Every allocation of a call fails in turn: the call answers by a status and leaves what was there.
#include <atomic>
#include <cstdlib>
#include <new>

#include "core/published.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/hand_made.hpp"

namespace {

// Counts down on the thread that is being tested; at 0 an allocation fails, and so do all that follow until it is off.
thread_local long allocationsLeft = -1;

void* Allocate(std::size_t size) {
    if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
        allocationsLeft = 0;
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

namespace lumvex::tests {
namespace {

// Runs `call` until it needs no allocation that fails, checking the state after every failure. Answers how often it
// failed.
template <class Call, class Check>
int FailEveryAllocation(Call call, Check check) {
    for (int at = 0;; ++at) {
        allocationsLeft = at;
        const HRESULT status = call();
        const bool reached = allocationsLeft == 0;
        allocationsLeft = -1;
        TakeErrorInfo();
        if (SUCCEEDED(status)) return at;
        SCOPED_TRACE("allocation " + std::to_string(at));
        EXPECT_EQ(InHex(status), InHex(E_OUTOFMEMORY));
        EXPECT_TRUE(reached);
        check();
        if (at > 100000 || ::testing::Test::HasFailure()) return at;
    }
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

TEST_F(Allocation, RemovalIsAllOrNothing) {
    const Data data = project.Data();
    FailEveryAllocation([&] { return data.Get()->Remove(2); }, [&] { ExpectUnchanged(); });
    EXPECT_EQ(data.Count(), 1);
}

}  // namespace
}  // namespace lumvex::tests
