#include <gtest/gtest.h>

#include "probe.hpp"

namespace {

using lumvex::Bstr;
using lumvex::Ref;
using lumvex::TextOf;
using lumvex::Variant;

TEST(Owners, RefCountsThroughEveryWayOfPassingIt) {
    Probe probe;
    {
        Ref<IDispatch> first(&probe);
        EXPECT_EQ(probe.references, 2u);
        Ref<IDispatch> copy = first;
        Ref<IUnknown> base = copy;
        EXPECT_EQ(probe.references, 4u);
        const Ref<IUnknown> moved = std::move(copy);
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(probe.references, 4u);
        first = static_cast<const Ref<IDispatch>&>(first);  // itself
        EXPECT_EQ(probe.references, 4u);
        base = nullptr;
        EXPECT_EQ(probe.references, 3u);
        IDispatch* raw = first.Detach();
        EXPECT_FALSE(first);
        EXPECT_EQ(probe.references, 3u);
        first = Ref<IDispatch>::Attach(raw);
        EXPECT_EQ(probe.references, 3u);
        EXPECT_EQ(moved.As<IDispatch>(), first);
        EXPECT_FALSE(moved.As<IErrorInfo>());
        EXPECT_EQ(probe.references, 3u);
        *first.Out() = nullptr;
        EXPECT_EQ(probe.references, 2u);
    }
    EXPECT_EQ(probe.references, 1u);
}

TEST(Owners, BstrAndVariantHandOverAndTakeOver) {
    Bstr text(u"room");
    Bstr copy = text;
    EXPECT_NE(copy.get(), text.get());
    Bstr taken = Bstr::Attach(text.Detach());
    EXPECT_EQ(text.get(), nullptr);
    EXPECT_EQ(taken.view(), u"room");
    *taken.Out() = SysAllocString(OLESTR("second"));
    EXPECT_EQ(taken.view(), u"second");
    EXPECT_NE(Bstr(std::u16string_view()).get(), nullptr) << "empty text is not null";

    Variant value = Variant::FromText(u"bass");
    VARIANT raw{};
    value.Detach(&raw);
    EXPECT_EQ(value.vt, VT_EMPTY);
    Variant back = Variant::Attach(raw);
    EXPECT_EQ(raw.vt, VT_EMPTY);
    EXPECT_EQ(TextOf(back.bstrVal), u"bass");
    Variant moved = std::move(back);
    EXPECT_EQ(back.vt, VT_EMPTY);
    moved.Out()->vt = VT_NULL;
    EXPECT_EQ(moved.vt, VT_NULL);
    const Variant null(moved);
    EXPECT_EQ(null.vt, VT_NULL);

    Probe probe;
    Variant kept = Variant::FromDispatch(&probe);
    VARTYPE seen = VT_EMPTY;
    probe.released = [&] { seen = kept.vt; };
    kept = Variant::FromText(u"treble");
    EXPECT_EQ(seen, VT_BSTR) << "what was kept goes when what replaces it is there";
    EXPECT_EQ(probe.references, 1u);
    Variant& same = kept;
    kept = std::move(same);
    EXPECT_EQ(TextOf(kept.bstrVal), u"treble");
    kept = static_cast<const Variant&>(same);
    EXPECT_EQ(TextOf(kept.bstrVal), u"treble");
}

}  // namespace
