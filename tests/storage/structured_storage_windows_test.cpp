// The system's own structured storage and ours in each other's files, in both versions of the format, its side direct
// and transacted.
#include <tuple>

#include "kit/hand_made.hpp"
#include "kit/pattern.hpp"
#include "kit/published.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/compound/check/check.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kAlone = STGM_SHARE_EXCLUSIVE;

// All streams below a storage by their path, "Folder/inside"; a folder itself as "Folder/", without content.
using Tree = Streams;

const wchar_t* Wide(const std::u16string& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }

// ---- the system's side ----

Ref<IStorage> CreateThere(const fs::path& path, int version, DWORD mode) {
    mode |= STGM_CREATE | STGM_READWRITE | kAlone;
    Ref<IStorage> storage;
    if (version == 3) {
        Check(::StgCreateDocfile(path.c_str(), mode, 0, storage.Out()));
        return storage;
    }
    STGOPTIONS options{};
    options.usVersion = 1;
    options.ulSectorSize = 4096;
    void* made = nullptr;
    Check(::StgCreateStorageEx(path.c_str(), mode, STGFMT_DOCFILE, 0, &options, nullptr, IID_IStorage, &made));
    return Ref<IStorage>::Attach(static_cast<IStorage*>(made));
}

Ref<IStorage> OpenThere(const fs::path& path, DWORD mode) {
    Ref<IStorage> storage;
    Check(::StgOpenStorage(path.c_str(), nullptr, mode | kAlone, nullptr, 0, storage.Out()));
    return storage;
}

Ref<IStorage> FolderThere(const Ref<IStorage>& storage, const std::u16string& name) {
    Ref<IStorage> folder;
    Check(storage->CreateStorage(Wide(name), STGM_CREATE | STGM_READWRITE | kAlone, 0, 0, folder.Out()));
    return folder;
}

void PutThere(const Ref<IStorage>& storage, const std::u16string& name, const Bytes& bytes) {
    Ref<IStream> stream;
    Check(storage->CreateStream(Wide(name), STGM_CREATE | STGM_READWRITE | kAlone, 0, 0, stream.Out()));
    if (!bytes.empty()) Check(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr));
}

void Collect(const Ref<IStorage>& storage, const std::u16string& folder, Tree& tree) {
    Ref<IEnumSTATSTG> elements;
    Check(storage->EnumElements(0, nullptr, 0, elements.Out()));
    for (STATSTG found; elements->Next(1, &found, nullptr) == S_OK;) {
        const std::u16string name = reinterpret_cast<const char16_t*>(found.pwcsName);
        ::CoTaskMemFree(found.pwcsName);
        if (found.type == STGTY_STORAGE) {
            Ref<IStorage> below;
            Check(storage->OpenStorage(Wide(name), nullptr, STGM_READ | kAlone, nullptr, 0, below.Out()));
            tree[folder + name + u"/"];
            Collect(below, folder + name + u"/", tree);
            continue;
        }
        Ref<IStream> stream;
        Check(storage->OpenStream(Wide(name), nullptr, STGM_READ | kAlone, 0, stream.Out()));
        Bytes& bytes = tree[folder + name];
        bytes.resize(static_cast<std::size_t>(found.cbSize.QuadPart) + 1);
        ULONG got = 0;
        Check(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &got));
        EXPECT_EQ(got, bytes.size() - 1) << ToUtf8(name);
        bytes.resize(got);
    }
}

// ---- what both have to agree on ----

bool IsSame(const Bytes& left, const Bytes& right) {
    return left.size() == right.size() && (left.empty() || std::memcmp(left.data(), right.data(), left.size()) == 0);
}

void ExpectSame(const Tree& found, const Tree& expected, const std::string& where) {
    for (const auto& [name, bytes] : expected) {
        const auto at = found.find(name);
        if (at == found.end())
            ADD_FAILURE() << where << ": no " << ToUtf8(name);
        else if (!IsSame(at->second, bytes))
            ADD_FAILURE() << where << ": " << ToUtf8(name) << " has other bytes, " << at->second.size() << " and not "
                          << bytes.size();
    }
    EXPECT_EQ(found.size(), expected.size()) << where;
}

// The system reads it, and ours sees the part of it that it shows: the streams of the root.
void ExpectThere(const fs::path& path, const Tree& expected, const std::string& where) {
    for (const DWORD mode : {STGM_DIRECT, STGM_TRANSACTED}) {
        Tree found;
        Collect(OpenThere(path, mode | STGM_READ), u"", found);
        ExpectSame(found, expected, where + (mode == STGM_DIRECT ? ", read direct" : ", read transacted"));
    }
    Tree root = expected;
    std::erase_if(root, [](const auto& each) { return each.first.find(u'/') != std::u16string::npos; });
    ExpectSame(ReadDocument(path), root, where + ", read here");
    for (const auto& [at, what] : compound::CheckStructure(*compound::OpenFile(path, compound::Access::ReadShared)))
        ADD_FAILURE() << where << ": " << at << ": " << what;
}

