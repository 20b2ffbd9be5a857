// A client in a process of its own, told what to do by its arguments. Its exit code is the answer: a failed status, or
// a number.
//
//     server_client open MODE PATH      opens a project in an access mode: how many named arrays it has
//     server_client names               1: a collection's class information says IData; 2: a root's says IProject;
//                                       4: a root's says Project; added up
#include <iostream>

#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

std::u16string TypeNameOf(const Object& object) {
    const auto information = Ref<IDispatch>(object.Pointer()).As<IProvideClassInfo>();
    Ref<ITypeInfo> info;
    Bstr name;
    if (!information || FAILED(information->GetClassInfo(info.Out()))) return {};
    Check(info->GetDocumentation(MEMBERID_NIL, name.Out(), nullptr, nullptr, nullptr));
    return std::u16string(name.view());
}

int Run(int count, wchar_t** arguments) {
    const std::wstring_view what = count > 1 ? arguments[1] : L"";
    Project project = Project::Create();
    if (what == L"open" && count == 4) {
        project.AccessMode(static_cast<LXAccessMode>(std::stoi(arguments[2])));
        const std::wstring path = arguments[3];
        project.OpenFile(std::u16string(path.begin(), path.end()));
        return project.Data().Count();
    }
    if (what == L"names") {
        const std::u16string root = TypeNameOf(project);
        return (TypeNameOf(project.Data()) == u"IData" ? 1 : 0) + (root == u"IProject" ? 2 : 0) +
               (root == u"Project" ? 4 : 0);
    }
    std::cerr << "server_client open MODE PATH | names\n";
    return E_INVALIDARG;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    int answer = E_UNEXPECTED;
    try {
        answer = Run(count, arguments);
    } catch (const Error& error) {
        answer = error.Status();
    }
    CoUninitialize();
    return answer;
}
