#include "random/world.hpp"

#include <algorithm>
#include <array>

#include "core/failure.hpp"
#include "core/object.hpp"
#include "kit/everything.hpp"
#include "kit/failing_allocation.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/events.hpp"
#include "kit/hand_made.hpp"

namespace lumvex::tests {

std::string StatusText(HRESULT status);

namespace {

// Handlers have changed what the plain copy cannot know: the operation ends here for it.
struct Handled {};

using inside::Message;
using inside::StatusOf;

constexpr auto kSharingViolation = static_cast<HRESULT>(0x80030020), kDenied = static_cast<HRESULT>(0x80030005);
constexpr const char* kDamaged = "damaged.lvx";

// The last operations, kept where they can be shown from a handler of signals.
constexpr std::size_t kKept = 40;
std::array<std::string, kKept> lastOperations;
std::size_t operations = 0;

VARIANT NumberArgument(std::string_view type, double number) {
    VARIANT argument{};
    if (type == "float") {
        argument.vt = VT_R4;
        argument.fltVal = static_cast<float>(number);
    } else if (type == "DATE") {
        argument.vt = VT_DATE;
        argument.date = number;
    } else if (type == "SHORT") {
        argument.vt = VT_I2;
        argument.iVal = static_cast<SHORT>(number);
    } else {
        argument.vt = VT_I4;
        argument.lVal = static_cast<LONG>(number);
    }
    return argument;
}

bool LockedBelow(const Node& node) {
    return std::ranges::any_of(node.below, [](const Node* each) { return each->locks != 0 || LockedBelow(*each); });
}

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
        const char16_t* const few[] = {u"a", u"A", u"name", u"NAME", u"Name 2", u"left", u"a name longer than short ones"};
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
    static constexpr std::size_t kUsual[] = {0, 2, 3, 8, 40, 100}, kEdges[] = {4064, 4080, 4092, 4095, 4096, 4097, 4100, 8192},
                                 kLarge[] = {65532, 65536, 65540, 200000};
    const std::size_t choice = random_.Below(24);
    const std::size_t bytes = choice < 17 ? random_.Of(kUsual) * 4 : choice < 23 ? random_.Of(kEdges) : random_.Of(kLarge);
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
    const bool byConfig = name == "IMeasurement" || (name == "ICorrection" && (property.name == "Data" ||
                                                     property.name == "Data2" || property.name == "VerifyMeas"));
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

// ---- properties ----

void World::PutProperty(Doc& doc) {
    Node* node = random_.OneIn(20) ? doc.tree->root : AnyItem(doc);
    if (!node || node->table->properties.empty()) return;
    const Property& property = node->table->properties[random_.Below(node->table->properties.size())];
    if (!property.put) return;
    const Ref<IDispatch> object = Live(doc, *node);
    LONG place = static_cast<LONG>(random_.Below(static_cast<std::size_t>(property.Places())));
    LONG first = place / property.counts[1] + 1, second = place % property.counts[1] + 1;
    if (property.dimensions == 1) first = place + 1;
    const bool outside = property.dimensions != 0 && random_.OneIn(20);
    if (outside) first = random_.OneIn(2) ? 0 : property.counts[0] + 1;
    const std::string what = "put " + PathOf(*node) + "." + std::string(property.name) + "(" + std::to_string(place) + ")";
    const auto put = [&](const VARIANT& value) {
        if (property.dimensions == 2)
            return Do(object.get(), property.id, DISPATCH_PROPERTYPUT, {LongArgument(first), LongArgument(second), value});
        if (property.dimensions == 1)
            return Do(object.get(), property.id, DISPATCH_PROPERTYPUT, {LongArgument(first), value});
        return Do(object.get(), property.id, DISPATCH_PROPERTYPUT, {value});
    };
    Value value;
    Answer answer;
    HRESULT expected = outside ? E_INVALIDARG : S_OK;
    if (property.IsArray()) {
        const LONG channels = ChannelsOf(*node, property);
        if (random_.OneIn(12)) {  // none
            Log(what + " empty");
            answer = put(VARIANT{});
        } else if (random_.OneIn(12)) {
            Log(what + " wrong");
            static constexpr int kWrong = 4;
            const std::size_t wrong = random_.Below(kWrong);
            ArrayContent content{VT_R4, {{0, 1}}, std::vector<std::byte>(4)};
            expected = DISP_E_BADINDEX;
            if (wrong == 1) {
                content = {VT_R4, {{0, 1}, {0, 1}, {0, 1}}, std::vector<std::byte>(4)};
                expected = StatusOf(Message::TooManyDimensions);
            } else if (wrong == 2 && channels >= 0) {
                content = {VT_R4, {{0, 1}, {0, static_cast<ULONG>(channels) + 1}},
                           std::vector<std::byte>(4 * (static_cast<std::size_t>(channels) + 1))};
                expected = StatusOf(Message::ChannelCount);
            }
            if (wrong == 3) {
                answer = put(LongArgument(7));
                expected = StatusOf(Message::NotAnArray);
            } else {
                const Variant array = ArrayVariant(content, VT_R4);
                answer = put(array);
            }
        } else {
            ArrayContent content = AnyArray(channels, property.name == "WorkspaceData");
            static constexpr VARTYPE kTypes[] = {VT_R4, VT_R4, VT_R8, VT_VARIANT};
            const VARTYPE type = content.type == VT_UI1 ? VARTYPE{VT_UI1} : random_.Of(kTypes);
            Log(what + " array of " + std::to_string(content.bytes.size()) + " bytes, type " + std::to_string(type));
            const Variant array = ArrayVariant(content, type);
            if (type == VT_R8 || type == VT_VARIANT)
                for (auto& bound : content.bounds) bound.lower = 0;
            value = {0, nullptr, std::make_shared<const ArrayContent>(std::move(content))};
            answer = put(array);
        }
    } else if (property.IsText()) {
        value = Value::Text(AnyName());
        const Bstr text(value.AsText());
        Log(what + " text");
        answer = put(TextArgument(text.get()));
    } else {
        value = Value::Number(AnyNumber(property));
        if (property.name == "Config" && !outside && (value.number < 0 || value.number >= static_cast<double>(LX_BM_MAX))) expected = E_INVALIDARG;
        Log(what + " " + std::to_string(value.number));
        answer = put(NumberArgument(property.type, value.number));
    }
    if (OutOfMemory(answer, doc)) return;
    Expect(expected, answer, "the put");
    if (answer.status != S_OK) return;
    Value& stored = node->values[property.firstPlace + static_cast<std::size_t>(place)];
    if (property.name == "Config" && node->table->interfaceName == "IBoxCfgBank" && !(stored == value)) {
        node->At("DataValid") = Value::Number(0);
        const auto mode = static_cast<int>(value.number);
        const auto& positions = node->Child("Spkrs")->below;
        const auto configure = [&](std::size_t position, int config) {
            if (position < positions.size()) positions[position]->At("ConfigID") = Value::Number(config);
        };
        const int main = mode == LX_BM_TRIAMP ? LX_TRIAMP : mode <= LX_BM_BIAMPMONO ? LX_BIAMP : LX_SINGLEAMP;
        if (mode != LX_BM_TRIAMP) {
            configure(LX_FP_LSUB, LX_SUBWOOFER);
            configure(LX_FP_RSUB, LX_SUBWOOFER);
        }
        configure(LX_FP_L, main);
        configure(LX_FP_R, main);
    }
    stored = value;
    doc.modified = true;
}

void World::PutBase(Doc& doc) {
    Node* node = AnyItem(doc);
    if (!node) return;
    const Ref<IDispatch> object = Live(doc, *node);
    const std::size_t which = random_.Below(4);
    if (which < 2) {
        const std::u16string name = AnyName();
        const Bstr text(name);
        Log("rename " + PathOf(*node) + " to " + ToUtf8(name.substr(0, 20)));
        const Answer answer = Do(object.get(), member::kName, DISPATCH_PROPERTYPUT, {TextArgument(text.get())});
        if (OutOfMemory(answer, doc)) return;
        Expect(S_OK, answer, "put of Name");
        node->name = name;
    } else if (which == 2) {
        const double date = static_cast<double>(random_.Below(400000)) / 8;
        Log("timestamp " + PathOf(*node));
        const Answer answer = Do(object.get(), member::kTimestamp, DISPATCH_PROPERTYPUT, {NumberArgument("DATE", date)});
        if (OutOfMemory(answer, doc)) return;
        Expect(S_OK, answer, "put of Timestamp");
        node->timestamp = date;
        node->timestampKnown = true;
    } else {
        const LONG locks = random_.OneIn(3) ? static_cast<LONG>(random_.Below(3)) - 1 : 0;
        Log("locks " + PathOf(*node) + " " + std::to_string(locks));
        const Answer answer = Do(object.get(), member::kLocks, DISPATCH_PROPERTYPUT, {LongArgument(locks)});
        if (OutOfMemory(answer, doc)) return;
        Expect(S_OK, answer, "put of Locks");
        node->locks = locks;
    }
    doc.modified = true;
}

void World::PutReference(Doc& doc) {
    Node* node = random_.OneIn(30) ? doc.tree->root : AnyItem(doc);
    if (!node || node->table->references.empty()) return;
    const std::size_t at = random_.Below(node->table->references.size());
    const ReferenceTable& row = node->table->references[at];
    if (!row.put) return;
    Doc& other = row.toLibrary ? Library() : random_.OneIn(12) ? docs_[&doc == &docs_[0] ? 1 : 0] : doc;
    Node* target = random_.OneIn(8) ? nullptr
                   : row.target->kind == Kind::Root ? Library().tree->root
                                                    : AnyOf(other, *row.target);
    const Ref<IDispatch> object = Live(doc, *node);
    const Ref<IDispatch> given = target ? Live(other, *target) : Ref<IDispatch>();
    Log("point " + PathOf(*node) + "." + std::string(row.name) + " at " + (target ? PathOf(*target) : "none"));
    const Answer answer = Do(object.get(), row.id, DISPATCH_PROPERTYPUT, {ObjectArgument(given.get())});
    if (OutOfMemory(answer, doc)) return;
    const bool elsewhere = !row.toLibrary && &other != &doc;
    Expect(!target ? (row.mayBeEmptied ? S_OK : E_POINTER) : elsewhere ? StatusOf(Message::OtherDocument) : S_OK, answer,
           "put of a reference");
    if (answer.status != S_OK) return;
    Target& stored = node->references[at];
    if (row.toLibrary) {
        if (target && target->id.empty()) {
            target->id = IdOf(given.get());
            Library().indexed = false;
        }
        stored.libraryId = target ? target->id : std::u16string();
        if (row.target->kind == Kind::Root) doc.linked = target ? Library().opened : 0;
        if (node->table->Find("ConfigID") && target && target->table->Find("ConfigID"))
            node->At("ConfigID") = target->At("ConfigID");
    } else {
        stored.item = target;
    }
    doc.modified = true;
}

// Every get there is; those whose answer follows from others may say that there is none.
void World::Get(Doc& doc) {
    Node* node = random_.OneIn(20) ? doc.tree->root : random_.OneIn(6) ? AnyCollection(doc) : AnyItem(doc);
    if (!node) return;
    const Ref<IDispatch> object = Live(doc, *node);
    if (!node->table->properties.empty() && random_.OneIn(2)) {
        const Property& property = node->table->properties[random_.Below(node->table->properties.size())];
        if (property.dimensions != 0) return;
        Log("get " + PathOf(*node) + "." + std::string(property.name));
        const Answer answer = Do(object.get(), property.id, DISPATCH_PROPERTYGET, {});
        if (OutOfMemory(answer, doc)) return;
        if (FAILED(answer.status)) throw Wrong("the get answers " + StatusText(answer.status));
        const Value& expected = node->values[property.firstPlace];
        const bool exact = doc.arrays == LX_R4 && !property.transient;
        if (exact && !(ValueOf(answer.value) == expected))
            throw Wrong("the get answers " + Shown(ValueOf(answer.value)) + ", not " + Shown(expected));
        return;
    }
    static constexpr DISPID kOfItems[] = {member::kDisplayName, member::kFQName, member::kParentBase, member::kRootBase,
                                          member::kLinkDispatch, member::kParent, member::kRoot, 0x41, 0x43, 0x3b};
    static constexpr DISPID kOfCollections[] = {member::kName, member::kDisplayName, member::kCount, member::kRootBase,
                                                member::kParent, member::kRoot, 0x43};
    static constexpr DISPID kOfRoots[] = {member::kModified, member::kAccessMode, 0x34, 0x35, 0x61, 0x43};
    const auto& derived = node->table->derived;
    DISPID id = node->IsItem() ? random_.Of(kOfItems) : node->IsCollection() ? random_.Of(kOfCollections) : random_.Of(kOfRoots);
    std::vector<VARIANT> arguments;
    if (!derived.empty() && random_.OneIn(2)) {
        const tables::Member& row = *derived[random_.Below(derived.size())];
        if (!row.parameters.empty()) return;
        id = static_cast<DISPID>(row.id);
    }
    Log("get " + PathOf(*node) + " member " + std::to_string(id));
    const Answer answer = Do(object.get(), id, DISPATCH_PROPERTYGET, {});
    if (OutOfMemory(answer, doc)) return;
    const bool columns = node->table->interfaceName == "IRoomPosition";  // what is no column answers out of memory
    if (FAILED(answer.status) && !columns) throw Wrong("the get answers " + StatusText(answer.status));
    if (node->IsItem() && id == member::kParentBase && IdOf(answer.Object()) != IdOf(Live(doc, *node->owner).get()))
        throw Wrong("another parent");
    if (id == member::kRootBase && IdOf(answer.Object()) != IdOf(doc.root.get())) throw Wrong("another root");
    if (node->IsCollection() && id == member::kCount && answer.value.lVal != static_cast<LONG>(node->below.size()))
        throw Wrong("the count is " + std::to_string(answer.value.lVal) + ", not " + std::to_string(node->below.size()));
    if (node->table->isLink && id == member::kLinkDispatch) {
        const Node* target = node->references[0].item;
        if (answer.Object() && (!target || IdOf(answer.Object()) != target->id)) throw Wrong("another target");
        if (!answer.Object() && target && target->alive) throw Wrong("no target");
    }
}

// ---- members ----

Node* World::AddTo(Doc& doc, Node& collection, bool mistaken) {
    const ClassTable& table = *collection.table;
    Node* made = doc.tree->Make(*table.member, &collection);
    made->timestampKnown = false;
    std::vector<Ref<IDispatch>> objects;
    std::vector<Bstr> texts;
    std::vector<VARIANT> arguments;
    HRESULT expected = S_OK;
    Node* existing = nullptr;
    std::string given;
    for (const AddParameter& each : table.add) {
        if (each.isConfig) {
            const Ref<IDispatch> configs(
                GetLate(doc.root.get(), doc.table == &ProjectTable() ? member::kConfigs : member::kLibraryConfigs).Object());
            const auto config = static_cast<LONG>(1 + random_.Below(4));
            objects.emplace_back(GetLate(configs.get(), member::kItem, {LongArgument(config)}).Object());
            arguments.push_back(ObjectArgument(objects.back().get()));
            const char16_t* const names[] = {u"Single amp", u"Bi amp", u"Tri amp", u"Subwoofer"};
            made->name = names[config - 1];
            made->At("ConfigID") = Value::Number(config);
            for (Node* each2 : collection.below)
                if (!existing && CompareNoCase(each2->name, made->name) == 0) existing = each2;
        } else if (each.item) {
            const bool toLibrary = each.item->ofLibrary && !table.ofLibrary;
            Doc& other = toLibrary ? Library() : mistaken && random_.OneIn(2) ? docs_[&doc == &docs_[0] ? 1 : 0] : doc;
            const bool none = each.optional ? random_.OneIn(3) : random_.OneIn(20);
            Node* target = none ? nullptr : AnyOf(other, *each.item);
            objects.push_back(target ? Live(other, *target) : Ref<IDispatch>());
            arguments.push_back(ObjectArgument(objects.back().get()));
            given += " for " + (target ? PathOf(*target) : "none");
            if (!target) {
                if (!each.optional) expected = E_POINTER;
                continue;
            }
            if (!toLibrary && &other != &doc) expected = StatusOf(Message::OtherDocument);
            for (std::size_t at = 0; at < made->references.size(); ++at) {
                if (made->table->references[at].target != each.item) continue;
                if (toLibrary) {
                    if (target->id.empty()) {
                        target->id = IdOf(objects.back().get());
                        Library().indexed = false;
                    }
                    made->references[at].libraryId = target->id;
                } else {
                    made->references[at].item = target;
                }
            }
            if (made->table->Find("ConfigID") && target->table->Find("ConfigID")) made->At("ConfigID") = target->At("ConfigID");
            if (!each.optional) made->name = target->name;  // links and configurations are named after it
        } else {
            made->name = AnyName();
            texts.emplace_back(made->name);
            arguments.push_back(TextArgument(texts.back().get()));
        }
    }
    for (std::size_t at = 0, text = 0; at < arguments.size(); ++at)  // the texts may have moved
        if (arguments[at].vt == VT_BSTR) arguments[at].bstrVal = texts[text++].get();
    if (expected == S_OK && table.name == "CSpkrEQDesigns" && Counterpart(collection, *made))
        expected = StatusOf(Message::NameExists);
    const Ref<IDispatch> object = Live(doc, collection);
    Log("add to " + PathOf(collection) + " " + ToUtf8(made->name.substr(0, 20)) + given);
    Answer answer;
    switch (arguments.size()) {
        case 1:
            answer = Do(object.get(), member::kAdd, DISPATCH_METHOD, {arguments[0]});
            break;
        default:
            answer = Do(object.get(), member::kAdd, DISPATCH_METHOD, {arguments[0], arguments[1]});
            break;
    }
    if (OutOfMemory(answer, doc)) return nullptr;
    Expect(expected, answer, "Add");
    if (answer.status != S_OK) return nullptr;
    if (existing) {
        if (IdOf(answer.Object()) != existing->id && !existing->id.empty()) throw Wrong("Add answers another configuration");
        return existing;
    }
    if (table.name == "CBoxCfgs" || table.name == "CBoxCfgBanks") {
        const auto fillBank = [&](Node& bank) {
            const char16_t* const names[] = {u"Left", u"Left subwoofer", u"Right subwoofer", u"Right"};
            Node* positions = bank.Child("Spkrs");
            for (int position = 0; position < 4; ++position) {
                Node* speaker = doc.tree->Make(*positions->table->member, positions);
                speaker->timestampKnown = false;
                speaker->name = names[position];
                speaker->At("ConfigID") = Value::Number(position == 1 || position == 2 ? LX_SUBWOOFER : LX_TRIAMP);
                positions->below.push_back(speaker);
            }
        };
        if (table.name == "CBoxCfgBanks") {
            fillBank(*made);
        } else {
            Node* banks = made->Child("Banks");
            for (const char16_t* name : {u"Bypass", u"Profile 1", u"Profile 2", u"Profile 3"}) {
                Node* bank = doc.tree->Make(*banks->table->member, banks);
                bank->timestampKnown = false;
                bank->name = name;
                fillBank(*bank);
                banks->below.push_back(bank);
            }
        }
    }
    collection.below.push_back(made);
    doc.indexed = false;
    doc.modified = true;
    made->id = IdOf(answer.Object());
    if (random_.OneIn(2)) Compare(*made, answer.Object(), ReadingOf(doc));
    return made;
}

void World::Add(Doc& doc) {
    Node* collection = AnyCollection(doc);
    if (!collection->table->canAdd) return;
    if (IsFull(doc)) return Remove(doc);
    AddTo(doc, *collection, random_.OneIn(12));
}

// To and beyond the numbers of members from which names are indexed and the list stands in a longer record.
void World::Grow(Doc& doc) {
    Node* collection = AnyCollection(doc);
    if (!collection->table->canAdd || !collection->table->member->children.empty()) return;
    static constexpr std::size_t kNumbers[] = {31, 32, 33, 203, 204, 205, 206};
    const std::size_t wanted = random_.OneIn(30) ? 3280 : random_.Of(kNumbers);
    Index(doc);
    if (doc.items.size() > 4 * options_.objects) return;
    for (std::size_t tries = 0; collection->below.size() < wanted && tries < wanted + 40; ++tries)
        AddTo(doc, *collection, false);
}

// What a removal that could not go all the way has left: every member that is still there in its order, with each that
// is locked and its owners among them.
void World::Reconcile(Doc& doc, Node& node) {
    const Ref<IDispatch> object = Live(doc, node);
    if (node.IsCollection()) {
        std::vector<std::u16string> there;
        const LONG count = GetLate(object.get(), member::kCount).value.lVal;
        for (LONG position = 1; position <= count; ++position) {
            const Answer answer = GetLate(object.get(), member::kItem, {LongArgument(position)});
            if (!answer.Object()) throw Wrong(PathOf(node) + ": a member cannot be reached");
            there.push_back(IdOf(answer.Object()));
        }
        auto next = there.begin();
        for (Node* member : std::vector<Node*>(node.below)) {
            if (next != there.end() && *next == member->id) {
                ++next;
                Reconcile(doc, *member);
            } else if (member->locks != 0 || LockedBelow(*member)) {
                throw Wrong(PathOf(*member) + ": gone though it is locked");
            } else {
                Tree::Remove(*member);
            }
        }
        if (next != there.end()) throw Wrong(PathOf(node) + ": a member that was not there");
    } else {
        for (Node* child : node.below) Reconcile(doc, *child);
    }
    doc.indexed = false;
}

void World::Remove(Doc& doc) {
    Node* item = AnyItem(doc);
    if (!item) return;
    const bool partial = item->locks == 0 && LockedBelow(*item);
    Node& collection = *item->owner;
    const auto place = static_cast<LONG>(item->Place());
    if (partial || options_.failingAllocations) Learn(doc, collection);
    const Ref<IDispatch> object = Live(doc, collection);
    if (random_.OneIn(20)) {
        Log("remove nothing from " + PathOf(collection));
        const LONG outside = random_.OneIn(2) ? 0 : static_cast<LONG>(collection.below.size()) + 1;
        const Answer answer = Do(object.get(), member::kRemove, DISPATCH_METHOD, {LongArgument(outside)});
        if (!OutOfMemory(answer, doc)) Expect(StatusOf(Message::NotLocated), answer, "Remove");
        return;
    }
    Log("remove " + PathOf(*item) + (partial ? ", locked below" : ""));
    const Answer answer = Do(object.get(), member::kRemove, DISPATCH_METHOD, {LongArgument(place + 1)});
    doc.modified = true;
    if (OutOfMemory(answer, doc)) return Reconcile(doc, collection);
    if (failed_ && answer.status == StatusOf(Message::NotAllRemoved)) return Reconcile(doc, collection);
    Expect(item->locks != 0 ? StatusOf(Message::Locked) : partial ? StatusOf(Message::NotAllRemoved) : S_OK, answer, "Remove");
    if (answer.status == S_OK) {
        Tree::Remove(*item);
        doc.indexed = false;
    } else if (partial) {
        Reconcile(doc, *item);
    }
}

void World::RemoveAll(Doc& doc) {
    Node* collection = AnyCollection(doc);
    const bool locked = LockedBelow(*collection);
    if (!random_.OneIn(4) && collection->below.size() > 20) return;
    if (locked || options_.failingAllocations) Learn(doc, *collection);
    const Ref<IDispatch> object = Live(doc, *collection);
    Log("remove all of " + PathOf(*collection));
    const Answer answer = Do(object.get(), member::kRemoveAll, DISPATCH_METHOD, {});
    doc.modified = true;
    if (OutOfMemory(answer, doc)) return Reconcile(doc, *collection);
    if (failed_ && answer.status == StatusOf(Message::NotAllRemoved)) return Reconcile(doc, *collection);
    Expect(locked ? StatusOf(Message::NotAllRemoved) : S_OK, answer, "RemoveAll");
    if (locked) return Reconcile(doc, *collection);
    for (Node* member : std::vector<Node*>(collection->below)) Tree::Remove(*member);
    doc.indexed = false;
}

// ---- finding ----

void World::Find(Doc& doc) {
    Node* collection = AnyCollection(doc);
    const Ref<IDispatch> object = Live(doc, *collection);
    const std::size_t which = random_.Below(7);
    if (which < 3) {
        const std::u16string name = !collection->below.empty() && random_.OneIn(2)
                                        ? collection->below[random_.Below(collection->below.size())]->name
                                        : AnyName();
        const auto found = std::ranges::find_if(collection->below,
                                                [&](const Node* each) { return CompareNoCase(each->name, name) == 0; });
        const Bstr text(name);
        const DISPID id = which == 0 ? member::kFindName : which == 1 ? member::kFindNameExact : member::kNameExists;
        Log("find " + ToUtf8(name.substr(0, 20)) + " in " + PathOf(*collection) + " by " + std::to_string(id));
        const Answer answer = Do(object.get(), id, DISPATCH_METHOD, {TextArgument(text.get())});
        if (OutOfMemory(answer, doc)) return;
        const bool there = found != collection->below.end();
        if (which == 2) {
            Expect(S_OK, answer, "NameExists");
            if ((answer.value.lVal != 0) != there) throw Wrong("NameExists answers the contrary");
            return;
        }
        Expect(there ? S_OK : which == 0 ? S_FALSE : StatusOf(Message::NotLocated), answer, "FindName");
        if (!there) return;
        if ((*found)->id.empty()) (*found)->id = IdOf(answer.Object());
        if (IdOf(answer.Object()) != (*found)->id) throw Wrong("FindName answers another member");
        return;
    }
    // By ID: of one that is below, of one elsewhere, of none.
    Node* wanted = AnyItem(doc);
    if (!wanted || wanted->id.empty()) return;
    const Bstr id(wanted->id);
    Node* from = which < 5 ? collection : AnyItem(doc);
    bool below = false, direct = wanted->owner == from;
    for (const Node* at = wanted->owner; at; at = at->owner) below = below || at == from;
    const bool deep = which != 3;
    const Ref<IDispatch> start = from == collection ? object : Live(doc, *from);
    Log("find " + PathOf(*wanted) + " from " + PathOf(*from) + (deep ? ", deep" : ""));
    Answer answer = deep ? Do(start.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(id.get())})
                         : Do(start.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(id.get()), LongArgument(0)});
    if (OutOfMemory(answer, doc)) return;
    const bool there = deep ? below : direct;
    Expect(there ? S_OK : S_FALSE, answer, "FindID");
    if (there && IdOf(answer.Object()) != wanted->id) throw Wrong("FindID answers another object");
}

