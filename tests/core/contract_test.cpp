// What holds for every member of every published class, by the class list and the interface tables: a missing result or
// argument is E_POINTER, a failing call leaves nothing in its results, and no call keeps a reference.
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "interfaces/tables.hpp"
#include "kit/late_calls.hpp"
#include "kit/published.hpp"
#include "published/slots.hpp"
#include "storage/document/root_document.hpp"

namespace lumvex::tests {
namespace {

using namespace inside;

// ---- arguments for a member of any signature ----

const Bstr kText(u"text");

// A value that the member can take, and a result variable that already holds something.
template <class T>
struct Given {
    T value{};
};
template <>
struct Given<BSTR> {
    BSTR value = kText.get();
};
template <class I>
requires std::is_base_of_v<IUnknown, I>
struct Given<I*> {
    I* value;
    explicit Given(IUnknown* self) : value(Ref<IUnknown>(self).template As<I>().get()) {}  // null where it is no such I
};

template <class T>
T Dirty() {
    if constexpr (std::is_same_v<T, VARIANT>) {
        VARIANT value;
        std::memset(&value, 0xCD, sizeof value);
        return value;
    } else if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(std::uintptr_t{0xCDCDCDC8});
    } else {
        return static_cast<T>(0x4D);
    }
}

template <class T>
bool IsCleared(const T& value) {
    if constexpr (std::is_same_v<T, VARIANT>)
        return value.vt == VT_EMPTY;
    else if constexpr (std::is_pointer_v<T>)
        return value == nullptr;
    else
        return true;  // numbers stay what they were
}

template <class T>
void Free(T value) {
    if constexpr (std::is_same_v<T, VARIANT>)
        VariantClear(&value);
    else if constexpr (std::is_same_v<T, BSTR>)
        SysFreeString(value);
    else if constexpr (std::is_pointer_v<T>)
        if (value) value->Release();
}

template <class T>
T MakeGiven(IUnknown* self) {
    if constexpr (std::is_pointer_v<T> && !std::is_same_v<T, BSTR>)
        return Given<T>(self).value;
    else
        return Given<T>{}.value;
}

template <class T>
constexpr bool kIsNeeded = std::is_pointer_v<T>;  // texts and objects; numbers and variants are always there

// ---- one member ----

// A property get or a method with a result.
template <class I, class... Args>
void CheckResult(I* object, HRESULT (STDMETHODCALLTYPE I::*member)(Args...), const std::string& name,
                 HRESULT withoutResult, const std::vector<bool>& needed) {
    constexpr std::size_t kInputs = sizeof...(Args) - 1;
    using All = std::tuple<Args...>;
    using Result = std::remove_pointer_t<std::tuple_element_t<kInputs, All>>;
    const auto call = [&]<std::size_t... At>(std::index_sequence<At...>, std::size_t missing, Result * result) {
        return (object->*member)(
            (At == missing ? std::tuple_element_t<At, All>{} : MakeGiven<std::tuple_element_t<At, All>>(object))...,
            result);
    };
    constexpr auto kAll = std::make_index_sequence<kInputs>();
    if (withoutResult != S_OK) {
        EXPECT_EQ(call(kAll, kInputs, nullptr), withoutResult) << name;
    }

    Result result = Dirty<Result>();
    const HRESULT status = call(kAll, kInputs, &result);
    if (FAILED(status)) {
        EXPECT_TRUE(IsCleared(result)) << name << " failed with " << InHex(status);
    } else {
        Free(result);
    }

    [&]<std::size_t... At>(std::index_sequence<At...>) {
        [[maybe_unused]] const auto withoutOne =
            [&]<std::size_t Missing>(std::integral_constant<std::size_t, Missing>) {
                if constexpr (kIsNeeded<std::tuple_element_t<Missing, All>>) {
                    if (!needed[Missing]) return;  // the caller may leave it out
                    Result untouched = Dirty<Result>();
                    EXPECT_EQ(call(kAll, Missing, &untouched), E_POINTER) << name << " without argument " << Missing;
                    EXPECT_TRUE(IsCleared(untouched)) << name << " without argument " << Missing;
                }
            };
        (withoutOne(std::integral_constant<std::size_t, At>()), ...);
    }
    (kAll);
}

template <class I, class... Args>
void CheckAction(I* object, HRESULT (STDMETHODCALLTYPE I::*member)(Args...), const std::string& name) {
    using All = std::tuple<Args...>;
    [&]<std::size_t... At>(std::index_sequence<At...>) {
        [[maybe_unused]] const auto withoutOne =
            [&]<std::size_t Missing>(std::integral_constant<std::size_t, Missing>) {
                if constexpr (kIsNeeded<std::tuple_element_t<Missing, All>>) {
                    EXPECT_EQ((object->*member)((At == Missing ? std::tuple_element_t<At, All>{}
                                                               : MakeGiven<std::tuple_element_t<At, All>>(object))...),
                              E_POINTER)
                        << name << " without argument " << Missing;
                }
            };
        (withoutOne(std::integral_constant<std::size_t, At>()), ...);
    }
    (std::index_sequence_for<Args...>());
}

// ---- one interface with its bases ----

struct CheckSlot {
    template <class I, class... Args, bool kHasResult>
    void operator()(I* object, HRESULT (STDMETHODCALLTYPE I::*member)(Args...), std::string_view interfaceName,
                    std::size_t place, std::bool_constant<kHasResult>) const {
        const tables::Slot slot = tables::SlotsOf(*tables::FindInterface(interfaceName))[place];
        const std::string name = std::string(interfaceName) + "::" + std::string(slot.member.name);
        if (slot.use == tables::Slot::Puts) return;
        if constexpr (kHasResult) {
            std::vector<bool> needed;
            for (const tables::Parameter& each : slot.member.parameters) needed.push_back(each.defaultValue.empty());
            CheckResult(object, member, name, WithoutResult(slot.member), needed);
        } else {
            CheckAction(object, member, name);
        }
    }

private:
    static HRESULT WithoutResult(const tables::Member& member) {
        if (member.kind == tables::Kind::Test) return S_OK;
        if (member.access & tables::NullIsInvalid) return E_INVALIDARG;
        // These look for the owners first, which an object that was never anywhere cannot even ask for.
        return member.access & tables::OwnersFirst ? Status(0x80040FB1) : E_POINTER;
    }
};

void CheckMembers(std::string_view interfaceName, IDispatch* object) {
    CheckSlot check;
    VisitSlots(interfaceName, object, check);
}

// ---- every class ----

void CheckClass(const ClassInfo& info, std::string_view interfaceName) {
    SCOPED_TRACE(ToUtf8(info.name));
    const std::size_t before = LiveObjects();
    {
        const Ref<inside::Object> object = info.create();
        Ref<IDispatch> published;
        ASSERT_EQ(object->Dispatch()->QueryInterface(info.interfaceId, reinterpret_cast<void**>(published.Out())),
                  S_OK);
        // Of items and collections this is one without a place in any document: whatever needs one fails.
        CheckMembers(interfaceName, published.get());

        const auto unknown = published.As<IUnknown>();
        EXPECT_EQ(unknown, published.As<IDispatch>().template As<IUnknown>()) << "one identity";
        EXPECT_EQ(published->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
        void* none = &none;
        EXPECT_EQ(published->QueryInterface(IID_IClassFactory, &none), E_NOINTERFACE);
        EXPECT_EQ(none, nullptr);
        const auto errors = published.As<ISupportErrorInfo>();
        ASSERT_TRUE(errors);
        EXPECT_EQ(errors->InterfaceSupportsErrorInfo(info.interfaceId), S_OK);
        EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IClassFactory), S_FALSE);
        EXPECT_EQ(TextOf(GetLate(published.get(), LX_DISPIID).value.bstrVal), ToText(info.interfaceId));

        UINT count = 7;
        EXPECT_EQ(published->GetTypeInfoCount(&count), S_OK);
        EXPECT_EQ(published->GetTypeInfoCount(nullptr), E_POINTER);
        auto* type = reinterpret_cast<ITypeInfo*>(&count);
        EXPECT_EQ(published->GetTypeInfo(99, 0, &type), DISP_E_BADINDEX);
        EXPECT_EQ(type, nullptr);
    }
    EXPECT_EQ(LiveObjects(), before) << "a reference was kept";
}

