// Designs a correction through IDispatch alone, knowing nothing but the members' names, and listens to the project's
// events with a sink of its own.
//
//     correct_late RESPONSE FOLDER
//
// FOLDER gets the documents acme.lvs and desk.lvp.
#include <comdef.h>
#include <ocidl.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

_COM_SMARTPTR_TYPEDEF(IDispatch, __uuidof(IDispatch));
_COM_SMARTPTR_TYPEDEF(IEnumVARIANT, __uuidof(IEnumVARIANT));
_COM_SMARTPTR_TYPEDEF(IConnectionPoint, __uuidof(IConnectionPoint));
_COM_SMARTPTR_TYPEDEF(IConnectionPointContainer, __uuidof(IConnectionPointContainer));
_COM_SMARTPTR_TYPEDEF(IProvideClassInfo2, __uuidof(IProvideClassInfo2));

namespace {

namespace fs = std::filesystem;

constexpr long kShareRead = 1;     // LX_SHARE_READ
constexpr long kDoubles = 5;       // LX_R8
constexpr long kMinimalError = 1;  // LX_OM_MINERROR
constexpr long kSampleRate = 48000;
constexpr double kFullScale = 32768;
constexpr std::size_t kTaps = 12;

void Check(HRESULT status, const std::string& what) {
    if (SUCCEEDED(status)) return;
    std::ostringstream text;
    text << what << ": status 0x" << std::hex << static_cast<unsigned long>(status);
    throw std::runtime_error(text.str());
}

std::string Text(const _variant_t& value) {
    const _bstr_t wide(value);
    const int length = static_cast<int>(wide.length());
    std::string text(3 * static_cast<std::size_t>(length), '\0');  // a UTF-16 unit takes up to three bytes in UTF-8
    text.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, wide, length, text.data(), 3 * length, nullptr, nullptr)));
    return text;
}

// An object whose members are called by name.
class Object {
public:
    Object() = default;
    explicit Object(IDispatch* pointer) : pointer_(pointer) {}
    explicit Object(const _variant_t& value) : Object(value.vt == VT_DISPATCH ? value.pdispVal : nullptr) {}

    static Object Create(const wchar_t* progId) {
        Object made;
        Check(made.pointer_.CreateInstance(progId, nullptr, CLSCTX_INPROC_SERVER), "creating the document");
        return made;
    }

    // Reads a property or calls a method.
    template <class... Arguments>
    _variant_t Get(const wchar_t* member, const Arguments&... arguments) const {
        return Invoke(member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {_variant_t(arguments)...});
    }
    // The same where the result is an object.
    template <class... Arguments>
    Object operator()(const wchar_t* member, const Arguments&... arguments) const {
        return Object(Get(member, arguments...));
    }
    template <class Value>
    void Put(const wchar_t* member, const Value& value) const {
        Invoke(member, DISPATCH_PROPERTYPUT, {_variant_t(value)});
    }

    operator _variant_t() const { return _variant_t(pointer_.GetInterfacePtr()); }
    IDispatch* Pointer() const { return pointer_; }

private:
    _variant_t Invoke(const wchar_t* member, WORD flags, std::vector<_variant_t> arguments) const {
        const std::string name = Text(member);
        DISPID id = 0, put = DISPID_PROPERTYPUT;
        LPOLESTR names[] = {const_cast<LPOLESTR>(member)};
        Check(pointer_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id), name);
        std::reverse(arguments.begin(), arguments.end());  // an object takes the last argument first
        DISPPARAMS passed{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        if (flags == DISPATCH_PROPERTYPUT) passed.rgdispidNamedArgs = &put, passed.cNamedArgs = 1;
        _variant_t result;
        EXCEPINFO exception{};
        const HRESULT status =
            pointer_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &passed, &result, &exception, nullptr);
        if (status == DISP_E_EXCEPTION) {
            SysFreeString(exception.bstrSource);
            SysFreeString(exception.bstrHelpFile);
            throw std::runtime_error(Text(_variant_t(_bstr_t(exception.bstrDescription, false))));
        }
        Check(status, name);
        return result;
    }

    IDispatchPtr pointer_;
};

std::vector<Object> MembersOf(const Object& collection) {
    const _variant_t source = collection.Get(L"_NewEnum");
    const IEnumVARIANTPtr enumerator(source.punkVal);
    std::vector<Object> members;
    for (_variant_t next; enumerator->Next(1, &next, nullptr) == S_OK; next.Clear()) members.emplace_back(next);
    return members;
}