void World::Enumerate(Doc& doc) {
    const std::size_t which = random_.Below(3);
    Node* node = which == 0 ? AnyCollection(doc) : AnyItem(doc);
    if (!node) return;
    const Ref<IDispatch> object = Live(doc, *node);
    const DISPID id = which == 0 ? member::kNewEnum : which == 1 ? member::kDescendants : member::kDependents;
    Log("enumerate " + PathOf(*node) + " by " + std::to_string(id));
    const Answer answer = Do(object.get(), id, DISPATCH_PROPERTYGET, {});
    if (OutOfMemory(answer, doc)) return;
    Expect(S_OK, answer, "an enumerator");
    const auto all = Ref<IUnknown>(answer.value.vt == VT_UNKNOWN ? answer.value.punkVal
                                                                 : static_cast<IUnknown*>(answer.value.pdispVal))
                         .As<IEnumVARIANT>();
    if (!all) throw Wrong("no enumerator");
    std::map<std::u16string, int> found;
    std::vector<std::u16string> inOrder;
    for (;;) {
        Variant next;
        ULONG fetched = 0;
        const HRESULT status = all->Next(1, next.Out(), &fetched);
        if (FAILED(status)) throw Wrong("Next answers " + StatusText(status));
        if (fetched == 0) break;
        inOrder.push_back(IdOf(next.pdispVal));
        ++found[inOrder.back()];
    }
    const auto once = [&](const Node& each) {
        if (!each.id.empty() && found[each.id] != 1)
            throw Wrong(PathOf(each) + ": enumerated " + std::to_string(found[each.id]) + " times");
    };
    if (which == 0) {
        if (inOrder.size() != node->below.size()) throw Wrong(std::to_string(inOrder.size()) + " members");
        for (std::size_t at = 0; at < inOrder.size(); ++at)
            if (!node->below[at]->id.empty() && node->below[at]->id != inOrder[at]) throw Wrong("another order");
    } else if (which == 1) {
        ForEach(*node, [&](const Node& each) {
            if (&each != node && each.IsItem()) once(each);
        });
    } else {
        std::size_t links = 0;
        Index(doc);
        for (const Node* each : doc.items) {
            if (!each->table->isLink || each->references[0].item != node) continue;
            ++links;
            once(*each);
        }
        if (inOrder.size() != links) throw Wrong(std::to_string(inOrder.size()) + " dependent links, not " + std::to_string(links));
    }
}

