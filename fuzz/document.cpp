// A document whose streams are changed at will, in a sound compound file: opened, walked, asked for all that its
// objects have to get (a quarter of it at a time), changed, saved and checked, all in memory. The input is a list of
// edits: stream (1 byte), what to do (1), place (2), length (1), then as many bytes. The highest two bits of its first
// byte say what is edited: base.lvp, base.lvp, rooms.lvp, library.lvs.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "lumvex/diagnostics.hpp"
#include "lumvex/lumvex.hpp"
#include "memory_files.hpp"
#include "storage/compound/engine/compound_file.hpp"
#include "storage/document/document_file.hpp"

namespace {

namespace compound = lumvex::compound;
using Bytes = std::vector<std::byte>;
using Streams = std::map<std::u16string, Bytes>;

const std::filesystem::path kPath = "document.lvp";

struct Base {
    explicit Base(const char* name) {
        std::ifstream file(std::string(LUMVEX_BASES) + name, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        image.resize(text.size());
        std::memcpy(image.data(), text.data(), text.size());
        for (const std::u16string_view absent : {lumvex::inside::kOldRootStream, lumvex::inside::kLocksStream})
            streams[std::u16string(absent)];
        compound::CompoundFile::Open(compound::MemoryFile(image), compound::Access::Exclusive)
            ->ReadAll([this](std::u16string_view stream, std::span<const std::byte> bytes) {
                streams[std::u16string(stream)].assign(bytes.begin(), bytes.end());
            });
        for (const auto& [stream, bytes] : streams) names.push_back(stream);
    }

    Bytes image;
    Streams streams;
    std::vector<std::u16string> names;  // of the streams
};

// The streams that differ from the base; none where one is removed.
using Edits = std::map<std::u16string, std::optional<Bytes>>;

Edits Edited(const Base& base, const std::byte* data, std::size_t size) {
    Edits edits;
    constexpr std::size_t kHead = 5;
    while (size >= kHead) {
        const std::u16string& name = base.names[std::to_integer<std::size_t>(data[0]) % base.names.size()];
        const auto edit = std::to_integer<unsigned>(data[1]) % 5;
        std::uint16_t place = 0;
        std::memcpy(&place, data + 2, sizeof place);
        const std::size_t length = std::min(std::to_integer<std::size_t>(data[4]), size - kHead);
        const Bytes content(data + kHead, data + kHead + length);
        data += kHead + length;
        size -= kHead + length;
        auto& edited = edits.try_emplace(name, base.streams.at(name)).first->second;
        if (!edited) edited.emplace();
        Bytes& stream = *edited;
        const std::size_t at = std::min<std::size_t>(place, stream.size());
        const auto where = stream.begin() + static_cast<std::ptrdiff_t>(at);
        switch (edit) {
            case 0:  // overwrite
                stream.resize(std::max(stream.size(), at + length));
                std::copy(content.begin(), content.end(), stream.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            case 1:
                stream.insert(where, content.begin(), content.end());
                break;
            case 2:  // cut out
                stream.erase(where, where + static_cast<std::ptrdiff_t>(std::min(length, stream.size() - at)));
                break;
            case 3:
                stream.resize(at);
                break;
            default:
                edited.reset();
        }
    }
    return edits;
}

Bytes ImageOf(const Base& base, const Edits& edits) {
    lumvex::fuzz::SetFile(kPath, base.image);
    const auto file = compound::CompoundFile::Open(lumvex::fuzz::OpenedFile(), compound::Access::Exclusive);
    for (const auto& [name, bytes] : edits) {
        const compound::Piece piece = bytes ? compound::Piece(*bytes) : compound::Piece();
        if (bytes)
            file->Write(name, std::span(&piece, 1));
        else if (file->Contains(name))
            file->Remove(name);
    }
    file->Commit();
    const auto written = lumvex::fuzz::OpenedFile();
    Bytes image(written->Size());
    written->Read(0, image);
    return image;
}

// Members as the dispatch tables of an object's class have them.
struct Member {
    DISPID id;
    UINT arguments;
};

HRESULT Ask(IDispatch* object, const Member& member, LONG index) {
    std::array<VARIANT, 4> arguments{};
    for (VARIANT& argument : arguments) argument.vt = VT_I4, argument.lVal = index;
    DISPPARAMS parameters{arguments.data(), nullptr, member.arguments, 0};
    lumvex::Variant result;
    return object->Invoke(member.id, GUID_NULL, 0, DISPATCH_PROPERTYGET, &parameters, result.Out(), nullptr, nullptr);
}

// What there is to get of objects of this class, found once by asking for everything.
const std::vector<Member>& MembersOf(IDispatch* object) {
    static std::map<const void*, std::vector<Member>> known;  // by the class's function table
    const void* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(object), sizeof table);
    const auto [found, isNew] = known.try_emplace(table);
    if (isNew)
        for (DISPID id = -16; id < 256; ++id)
            for (UINT arguments = 0; arguments <= 4; ++arguments) {
                const HRESULT status = Ask(object, {id, arguments}, 1);
                if (status == DISP_E_MEMBERNOTFOUND) break;
                if (status != DISP_E_BADPARAMCOUNT) found->second.push_back({id, arguments});
            }
    return found->second;
}

// A part of it, another one for each input.
void AskSome(IDispatch* object, LONG index, std::size_t part) {
    constexpr std::size_t kParts = 4;
    const std::vector<Member>& members = MembersOf(object);
    for (std::size_t at = part % kParts; at < members.size(); at += kParts)
        static_cast<void>(Ask(object, members[at], index));
}

void Visit(const lumvex::Root& root, std::size_t choice) {
    const LONG index = std::array<LONG, 4>{1, 0, 2, -1}[choice / 4 % 4];
    AskSome(root.Pointer(), index, choice);
    for (const lumvex::Object& object : root.NewDescendantsEnum()) AskSome(object.Pointer(), index, choice);
}

template <class Work>
bool Succeeds(Work&& work) {
    try {
        work();
        return true;
    } catch (const lumvex::Error&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lumvex;
    static const Base bases[] = {Base("base.lvp"), Base("rooms.lvp"), Base("library.lvs")};
    const unsigned which = size == 0 || data[0] < 0x80 ? 0 : data[0] < 0xC0 ? 1 : 2;
    const Bytes image = ImageOf(bases[which], Edited(bases[which], reinterpret_cast<const std::byte*>(data), size));
    const auto isSound = [] { return CheckDocument(kPath).empty(); };
    fuzz::SetFile(kPath, image);
    static const std::u16string path = kPath.u16string();
    Project project = which < 2 ? Project::Create() : Project();
    Specifications library = which == 2 ? Specifications::Create() : Specifications();
    Root root = which == 2 ? library.As<Root>() : project.As<Root>();
    const std::size_t choice = std::accumulate(data, data + size, std::size_t{0});
    if (!Succeeds([&] { root.OpenFile(path); })) return 0;  // sound ones of newer programs too
    Succeeds([&] { Visit(root, choice); });
    Succeeds(
        [&] { which == 2 ? void(library.Microphones().Add(u"one more")) : void(project.Data().Add(u"one more")); });
    const bool saved = Succeeds([&] { root.SaveFile(); });
    const bool closed = Succeeds([&] { root.CloseFile(); });
    // A sound document can be saved and closed, and is sound afterwards.
    const bool isSoundAfterwards = isSound();
    if (saved && closed && isSoundAfterwards) return 0;
    fuzz::SetFile(kPath, image);
    if (isSound()) std::abort();
    return 0;
}