// Hears of every change in a document, in the call that makes it. A local variable, which ends the connection itself:
// references to it are counted for form's sake.
class Sink final : public IDispatch {
public:
    explicit Sink(const Object& document) {
        const IProvideClassInfo2Ptr description(document.Pointer());
        Check(description->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events_), "asking for the events");
        const IConnectionPointContainerPtr points(document.Pointer());
        Check(points->FindConnectionPoint(events_, &point_), "finding the events");
        Check(point_->Advise(this, &connection_), "listening to the events");
    }
    Sink(const Sink&) = delete;
    ~Sink() { point_->Unadvise(connection_); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool offered = iid == IID_IUnknown || iid == IID_IDispatch || iid == events_;
        *object = offered ? this : nullptr;
        if (offered) AddRef();
        return offered ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
    ULONG STDMETHODCALLTYPE Release() override { return --count_; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { return *count = 0, S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* passed, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        static const char* const kNames[] = {"", "CollectionChanged", "ItemChanged", "RootChanged"};
        if (id < 1 || id > 3) return DISP_E_MEMBERNOTFOUND;
        std::cout << "event: " << kNames[id];
        if (passed->cArgs == 3) {  // root, what changed, how; the last comes first
            const Object changed(IDispatchPtr(passed->rgvarg[1].punkVal));
            std::cout << " " << Text(changed.Get(L"Name")) << " " << passed->rgvarg[0].lVal;
        }
        std::cout << "\n";
        return S_OK;
    }

private:
    IID events_{};
    IConnectionPointPtr point_;
    DWORD connection_ = 0;
    ULONG count_ = 0;
};

// The samples of a text file, one a line, full scale being 1; a line that begins with # is a comment.
std::vector<double> ReadResponse(const fs::path& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path.string() + " cannot be read");
    std::vector<double> response;
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with('#')) response.push_back(std::stoi(line) / kFullScale);
    }
    return response;
}

std::size_t PeakOf(const std::vector<double>& response) {
    const auto lower = [](double left, double right) { return std::abs(left) < std::abs(right); };
    return std::max_element(response.begin(), response.end(), lower) - response.begin();
}

// The filter that, after the response from `start` on, leaves one impulse and then silence for its own length.
std::vector<double> InverseOf(const std::vector<double>& response, std::size_t start) {
    std::vector<double> filter(kTaps);
    for (std::size_t n = 0; n < kTaps; ++n) {
        double rest = n == 0 ? 1 : 0;
        for (std::size_t k = 1; k <= n; ++k) rest -= response[start + k] * filter[n - k];
        filter[n] = rest / response[start];
    }
    return filter;
}

_variant_t OneColumn(const std::vector<double>& values) {
    _variant_t array;
    array.parray = SafeArrayCreateVector(VT_R8, 0, static_cast<ULONG>(values.size()));
    if (!array.parray) throw std::bad_alloc();
    array.vt = VT_ARRAY | VT_R8;
    std::copy(values.begin(), values.end(), static_cast<double*>(array.parray->pvData));
    return array;
}

std::vector<double> ValuesOf(const _variant_t& data) {
    if (data.vt != (VT_ARRAY | VT_R8)) throw std::runtime_error("expected an array of doubles");
    const auto* values = static_cast<const double*>(data.parray->pvData);
    return {values, values + data.parray->rgsabound[0].cElements};
}

// The items' Locks say how many links point at them; whoever makes a link counts it.
void Link(const Object& links, const Object& target) {
    links.Get(L"Add", target);
    target.Put(L"Locks", static_cast<long>(target.Get(L"Locks")) + 1);
}

Object MakeLibrary(const Object& library, const fs::path& folder) {
    const Object config = library(L"Configs")(L"FindName", L"Single amp");
    const Object model = library(L"Manufacturers")(L"Add", L"Acme")(L"Models")(L"Add", L"Alpha");
    const Object modelConfig = model(L"ModelConfigs")(L"Add", config);
    library.Get(L"SaveFileAs", (folder / "acme.lvs").c_str());
    std::cout << "library: " << Text(modelConfig.Get(L"ManufacturerName")) << "/" << Text(modelConfig.Get(L"ModelName"))
              << ", " << Text(modelConfig.Get(L"Name")) << ", outputs "
              << Text(modelConfig(L"Config").Get(L"OutputCount")) << "\n";
    return modelConfig;
}

void MakeProject(const Object& project, const Object& modelConfig, const std::vector<double>& response,
                 const fs::path& folder) {
    const Object experiment = project(L"Experiments")(L"Add", L"At the desk");
    experiment.Put(L"MicDistance", 1.0);
    experiment.Put(L"ModelConfig", modelConfig);

    const Object speaker = project(L"SpeakerEQs")(L"Add", L"Left", modelConfig(L"Model"));
    const Object speakerConfig = speaker(L"SpkrEQConfigs")(L"Add", modelConfig);
    const Object measurement = speakerConfig(L"Measurements")(L"Add", L"Sweep", experiment);
    measurement.Put(L"SampleRate", kSampleRate);
    measurement.Put(L"Data", OneColumn(response));

    const Object designs = project(L"CrossoverConfigs")(L"FindName", L"Single amp")(L"SpkrEQDesigns");
    const Object design = designs(L"Add", L"Desk");
    design.Put(L"OptMethod", kMinimalError);
    design.Put(L"LimitData", OneColumn({20, 0, 6, -12, 0}));  // frequency, alpha, maximum, minimum, type
    Link(design(L"SpkrMeasureLinks"), measurement);

    const std::size_t start = PeakOf(response);
    const Object correction = speakerConfig(L"Corrections")(L"Add", L"Inverse", measurement);
    correction.Put(L"SampleRate", kSampleRate);
    correction.Put(L"ActDelay", 1000.0 * static_cast<double>(start) / kSampleRate);
    correction.Put(L"OptMethod", design.Get(L"OptMethod"));
    correction.Put(L"LimitData", design.Get(L"LimitData"));
    correction.Put(L"Data", OneColumn(InverseOf(response, start)));
    Link(design(L"SpkrCorrectionGroups")(L"Add", L"First try")(L"SpkrCorrectionLinks"), correction);

    try {
        designs.Get(L"Add", L"DESK");
    } catch (const std::exception& error) {
        std::cout << "refused: " << error.what() << "\n";
    }
    project.Get(L"SaveFileAs", (folder / "desk.lvp").c_str());
}