// ---- copying ----

Node* World::Counterpart(Node& collection, const Node& other) const {
    for (Node* each : collection.below) {
        const std::string& name = collection.table->name;
        if (name == "CSpkrEQConfigs" || name == "CCrossoverConfigs") {
            if (each->At("ConfigID") == other.At("ConfigID")) return each;
        } else if (CompareNoCase(each->name, other.name) == 0) {
            if (name != "CSpeakerEQs" || each->references[0].libraryId == other.references[0].libraryId) return each;
        }
    }
    return nullptr;
}

HRESULT World::CopyRefused(const Doc& from, const Node& item, const Doc& to, const Node& collection) const {
    if (collection.table->member != item.table) return E_INVALIDARG;
    if (item.table->isLink && &from != &to) return StatusOf(Message::OtherDocument);
    const bool once = collection.table->name == "CSpkrEQDesigns" || collection.table->name == "CCrossoverConfigs";
    if (once && std::ranges::any_of(collection.below,
                                    [&](const Node* each) { return CompareNoCase(each->name, item.name) == 0; }))
        return StatusOf(Message::NameExists);
    return S_OK;
}

Node* World::CopyInto(Doc& from, Node& item, Doc& to, Node& collection, bool withChildren) {
    Index(to);
    const auto outside = [&](const Node* target) -> Node* {
        if (&from == &to) return const_cast<Node*>(target);
        if (!target->alive) return nullptr;
        const auto same = to.ofClass.find(target->table);
        if (same != to.ofClass.end())
            for (Node* each : same->second)
                if (!each->id.empty() && each->id == target->id) return each;
        return nullptr;
    };
    Node* copy = to.tree->Clone(item, &collection, withChildren, outside);
    for (std::size_t at = 0; at < copy->references.size(); ++at)
        if (!withChildren && copy->references[at].item == &item) copy->references[at].item = copy;
    collection.below.push_back(copy);
    to.indexed = false;
    to.modified = true;
    return copy;
}