// Changes of the root's streams: a size of none removes the stream.
using Changes = std::map<std::u16string, std::optional<std::size_t>>;

Bytes Apply(Tree& tree, const std::u16string& name, std::optional<std::size_t> size) {
    static unsigned seed = 0;
    if (!size) return tree.erase(name), Bytes();
    return tree[name] = Pattern(*size, ++seed);
}

void ChangeHere(const fs::path& path, const Changes& changes, Tree& tree) {
    using namespace compound;
    const auto file = CompoundFile::Open(OpenFile(path, Access::Exclusive), Access::Exclusive);
    for (const auto& [name, size] : changes) {
        const Bytes bytes = Apply(tree, name, size);
        const Piece piece = bytes;
        if (size)
            file->Write(name, std::span(&piece, 1));
        else
            file->Remove(name);
    }
    file->Commit();
}

void ChangeThere(const fs::path& path, DWORD mode, const Changes& changes, Tree& tree) {
    const Ref<IStorage> storage = OpenThere(path, mode | STGM_READWRITE);
    for (const auto& [name, size] : changes) {
        const Bytes bytes = Apply(tree, name, size);
        if (size)
            PutThere(storage, name, bytes);
        else
            Check(storage->DestroyElement(Wide(name)));
    }
    Check(storage->Commit(STGC_DEFAULT));
}

std::u16string Item(unsigned number) {
    const std::string digits = std::to_string(number);
    return u"Item" + std::u16string(digits.begin(), digits.end());
}

// Every size on both sides of where the format changes its mind, some hundred streams, a name as long as names can be,
// and more than the header can tell the places of in version 3.
Changes Everything() {
    Changes changes{{u"\u0416\u65E5, a name of all 31 characters", 33}};
    EXPECT_EQ(changes.begin()->first.size(), 31u);
    for (const std::size_t size : {0, 1, 63, 64, 65, 4095, 4096, 4097, 100000, 8000000}) {
        const std::string digits = std::to_string(size);
        changes[u"size " + std::u16string(digits.begin(), digits.end())] = size;
    }
    for (unsigned i = 0; i < 300; ++i) changes[Item(i)] = 13 * i;
    return changes;
}

// Grown, shrunk across the mini stream's limit, emptied, removed, added.
Changes Mixed(unsigned from) {
    Changes changes{{u"size 63", 5000 + from}, {u"size 4097", 10}, {u"size 100000", 150000}, {u"size 4096", 0}};
    for (unsigned i = from; i < 300; i += 4) changes[Item(i)] = std::nullopt;
    for (unsigned i = from; i < 40; ++i) changes[Item(1000 + from + i)] = 97 * i;
    return changes;
}

Changes Without(const Tree& tree, std::size_t keptOf10) {
    Changes changes;
    std::size_t number = 0;
    for (const auto& [name, bytes] : tree)
        if (++number % 10 >= keptOf10) changes[name] = std::nullopt;
    return changes;
}

class StructuredStorage : public testing::TestWithParam<std::tuple<int, DWORD>> {
protected:
    int Version() const { return std::get<0>(GetParam()); }
    DWORD Mode() const { return std::get<1>(GetParam()); }

    const Folder folder;
    const fs::path path = folder / "file";
    Tree tree;
};
INSTANTIATE_TEST_SUITE_P(Versions, StructuredStorage,
                         testing::Combine(testing::Values(3, 4), testing::Values(STGM_DIRECT, STGM_TRANSACTED)),
                         [](const auto& param) {
                             return "V" + std::to_string(std::get<0>(param.param)) +
                                    (std::get<1>(param.param) == STGM_DIRECT ? "Direct" : "Transacted");
                         });

