// Late binding as script hosts and automation clients use it.
#include <stdexcept>
#include <vector>

#include "core/objects/guard.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

constexpr WORD kGet = DISPATCH_PROPERTYGET, kPut = DISPATCH_PROPERTYPUT, kMethod = DISPATCH_METHOD;

struct Answer {
    HRESULT status = E_FAIL;
    Variant result;
    SCODE code = S_OK;  // of EXCEPINFO, with its texts
    std::u16string description, source;
    UINT badArgument = 99;
};

// One call by DISPID; arguments in the member's own order, a put's value last.
Answer Invoke(IDispatch* object, DISPID id, WORD flags, const std::vector<Variant>& arguments = {},
              std::vector<DISPID> named = {}) {
    std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
    static DISPID putValue = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), named.data(), static_cast<UINT>(reversed.size()),
                          static_cast<UINT>(named.size())};
    if ((flags & (kPut | DISPATCH_PROPERTYPUTREF)) != 0 && named.empty()) {
        parameters.rgdispidNamedArgs = &putValue;
        parameters.cNamedArgs = 1;
    }
    Answer answer;
    EXCEPINFO exception{};
    answer.status = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, answer.result.Out(),
                                   &exception, &answer.badArgument);
    answer.code = exception.scode;
    answer.description = Bstr::Attach(exception.bstrDescription).view();
    answer.source = Bstr::Attach(exception.bstrSource).view();
    SysFreeString(exception.bstrHelpFile);
    return answer;
}

LPOLESTR Raw(std::u16string& text) { return reinterpret_cast<LPOLESTR>(text.data()); }

DISPID IdOf(IDispatch* object, std::u16string name) {
    LPOLESTR text = Raw(name);
    DISPID id = 12345;
    const HRESULT status = object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
    EXPECT_EQ(status, id == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK);
    return id;
}

Variant Of(LONG value) { return Variant::FromLong(value); }
Variant Of(std::u16string_view text) { return Variant::FromText(text); }
Variant LeftOut() {
    Variant value;
    value.vt = VT_ERROR;
    value.scode = DISP_E_PARAMNOTFOUND;
    return value;
}

class LateBinding : public ::testing::Test {
protected:
    Project project = Project::Create();
    Data data = project.Data();
    Datum datum = data.Add(u"Woofer");
    IDispatch* const root = project.Pointer();
    IDispatch* const collection = data.Pointer();
    IDispatch* const item = datum.Pointer();
};