void World::Copy(Doc& doc) {
    Node* item = AnyItem(doc);
    if (!item) return;
    Index(doc);
    Doc& to = random_.OneIn(3) ? AnyDoc() : doc;
    Node* collection = random_.OneIn(12) ? AnyCollection(to) : AnyOf(to, *item->owner->table);
    if (!collection) return;
    const bool withChildren = random_.OneIn(2);
    if (IsFull(to)) return Remove(to);
    Learn(doc, *item);  // an ID that was not asked for yet would be met as an object that is not there
    const Ref<IDispatch> object = Live(doc, *item), into = Live(to, *collection);
    const HRESULT refused = CopyRefused(doc, *item, to, *collection);
    if (random_.OneIn(8)) {
        const Answer answer = Do(object.get(), member::kCanCopy, DISPATCH_METHOD, {ObjectArgument(into.get())});
        if (OutOfMemory(answer, doc)) return;
        if ((answer.value.lVal != 0) != (collection->table->member == item->table)) throw Wrong("CanCopy is wrong");
    }
    Log("copy " + PathOf(*item) + " into " + PathOf(*collection) + (withChildren ? "" : " without children"));
    const Answer answer = Do(object.get(), withChildren ? member::kCopy : member::kCopyNoChildren, DISPATCH_METHOD,
                             {ObjectArgument(into.get())});
    if (OutOfMemory(answer, to)) return;
    Expect(refused, answer, "the copy");
    if (refused != S_OK) return;
    Node* copy = CopyInto(doc, *item, to, *collection, withChildren);
    Compare(*copy, answer.Object(), ReadingOf(to));
}

