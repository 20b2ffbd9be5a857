// Manufacturers, their models and model configurations.
#include "kit/library.hpp"

namespace lumvex::tests {
namespace {

class Catalogue : public ::testing::Test {
protected:
    Specifications library = Specifications::Create();
    Manufacturer manufacturer = library.Manufacturers().Add(u"Fostering");
    Model model = manufacturer.Models().Add(u"Twelve");
    ModelConfig biAmp = model.ModelConfigs().Add(library.Configs().Item(LX_BIAMP));

    std::vector<std::string> told;
    Subscription subscription{library, [this](const Change& change) { told.push_back(Told(change)); }};
    Strings Taken() { return std::exchange(told, {}); }
};

TEST_F(Catalogue, EveryCollectionIsMadeOnceAndKnowsItsPlace) {
    EXPECT_EQ(library.Manufacturers().Pointer(), library.Manufacturers().Pointer());
    EXPECT_EQ(library.Microphones().Pointer(), library.Microphones().Pointer());
    EXPECT_EQ(manufacturer.Models().Pointer(), manufacturer.Models().Pointer());
    EXPECT_EQ(model.ModelConfigs().Pointer(), model.ModelConfigs().Pointer());

    EXPECT_EQ(library.Manufacturers().DisplayName(), u"MANUFACTURERS");
    EXPECT_EQ(manufacturer.Models().DisplayName(), u"MODELS");
    EXPECT_EQ(model.ModelConfigs().DisplayName(), u"CONFIGS");
    EXPECT_EQ(library.Microphones().DisplayName(), u"MICROPHONES");
    EXPECT_EQ(biAmp.FQName(), u"SPECIFICATIONS/MANUFACTURERS/Fostering/MODELS/Twelve/CONFIGS/Bi amp");

    EXPECT_EQ(biAmp.Parent().Pointer(), model.ModelConfigs().Pointer());
    EXPECT_EQ(biAmp.Parent().Parent().Pointer(), model.Pointer());
    EXPECT_EQ(model.Parent().Parent().Pointer(), manufacturer.Pointer());
    EXPECT_EQ(manufacturer.Parent().Parent().Pointer(), library.Pointer());
    for (const Specifications& root : {biAmp.Root(), model.Root(), manufacturer.Root(), biAmp.Parent().Root(),
                                       model.Parent().Root(), manufacturer.Parent().Root()})
        EXPECT_EQ(root.Pointer(), library.Pointer());
    EXPECT_EQ(biAmp.Model().Pointer(), model.Pointer());
    EXPECT_EQ(biAmp.Manufacturer().Pointer(), manufacturer.Pointer());
    EXPECT_EQ(model.Manufacturer().Pointer(), manufacturer.Pointer());
}

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

// What an orphan still knows it answers; what takes the way up fails.
void ExpectOrphaned(const ModelConfig& config) {
    EXPECT_EQ(config.ConfigID(), LX_BIAMP);
    EXPECT_EQ(config.Name(), u"Bi amp");
    Bstr text;
    IManufacturer* manufacturer = nullptr;
    IModel* model = nullptr;
    IConfig* reached = nullptr;
    IModelConfigs* parent = nullptr;
    ISpecifications* root = nullptr;
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_ManufacturerName(text.Out())));
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_ModelName(text.Out())));
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_Manufacturer(&manufacturer)));
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_Model(&model)));
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_Config(&reached)));
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_Parent(&parent)));
    EXPECT_TRUE(FailsWith(4009, config.Get()->get_Root(&root)));
}