TEST_F(LateBinding, NamesAreFoundInAnyCaseAlongTheWholeInterface) {
    EXPECT_EQ(IdOf(item, u"SampleRate"), 0x4A);
    EXPECT_EQ(IdOf(item, u"sAMPLErATE"), 0x4A);
    EXPECT_EQ(IdOf(item, u"name"), 0);
    EXPECT_EQ(IdOf(collection, u"_NEWENUM"), DISPID_NEWENUM);
    EXPECT_EQ(IdOf(root, u"openfile"), 0x2F);
    EXPECT_EQ(IdOf(root, u"WorkspaceData"), 0x0B);
    for (const char16_t* unknown : {u"", u"SampleRat", u"SampleRates", u"get_Name", u"Item"})
        EXPECT_EQ(IdOf(item, unknown), DISPID_UNKNOWN);

    std::u16string texts[] = {u"findid", u"BSEARCHDESCENDANTS", u"id", u"nothing"};
    LPOLESTR names[] = {Raw(texts[0]), Raw(texts[1]), Raw(texts[2]), Raw(texts[3])};
    DISPID ids[4] = {};
    EXPECT_EQ(collection->GetIDsOfNames(IID_NULL, names, 3, 0, ids), S_OK);
    EXPECT_EQ(ids[0], 33);
    EXPECT_EQ(ids[1], 1);
    EXPECT_EQ(ids[2], 0);
    EXPECT_EQ(collection->GetIDsOfNames(IID_NULL, names, 4, 0, ids), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(ids[0], 33) << "what is known is answered all the same";
    EXPECT_EQ(ids[3], DISPID_UNKNOWN);
    EXPECT_EQ(collection->GetIDsOfNames(IID_NULL, nullptr, 1, 0, ids), E_POINTER);
    EXPECT_EQ(collection->GetIDsOfNames(IID_NULL, names, 1, 0, nullptr), E_POINTER);
}

// What an argument's own code throws while it is converted stays within the call.
TEST_F(LateBinding, ArgumentsThatThrow) {
    class Thrower final : public IUnknown {
    public:
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { throw std::runtime_error("foreign"); }
        ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
        ULONG STDMETHODCALLTYPE Release() override { return 1; }
    } thrower;
    Variant argument;
    argument.vt = VT_UNKNOWN;
    argument.punkVal = &thrower;
    const DISPID canCopy = IdOf(item, u"CanCopy");
    EXPECT_EQ(InHex(Invoke(item, canCopy, kMethod, {argument}).status), InHex(E_UNEXPECTED));
    EXPECT_FALSE(TakeErrorInfo().present);
    EXPECT_EQ(inside::CallDepth(), 0u);
}

TEST_F(LateBinding, GetsPutsAndMethods) {
    Answer answer = Invoke(item, 0, kGet);
    EXPECT_EQ(answer.status, S_OK);
    ASSERT_EQ(answer.result.vt, VT_BSTR);
    EXPECT_EQ(TextOf(answer.result.bstrVal), u"Woofer");
    EXPECT_EQ(TextOf(Invoke(item, 0, kMethod).result.bstrVal), u"Woofer") << "a get called as a method";
    EXPECT_EQ(TextOf(Invoke(item, 0, kMethod | kGet).result.bstrVal), u"Woofer");

    EXPECT_EQ(Invoke(item, 0x4A, kPut, {Of(96000)}).status, S_OK);
    EXPECT_EQ(datum.SampleRate(), 96000);
    EXPECT_EQ(Invoke(item, 0x4A, DISPATCH_PROPERTYPUTREF, {Of(88200)}).status, S_OK);
    EXPECT_EQ(datum.SampleRate(), 88200);

    for (const WORD flags : {kGet, static_cast<WORD>(kGet | kMethod), kMethod}) {
        answer = Invoke(collection, LX_DISPITEM, flags, {Of(1)});
        EXPECT_EQ(answer.status, S_OK);
        ASSERT_EQ(answer.result.vt, VT_DISPATCH);
        EXPECT_EQ(answer.result.pdispVal, item);
    }
    answer = Invoke(collection, LX_DISPADD, kMethod, {Of(u"Tweeter")});
    ASSERT_EQ(answer.status, S_OK);
    ASSERT_EQ(answer.result.vt, VT_DISPATCH);
    EXPECT_EQ(data.Count(), 2);
    answer = Invoke(collection, LX_DISPREMOVE, kMethod, {Of(2)});
    EXPECT_EQ(answer.status, S_OK);
    EXPECT_EQ(answer.result.vt, VT_EMPTY);
    EXPECT_EQ(data.Count(), 1);
}

TEST_F(LateBinding, ResultsHaveTheTypesClientsSee) {
    const struct {
        IDispatch* object;
        DISPID id;
        VARTYPE type;
    } cases[] = {{item, LX_DISPTIMESTAMP, VT_DATE},      {item, LX_DISPLOCKS, VT_I4},
                 {item, LX_DISPDATA, VT_EMPTY},          {collection, DISPID_NEWENUM, VT_UNKNOWN},
                 {root, LX_DISPMODIFIED, VT_BOOL},       {root, LX_DISPMODE, VT_I4},
                 {item, LX_DISPPARENTBASE, VT_DISPATCH}, {root, LX_DISPIID, VT_BSTR}};
    for (const auto& each : cases) {
        const Answer answer = Invoke(each.object, each.id, kGet);
        EXPECT_EQ(answer.status, S_OK) << each.id;
        EXPECT_EQ(answer.result.vt, each.type) << each.id;
    }
    EXPECT_EQ(Invoke(item, LX_DISPTIMESTAMP, kGet).result.date, datum.Timestamp());

    Answer answer = Invoke(item, LX_DISPISSAME, kMethod, {Variant::FromDispatch(collection)});
    EXPECT_EQ(answer.status, S_FALSE) << "the false status reaches the caller";
    EXPECT_EQ(answer.result.lVal, 0);
    answer = Invoke(collection, LX_DISPFINDNAME, kMethod, {Of(u"nobody")});
    EXPECT_EQ(answer.status, S_FALSE);
    EXPECT_EQ(answer.result.vt, VT_EMPTY);
}

TEST_F(LateBinding, ParentAndRootOfADatumCarryEachOthersNumbers) {
    EXPECT_EQ(Invoke(item, 0x28, kGet).result.pdispVal, root);
    EXPECT_EQ(Invoke(item, 0x29, kGet).result.pdispVal, collection);
    EXPECT_EQ(Invoke(collection, 0x28, kGet).result.pdispVal, root);
    EXPECT_EQ(Invoke(collection, 0x29, kGet).result.pdispVal, root);
    EXPECT_EQ(IdOf(item, u"Parent"), 0x29);
    EXPECT_EQ(IdOf(collection, u"Parent"), 0x28);
}

TEST_F(LateBinding, ArgumentsAreConverted) {
    const struct {
        Variant given;
        LONG expected;
    } cases[] = {
        {Of(u"96000"), 96000}, {Variant::FromDouble(44099.6), 44100}, {Variant::FromBool(true), -1}, {Variant(), 0}};
    for (const auto& each : cases) {
        EXPECT_EQ(Invoke(item, 0x4A, kPut, {each.given}).status, S_OK);
        EXPECT_EQ(datum.SampleRate(), each.expected);
    }
    EXPECT_EQ(Invoke(item, 0, kPut, {Of(12)}).status, S_OK);
    EXPECT_EQ(datum.Name(), u"12");
    EXPECT_EQ(Invoke(item, LX_DISPTIMESTAMP, kPut, {Variant::FromDate(2.5)}).status, S_OK);
    EXPECT_EQ(datum.Timestamp(), 2.5);
    EXPECT_EQ(Invoke(collection, LX_DISPITEM, kGet, {Of(u"1")}).result.pdispVal, item);
}

TEST_F(LateBinding, NamedAndOptionalArguments) {
    EXPECT_EQ(Invoke(root, LX_DISPCACHESETBOUNDS, kMethod, {Of(10), Of(20)}, {1, 0}).status, S_OK);
    EXPECT_EQ(project.CacheLowerBound(), 10);
    EXPECT_EQ(project.CacheUpperBound(), 20);
    // The first one given by place, the second by name.
    EXPECT_EQ(Invoke(root, LX_DISPCACHESETBOUNDS, kMethod, {Of(11), Of(22)}, {1}).status, S_OK);
    EXPECT_EQ(project.CacheLowerBound(), 11);
    EXPECT_EQ(project.CacheUpperBound(), 22);

    const std::u16string id = datum.ID();
    for (const auto& arguments : {std::vector{Of(id)}, {Of(id), LeftOut()}, {Of(id), Of(0)}}) {
        const Answer answer = Invoke(collection, LX_DISPFINDID, kMethod, arguments);
        EXPECT_EQ(answer.status, S_OK) << arguments.size();
        EXPECT_EQ(answer.result.pdispVal, item);
    }
}

TEST_F(LateBinding, BadCallsSayWhatIsWrongAndDoNothing) {
    const Variant word = Of(u"abc");
    const struct {
        const char* what;
        IDispatch* object;
        DISPID id;
        WORD flags;
        std::vector<Variant> arguments;
        std::vector<DISPID> named;
        HRESULT status;
        UINT badArgument = 99;
    } cases[] = {
        {"no such member", item, 999, kGet, {}, {}, DISP_E_MEMBERNOTFOUND},
        {"no such member", item, -7, kGet, {}, {}, DISP_E_MEMBERNOTFOUND},
        {"another class's member", item, LX_DISPADD, kMethod, {word}, {}, DISP_E_MEMBERNOTFOUND},
        {"put of a read-only property", item, LX_DISPID, kPut, {word}, {}, DISP_E_MEMBERNOTFOUND},
        {"get of a method", collection, LX_DISPREMOVE, kGet, {Of(1)}, {}, DISP_E_MEMBERNOTFOUND},
        {"one argument too many", item, 0, kGet, {Of(1)}, {}, DISP_E_BADPARAMCOUNT},
        {"one argument too few", collection, LX_DISPREMOVE, kMethod, {}, {}, DISP_E_BADPARAMCOUNT},
        {"one argument too few", root, LX_DISPCACHESETBOUNDS, kMethod, {Of(1)}, {}, DISP_E_BADPARAMCOUNT},
        {"a put without a value", item, 0x4A, kPut, {}, {0}, DISP_E_BADPARAMCOUNT},
        {"the first of two", root, LX_DISPCACHESETBOUNDS, kMethod, {word, Of(5)}, {}, DISP_E_TYPEMISMATCH, 1},
        {"the last of two", root, LX_DISPCACHESETBOUNDS, kMethod, {Of(5), word}, {}, DISP_E_TYPEMISMATCH, 0},
        {"by name", root, LX_DISPCACHESETBOUNDS, kMethod, {Of(5), word}, {0, 1}, DISP_E_TYPEMISMATCH, 0},
        {"an object is no number", item, 0x4A, kPut, {Variant::FromDispatch(root)}, {}, DISP_E_TYPEMISMATCH, 0},
        {"a text is no object", item, LX_DISPISSAME, kMethod, {word}, {}, DISP_E_TYPEMISMATCH, 0},
        {"too large", item, 0x4A, kPut, {Variant::FromDouble(1e12)}, {}, DISP_E_OVERFLOW, 0},
        {"no such parameter", collection, LX_DISPREMOVE, kMethod, {Of(1)}, {5}, DISP_E_PARAMNOTFOUND, 0},
        {"one parameter twice", root, LX_DISPCACHESETBOUNDS, kMethod, {Of(1), Of(2)}, {0, 0}, DISP_E_PARAMNOTFOUND, 1},
    };
    for (const auto& each : cases) {
        std::vector<DISPID> named = each.named;
        const Answer answer = Invoke(each.object, each.id, each.flags, each.arguments, named);
        EXPECT_EQ(InHex(answer.status), InHex(each.status)) << each.what;
        EXPECT_EQ(answer.badArgument, each.badArgument) << each.what;
        EXPECT_EQ(answer.result.vt, VT_EMPTY) << each.what;
    }
    EXPECT_EQ(datum.SampleRate(), 48000);
    EXPECT_EQ(data.Count(), 1);
    EXPECT_EQ(project.CacheLowerBound(), 0x7FFFFFFF);

    DISPPARAMS none{};
    EXPECT_EQ(item->Invoke(0, IID_IDispatch, 0, kGet, &none, nullptr, nullptr, nullptr), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(item->Invoke(0, IID_NULL, 0, kGet, nullptr, nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(item->Invoke(0, IID_NULL, 0, kGet, &none, nullptr, nullptr, nullptr), S_OK) << "a result nobody wants";
}

TEST_F(LateBinding, AFailingMemberLeavesItsStoryInTheExceptionInformation) {
    data.NameExists(u"nobody");  // leaves error information of its own
    Answer answer = Invoke(collection, LX_DISPITEM, kGet, {Of(7)});
    EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
    EXPECT_EQ(answer.code, E_INVALIDARG);
    EXPECT_EQ(answer.description, u"") << "the text of an earlier call";
    EXPECT_EQ(answer.result.vt, VT_EMPTY);

    answer = Invoke(collection, LX_DISPREMOVE, kMethod, {Of(7)});
    EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
    EXPECT_EQ(answer.code, Status(0x80040FAB));
    EXPECT_EQ(answer.description, u"The object could not be located.");
    EXPECT_EQ(answer.source, u"");

    answer = Invoke(root, LX_DISPSAVEFILE, kMethod);
    EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
    EXPECT_EQ(answer.code, Status(0x80040FA5));
    EXPECT_EQ(answer.source, kProject);

    answer = Invoke(item, LX_DISPISSAME, kMethod, {Variant()});
    EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
    EXPECT_EQ(answer.code, E_POINTER) << "an empty variant is no object";
    EXPECT_FALSE(TakeErrorInfo().present) << "the caller has been told";
}

TEST_F(LateBinding, ReferencesAreFollowed) {
    LONG rate = 22050;
    Variant reference;
    reference.vt = VT_I4 | VT_BYREF;
    reference.plVal = &rate;
    EXPECT_EQ(Invoke(item, 0x4A, kPut, {reference}).status, S_OK);
    EXPECT_EQ(datum.SampleRate(), 22050);

    Variant name = Of(u"By reference"), toName;
    toName.vt = VT_VARIANT | VT_BYREF;
    toName.pvarVal = &name;
    EXPECT_EQ(Invoke(item, 0, kPut, {toName}).status, S_OK);
    EXPECT_EQ(datum.Name(), u"By reference");

    BSTR text = name.bstrVal;
    Variant toText;
    toText.vt = VT_BSTR | VT_BYREF;
    toText.pbstrVal = &text;
    EXPECT_EQ(Invoke(collection, LX_DISPFINDNAME, kMethod, {toText}).result.pdispVal, item);
    Variant toObject;
    IDispatch* object = item;
    toObject.vt = VT_DISPATCH | VT_BYREF;
    toObject.ppdispVal = &object;
    EXPECT_EQ(Invoke(item, LX_DISPISSAME, kMethod, {toObject}).status, S_OK);
}

TEST_F(LateBinding, ReferencesToArraysAreAcceptedHereAndRefusedEarlyBound) {
    Variant array = Floats({1, 2, 3});
    Variant toArray, toVariant;
    toArray.vt = VT_ARRAY | VT_R4 | VT_BYREF;
    toArray.pparray = &array.parray;
    toVariant.vt = VT_VARIANT | VT_BYREF;
    toVariant.pvarVal = &array;
    for (const Variant* reference : {&toArray, &toVariant}) {
        datum.Data(Variant());
        EXPECT_EQ(Invoke(item, LX_DISPDATA, kPut, {*reference}).status, S_OK);
        EXPECT_EQ(ContentOf(datum.Data()), FloatContent({1, 2, 3}));
        EXPECT_EQ(ContentOf(Invoke(item, LX_DISPDATA, kGet).result), FloatContent({1, 2, 3}));
    }
    EXPECT_EQ(ContentOf(array), FloatContent({1, 2, 3})) << "the caller's array stays the caller's";
    datum.Data(Floats({9, 9}));
    EXPECT_TRUE(FailsWith(4007, datum.Get()->put_Data(toArray)));
    EXPECT_TRUE(FailsWith(4004, datum.Get()->put_Data(toVariant)));
    EXPECT_EQ(ContentOf(datum.Data()), FloatContent({9, 9}));

    SAFEARRAY* nothing = nullptr;
    toArray.pparray = &nothing;
    const Answer answer = Invoke(item, LX_DISPDATA, kPut, {toArray});
    EXPECT_EQ(answer.status, DISP_E_EXCEPTION);
    EXPECT_EQ(answer.code, Status(0x80040FA4));
    EXPECT_EQ(ContentOf(datum.Data()), FloatContent({9, 9}));
}

}  // namespace
}  // namespace lumvex::tests