void World::CopyWithParents(Doc& doc) {
    Node* item = AnyItem(doc);
    if (!item) return;
    Doc& to = random_.OneIn(2) ? AnyDoc() : doc;
    if (IsFull(to)) return;
    CompareAll(doc);
    if (&to != &doc) CompareAll(to);
    const Ref<IDispatch> object = Live(doc, *item);
    Log("copy " + PathOf(*item) + " with parents into " + (to.table == &ProjectTable() ? "project" : "library") +
        (&to == &doc ? ", the same" : ""));
    const Answer answer = Do(object.get(), member::kCopyWithParents, DISPATCH_METHOD, {ObjectArgument(to.root.get())});
    if (OutOfMemory(answer, to)) return;
    if (doc.table != to.table) return Expect(E_INVALIDARG, answer, "CopyWithParents");
    std::vector<Node*> path;
    for (Node* owner = item->owner; owner->owner; owner = owner->owner) path.push_back(owner);
    std::reverse(path.begin(), path.end());
    Node* at = to.tree->root;
    std::vector<Node*> copied;
    HRESULT refused = item->table->isLink && &doc != &to ? StatusOf(Message::OtherDocument) : S_OK;
    for (Node* step : path) {
        if (refused != S_OK) break;
        if (step->IsCollection()) {
            at = at->below[step->Place()];
            continue;
        }
        Node* match = nullptr;
        for (Node* each : at->below)
            if (each->id == step->id) match = each;
        if (!match) match = Counterpart(*at, *step);
        if (!match) {
            refused = CopyRefused(doc, *step, to, *at);
            if (refused != S_OK) break;
            match = CopyInto(doc, *step, to, *at, false);
            copied.push_back(match);
        }
        at = match;
    }
    if (refused == S_OK) refused = CopyRefused(doc, *item, to, *at);
    if (refused != S_OK)
        for (auto each = copied.rbegin(); each != copied.rend(); ++each) Tree::Remove(**each);
    else
        CopyInto(doc, *item, to, *at, true);
    to.indexed = false;
    Expect(refused, answer, "CopyWithParents");
    CompareAll(to);
}

void World::CopyContents(Doc& doc) {
    Node* receiver = AnyItem(doc);
    if (!receiver) return;
    Doc& from = random_.OneIn(3) ? AnyDoc() : doc;
    Node* item = random_.OneIn(12) ? AnyItem(from) : AnyOf(from, *receiver->table);
    if (!item) return;
    if (IsFull(doc)) return Remove(doc);
    Learn(from, *item);
    Learn(doc, *receiver);
    const Ref<IDispatch> source = Live(from, *item), object = Live(doc, *receiver);
    Log("copy contents of " + PathOf(*item) + " into " + PathOf(*receiver));
    const Answer answer = Do(source.get(), member::kCopyContents, DISPATCH_METHOD, {ObjectArgument(object.get())});
    if (OutOfMemory(answer, doc)) return;
    if (item == receiver) return Expect(S_OK, answer, "CopyContents");
    const HRESULT refused = item->table != receiver->table                    ? E_INVALIDARG
                            : item->table->isLink && &from != &doc            ? StatusOf(Message::OtherDocument)
                            : LockedBelow(*receiver)                          ? StatusOf(Message::Locked)
                                                                              : S_OK;
    Expect(refused, answer, "CopyContents");
    if (refused != S_OK) return;
    Node& collection = *receiver->owner;
    Node* copy = CopyInto(from, *item, doc, collection, true);
    collection.below.pop_back();
    for (Node* child : receiver->below)
        for (Node* member : std::vector<Node*>(child->below)) Tree::Remove(*member);
    for (std::size_t at = 0; at < receiver->below.size(); ++at)
        for (Node* member : copy->below[at]->below) {
            member->owner = receiver->below[at];
            receiver->below[at]->below.push_back(member);
        }
    const Value config = receiver->table->name == "CCrossoverConfig" ? receiver->At("ConfigID") : Value();
    receiver->values = copy->values;
    if (receiver->table->name == "CCrossoverConfig") receiver->At("ConfigID") = config;
    receiver->references = copy->references;
    receiver->timestamp = item->timestamp;
    receiver->timestampKnown = item->timestampKnown;
    ForEach(*receiver, [&](Node& each) {
        for (Target& target : each.references)
            if (target.item == copy || (target.item == item && &from != &doc)) target.item = receiver;
    });
    copy->alive = false;
    doc.indexed = false;
    Compare(*receiver, object.get(), ReadingOf(doc));
}

// ---- what clients hold ----

void World::Hold(Doc& doc) {
    Node* node = random_.OneIn(3) ? AnyCollection(doc) : AnyItem(doc);
    if (!node) return;
    if (held_.size() >= 12 || (!held_.empty() && random_.OneIn(3))) {
        const std::size_t at = random_.Below(held_.size());
        Log("release what was held");
        held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(at));
        return;
    }
    Log("hold " + PathOf(*node));
    held_.push_back({Live(doc, *node), &doc, doc.opened, node, node->id});
}

void World::UseHeld() {
    if (held_.empty()) return;
    Held& held = held_[random_.Below(held_.size())];
    const bool orphan = !held.node || !held.node->alive;
    Log("use what was held, " + (held.node ? PathOf(*held.node) : std::string("of a document that is gone")));
    const std::u16string id = IdOf(held.object.get());
    if (!held.id.empty() && id != held.id) throw Wrong("another ID");
    const bool isItem = !Ref<IDispatch>(held.object).As<_Collection>();
    if (orphan) {
        const Bstr name(u"orphan"), any(u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}");
        const std::size_t which = random_.Below(3);
        Answer answer;
        if (isItem)
            answer = which == 0   ? Do(held.object.get(), member::kName, DISPATCH_PROPERTYPUT, {TextArgument(name.get())})
                     : which == 1 ? Do(held.object.get(), member::kLocks, DISPATCH_PROPERTYPUT, {LongArgument(0)})
                                  : Do(held.object.get(), member::kParentBase, DISPATCH_PROPERTYGET, {});
        else
            answer = which == 0   ? Do(held.object.get(), member::kRemoveAll, DISPATCH_METHOD, {})
                     : which == 1 ? Do(held.object.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(any.get())})
                                  : Do(held.object.get(), member::kRemove, DISPATCH_METHOD, {LongArgument(1)});
        if (OutOfMemory(answer, *held.doc)) return;
        return Expect(StatusOf(Message::Orphaned), answer, "a change of an orphan");
    }
    Compare(*held.node, held.object.get(), ReadingOf(*held.doc));
}

// ---- documents as files ----

void World::Settings(Doc& doc) {
    const std::size_t which = random_.Below(4);
    if (which == 0) {
        if (options_.cacheBounds) {
            static constexpr LONG kLower[] = {1, 2, 5, 10, 50}, kMore[] = {1, 3, 10};
            const LONG lower = random_.Of(kLower), upper = random_.OneIn(8) ? lower : lower + random_.Of(kMore);
            Log("cache bounds " + std::to_string(lower) + ", " + std::to_string(upper));
            const Answer answer = Do(doc.root.get(), member::kSetCacheBounds, DISPATCH_METHOD, {LongArgument(lower), LongArgument(upper)});
            if (OutOfMemory(answer, doc)) return;
            Expect(upper > lower ? S_OK : StatusOf(Message::CacheBounds), answer, "SetCacheBounds");
            if (upper > lower) {
                doc.bounded = true;
                doc.complete = false;
            }
        }
    } else if (which == 1) {
        static constexpr LONG kTypes[] = {LX_R4, LX_R4, LX_R4, LX_R8, LX_VT, LX_UI1};
        const LONG type = random_.Of(kTypes);
        Log("arrays as " + std::to_string(type));
        const Answer answer = Do(doc.root.get(), member::kSafeArrayType, DISPATCH_PROPERTYPUT, {LongArgument(type)});
        if (OutOfMemory(answer, doc)) return;
        Expect(type == LX_UI1 ? E_INVALIDARG : S_OK, answer, "put of SafeArrayType");
        if (type != LX_UI1) doc.arrays = type;
    } else {
        const LONG mode = 1 + static_cast<LONG>(random_.Below(3));
        if (doc.path.empty() && mode == LX_SHARE_READ) return;  // a new document could not be saved
        Log("access mode " + std::to_string(mode));
        const Answer answer = Do(doc.root.get(), member::kAccessMode, DISPATCH_PROPERTYPUT, {LongArgument(mode)});
        if (OutOfMemory(answer, doc)) return;
        Expect(doc.path.empty() ? S_OK : StatusOf(Message::FileMustBeClosed), answer, "put of AccessMode");
        if (doc.path.empty()) doc.mode = mode;
    }
}

