#include "documents/document.hpp"

#include <algorithm>
#include <iostream>
#include <system_error>

#include "command_line/interruption.hpp"
#include "command_line/progress_line.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

// Describes the error by what is at the path where that says more than the status: a directory, a device.
std::string ReasonAt(const fs::path& document, const Error& error) {
    std::error_code ignored;
    const fs::file_status found = fs::status(document, ignored);
    std::string reason;
    if (error.Status() == STG_E_ACCESSDENIED && fs::is_directory(found)) {
        reason = "it is a directory";
    } else if (error.Status() == STG_E_ACCESSDENIED && fs::exists(found) && !fs::is_regular_file(found)) {
        reason = "it is a device or pipe";
    } else if (error.Status() == STG_E_FILENOTFOUND && fs::is_regular_file(found)) {
        reason = "it is a compound file, but no document";
    } else {
        return Describe(error);
    }
    return Error(error.Status(), reason).what();
}

// A search by name loads items. Above the upper bound, items that are not in use are released down to the lower one.
constexpr LONG kFewestLoaded = 1000, kMostLoaded = 4000;

// Bytes of arrays that are not saved yet. What has more waits in a temporary file beside the document.
constexpr std::uint64_t kArraysInMemory = std::uint64_t{64} << 20;

// True also for a path that cannot be examined: opening it then fails with the reason.
bool Exists(const fs::path& document) {
    std::error_code error;
    return fs::exists(document, error) || error;
}

template <class Kind>
Kind OpenedAs(const std::u16string& path, LXAccessMode mode) {
    Kind document = Kind::Create();
    document.AccessMode(mode);
    WhenFree([&] { document.OpenFile(path); });
    return document;
}

bool HoldsLibrary(const fs::path& document) {
    try {
        return WhenFree([&] { return InspectDocument(document); }).rootClass == "CSpecifications";
    } catch (const Error&) {
        return false;
    }
}

// A mistyped name makes no document: that of a measurement file, which stands where DOC should, among others.
AnyDocument Made(const fs::path& path) {
    const std::string kind = LowerExtension(path);
    if (kind != ".lvp" && kind != ".lvs")
        throw DocumentError(
            path, "cannot be created",
            "there is no such file, and names of new documents end in .lvp (project) or .lvs (library)");
    PathText(path);  // refuses a name that could not be opened again
    std::error_code ignored;
    if (!fs::is_directory(fs::absolute(path, ignored).parent_path(), ignored))
        throw DocumentError(path, "cannot be created", Error(STG_E_PATHNOTFOUND, {}));
    AnyDocument made;
    if (kind == ".lvs") {
        made = Specifications::Create();
    } else {
        made = Project::Create();
    }
    RootOf(made).AccessMode(LX_SHARE_READWRITE);
    return made;
}

AnyDocument OpenedForChange(const fs::path& path) {
    AnyDocument opened = OpenDocument(path, LX_SHARE_READWRITE);
    OnDocument(path, "cannot be changed", [&] {
        Root root = RootOf(opened);
        if (root.VersionSupport() == LX_VER_R_COMPATIBLE)
            throw Error(E_ACCESSDENIED, "a newer version of the program wrote it, and would lose what is new in it");
        root.SetCacheBounds(kFewestLoaded, kMostLoaded);
    });
    return opened;
}

}  // namespace

DocumentError::DocumentError(const fs::path& document, const std::string& attempt, const std::string& reason)
    : std::runtime_error(Utf8(document) + ": " + attempt + ": " + reason) {}

DocumentError::DocumentError(const fs::path& document, const std::string& attempt, const Error& reason)
    : DocumentError(document, attempt, ReasonAt(document, reason)) {}

Project OpenProject(const fs::path& document, LXAccessMode mode) {
    const std::u16string path = PathText(document);
    return OnDocument(document, "cannot be opened", [&] { return OpenedAs<Project>(path, mode); });
}

// A file that holds no library either is reported with the error of opening it as a project.
AnyDocument OpenDocument(const fs::path& document, LXAccessMode mode) {
    const std::u16string path = PathText(document);
    return OnDocument(document, "cannot be opened", [&]() -> AnyDocument {
        try {
            return OpenedAs<Project>(path, mode);
        } catch (const Error&) {
            if (!HoldsLibrary(document)) throw;
        }
        return OpenedAs<Specifications>(path, mode);
    });
}

Root RootOf(const AnyDocument& document) {
    return std::visit([](const auto& kind) { return static_cast<const Root&>(kind); }, document);
}

MadeMeanwhile::MadeMeanwhile(const fs::path& document, const std::string& attempt)
    : DocumentError(document, attempt, "another program has made a file of this name meanwhile") {}

EditedDocument::EditedDocument(fs::path path, DocumentUse use)
    : path_(std::move(path)),
      isNew_(use == DocumentUse::Makes && !Exists(path_)),
      document_(isNew_ ? Made(path_) : OpenedForChange(path_)) {
    if (CurrentRun().use != DocumentUse::Changes && CurrentRun().use != DocumentUse::Makes)
        throw std::logic_error("the command's table does not say that it changes documents");
    DocumentIsBeingChanged();
    OnDocument(path_, "cannot be changed", [&] { SpoolArrays(RootOf(document_).Get(), path_, kArraysInMemory); });
}

void EditedDocument::Save(const char* attempt) {
    if (CurrentRun().dryRun) {
        std::cerr << Utf8(path_) << ": not " << (isNew_ ? "created" : "saved") << ", as this is a dry run\n";
        return;
    }
    ProgressLine progress("saving object");
    SavingNow saving;
    const auto follow = [&](std::size_t done, std::size_t total) {
        saving.Continue();
        progress.Show(done, total);
    };
    OnDocument(path_, attempt, [&] {
        const Root root = RootOf(document_);
        if (!isNew_) return SaveDocument(root.Get(), follow);
        try {
            SaveNewDocument(root.Get(), path_, follow);
        } catch (const Error& error) {
            if (error.Status() == STG_E_FILEALREADYEXISTS) throw MadeMeanwhile(path_, attempt);
            throw;
        }
    });
    saving.Done();
    progress.Clear();
    if (isNew_) Reports() << Utf8(path_) << ": created\n";
}

std::u16string PathText(const fs::path& document) {
    const std::u8string text = document.u8string();
    const std::string_view bytes(reinterpret_cast<const char*>(text.data()), text.size());
    if (ValidUtf8(bytes) != bytes) throw DocumentError(document, "cannot be opened", "its name is no valid UTF-8");
    return FromUtf8(bytes);
}

std::string Shown(std::u16string_view text) {
    std::u16string shown(text);
    for (char16_t& unit : shown) {
        if (unit < 0x20) unit = static_cast<char16_t>(0x2400 + unit);
        if (unit >= 0x7F && unit < 0xA0) unit = unit == 0x7F ? u'\u2421' : u'\uFFFD';
    }
    return ToUtf8(shown);
}

}  // namespace lumvex::app
