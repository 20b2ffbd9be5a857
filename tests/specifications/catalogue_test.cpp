// Manufacturers, their models and model configurations.
#include "kit/listener.hpp"

namespace lumvex::tests {
namespace {

class Catalogue : public ::testing::Test {
protected:
    Specifications library = Specifications::Create();
    Manufacturer manufacturer = library.Manufacturers().Add(u"Fostering");
    Model model = manufacturer.Models().Add(u"Twelve");
    ModelConfig biAmp = model.ModelConfigs().Add(library.Configs().Item(LX_BIAMP));

    Listener listener{library};
    Strings Taken() { return listener.Taken(); }
};

TEST_F(Catalogue, OwnersNamesAreReadAtEachCall) {
    EXPECT_EQ(biAmp.ModelName(), u"Twelve");
    EXPECT_EQ(biAmp.ManufacturerName(), u"Fostering");
    model.Name(u"Fifteen");
    manufacturer.Name(u"");
    EXPECT_EQ(biAmp.ModelName(), u"Fifteen");
    EXPECT_EQ(biAmp.ManufacturerName(), u"");
}

TEST_F(Catalogue, AConfigurationIsAddedOnce) {
    const ModelConfigs configs = model.ModelConfigs();
    Taken();
    const ModelConfig triAmp = configs.Add(library.Configs().Item(LX_TRIAMP));
    EXPECT_EQ(Taken(), (Strings{"item Tri amp 1", "collection CONFIGS 1"}));
    EXPECT_EQ(configs.Add(library.Configs().Item(LX_TRIAMP)).Pointer(), triAmp.Pointer());
    // Configurations are compared by what they are: a project's own will do.
    EXPECT_EQ(configs.Add(Project::Create().Configs().Item(LX_TRIAMP)).Pointer(), triAmp.Pointer());
    EXPECT_EQ(Taken(), Strings{}) << "nothing was created";
    EXPECT_EQ(configs.Count(), 2);
    EXPECT_EQ(triAmp.Name(), u"Tri amp");
    EXPECT_EQ(triAmp.ConfigID(), LX_TRIAMP);
    EXPECT_EQ(triAmp.Config().Pointer(), library.Configs().Item(LX_TRIAMP).Pointer());
    EXPECT_EQ(triAmp.Config().OutputCount(), 3);

    // It is found by its name: once renamed, the configuration can be added again.
    ModelConfig renamed = triAmp;
    renamed.Name(u"Active");
    EXPECT_NE(configs.Add(library.Configs().Item(LX_TRIAMP)).Pointer(), triAmp.Pointer());
    EXPECT_EQ(configs.Count(), 3);
    EXPECT_EQ(triAmp.ConfigID(), LX_TRIAMP);
}

// A configuration of a client's own making.
class ForeignConfig final : public IConfig {
public:
    LXConfig id{};
    HRESULT status = S_OK;  // of both properties
    ULONG references = 1;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }  // lives on the test's stack
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_OutputCount(LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ConfigID(LXConfig* value) override {
        *value = id;
        return status;
    }
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* value) override {
        *value = SUCCEEDED(status) ? Bstr(u"Odd").Detach() : nullptr;
        return status;
    }
};

TEST_F(Catalogue, AConfigurationThatCouldNotBeLoadedAgainIsNotAdded) {
    const ModelConfigs configs = model.ModelConfigs();
    IModelConfig* made = nullptr;
    EXPECT_TRUE(FailsBare(E_POINTER, configs.Get()->Add(nullptr, &made)));
    ForeignConfig foreign;
    for (const int id : {0, -1, 5}) {
        foreign.id = static_cast<LXConfig>(id);
        EXPECT_TRUE(FailsBare(E_INVALIDARG, configs.Get()->Add(&foreign, &made))) << id;
    }
    foreign.status = E_ABORT;
    EXPECT_EQ(configs.Get()->Add(&foreign, &made), E_ABORT);
    EXPECT_EQ(configs.Count(), 1);
    foreign.id = LX_SUBWOOFER;
    foreign.status = S_OK;
    ASSERT_EQ(configs.Get()->Add(&foreign, &made), S_OK);
    const ModelConfig odd(Ref<IModelConfig>::Attach(made));
    EXPECT_EQ(odd.Name(), u"Odd");
    EXPECT_EQ(odd.Config().Name(), u"Subwoofer") << "answered from the library's own table";
    EXPECT_EQ(foreign.references, 1u);
}

}  // namespace
}  // namespace lumvex::tests