TEST_P(StructuredStorage, ItsFilesAreOursToReadAndChange) {
    {
        const Ref<IStorage> storage = CreateThere(path, Version(), Mode());
        for (const auto& [name, size] : Everything()) PutThere(storage, name, Apply(tree, name, size));
        const Ref<IStorage> outer = FolderThere(storage, u"Folder"), inner = FolderThere(outer, u"Deeper");
        PutThere(outer, u"inside", tree[u"Folder/inside"] = Pattern(6000, 1));
        PutThere(inner, u"small", tree[u"Folder/Deeper/small"] = Pattern(60, 2));
        tree[u"Folder/"], tree[u"Folder/Deeper/"], tree[u"Empty/"];
        FolderThere(storage, u"Empty");
        FolderThere(storage, u"Removed");
        Check(storage->DestroyElement(L"Removed"));
        Check(storage->Commit(STGC_DEFAULT));
    }
    {
        using namespace compound;
        EXPECT_EQ(CompoundFile::Open(OpenFile(path, Access::ReadShared), Access::ReadShared)->Version(), Version());
    }
    ExpectThere(path, tree, "new");
    ChangeThere(path, Mode(), Mixed(1), tree);
    ExpectThere(path, tree, "changed there");
    ChangeHere(path, Mixed(2), tree);
    ExpectThere(path, tree, "changed here");
    ChangeThere(path, Mode(), Mixed(3), tree);
    ExpectThere(path, tree, "changed there again");
}

TEST_P(StructuredStorage, OurFilesAreItsToReadAndChange) {
    using namespace compound;
    CompoundFile::Create(CreateReplacing(path, Access::Exclusive), Version())->Commit();
    const std::tuple<std::string, std::function<Changes()>> steps[] = {
        {"grown", Everything},
        {"changed",
         [] {
             Changes changes = Mixed(1);
             changes[u"size 8000000"] = std::nullopt;
             return changes;
         }},
        {"removals", [this] { return Without(tree, 5); }},
        {"shrunk", [this] { return Without(tree, 1); }},
    };
    ExpectThere(path, tree, "empty");
    for (const auto& [step, changes] : steps) {
        ChangeHere(path, changes(), tree);
        ExpectThere(path, tree, step);
        // What the system makes of it is ours again; the next step goes on from before.
        Tree copied = tree;
        const fs::path copy = folder / "copy";
        WriteFileBytes(copy, FileBytes(path));
        Changes there = Without(tree, 8);
        there.insert({{Item(2000), 70}, {Item(2001), 7000}, {Item(2002), 70000}});
        ChangeThere(copy, Mode(), there, copied);
        FolderThere(OpenThere(copy, STGM_DIRECT | STGM_READWRITE), u"Folder"), copied[u"Folder/"];
        ExpectThere(copy, copied, step + ", changed there");
        ChangeHere(copy, {{Item(2001), 70}, {Item(2002), std::nullopt}, {Item(2003), 9000}}, copied);
        ExpectThere(copy, copied, step + ", changed there and here");
    }
}

TEST(WholeDocument, IsTheSystemsToReadAndAddTo) {
    const Folder folder;
    const fs::path path = folder / "project.lvx";
    Project project = Project::Create();
    for (unsigned i = 0; i < 200; ++i)
        project.Data().Add(Item(i)).Data(Floats(std::vector<float>(10 * i, static_cast<float>(i))));
    project.WorkspaceData(ArrayOf<BYTE>(VT_UI1, {{3, 0}}, {1, 2, 3}));
    project.SaveFileAs(PathText(path));
    project = Project();
    ExpectThere(path, ReadDocument(path), "new");

    project = Project::Create();
    project.OpenFile(PathText(path));
    for (unsigned i = 0; i < 100; ++i) project.Data().Remove(1 + i % 50);
    project.Data().Item(1).Data(Floats(std::vector<float>(30000, 0.5f)));
    project.SaveFile();
    project = Project();
    Tree tree = ReadDocument(path);
    for (const char16_t* name : {u"VERSIONINFO-V000", u"ROOT-V200", u"ROOT", u"ROOTDIR-V100"})
        EXPECT_TRUE(tree.contains(name));
    ExpectThere(path, tree, "saved");
    CompactDocument(path);
    const std::u16string stamped = u"VERSIONINFO-V000";  // each compaction stamps it anew
    tree[stamped] = ReadDocument(path).at(stamped);
    ExpectThere(path, tree, "compacted");

    ChangeThere(path, STGM_TRANSACTED, {{u"of another program", 5000}}, tree);
    FolderThere(OpenThere(path, STGM_DIRECT | STGM_READWRITE), u"Folder"), tree[u"Folder/"];
    ExpectThere(path, tree, "changed there");
    EXPECT_TRUE(CheckDocument(path).empty());
    project = Project::Create();
    project.OpenFile(PathText(path));
    EXPECT_EQ(ContentOf(project.Data().Item(1).Data()), FloatContent(std::vector<double>(30000, 0.5)));
    project.Data().Item(1).Data(Floats({1, 2}));
    project.SaveFile();
    project = Project();
    EXPECT_TRUE(CheckDocument(path).empty());
    for (const auto& [name, bytes] : ReadDocument(path))
        if (tree.at(name).size() > 100000 || name == stamped) tree[name] = bytes;
    ExpectThere(path, tree, "saved beside what another program has put there");
}

}  // namespace
}  // namespace lumvex::tests