// The file is sound, and what another program reads from it is what was saved.
void World::CheckFile(const std::string& name, const Doc& doc) {
    std::string file = FullPath(name);
    const bool exclusive = doc.path == name && doc.mode == LX_EXCLUSIVE_READWRITE;
    if (exclusive) {
        file = FullPath("checked");
        std::filesystem::copy_file(FullPath(name), file, std::filesystem::copy_options::overwrite_existing);
    }
    std::string problems;
    for (const DocumentProblem& problem : CheckDocument(file)) problems += "\n  " + problem.where + ": " + problem.what;
    const auto& [table, tree] = files_.at(name);
    const Ref<IDispatch> root = NewRoot(*table);
    PutLate(root.get(), member::kAccessMode, {LongArgument(LX_SHARE_READ)});
    const Bstr path(FromUtf8(file));
    const Answer answer = DoLate(root.get(), member::kOpenFile, {TextArgument(path.get())});
    if (answer.status != S_OK) throw Wrong(name + " does not open, " + StatusText(answer.status) + problems);
    Reading reading;
    reading.live = false;
    if (table == &ProjectTable() && tree->root->references[0].libraryId == Library().tree->root->id &&
        !tree->root->references[0].libraryId.empty()) {
        PutLate(root.get(), member::kSpecifications, {ObjectArgument(Library().root.get())});
        Index(Library());
        reading.library = &libraryIds_;
    }
    try {
        Compare(*tree->root, root.get(), reading);
    } catch (const Wrong& wrong) {
        throw Wrong(name + ", read again: " + wrong.what() + problems);
    }
    if (!problems.empty()) throw Wrong(name + " is not sound" + problems);
}

void World::Save(Doc& doc) {
    Log("save " + (doc.path.empty() ? std::string("nowhere") : doc.path) + " mode " + std::to_string(doc.mode));
    const Answer answer = Do(doc.root.get(), member::kSaveFile, DISPATCH_METHOD, {});
    const bool refused = OutOfMemory(answer, doc);
    if (!refused)
        Expect(doc.path.empty() ? StatusOf(Message::NoFile) : doc.mode == LX_SHARE_READ ? kDenied : S_OK, answer, "SaveFile");
    if (doc.path.empty()) return;
    if (answer.status == S_OK) files_[doc.path] = {doc.table, doc.tree->Saved()};
    CheckFile(doc.path, doc);
}

bool World::OpenElsewhere(const Doc& doc, const std::string& name) const {
    return std::ranges::any_of(docs_, [&](const Doc& each) { return &each != &doc && each.path == name; });
}

// As the modes promise: readers beside one writer that excludes writers, or one alone.
bool World::MayOpen(const Doc& doc, const std::string& name, LONG mode) const {
    return std::ranges::all_of(docs_, [&](const Doc& each) {
        if (&each == &doc || each.path != name) return true;
        if (mode == LX_EXCLUSIVE_READWRITE || each.mode == LX_EXCLUSIVE_READWRITE) return false;
        return mode == LX_SHARE_READ || each.mode == LX_SHARE_READ;
    });
}

void World::SaveAs(Doc& doc) {
    const bool same = !doc.path.empty() && random_.OneIn(4);
    const std::string name = same ? doc.path : AnyPath();
    if (OpenElsewhere(doc, name)) return;
    if (doc.path.empty() && !doc.complete) return;
    const Bstr path(FromUtf8(same ? (folder_ / "." / name).string() : FullPath(name)));
    Log("save as " + name + (doc.path == name ? ", the same" : "") + " mode " + std::to_string(doc.mode));
    const Answer answer = Do(doc.root.get(), member::kSaveFileAs, DISPATCH_METHOD, {TextArgument(path.get())});
    const bool refused = OutOfMemory(answer, doc);
    const auto there = files_.find(name);  // a project that refers to a library may have opened it for itself
    if (answer.status == kSharingViolation && there != files_.end() && there->second.first == &LibraryTable()) return;
    if (!refused) Expect(doc.mode == LX_SHARE_READ ? kDenied : S_OK, answer, "SaveFileAs");
    if (answer.status == S_OK) {
        doc.path = name;
        files_[name] = {doc.table, doc.tree->Saved()};
    }
    if (files_.contains(name)) CheckFile(name, doc);
}

// What is in memory goes on being usable; what is not went with the file.
void World::Close(Doc& doc) {
    if (doc.path.empty() || doc.mode == LX_SHARE_READ || !doc.complete) return Reopen(doc);
    Log("close " + doc.path);
    const Answer answer = Do(doc.root.get(), member::kCloseFile, DISPATCH_METHOD, {});
    if (failed_ && FAILED(answer.status)) {  // the file is closed all the same, and what was not read yet is gone
        Fresh(doc);
        return;
    }
    Expect(S_OK, answer, "CloseFile");
    doc.path.clear();
    doc.modified = false;
    CompareAll(doc);
    if (random_.OneIn(3)) OpenFails(doc);
    if (random_.OneIn(3)) Reopen(doc);
}

void World::Reopen(Doc& doc) {
    std::vector<std::string> ours;
    for (const auto& [name, file] : files_)
        if (file.first == doc.table) ours.push_back(name);
    if (ours.empty() || random_.OneIn(8)) {
        Log("a new document");
        return Fresh(doc);
    }
    const std::string name = ours[random_.Below(ours.size())];
    const bool sameRoot = doc.path.empty() && !doc.modified && random_.OneIn(2);
    const LONG mode = sameRoot ? doc.mode : 1 + static_cast<LONG>(random_.Below(3));
    const bool allowed = MayOpen(doc, name, mode);
    if (!allowed && !random_.OneIn(4)) return;
    if (!sameRoot) {
        Fresh(doc);
        doc.mode = mode;
        PutLate(doc.root.get(), member::kAccessMode, {LongArgument(doc.mode)});
    }
    Log("open " + name + " mode " + std::to_string(doc.mode) + (sameRoot ? " in the same root" : ""));
    const Bstr path(FromUtf8(FullPath(name)));
    for (;;) {
        const Answer answer = Do(doc.root.get(), member::kOpenFile, DISPATCH_METHOD, {TextArgument(path.get())});
        if (failed_ && answer.status == E_OUTOFMEMORY) {
            Log("  out of memory");
            if (sameRoot) return CompareAll(doc);
            continue;
        }
        if (&doc == &Library() && doc.mode == LX_EXCLUSIVE_READWRITE && answer.status == kSharingViolation)
            return CompareAll(doc);  // a project that refers to it has opened it for itself
        if (!allowed) {
            Expect(kSharingViolation, answer, "OpenFile");
            return CompareAll(doc);
        }
        Expect(S_OK, answer, "OpenFile");
        break;
    }
    const unsigned before = doc.opened;
    Replace(doc, files_.at(name).second->Saved());
    if (&doc == &Library() && sameRoot)
        for (Doc& project : docs_)
            if (project.table == &ProjectTable() && project.linked == before) {  // it is linked to whatever is in there
                project.tree->root->references[0].libraryId = doc.tree->root->id;
                project.linked = doc.opened;
            }
    doc.path = name;
    doc.complete = false;
    doc.modified = false;
    if (random_.OneIn(3)) CompareAll(doc);
}

