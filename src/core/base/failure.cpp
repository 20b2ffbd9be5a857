#include "core/base/failure.hpp"

#include "core/base/strings.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

namespace {

void Replace(std::u16string& text, std::u16string_view what, const std::string& with) {
    const std::size_t at = text.find(what);
    if (at != std::u16string::npos) text.replace(at, what.size(), FromUtf8(with));
}

// Does nothing where the error information cannot be made: the status is returned all the same.
void Install(std::u16string_view text, std::u16string_view source) {
    Ref<ICreateErrorInfo> made;
    if (FAILED(CreateErrorInfo(made.Out()))) return;
    made->SetGUID(GUID_NULL);
    if (!source.empty()) made->SetSource(Bstr(source).get());
    made->SetDescription(Bstr(text).get());
    if (const auto info = made.As<IErrorInfo>()) SetErrorInfo(0, info.get());
}

}  // namespace

HRESULT Report(int message, std::u16string_view source) noexcept {
    const std::u16string_view text = StringOf(message);
    return Report(text.empty() ? std::u16string_view(u"Unknown Error") : text, StatusOf(static_cast<Message>(message)),
                  source);
}

HRESULT Report(std::u16string_view text, HRESULT status, std::u16string_view source) noexcept {
    try {
        Install(text, source);
    } catch (const std::bad_alloc&) {
        SetErrorInfo(0, nullptr);
    }
    return status != 0 ? status : DISP_E_EXCEPTION;
}

std::u16string InternalErrorText(std::string_view path, unsigned line) {
    const std::size_t separator = path.find_last_of("\\/:");
    std::u16string text(StringOf(static_cast<int>(Message::InternalError)));
    Replace(text, u"%d", std::to_string(line));
    Replace(text, u"%hs", std::string(separator == std::string_view::npos ? path : path.substr(separator + 1)));
    return text;
}

}  // namespace lumvex::inside