TEST(Contract, HoldsForEveryMemberOfEveryClass) {
    for (const tables::Class& each : tables::Classes())
        CheckClass(*FindClass(*ParseGuid(FromUtf8("{" + std::string(each.id) + "}"))), each.interfaceName);
    TakeErrorInfo();
}

TEST(Contract, HoldsForTheObjectsOutsideTheTree) {
    const std::size_t before = LiveObjects();
    {
        const Configs table = Project::Create().Configs();
        CheckMembers("IConfigs", table.Get());
        CheckMembers("IConfig", table.Item(1).Get());
    }
    EXPECT_EQ(LiveObjects(), before) << "a reference was kept";
}

TEST(Contract, NullPointersLeaveNoTextOfAnEarlierCall) {
    Project project = Project::Create();
    const Data data = project.Data();
    Bstr name(u"nobody");
    LONG answer = 7;
    for (int round = 0; round < 3; ++round) {
        data.NameExists(u"nobody");
        const HRESULT status = round == 0   ? data.Get()->get_Count(nullptr)
                               : round == 1 ? data.Get()->IsSame(nullptr, &answer)
                                            : data.Get()->Add(nullptr, nullptr);
        EXPECT_TRUE(FailsBare(E_POINTER, status)) << round;
    }
    EXPECT_EQ(answer, 7);
}

TEST(Contract, CreationRefusesWhatItCannotMake) {
    void* object = &object;
    EXPECT_EQ(LumvexCreateInstance(IID_IUnknown, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    object = &object;
    EXPECT_EQ(LumvexCreateInstance(kClassOfProject, IID_IClassFactory, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(LumvexCreateInstance(kClassOfProject, IID_IUnknown, nullptr), E_POINTER);
}

}  // namespace
}  // namespace lumvex::tests
