#include <gtest/gtest.h>

#include <thread>

#include "lumvex/values.hpp"

namespace {

using lumvex::Bstr;
using lumvex::Ref;

void Report(std::u16string description) {
    Ref<ICreateErrorInfo> made;
    ASSERT_EQ(CreateErrorInfo(made.Out()), S_OK);
    ASSERT_EQ(made->SetDescription(reinterpret_cast<LPOLESTR>(description.data())), S_OK);
    ASSERT_EQ(SetErrorInfo(0, made.As<IErrorInfo>().get()), S_OK);
}

std::u16string TakeDescription() {
    Ref<IErrorInfo> info;
    if (GetErrorInfo(0, info.Out()) != S_OK) return u"(none)";
    Bstr text;
    EXPECT_EQ(info->GetDescription(text.Out()), S_OK);
    return std::u16string(text.view());
}

TEST(ErrorInfo, CarriesAllItsFieldsThroughBothInterfaces) {
    Ref<ICreateErrorInfo> made;
    ASSERT_EQ(CreateErrorInfo(made.Out()), S_OK);
    const Ref<IErrorInfo> info = made.As<IErrorInfo>();
    ASSERT_TRUE(info);
    Bstr text(u"overwritten");
    EXPECT_EQ(info->GetSource(text.Out()), S_OK);
    EXPECT_EQ(text.get(), nullptr) << "nothing was set";

    OLECHAR source[] = OLESTR("Source"), description[] = OLESTR("Description"), file[] = OLESTR("help.chm");
    EXPECT_EQ(made->SetSource(source), S_OK);
    EXPECT_EQ(made->SetDescription(source), S_OK);
    EXPECT_EQ(made->SetDescription(description), S_OK) << "replaces the first";
    EXPECT_EQ(made->SetHelpFile(file), S_OK);
    EXPECT_EQ(made->SetHelpContext(77), S_OK);
    EXPECT_EQ(made->SetGUID(IID_IDispatch), S_OK);
    EXPECT_EQ(info->GetSource(text.Out()), S_OK);
    EXPECT_EQ(text.view(), u"Source");
    EXPECT_EQ(info->GetDescription(text.Out()), S_OK);
    EXPECT_EQ(text.view(), u"Description");
    EXPECT_EQ(info->GetHelpFile(text.Out()), S_OK);
    EXPECT_EQ(text.view(), u"help.chm");
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 77u);
    GUID guid{};
    EXPECT_EQ(info->GetGUID(&guid), S_OK);
    EXPECT_EQ(guid, IID_IDispatch);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);

    EXPECT_EQ(made.As<IUnknown>(), info.As<IUnknown>()) << "one object, one identity";
    EXPECT_FALSE(info.As<IDispatch>());
}

TEST(ErrorInfo, ReadingClearsAndSettingReplaces) {
    Report(u"first");
    Report(u"second");
    EXPECT_EQ(TakeDescription(), u"second");
    Ref<IErrorInfo> info;
    EXPECT_EQ(GetErrorInfo(0, info.Out()), S_FALSE);
    EXPECT_FALSE(info);
    Report(u"taken back");
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(TakeDescription(), u"(none)");
    EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
}

TEST(ErrorInfo, EachThreadHasItsOwnAndLeavesNone) {
    Report(u"main");
    Ref<IErrorInfo> shared;
    Ref<ICreateErrorInfo> made;
    ASSERT_EQ(CreateErrorInfo(made.Out()), S_OK);
    std::thread([&] {
        EXPECT_EQ(TakeDescription(), u"(none)");
        Report(u"other");
        EXPECT_EQ(TakeDescription(), u"other");
        SetErrorInfo(0, made.As<IErrorInfo>().get());  // still set when the thread ends
    }).join();
    EXPECT_EQ(TakeDescription(), u"main");
    made->AddRef();
    EXPECT_EQ(made->Release(), 1u) << "the ended thread gave its reference back";
}

}  // namespace
