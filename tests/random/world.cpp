#include "random/world.hpp"

#include <algorithm>
#include <array>

#include "core/base/failure.hpp"
#include "core/objects/object.hpp"
#include "kit/everything.hpp"
#include "kit/failing_allocation.hpp"
#include "kit/hand_made.hpp"

namespace lumvex::tests {

namespace {

// Handlers have changed what the plain copy cannot know: the operation ends here for it.
struct Handled {};

// The last operations, kept where they can be shown from a handler of signals.
constexpr std::size_t kKept = 40;
std::array<std::string, kKept> lastOperations;
std::size_t operations = 0;

}  // namespace

void World::Log(const std::string& text) {
    lastOperations[operations++ % kKept] = std::to_string(step_) + ": " + text;
    if (options_.trace) std::fprintf(stderr, "%s\n", lastOperations[(operations - 1) % kKept].c_str());
}

const std::string& World::LastOperations() {
    static std::string all;
    all.clear();
    for (std::size_t at = operations > kKept ? operations - kKept : 0; at < operations; ++at)
        all += lastOperations[at % kKept] + "\n";
    return all;
}

// ---- documents ----

World::World(const Options& options) : options_(options), random_(options.seed) {
    GUID id;
    CoCreateGuid(&id);
    const std::filesystem::path memory = "/dev/shm";
    std::error_code none;
    folder_ = (std::filesystem::is_directory(memory, none) ? memory : std::filesystem::temp_directory_path()) /
              ("lumvex-random-" + ToUtf8(ToText(id)));
    std::filesystem::create_directory(folder_);
    MakeDefaults();
    docs_[0].table = docs_[1].table = &ProjectTable();
    docs_[2].table = &LibraryTable();
    for (Doc& doc : docs_) Fresh(doc);
}

World::~World() {
    held_.clear();
    for (Doc& doc : docs_) Drop(doc);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

// What new objects hold, from one of each class that nothing was done to.
void World::MakeDefaults() {
    const Everything everything;
    for (const auto& [table, object] : everything.objects) {
        Node sample;
        sample.table = table;
        sample.values.resize(table->places);
        for (const Property& property : table->properties)
            for (LONG place = 0; place < property.Places(); ++place)
                sample.values[property.firstPlace + static_cast<std::size_t>(place)] =
                    property.put ? GetPlace(object.get(), property, place) : Value();
        SetDefaults(*table, sample);
    }

    // A project whose root record is cut short.
    const Ref<IDispatch> project = NewRoot(ProjectTable());
    const Bstr path(FromUtf8(FullPath(kDamaged)));
    DoLate(project.get(), member::kSaveFileAs, {TextArgument(path.get())});
    DoLate(project.get(), member::kCloseFile);
    Streams streams = ReadDocument(FullPath(kDamaged));
    streams.at(u"ROOT-V200").resize(30);
    WriteDocument(FullPath(kDamaged), streams);
}

void World::Drop(Doc& doc) {
    if (!doc.root) return;
    for (Held& held : held_)
        if (held.doc == &doc) {
            if (held.node) held.id = held.node->id;
            held.node = nullptr;
        }
    if (&doc == &Library()) {
        std::erase_if(held_, [&](const Held& held) { return held.doc == &doc; });  // projects may hold it yet
        DoLate(doc.root.get(), member::kCloseFile);
    }
    doc.root = nullptr;
    doc.tree = nullptr;
    doc.path.clear();
    ++doc.opened;
}

void World::Replace(Doc& doc, std::unique_ptr<Tree> tree) {
    for (Held& held : held_)
        if (held.doc == &doc && held.node) {
            held.id = held.node->id;
            held.node = nullptr;
        }
    doc.tree = std::move(tree);
    doc.indexed = false;
    ++doc.opened;
    doc.linked = 0;
}

void World::Fresh(Doc& doc) {
    Drop(doc);
    doc.root = NewRoot(*doc.table);
    Connect(doc);
    auto tree = std::make_unique<Tree>(*doc.table);
    tree->root->id = IdOf(doc.root.get());
    if (doc.table == &ProjectTable()) {  // its crossovers come with the collection
        Node* crossovers = tree->root->Child("CrossoverConfigs");
        const char16_t* const names[] = {u"Single amp", u"Bi amp", u"Tri amp", u"Subwoofer"};
        for (LONG config = 1; config <= 4; ++config) {
            Node* entry = tree->Make(*crossovers->table->member, crossovers);
            entry->name = names[config - 1];
            entry->timestampKnown = false;
            entry->At("ConfigID") = Value::Number(config);
            crossovers->below.push_back(entry);
        }
    }
    Replace(doc, std::move(tree));
    doc.path.clear();
    doc.mode = LX_EXCLUSIVE_READWRITE;
    const std::size_t sizes[] = {options_.objects / 10, options_.objects, options_.objects, options_.objects * 5};
    doc.objects = random_.Of(sizes);
    doc.complete = true;
    doc.bounded = doc.modified = false;
    doc.arrays = LX_R4;
}

void World::Index(Doc& doc) {
    if (doc.indexed) return;
    doc.items.clear();
    doc.collections.clear();
    doc.ofClass.clear();
    ForEach(*doc.tree->root, [&](Node& node) {
        if (node.IsItem()) doc.items.push_back(&node);
        if (node.IsCollection()) doc.collections.push_back(&node);
        doc.ofClass[node.table].push_back(&node);
    });
    doc.indexed = true;
    if (&doc == &Library()) {
        libraryIds_.clear();
        ForEach(*doc.tree->root, [&](Node& node) { libraryIds_.insert(node.id); });
    }
}

// ---- choosing ----

Doc& World::AnyDoc() {
    const std::size_t number = random_.Below(8);
    return docs_[number < 4 ? 0 : number < 6 ? 1 : 2];
}

Node* World::AnyItem(Doc& doc) {
    Index(doc);
    return doc.items.empty() ? nullptr : doc.items[random_.Below(doc.items.size())];
}

Node* World::AnyCollection(Doc& doc) {
    Index(doc);
    return doc.collections[random_.Below(doc.collections.size())];
}

Node* World::AnyOf(Doc& doc, const ClassTable& table) {
    Index(doc);
    const auto found = doc.ofClass.find(&table);
    if (found == doc.ofClass.end()) return nullptr;
    return found->second[random_.Below(found->second.size())];
}

std::u16string World::AnyName() {
    static constexpr std::size_t kLengths[] = {0, 1, 8, 15, 31, 255, 2040, 2060, 33000};
    if (random_.OneIn(2)) {
        const char16_t* const few[] = {
            u"a", u"A", u"name", u"NAME", u"Name 2", u"left", u"a name longer than short ones"};
        return random_.Of(few);
    }
    const std::size_t length = random_.OneIn(8) ? random_.Of(kLengths) : 1 + random_.Below(12);
    std::u16string name(length, u'x');
    for (char16_t& unit : name) unit = static_cast<char16_t>(u'a' + random_.Below(26));
    return name;
}

double World::AnyNumber(const Property& property) {
    if (property.type == "float") {
        static constexpr float kFloats[] = {0.0f, 1.0f, 1e30f, -1e-30f, 48000.0f};
        if (random_.OneIn(4)) return random_.Of(kFloats);
        return static_cast<float>(static_cast<double>(random_.Below(40001)) - 20000) / 16.0f;
    }
    if (property.type == "SHORT") return static_cast<double>(random_.Below(65536)) - 32768;
    if (property.type.starts_with("LX")) return static_cast<double>(random_.Below(6));
    return random_.OneIn(2) ? static_cast<double>(random_.Below(4))
                            : static_cast<double>(random_.Below(std::size_t{1} << 25)) - (1 << 24);
}

// On both sides of every size at which the storage changes: none, a block, the short record, the small streams, large.
ArrayContent World::AnyArray(LONG channels, bool workspace) {
    static constexpr std::size_t kUsual[] = {0, 2, 3, 8, 40, 100},
                                 kEdges[] = {4064, 4080, 4092, 4095, 4096, 4097, 4100, 8192},
                                 kLarge[] = {65532, 65536, 65540, 200000};
    const std::size_t choice = random_.Below(24);
    const std::size_t bytes = choice < 17   ? random_.Of(kUsual) * 4
                              : choice < 23 ? random_.Of(kEdges)
                                            : random_.Of(kLarge);
    ArrayContent content;
    content.type = workspace || random_.OneIn(6) ? VT_UI1 : VT_R4;
    std::size_t count = content.type == VT_UI1 ? bytes : bytes / 4;
    if (channels < 0) channels = random_.OneIn(4) ? static_cast<LONG>(random_.Below(4)) : 1;
    if (channels == 1 && count != 1) {
        content.bounds.push_back({static_cast<LONG>(random_.Below(3)), static_cast<ULONG>(count)});
    } else {
        const std::size_t rows = channels == 0 ? count : count / static_cast<std::size_t>(channels);
        content.bounds.push_back({0, static_cast<ULONG>(rows)});
        content.bounds.push_back({static_cast<LONG>(random_.Below(2)), static_cast<ULONG>(channels)});
        count = rows * static_cast<std::size_t>(channels);
    }
    content.bytes.resize(count * (content.type == VT_UI1 ? 1 : 4));
    auto state = static_cast<std::uint32_t>(random_.Next());
    for (std::size_t at = 0; at < count; ++at) {
        state = state * 1664525u + 1013904223u;
        if (content.type == VT_UI1) {
            content.bytes[at] = static_cast<std::byte>(state >> 24);
        } else {
            const float element = static_cast<float>(static_cast<std::int32_t>(state)) / 65536.0f;
            std::memcpy(content.bytes.data() + at * 4, &element, 4);
        }
    }
    return content;
}

LONG World::ChannelsOf(const Node& node, const Property& property) const {
    const std::string& name = node.table->interfaceName;
    if (name == "IMicrophone") return 1;
    const bool byConfig = name == "IMeasurement" ||
                          (name == "ICorrection" &&
                           (property.name == "Data" || property.name == "Data2" || property.name == "VerifyMeas"));
    if (!byConfig) return -1;
    static constexpr LONG kOutputs[] = {1, 1, 2, 3, 1};
    return kOutputs[static_cast<int>(node.owner->owner->At("ConfigID").number)];
}

// ---- calling ----

Answer World::Do(IDispatch* object, DISPID id, WORD kind, std::initializer_list<VARIANT> arguments) {
    failed_ = handled_ = false;
    handling_ = options_.handlers && random_.OneIn(12) ? 1 + static_cast<int>(random_.Below(3)) : 0;
    const bool fails = options_.failingAllocations && random_.OneIn(3);
    const auto at = static_cast<long>(random_.Below(std::size_t{1} << random_.Below(9)));
    const bool alone = random_.OneIn(2);
    if (fails) FailAllocation(at, alone);
    Answer answer = CallLate(object, id, kind, {arguments.begin(), arguments.size()});
    failed_ = EndFailingAllocation();
    handling_ = 0;
    if (!wrong_.empty()) throw Wrong("in a handler: " + std::exchange(wrong_, {}));
    if (handled_) {
        Log("  answers " + StatusText(answer.status));
        if (answer.status == E_UNEXPECTED || (answer.status == E_OUTOFMEMORY && !failed_) ||
            answer.status == static_cast<HRESULT>(0x80040FB1))
            throw Wrong("the call answers " + StatusText(answer.status));
        throw Handled();
    }
    return answer;
}

Ref<IDispatch> World::Live(Doc& doc, Node& node) {
    if (node.table->kind == Kind::Root) return doc.root;
    if (random_.OneIn(2) && !node.id.empty()) {
        const Bstr id(node.id);
        const Answer answer = DoLate(doc.root.get(), member::kLoad, {TextArgument(id.get())});
        if (answer.status != S_OK || !answer.Object())
            throw Wrong(PathOf(node) + ": Load answers " + StatusText(answer.status));
        return Ref<IDispatch>(answer.Object());
    }
    const Ref<IDispatch> owner = Live(doc, *node.owner);
    const auto place = node.Place();
    const Answer answer = node.owner->IsCollection()
                              ? GetLate(owner.get(), member::kItem, {LongArgument(static_cast<LONG>(place) + 1)})
                              : GetLate(owner.get(), node.owner->table->children[place].id);
    if (answer.status != S_OK || !answer.Object())
        throw Wrong(PathOf(node) + ": cannot be reached, " + StatusText(answer.status));
    if (node.id.empty())
        node.id = IdOf(answer.Object());
    else if (IdOf(answer.Object()) != node.id)
        throw Wrong(PathOf(node) + ": another object is there, " + ToUtf8(IdOf(answer.Object())));
    return Ref<IDispatch>(answer.Object());
}

bool World::OutOfMemory(const Answer& answer, Doc&) {
    if (!failed_ || answer.status != E_OUTOFMEMORY) return false;
    Log("  out of memory");
    compareSoon_ = true;
    return true;
}

void World::Expect(HRESULT expected, const Answer& answer, const char* what) {
    if (answer.status == expected) return;
    throw Wrong(std::string(what) + " answers " + StatusText(answer.status) + ", not " + StatusText(expected));
}

Reading World::ReadingOf(Doc& doc) {
    Reading reading;
    reading.bounds = doc.arrays == LX_R4;
    if (doc.table == &ProjectTable() && doc.linked != 0 && doc.linked == Library().opened) {
        Index(Library());
        reading.library = &libraryIds_;
    }
    return reading;
}

void World::CompareAll(Doc& doc) {
    Compare(*doc.tree->root, doc.root.get(), ReadingOf(doc));
    if (!doc.bounded) doc.complete = true;
    if (&doc == &Library()) doc.indexed = false;  // IDs may have been learned
}

void World::Learn(Doc& doc, Node& node) { Compare(node, Live(doc, node).get(), ReadingOf(doc)); }

// ---- running ----

void World::Run() {
    struct Operation {
        const char* name;
        int weight;
        void (World::*work)(Doc&);
    };
    static constexpr Operation kOperations[] = {{"put", 300, &World::PutProperty},
                                                {"base", 80, &World::PutBase},
                                                {"reference", 80, &World::PutReference},
                                                {"get", 150, &World::Get},
                                                {"add", 110, &World::Add},
                                                {"grow", 1, &World::Grow},
                                                {"remove", 40, &World::Remove},
                                                {"remove-all", 4, &World::RemoveAll},
                                                {"find", 80, &World::Find},
                                                {"enumerate", 8, &World::Enumerate},
                                                {"copy", 30, &World::Copy},
                                                {"copy-with-parents", 3, &World::CopyWithParents},
                                                {"copy-contents", 12, &World::CopyContents},
                                                {"hold", 30, &World::Hold},
                                                {"settings", 8, &World::Settings},
                                                {"save", 12, &World::Save},
                                                {"save-as", 4, &World::SaveAs},
                                                {"close", 3, &World::Close},
                                                {"reopen", 3, &World::Reopen},
                                                {"open-fails", 2, &World::OpenFails},
                                                {"mistake", 8, &World::Mistake},
                                                {"leave-incomplete", 1, &World::LeaveIncomplete},
                                                {"compare", 3, &World::CompareLive}};
    std::vector<const Operation*> byWeight;
    for (const Operation& each : kOperations)
        if (!options_.without.contains(each.name))
            byWeight.insert(byWeight.end(), static_cast<std::size_t>(each.weight), &each);
    for (step_ = 1; step_ <= options_.steps; ++step_) {
        const Operation& operation = *byWeight[random_.Below(byWeight.size())];
        Doc& doc = AnyDoc();
        try {
            (this->*operation.work)(doc);
            if (random_.OneIn(40)) UseHeld();
        } catch (const Handled&) {
            AfterHandlers();
        }
        if (compareSoon_ || (options_.compareEvery != 0 && step_ % options_.compareEvery == 0)) {
            compareSoon_ = false;
            for (Doc& each : docs_) CompareAll(each);
        }
    }
    step_ = options_.steps;
    for (Doc& doc : docs_) CompareAll(doc);
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        const std::string name = entry.path().filename().string();
        // On Windows a file that a reader has open steps aside when it is replaced, and goes with a later save.
        if (!files_.contains(name) && name != kDamaged && name != "checked" && !name.ends_with("-old"))
            throw Wrong(name + " is left behind");
    }
}

}  // namespace lumvex::tests