TEST_F(Catalogue, OrphansFailWithTheWayUp) {
    const Models models = manufacturer.Models();
    const ModelConfigs configs = model.ModelConfigs();
    library.Manufacturers().Remove(1);
    ExpectOrphaned(biAmp);
    IModel* added = nullptr;
    EXPECT_TRUE(FailsWith(4009, models.Get()->Add(Bstr(u"X").get(), &added)));
    IModelConfig* addedConfig = nullptr;
    EXPECT_TRUE(FailsWith(4009, configs.Get()->Add(library.Configs().Item(1).Get(), &addedConfig)));
    IModels* made = nullptr;
    EXPECT_TRUE(FailsWith(4009, manufacturer.Get()->get_Models(&made)));

    ModelConfig left;
    {
        const Specifications released = Specifications::Create();
        left = released.Manufacturers().Add(u"A").Models().Add(u"B").ModelConfigs().Add(released.Configs().Item(2));
    }
    ExpectOrphaned(left);
}

TEST_F(Catalogue, NamesRepeatAndAreFoundInAnyCase) {
    Models models = manufacturer.Models();
    const Model second = models.Add(u"Twelve");
    EXPECT_EQ(models.Count(), 2);
    EXPECT_EQ(models.FindName(u"TWELVE").Pointer(), model.Pointer()) << "the first of the name";
    EXPECT_EQ(model.ModelConfigs().FindName(u"bi AMP").Pointer(), biAmp.Pointer());
    models.Remove(1);
    EXPECT_EQ(models.FindName(u"Twelve").Pointer(), second.Pointer());
}

TEST_F(Catalogue, RemovingAManufacturerTakesEverythingBelow) {
    library.Manufacturers().Add(u"Other");
    const std::u16string ids[] = {manufacturer.ID(), model.ID(), biAmp.ID(), model.ModelConfigs().ID()};
    biAmp.Locks(1);
    EXPECT_TRUE(FailsWith(4018, library.Manufacturers().Get()->Remove(1)));
    EXPECT_EQ(biAmp.ManufacturerName(), u"Fostering") << "what could not be removed is where it was";
    biAmp.Locks(0);
    library.Manufacturers().Remove(1);
    for (const std::u16string& id : ids) EXPECT_FALSE(library.FindID(id)) << ToUtf8(id);
    EXPECT_EQ(library.Manufacturers().Count(), 1);
}

TEST_F(Catalogue, LateBound) {
    const LateAnswer made = Late(library.Manufacturers().Pointer(), u"Add", DISPATCH_METHOD, {Variant::FromText(u"B")});
    ASSERT_EQ(made.result.vt, VT_DISPATCH);
    const Variant models = Late(made.result.pdispVal, u"Models", DISPATCH_PROPERTYGET).result;
    const Variant second = Late(models.pdispVal, u"Add", DISPATCH_METHOD, {Variant::FromText(u"M")}).result;
    const Variant configs = Late(second.pdispVal, u"ModelConfigs", DISPATCH_PROPERTYGET).result;
    const Variant config = Variant::FromDispatch(library.Configs().Item(LX_SUBWOOFER).Pointer());
    const Variant added = Late(configs.pdispVal, u"Add", DISPATCH_METHOD, {config}).result;
    ASSERT_EQ(added.vt, VT_DISPATCH);
    EXPECT_EQ(TextOf(Late(added.pdispVal, u"ManufacturerName", DISPATCH_PROPERTYGET).result.bstrVal), u"B");
    EXPECT_EQ(TextOf(Late(added.pdispVal, u"ModelName", DISPATCH_PROPERTYGET).result.bstrVal), u"M");
    EXPECT_EQ(Late(added.pdispVal, u"ConfigID", DISPATCH_PROPERTYGET).result.lVal, LX_SUBWOOFER);
    EXPECT_EQ(Late(added.pdispVal, u"Config", DISPATCH_PROPERTYGET).result.pdispVal, config.pdispVal);
    EXPECT_EQ(Late(configs.pdispVal, u"Add", DISPATCH_METHOD, {Variant::FromDispatch(library.Pointer())}).status,
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Late(configs.pdispVal, u"Add", DISPATCH_METHOD, {Variant()}).code, E_POINTER);
}

}  // namespace
}  // namespace lumvex::tests