// A call that fails leaves what was there.
void World::OpenFails(Doc& doc) {
    if (!doc.path.empty() || doc.modified || !doc.complete) return;
    static const char* const kNames[] = {kDamaged, "nothing.lvx"};
    const std::string name = random_.Of(kNames);
    Log("open " + name);
    const Bstr path(FromUtf8(FullPath(name)));
    const Answer answer = Do(doc.root.get(), member::kOpenFile, DISPATCH_METHOD, {TextArgument(path.get())});
    if (SUCCEEDED(answer.status)) throw Wrong("it opens");
    CompareAll(doc);
}

// Calls that have to be refused, and change nothing.
void World::Mistake(Doc& doc) {
    Node* collection = AnyCollection(doc);
    Node* item = AnyItem(doc);
    const Ref<IDispatch> object = Live(doc, *collection);
    const Bstr nobody(u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}"), noId(u"no ID");
    Log("mistake at " + PathOf(*collection));
    HRESULT expected = E_INVALIDARG;
    Answer answer;
    switch (random_.Below(7)) {
        case 0: {
            const LONG outside = random_.OneIn(2) ? 0 : static_cast<LONG>(collection->below.size()) + 1;
            answer = Do(object.get(), member::kItem, DISPATCH_PROPERTYGET, {LongArgument(outside)});
            break;
        }
        case 1:
            expected = S_FALSE;
            answer = Do(object.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(random_.OneIn(2) ? nobody.get() : noId.get())});
            break;
        case 2:
            expected = S_FALSE;
            answer = Do(doc.root.get(), random_.OneIn(2) ? member::kLoad : member::kFindID, DISPATCH_METHOD,
                        {TextArgument(random_.OneIn(2) ? nobody.get() : noId.get())});
            break;
        case 3:
            if (!item) return;
            expected = E_POINTER;
            answer = Do(Live(doc, *item).get(), member::kCopy, DISPATCH_METHOD, {ObjectArgument(nullptr)});
            break;
        case 4:
            if (!item) return;
            expected = E_POINTER;
            answer = Do(Live(doc, *item).get(), member::kCopyContents, DISPATCH_METHOD, {ObjectArgument(nullptr)});
            break;
        case 5:
            expected = S_OK;
            if (item) answer = Do(Live(doc, *item).get(), member::kCanCopy, DISPATCH_METHOD, {ObjectArgument(object.get())});
            break;
        default:
            if (!doc.modified && doc.path.empty()) return;
            expected = StatusOf(Message::ModifiedBeforeLoading);
            answer = Do(doc.root.get(), member::kOpenFile, DISPATCH_METHOD, {TextArgument(nobody.get())});
            break;
    }
    if (OutOfMemory(answer, doc)) return;
    Expect(expected, answer, "the call");
}

// What was never loaded goes with the file: it is told, and neither a crash nor a document with holes.
void World::LeaveIncomplete(Doc& doc) {
    if (doc.path.empty() || doc.complete) return;
    Log("close " + doc.path + " with objects left in the file");
    const Answer closed = Do(doc.root.get(), member::kCloseFile, DISPATCH_METHOD, {});
    if (!failed_) Expect(S_OK, closed, "CloseFile");
    // A closing that lacked memory has let go of the file without what it had yet to load of the owners.
    const auto allowed = [bare = FAILED(closed.status)](HRESULT status, const char* what) {
        if (SUCCEEDED(status) || status == StatusOf(Message::DoesNotExist)) return;
        if (bare && status == StatusOf(Message::Orphaned)) return;
        throw Wrong(std::string(what) + " answers " + StatusText(status) + " after the file was closed");
    };
    for (int tries = 0; tries < 20; ++tries) {
        Node* node = AnyItem(doc);
        if (!node || node->id.empty()) continue;
        const Bstr id(node->id);
        const Answer found = DoLate(doc.root.get(), member::kLoad, {TextArgument(id.get())});
        allowed(found.status, "Load");
        if (!found.Object()) continue;
        if (IdOf(found.Object()) != node->id) throw Wrong("Load answers another object");
        for (const Property& property : node->table->properties)
            if (property.dimensions == 0) allowed(GetLate(found.Object(), property.id).status, "a get");
        for (const ReferenceTable& row : node->table->references) allowed(GetLate(found.Object(), row.id).status, "a reference");
        for (const ChildTable& child : node->table->children) allowed(GetLate(found.Object(), child.id).status, "a child");
        allowed(GetLate(found.Object(), member::kParentBase).status, ("ParentBase of " + PathOf(*node)).c_str());
    }
    const std::string name = AnyPath();
    if (doc.mode != LX_SHARE_READ && !OpenElsewhere(doc, name)) {
        const Bstr path(FromUtf8(FullPath(name)));
        const Answer saved = DoLate(doc.root.get(), member::kSaveFileAs, {TextArgument(path.get())});
        if (saved.status != kSharingViolation) allowed(saved.status, "SaveFileAs");
        if (saved.status == S_OK) {
            files_[name] = {doc.table, doc.tree->Saved()};
            doc.path = name;
            CheckFile(name, doc);
        }
    }
    Fresh(doc);
}

void World::CompareLive(Doc& doc) {
    Log("compare");
    CompareAll(doc);
}

// ---- handlers ----

// Tells the world of a document's events, until the document goes.
class Sink final : public ::_ILXDEvents {
public:
    Sink(World& world, Doc& doc) : world_(world), doc_(doc) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool offered = IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<IDispatch>) ||
                             IsEqualGUID(iid, kIidOf<::_ILXDEvents>);
        *object = offered ? this : nullptr;
        if (!offered) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*, UINT*) override {
        const AllocationsSucceed inHandlers;
        const bool ofRoot = arguments->cArgs == 1;
        const auto object = Ref<IUnknown>(arguments->rgvarg[ofRoot ? 0 : 1].punkVal).As<IDispatch>();
        world_.Handle(doc_, object.get(), ofRoot ? -1 : arguments->rgvarg[0].lVal);
        return S_OK;
    }

private:
    ~Sink() = default;
    World& world_;
    Doc& doc_;
    ULONG count_ = 0;
};

void World::Connect(Doc& doc) {
    if (!options_.handlers) return;
    Ref<IConnectionPoint> point;
    const auto container = doc.root.As<IConnectionPointContainer>();
    if (!container || FAILED(container->FindConnectionPoint(kIidOf<::_ILXDEvents>, point.Out()))) throw Wrong("no events");
    DWORD cookie = 0;
    const Ref<IUnknown> sink(new Sink(*this, doc));
    if (FAILED(point->Advise(sink.get(), &cookie))) throw Wrong("Advise fails");
}

// Nothing may be thrown through the document.
void World::Handle(Doc& doc, IDispatch* object, LONG type) {
    if (handling_ <= 0 || !doc.root || random_.OneIn(2)) return;
    --handling_;
    handled_ = true;
    const int left = std::exchange(handling_, random_.OneIn(4) ? 1 : 0);  // for what the handler itself causes
    try {
        Act(doc, object, type);
    } catch (const std::exception& wrong) {
        if (wrong_.empty()) wrong_ = wrong.what();
        handling_ = 0;
        return;
    }
    handling_ = left;
}

// An object of the document as it was before the call, if it is still there.
Ref<IDispatch> World::Found(Doc& doc, const Node* node) {
    if (!node || node->id.empty() || !doc.root) return {};
    const Bstr id(node->id);
    return Ref<IDispatch>(DoLate(doc.root.get(), member::kLoad, {TextArgument(id.get())}).Object());
}