void PrintValues(const std::string& title, const std::vector<double>& values, double unit) {
    std::cout << title;
    for (const double value : values) std::cout << " " << std::lround(value / unit);
    std::cout << "\n";
}

void ListSpeaker(const Object& speaker) {
    for (const Object& config : MembersOf(speaker(L"SpkrEQConfigs"))) {
        std::cout << "speaker: " << Text(speaker.Get(L"DisplayName")) << ", " << Text(config(L"Config").Get(L"Name"))
                  << "\n";
        for (const Object& measurement : MembersOf(config(L"Measurements"))) {
            std::cout << "  measurement: " << Text(measurement.Get(L"Name")) << ", "
                      << Text(measurement(L"Experiment").Get(L"DisplayName")) << ", "
                      << ValuesOf(measurement.Get(L"Data")).size() << " values at "
                      << Text(measurement.Get(L"SampleRate")) << " Hz, links " << Text(measurement.Get(L"Locks"))
                      << "\n";
        }
        for (const Object& correction : MembersOf(config(L"Corrections"))) {
            const auto response = ValuesOf(correction(L"Measurement").Get(L"Data"));
            const auto filter = ValuesOf(correction.Get(L"Data"));
            std::cout << "  correction: " << Text(correction.Get(L"Name")) << " of "
                      << Text(correction(L"Measurement").Get(L"Name")) << ", "
                      << std::lround(1000 * static_cast<double>(correction.Get(L"ActDelay"))) << " us, links "
                      << Text(correction.Get(L"Locks")) << "\n";
            PrintValues("    filter in 1/8192:", filter, 1 / 8192.0);
            const std::size_t start = PeakOf(response);
            std::vector<double> corrected(filter.size());
            for (std::size_t n = 0; n < filter.size(); ++n)
                for (std::size_t k = 0; k <= n; ++k) corrected[n] += response[start + k] * filter[n - k];
            PrintValues("    corrected response:", corrected, 1);
        }
    }
}

void ListDesign(const Object& design) {
    std::cout << "template: " << Text(design.Get(L"Name")) << " for "
              << Text(design(L"Parent")(L"Parent")(L"Config").Get(L"Name")) << ", method "
              << Text(design.Get(L"OptMethod")) << "\n";
    PrintValues("  limits:", ValuesOf(design.Get(L"LimitData")), 1);
    for (const Object& link : MembersOf(design(L"SpkrMeasureLinks")))
        std::cout << "  draws on: " << Text(link(L"Measurement").Get(L"Name")) << "\n";
    for (const Object& group : MembersOf(design(L"SpkrCorrectionGroups")))
        for (const Object& link : MembersOf(group(L"SpkrCorrectionLinks")))
            std::cout << "  " << Text(group.Get(L"Name")) << ": " << Text(link(L"Correction").Get(L"Name")) << "\n";
}

void List(const fs::path& folder) {
    const Object project = Object::Create(L"Lumvex-Dev.Project");
    project.Put(L"AccessMode", kShareRead);
    project.Put(L"SafeArrayType", kDoubles);
    project.Get(L"OpenFile", (folder / "desk.lvp").c_str());
    for (const Object& speaker : MembersOf(project(L"SpeakerEQs"))) ListSpeaker(speaker);
    for (const Object& crossover : MembersOf(project(L"CrossoverConfigs")))
        for (const Object& design : MembersOf(crossover(L"SpkrEQDesigns"))) ListDesign(design);
    project.Get(L"CloseFile");
}

void DesignCorrection(const fs::path& responsePath, const fs::path& folder) {
    const auto response = ReadResponse(responsePath);
    const Object library = Object::Create(L"Lumvex-Dev.Specifications");
    const Object modelConfig = MakeLibrary(library, folder);
    const Object project = Object::Create(L"Lumvex-Dev.Project");
    project.Put(L"SafeArrayType", kDoubles);
    const Sink sink(project);
    project.Put(L"Specifications", library);
    MakeProject(project, modelConfig, response, folder);
    project.Get(L"CloseFile");
    List(folder);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "correct_late RESPONSE FOLDER\n";
        return 2;
    }
    int left = 1;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    try {
        DesignCorrection(argv[1], argv[2]);
        left = 0;
    } catch (const _com_error& error) {
        std::cerr << "status 0x" << std::hex << static_cast<unsigned long>(error.Error()) << "\n";
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
    }
    CoUninitialize();
    return left;
}
