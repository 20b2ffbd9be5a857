#include "core/base/failure.hpp"

#include <stdexcept>

#include "core/objects/guard.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

using namespace inside;

TEST(Failures, TextsKeepTheirOddities) {
    EXPECT_EQ(StringOf(4001), u"Cannot remove item.  Remove all items from child collection(s) first");
    EXPECT_EQ(StringOf(4005), u"There is no current file open to save to. Use \x22SaveAs\x5C\x27 instead.");
    EXPECT_EQ(StringOf(4009), u"Released higher level containers have orphaned object.");
    EXPECT_EQ(StringOf(4015),
              u"The object is located in a different project file.\x0AUse copy/paste to transfer data between "
              u"projects.");
    EXPECT_EQ(StringOf(4017), u"Internal exception error in file %hs at line %d ");
    EXPECT_EQ(StringOf(4288), u"Datum Class");
    for (int number = 4000; number <= 4020; ++number) EXPECT_FALSE(StringOf(number).empty()) << number;
}

TEST(Failures, ReportInstallsTextAndSourceAndAnswersTheStatus) {
    EXPECT_EQ(Report(4009, {}), Status(0x80040FA9));
    ErrorInformation told = TakeErrorInfo();
    EXPECT_EQ(told.description, u"Released higher level containers have orphaned object.");
    EXPECT_EQ(told.source, u"");

    EXPECT_EQ(Report(4999, u"Some.Class"), Status(0x80041387));
    told = TakeErrorInfo();
    EXPECT_EQ(told.description, u"Unknown Error");
    EXPECT_EQ(told.source, u"Some.Class");

    EXPECT_EQ(Report(u"ready-made", E_FAIL, {}), E_FAIL);
    EXPECT_EQ(TakeErrorInfo().description, u"ready-made");
    EXPECT_EQ(Report(u"ready-made", 0, {}), DISP_E_EXCEPTION);
    EXPECT_EQ(TakeErrorInfo().description, u"ready-made");
}

TEST(Failures, InternalErrorNamesTheBareFileAndTheLine) {
    for (const char* path : {"Project", "/home/me/src/Project", "C:\\src\\Project", "C:Project", "a/b\\Project"})
        EXPECT_EQ(InternalErrorText(path, 85), u"Internal exception error in file Project at line 85 ") << path;
    EXPECT_EQ(InternalErrorText("src/core/tree/item.cpp", 7), u"Internal exception error in file item.cpp at line 7 ");
    EXPECT_EQ(InternalErrorText("", 0), u"Internal exception error in file  at line 0 ");
    EXPECT_EQ(InternalErrorText("odd %d.cpp", 3), u"Internal exception error in file odd %d.cpp at line 3 ");
}

TEST(Failures, TheGuardTurnsEveryExceptionIntoAStatus) {
    const auto guarded = [](auto&& work) {
        Report(u"of an inner call", E_FAIL, {});
        return Guarded(u"Source", [&]() -> HRESULT {
            work();
            return S_OK;
        });
    };
    EXPECT_TRUE(FailsWith(4011, guarded([] { throw Failure(Message::NotLocated); }), u"Source"));
    EXPECT_TRUE(FailsBare(E_INVALIDARG, guarded([] { throw Failure(E_INVALIDARG); })));
    EXPECT_TRUE(FailsBare(E_OUTOFMEMORY, guarded([] { throw std::bad_alloc(); })));
    EXPECT_TRUE(FailsBare(E_OUTOFMEMORY, guarded([] { std::vector<int>().reserve(static_cast<std::size_t>(-1)); })));
    EXPECT_TRUE(FailsBare(E_UNEXPECTED, guarded([] { throw std::runtime_error("foreign"); })));
    EXPECT_TRUE(FailsBare(E_UNEXPECTED, guarded([] { throw 7; })));

    EXPECT_EQ(guarded([] { throw PassedOn(DISP_E_OVERFLOW); }), DISP_E_OVERFLOW);
    EXPECT_EQ(TakeErrorInfo().description, u"of an inner call");
    EXPECT_EQ(guarded([] {}), S_OK);
    EXPECT_EQ(TakeErrorInfo().description, u"of an inner call") << "success takes nothing away";

    EXPECT_EQ(guarded([] { throw COstrelException(1); }), Status(0x80040FB1));
    const ErrorInformation told = TakeErrorInfo();
    EXPECT_EQ(told.source, u"Source");
    EXPECT_TRUE(told.description.starts_with(u"Internal exception error in file failure_test.cpp at line "));
    EXPECT_EQ(CallDepth(), 0u) << "every way out leaves the guard";
}

TEST(Failures, CallsNestOnAThread) {
    const HRESULT status = Guarded({}, [] {
        EXPECT_EQ(CallDepth(), 1u);
        const HRESULT inner = Guarded({}, [] {
            EXPECT_EQ(CallDepth(), 2u);
            return S_FALSE;
        });
        EXPECT_EQ(CallDepth(), 1u);
        return inner;
    });
    EXPECT_EQ(status, S_FALSE);
    EXPECT_EQ(CallDepth(), 0u);
}

}  // namespace
}  // namespace lumvex::tests