void World::Act(Doc& doc, IDispatch* object, LONG type) {
    const std::string event = "  event " + std::to_string(type) + ": ";
    const auto tableOf = [](IDispatch* of) -> const ClassTable& {
        const Answer answer = GetLate(of, 0x43);
        for (const ClassTable& each : ClassTables())
            if (answer.value.vt == VT_BSTR && ToText(each.interfaceId) == TextOf(answer.value.bstrVal)) return each;
        throw Wrong("an object of no class");
    };
    const Ref<IDispatch> chosen = random_.OneIn(2) ? Ref<IDispatch>(object) : Found(doc, AnyItem(doc));
    if (!chosen) return;
    const ClassTable& table = tableOf(chosen.get());
    // A collection nearby: the object itself, or one below it.
    Ref<IDispatch> collection;
    if (table.kind == Kind::Collection)
        collection = chosen;
    else if (!table.children.empty())
        collection = Ref<IDispatch>(GetLate(chosen.get(), table.children[random_.Below(table.children.size())].id).Object());
    switch (random_.Below(15)) {
        case 0:
        case 1:
            Log(event + "read the children of " + table.name);
            for (const ChildTable& child : table.children) {
                const Answer below = GetLate(chosen.get(), child.id);
                if (below.Object()) GetLate(below.Object(), member::kCount);
            }
            break;
        case 2:
        case 3:
            SaveInHandler(doc);
            break;
        case 4:
            if (!doc.complete || doc.mode == LX_SHARE_READ || doc.path.empty()) break;
            Log(event + "close");
            if (DoLate(doc.root.get(), member::kCloseFile).status != S_OK) throw Wrong("CloseFile fails");
            doc.path.clear();
            break;
        case 5:
        case 6:
        case 7: {
            if (!collection || !tableOf(collection.get()).canAdd) break;
            const auto& parameters = tableOf(collection.get()).add;
            if (parameters.size() != 1 || parameters[0].type != "BSTR") break;
            Log(event + "add to " + tableOf(collection.get()).name);
            const Bstr name(AnyName());
            DoLate(collection.get(), member::kAdd, {TextArgument(name.get())});
            break;
        }
        case 8:
            if (!collection) break;
            Log(event + "remove from " + tableOf(collection.get()).name);
            DoLate(collection.get(), member::kRemove, {LongArgument(1)});
            break;
        case 9:
            if (!collection) break;
            Log(event + "remove all of " + tableOf(collection.get()).name);
            DoLate(collection.get(), member::kRemoveAll);
            break;
        case 10: {
            if (table.kind != Kind::Item) break;
            Log(event + "rename " + table.name);
            const Bstr name(AnyName());
            PutLate(chosen.get(), member::kName, {TextArgument(name.get())});
            break;
        }
        case 11: {  // the receiver, or one of its owners
            Ref<IDispatch> item(object);
            for (std::size_t up = random_.Below(4);; --up) {
                if (!item || tableOf(item.get()).kind == Kind::Root) break;
                const Ref<IDispatch> owner(GetLate(item.get(), member::kParentBase).Object());
                if (tableOf(item.get()).kind == Kind::Item && up == 0) {
                    if (!owner) break;
                    const LONG count = GetLate(owner.get(), member::kCount).value.lVal;
                    for (LONG position = 1; position <= count; ++position) {
                        const Answer each = GetLate(owner.get(), member::kItem, {LongArgument(position)});
                        if (!each.Object() || IdOf(each.Object()) != IdOf(item.get())) continue;
                        Log(event + "remove " + tableOf(item.get()).name);
                        DoLate(owner.get(), member::kRemove, {LongArgument(position)});
                        break;
                    }
                    break;
                }
                if (up == 0) break;
                item = tableOf(item.get()).kind == Kind::Item
                           ? owner
                           : Ref<IDispatch>(GetLate(item.get(), member::kParent).Object());
            }
            break;
        }
        case 12:
            if (!random_.OneIn(6) || &doc == &Library()) break;  // which projects would keep, with its file
            Log(event + "release the document");
            doc.root = nullptr;
            break;
        case 13: {
            Log(event + "enumerate " + table.name);
            if (table.kind == Kind::Item) GetLate(chosen.get(), member::kDescendants);
            const Bstr name(AnyName());
            if (collection) DoLate(collection.get(), member::kFindName, {TextArgument(name.get())});
            break;
        }
        case 14: {
            if (table.kind != Kind::Item) break;
            const Ref<IDispatch> owner(GetLate(chosen.get(), member::kParentBase).Object());
            if (!owner || table.name.starts_with("CBoxCfg")) break;
            Log(event + "copy " + table.name);
            DoLate(chosen.get(), member::kCopy, {ObjectArgument(owner.get())});
            break;
        }
    }
}

// The tree as it is. What refers into a library that is not there is remembered.
std::unique_ptr<Tree> World::Read(Doc& doc) {
    PutLate(doc.root.get(), member::kSafeArrayType, {LongArgument(LX_R4)});
    doc.arrays = LX_R4;
    auto tree = ReadTree(*doc.table, doc.root.get());
    std::map<std::u16string, const Node*> before;
    if (doc.tree) ForEach(*doc.tree->root, [&](Node& node) { before.emplace(node.id, &node); });
    ForEach(*tree->root, [&](Node& node) {
        const auto same = before.find(node.id);
        if (same == before.end() || same->second->table != node.table) return;
        for (std::size_t at = 0; at < node.references.size(); ++at)
            if (node.table->references[at].toLibrary && node.references[at].libraryId.empty())
                node.references[at] = {nullptr, same->second->references[at].libraryId, true};
    });
    return tree;
}

void World::SaveInHandler(Doc& doc) {
    if (doc.path.empty() || doc.mode == LX_SHARE_READ) return;
    Log("  event: save " + doc.path);
    std::unique_ptr<Tree> content;
    if (random_.OneIn(2)) content = Read(doc);
    const Answer answer = DoLate(doc.root.get(), member::kSaveFile);
    if (answer.status != S_OK) throw Wrong("SaveFile answers " + StatusText(answer.status));
    if (!content) content = Read(doc);
    // The tree may hold collections that were made by looking and are not in the file: those have no ID there.
    files_[doc.path] = {doc.table, content->Saved()};
    ForEach(*files_[doc.path].second->root, [](Node& node) {
        if (node.IsCollection() && node.below.empty()) node.id.clear();
    });
    CheckFile(doc.path, doc);
}

// What the handlers did is taken over as it is.
void World::AfterHandlers() {
    for (Doc& doc : docs_) {
        if (!doc.root) {
            doc.root = NewRoot(*doc.table);  // only to be dropped with all that belongs to it
            Fresh(doc);
            continue;
        }
        auto tree = Read(doc);
        std::map<std::u16string, Node*> now;
        ForEach(*tree->root, [&](Node& node) { now.emplace(node.id, &node); });
        for (Held& held : held_) {
            if (held.doc != &doc || !held.node) continue;
            held.id = held.node->id;
            const auto found = now.find(held.id);
            held.node = found != now.end() ? found->second : nullptr;
        }
        doc.tree = std::move(tree);
        doc.indexed = false;
        doc.linked = 0;
        if (doc.table == &ProjectTable()) {
            const Answer linked = GetLate(doc.root.get(), member::kSpecifications);
            if (linked.Object() && linked.Object() == Library().root.get()) doc.linked = Library().opened;
        }
        const Answer modified = GetLate(doc.root.get(), member::kModified);
        doc.modified = modified.value.boolVal != 0;
        if (!doc.bounded) doc.complete = true;
    }
}

// ---- running ----

void World::Run() {
    struct Operation {
        const char* name;
        int weight;
        void (World::*work)(Doc&);
    };
    static constexpr Operation kOperations[] = {
        {"put", 300, &World::PutProperty},    {"base", 80, &World::PutBase},
        {"reference", 80, &World::PutReference}, {"get", 150, &World::Get},
        {"add", 110, &World::Add},            {"grow", 1, &World::Grow},
        {"remove", 40, &World::Remove},       {"remove-all", 4, &World::RemoveAll},
        {"find", 80, &World::Find},           {"enumerate", 8, &World::Enumerate},
        {"copy", 30, &World::Copy},           {"copy-with-parents", 3, &World::CopyWithParents},
        {"copy-contents", 12, &World::CopyContents}, {"hold", 30, &World::Hold},
        {"settings", 8, &World::Settings},    {"save", 12, &World::Save},
        {"save-as", 4, &World::SaveAs},       {"close", 3, &World::Close},
        {"reopen", 3, &World::Reopen},        {"open-fails", 2, &World::OpenFails},
        {"mistake", 8, &World::Mistake},      {"leave-incomplete", 1, &World::LeaveIncomplete},
        {"compare", 3, &World::CompareLive}};
    std::vector<const Operation*> byWeight;
    for (const Operation& each : kOperations)
        if (!options_.without.contains(each.name)) byWeight.insert(byWeight.end(), static_cast<std::size_t>(each.weight), &each);
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
        if (!files_.contains(name) && name != kDamaged && name != "checked") throw Wrong(name + " is left behind");
    }
}

}  // namespace lumvex::tests
