// What holds for every class: each test goes over the class list and over all that the interface tables say of a class.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "kit/everything.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/events.hpp"
#include "storage/document/document_file.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::tests {
namespace {

std::string NameOf(const ClassTable& table, std::string_view property) {
    return table.interfaceName + "." + std::string(property);
}

// What clients of both documents were told, as "IDatum 1", the class of the object and the kind of event.
class Told {
public:
    explicit Told(const Everything& everything) {
        for (IDispatch* root : {everything.project.get(), everything.library.get()})
            subscriptions_.emplace_back(Object(Ref<IDispatch>(root)).As<Root>(), [this](const Change& change) {
                all_.push_back(change.kind == Change::Kind::Root
                                   ? "root"
                                   : ClassOf(change.object) + " " + std::to_string(change.type));
            });
    }
    std::vector<std::string> Taken() { return std::exchange(all_, {}); }

    static std::string ClassOf(const Object& object) {
        const Answer answer = GetLate(object.Pointer(), 0x43);
        for (const ClassTable& table : ClassTables())
            if (ToText(table.interfaceId) == TextOf(answer.value.bstrVal)) return table.interfaceName;
        return "?";
    }

private:
    std::vector<std::string> all_;
    std::vector<Subscription> subscriptions_;
};

using Strings = std::vector<std::string>;

VARIANT AsDate(double date) {
    VARIANT argument{};
    argument.vt = VT_DATE;
    argument.date = date;
    return argument;
}

// Every property of every class, with the sample that has it.
template <class Visit>
void ForEachProperty(const Everything& everything, Visit visit) {
    for (const ClassTable& table : ClassTables())
        for (const Property& property : table.properties) {
            SCOPED_TRACE(NameOf(table, property.name));
            visit(table, property, everything.Of(table));
        }
}

// All others are 0 or empty.
const std::map<std::string, std::vector<double>> kInitial{
    {"IBoxCfg.XdA_FIR", {0, 2, 2, 2, 1, 3, 3, 3, 1, 3, 3, 3, 1, 3, 3, 3}},
    {"IBoxCfg.XdA_IIRLeft", {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3}},
    {"IBoxCfg.XdA_IIRRight", {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3}},
    {"IBoxCfgBank.SampleRate", {48000}},
    {"IBoxCfgSpkr.ConfigID", {LX_SINGLEAMP}},
    {"IBoxCfgSpkr.Mode", {LX_FM_DISABLE}},
    {"ICorrection.CorrectionScale", {1}},
    {"ICorrection.CrossoverMethod", {LX_LINEAR_PHASE}},
    {"ICorrection.MeasSmoothMethod", {LX_MSMTH_CHEBY}},
    {"ICorrection.MeasureScale", {1}},
    {"ICorrection.OptMethod", {LX_OM_MINDELAY}},
    {"ICorrection.SampleRate", {48000}},
    {"ICrossoverConfig.ConfigID", {LX_SINGLEAMP}},
    {"IDatum.SampleRate", {48000}},
    {"IMeasurement.IOConfig", {LX_IOCFG_UNKNOWN}},
    {"IMeasurement.SPLScale", {1}},
    {"IMeasurement.SampleRate", {48000}},
    {"IMicrophone.CalibrationMethod", {LX_CAL_FORWARD}},
    {"IMicrophone.SampleRate", {48000}},
    {"IMicrophone.Scale", {1}},
    {"IModelConfig.ConfigID", {LX_SINGLEAMP}},
    {"IRoomEQ.MeasSmoothMethod", {LX_MSMTH_CHEBY}},
    {"IRoomMeasurement.IOConfig", {LX_IOCFG_UNKNOWN}},
    {"IRoomMeasurement.SampleRate", {48000}},
    {"IRoomPosition.Scale", {1}},
    {"ISpkrEQConfig.ConfigID", {LX_SINGLEAMP}},
    {"ISpkrEQDesign.CrossoverMethod", {LX_LINEAR_PHASE}},
    {"ISpkrEQDesign.MeasSmoothMethod", {LX_MSMTH_CHEBY}},
    {"ISpkrEQDesign.OptMethod", {LX_OM_MINDELAY}},
    {"ISpkrEQDesign.SampleRate", {48000}},
    {"ISpkrMeasureLink.Scale", {1}},
};

TEST(EveryClass, StartsWithItsInitialValues) {
    std::set<std::string> seen;
    ForEachProperty(Everything(), [&](const ClassTable& table, const Property& property, IDispatch* object) {
        const auto initial = kInitial.find(NameOf(table, property.name));
        for (LONG place = 0; place < property.Places(); ++place) {
            const Value value = GetPlace(object, property, place);
            const bool listed = initial != kInitial.end();
            if (listed) seen.insert(initial->first);
            EXPECT_EQ(value.number, listed ? initial->second.at(static_cast<std::size_t>(place)) : 0.0) << place;
            EXPECT_TRUE(value.AsText().empty() && !value.array) << place;
        }
    });
    EXPECT_EQ(seen.size(), kInitial.size());
}

const std::map<std::string, std::u16string_view> kTitles{{"IData", u"Data"},
                                                         {"IRoomEQs", u"ROOM MEASUREMENTS"},
                                                         {"IRoomCorrectionGroups", u"Room Correction Groups"},
                                                         {"IRoomCorrections", u"CORRECTIONS"},
                                                         {"IRoomPositions", u"MEASUREMENT POSITIONS"},
                                                         {"IRoomMeasurements", u"MEASUREMENTS"},
                                                         {"IBoxCfgs", u"QDU CONFIGURATIONS"},
                                                         {"IBoxCfgBanks", u"QDU PROFILES"},
                                                         {"IBoxCfgSpkrs", u"SPEAKER FILTERS"},
                                                         {"IManufacturers", u"MANUFACTURERS"},
                                                         {"IModels", u"MODELS"},
                                                         {"IModelConfigs", u"CONFIGS"},
                                                         {"IMicrophones", u"MICROPHONES"},
                                                         {"IExperiments", u"MEASUREMENTS"},
                                                         {"IExpMeasureLinks", u"MEASUREMENTS"},
                                                         {"IMeasurements", u"MEASUREMENTS"},
                                                         {"ISpeakerEQs", u"SPEAKERS"},
                                                         {"ISpkrEQConfigs", u"CONFIGS"},
                                                         {"ICorrections", u"CORRECTIONS"},
                                                         {"ISpkrCorrectionGroups", u"CORRECTION SETS"},
                                                         {"ISpkrCorrectionLinks", u"CORRECTIONS"},
                                                         {"ISpkrMeasureLinks", u"MEASUREMENTS"},
                                                         {"ICrossoverConfigs", u"CROSSOVERS"},
                                                         {"ISpkrEQDesigns", u"TEMPLATES"}};

// Up, down, and by name; Parent and Root under the DISPIDs that the class's table gives them.
TEST(EveryClass, KnowsItsPlace) {
    const Everything everything;
    std::map<const ClassTable*, std::u16string> paths{{&ProjectTable(), u"PROJECT"},
                                                      {&LibraryTable(), u"SPECIFICATIONS"}};
    const std::function<void(const ClassTable&)> below = [&](const ClassTable& owner) {
        SCOPED_TRACE(owner.interfaceName);
        const bool isCollection = owner.kind == Kind::Collection;
        std::vector<const ClassTable*> next;
        if (isCollection) next.push_back(owner.member);
        for (const ChildTable& child : owner.children) {
            next.push_back(child.collection);
            EXPECT_EQ(IdOf(GetLate(everything.Of(owner), child.id).Object()), IdOf(everything.Of(*child.collection)));
        }
        for (const ClassTable* table : next) {
            IDispatch* object = everything.Of(*table);
            for (const tables::Interface& each : tables::Interfaces())
                for (const tables::Member& row : each.members)
                    if (each.name == table->interfaceName && (row.name == "Parent" || row.name == "Root")) {
                        IDispatch* expected = row.name == "Root" ? everything.RootOf(*table) : everything.Of(owner);
                        EXPECT_EQ(IdOf(GetLate(object, static_cast<DISPID>(row.id)).Object()), IdOf(expected));
                    }
            EXPECT_EQ(IdOf(GetLate(object, member::kRootBase).Object()), IdOf(everything.RootOf(*table)));
            const std::u16string name(TextOf(GetLate(object, member::kName).value.bstrVal));
            paths[table] = paths[&owner] + u"/" + name;
            if (table->kind == Kind::Collection) {
                EXPECT_EQ(ToUtf8(name), ToUtf8(kTitles.at(table->interfaceName)));
                EXPECT_EQ(GetLate(object, member::kCount).value.lVal > 0, true);
            } else {
                EXPECT_EQ(IdOf(GetLate(object, member::kParentBase).Object()), IdOf(everything.Of(owner)));
                EXPECT_EQ(ToUtf8(TextOf(GetLate(object, member::kFQName).value.bstrVal)), ToUtf8(paths[table]));
                EXPECT_EQ(GetLate(object, 0x3b).value.lVal, table->isLink) << "IsLink";
            }
            below(*table);
        }
    };
    below(ProjectTable());
    below(LibraryTable());
    EXPECT_EQ(paths.size(), ClassTables().size());
}

// Those compare first: the same value again tells nobody.
const std::set<std::string> kCompared{"IBoxCfgSpkr.FilterFrequencyHi", "IBoxCfgSpkr.FilterFrequencyLo",
                                      "IBoxCfgSpkr.FilterSlopeHi",     "IBoxCfgSpkr.FilterSlopeLo",
                                      "IBoxCfgSpkr.LastCalcedDelay",   "IBoxCfgBank.Config"};

bool Compares(const ClassTable& table, const Property& property) {
    return kCompared.contains(NameOf(table, property.name)) || (table.interfaceName == "IBoxCfg" && !property.IsText());
}

TEST(EveryClass, KeepsAndTellsWhatIsPut) {
    const Everything everything;
    Told told(everything);
    ForEachProperty(everything, [&](const ClassTable& table, const Property& property, IDispatch* object) {
        const std::string name = NameOf(table, property.name);
        const bool compared = Compares(table, property);
        const std::string event =
            table.kind == Kind::Root
                ? "root"
                : table.interfaceName + " " + std::to_string(property.IsArray() ? LX_EV_DATA_CHANGE : LX_EV_DEFAULT);
        for (LONG place = 0; property.put && place < property.Places(); ++place) {
            const Value value = ValueFor(table, property, place, 1);
            const AsArgument argument(property, value);
            told.Taken();
            ASSERT_EQ(PutPlace(object, property, place, argument).status, S_OK);
            const Strings first = told.Taken();
            EXPECT_EQ(std::ranges::count(first, event), 1) << place;
            EXPECT_EQ(first.size(), name == "IBoxCfgBank.Config" ? 5u : 1u) << "the positions follow the mode";
            EXPECT_EQ(Shown(GetPlace(object, property, place)), Shown(value));
            EXPECT_TRUE(GetPlace(object, property, place) == value) << place;
            EXPECT_EQ(PutPlace(object, property, place, argument).status, S_OK);
            EXPECT_EQ(told.Taken().size(), compared ? 0u : first.size()) << place;
        }
        for (int dimension = 0; dimension < property.dimensions; ++dimension)
            for (const LONG index : {LONG{0}, property.counts[dimension] + 1}) {
                VARIANT indices[] = {LongArgument(1), LongArgument(1), LongArgument(1)};
                indices[dimension] = LongArgument(index);
                const auto count = static_cast<std::size_t>(property.dimensions);
                EXPECT_EQ(CallLate(object, property.id, DISPATCH_PROPERTYGET, {indices, count}).status, E_INVALIDARG);
                EXPECT_EQ(CallLate(object, property.id, DISPATCH_PROPERTYPUT, {indices, count + 1}).status,
                          E_INVALIDARG);
            }
    });
    for (const ClassTable& table : ClassTables())
        for (const ReferenceTable& row : table.references) {
            if (!row.put) continue;
            SCOPED_TRACE(NameOf(table, row.name));
            IDispatch* object = everything.Of(table);
            EXPECT_EQ(PutLate(object, row.id, {ObjectArgument(nullptr)}).status, row.mayBeEmptied ? S_OK : E_POINTER);
            EXPECT_EQ(GetLate(object, row.id).Object() == nullptr, row.mayBeEmptied);
            told.Taken();
            ASSERT_EQ(PutLate(object, row.id, {ObjectArgument(everything.Of(*row.target))}).status, S_OK);
            EXPECT_EQ(told.Taken(), Strings{table.kind == Kind::Root ? "root" : table.interfaceName + " 0"});
            const Answer answer = GetLate(object, row.id);
            ASSERT_TRUE(answer.Object());
            EXPECT_EQ(IdOf(answer.Object()), IdOf(everything.Of(*row.target)));
        }
}

// Removed with what is above them or left by their document: every change is refused. What a put stores before it looks
// for its owners stays.
TEST(EveryClass, RefusesChangesOnceItIsAnOrphan) {
    for (const bool removed : {true, false}) {
        Everything everything;
        auto objects = everything.objects;
        objects.erase(&ProjectTable());
        objects.erase(&LibraryTable());
        if (removed) {
            for (const ClassTable* root : {&ProjectTable(), &LibraryTable()})
                for (const ChildTable& child : root->children)
                    ASSERT_EQ(DoLate(everything.Of(*child.collection), member::kRemoveAll).status, S_OK);
        } else {
            everything.objects.clear();
            everything.project = everything.library = nullptr;
        }
        for (const ClassTable& table : ClassTables()) {
            if (table.kind != Kind::Item) continue;
            SCOPED_TRACE(table.interfaceName);
            IDispatch* object = objects.at(&table).get();
            const Bstr name(u"orphan");
            EXPECT_EQ(PutLate(object, member::kName, {TextArgument(name.get())}).status, kOrphaned);
            EXPECT_NE(TextOf(GetLate(object, member::kName).value.bstrVal), u"orphan");
            for (const DISPID owner : {member::kParentBase, member::kParent, member::kRoot, member::kRootBase})
                EXPECT_EQ(GetLate(object, owner).status, kOrphaned) << owner;
            for (const Property& property : table.properties) {
                if (!property.put) continue;
                SCOPED_TRACE(property.name);
                const Value value = ValueFor(table, property, 0, 2);
                EXPECT_EQ(PutPlace(object, property, 0, AsArgument(property, value)).status, kOrphaned);
                const HRESULT status = property.dimensions == 0 ? GetLate(object, property.id).status : S_OK;
                EXPECT_TRUE(status == kOrphaned || (status == S_OK && !property.IsArray())) << InHex(status);
                EXPECT_TRUE(property.dimensions != 0 || status != S_OK || GetPlace(object, property, 0) == value);
            }
        }
    }
}

// ---- whole documents ----

class EveryClassInAFile : public ::testing::Test {
protected:
    void Save(IDispatch* root, const char* name) {
        const Bstr path(PathText(folder / name));
        ASSERT_EQ(DoLate(root, member::kSaveFileAs, {TextArgument(path.get())}).status, S_OK);
        ASSERT_EQ(DoLate(root, member::kCloseFile).status, S_OK);
        for (const DocumentProblem& problem : CheckDocument(folder / name))
            ADD_FAILURE() << problem.where << ": " << problem.what;
    }
    Ref<IDispatch> Open(const ClassTable& table, const char* name) {
        Ref<IDispatch> root = NewRoot(table);
        const Bstr path(PathText(folder / name));
        EXPECT_EQ(DoLate(root.get(), member::kOpenFile, {TextArgument(path.get())}).status, S_OK);
        return root;
    }
    // The document's content is that of `expected`.
    void ExpectSame(IDispatch* root, Tree& expected) {
        try {
            Compare(*expected.root, root, {});
        } catch (const Wrong& wrong) {
            ADD_FAILURE() << wrong.what();
        }
    }
    const Folder folder;
    Everything everything;
};

// Wrapped; many zeros in a row as "00 (times)".
std::string Wrapped(const std::string& record) {
    std::istringstream words(record + " end");
    std::string text, line, word;
    std::size_t zeros = 0;
    const auto add = [&](const std::string& each) {
        if (line.size() + each.size() > 112) text += "    " + std::exchange(line, {}) + "\n";
        line += (line.empty() ? "" : " ") + each;
    };
    while (words >> word) {
        if (word == "00" && ++zeros) continue;
        for (; zeros > 0 && zeros <= 16; --zeros) add("00");
        if (zeros > 0) add("00 (" + std::to_string(std::exchange(zeros, 0)) + ")");
        if (word != "end") add(word);
    }
    return text + "    " + line + "\n";
}

// records.txt has the record of each class: when it is new, when it is filled, and without the collections below it; of
// both roots the two streams. Bytes are in hexadecimal; in the place of an object's ID stands its class, in quotes
// where the record has the ID as text. LUMVEX_WRITE_RECORDS names a file to write them to.
TEST_F(EveryClassInAFile, HasTheRecordOfTheFormat) {
    std::string lines;
    for (const char* state : {"new", "filled", "without collections"}) {
        everything = Everything();
        if (state == std::string("filled")) everything.Fill(1);
        auto objects = everything.objects;
        for (const auto& [table, object] : everything.objects) {
            if (table->kind != Kind::Item) continue;
            const Bstr name(u"A");
            PutLate(object.get(), member::kName, {TextArgument(name.get())});
            PutLate(object.get(), member::kTimestamp, {AsDate(1.5)});
            if (state != std::string("without collections") || table->children.empty()) continue;
            const Answer copy =
                DoLate(object.get(), member::kCopyNoChildren, {GetLate(object.get(), member::kParentBase).value});
            if (copy.status == S_OK) objects[table] = Ref<IDispatch>(copy.Object());
        }
        std::vector<std::pair<std::string, std::string>> names;
        for (const auto& [table, object] : everything.objects) {
            const std::u16string id = IdOf(object.get());
            const GUID guid = *ParseGuid(id);
            const auto hexOf = [](const auto* first, const auto* last) {
                return AsHex({reinterpret_cast<const std::byte*>(first), reinterpret_cast<const std::byte*>(last)});
            };
            names.emplace_back(hexOf(&guid, &guid + 1), table->name);
            names.emplace_back(hexOf(id.data(), id.data() + id.size()), "'" + table->name + "'");
        }
        const auto write = [&](const ClassTable& table, const std::string& what, const Bytes& bytes) {
            std::string record = AsHex(bytes);
            for (const auto& [hex, name] : names)
                for (std::size_t at; (at = record.find(hex)) != std::string::npos;)
                    record.replace(at, hex.size(), name);
            lines += table.name + " " + what + "\n" + Wrapped(record);
        };
        for (const ClassTable* root : {&LibraryTable(), &ProjectTable()}) {
            IDispatch* document = everything.Of(*root);
            if (root == &ProjectTable()) PutLate(document, member::kSpecifications, {VARIANT{}});  // its path differs
            Save(document, "saved");
            const Streams streams = ReadDocument(folder / "saved");
            write(*root, std::string(state) + ", ROOT", streams.at(u"ROOT"));
            write(*root, std::string(state) + ", ROOT-V200", streams.at(u"ROOT-V200"));
            for (const ClassTable& table : ClassTables())
                if (table.kind == Kind::Item && table.ofLibrary == root->ofLibrary &&
                    (!table.children.empty() || state != std::string("without collections")))
                    write(table, state, streams.at(inside::StreamNameOf(*ParseGuid(IdOf(objects.at(&table).get())))));
        }
    }
    if (const char* path = std::getenv("LUMVEX_WRITE_RECORDS")) std::ofstream(path) << lines;
    std::ifstream expected(LUMVEX_RECORDS);
    EXPECT_EQ(lines, std::string(std::istreambuf_iterator<char>(expected), {}));
}

// The name that a record has, or the status with which reading it fails; into an object, or past one.
std::string NameInRecord(const inside::ClassInfo& info, const Bytes& record, bool intoObject) {
    const auto source = std::make_shared<const inside::MemorySource>(record);
    std::u16string name;
    try {
        if (!intoObject) {
            inside::ReadName(info, inside::RecordReader(record), name);
            return ToUtf8(name);
        }
        const Ref<inside::Object> object = info.create();
        object->Bind(*Ref<inside::Entry>(new inside::Entry(GUID_NULL, &info)));
        inside::ReadObject(*object, inside::RecordReader(source));
        return ToUtf8(std::u16string_view(object->OwnEntry().name));
    } catch (const inside::Failure& failure) {
        return "fails: " + std::to_string(static_cast<unsigned>(failure.Status())) + ", " +
               std::to_string(failure.MessageNumber());
    }
}

// A search for a name reads the records that it passes, and has to notice whatever loading them would.
TEST_F(EveryClassInAFile, HasItsNameReadAsItIsLoadedWhateverIsDamaged) {
    everything.Fill(1);
    Save(everything.library.get(), "library");
    Save(everything.project.get(), "project");
    const std::map<bool, Streams> streams{{true, ReadDocument(folder / "library")},
                                          {false, ReadDocument(folder / "project")}};
    for (const ClassTable& table : ClassTables()) {
        if (table.kind != Kind::Item) continue;
        const inside::ClassInfo& info = *inside::FindClass(table.classId);
        const Bytes whole =
            streams.at(table.ofLibrary).at(inside::StreamNameOf(*ParseGuid(IdOf(everything.Of(table)))));
        const auto expectSame = [&](const Bytes& record, std::size_t at) {
            EXPECT_EQ(NameInRecord(info, record, false), NameInRecord(info, record, true)) << table.name << ", " << at;
        };
        EXPECT_EQ(NameInRecord(info, whole, false),
                  ToUtf8(TextOf(GetLate(everything.Of(table), member::kName).value.bstrVal)));
        for (std::size_t at = 0; at < whole.size(); ++at) {
            expectSame(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)), at);
            for (const unsigned bits : {0x01u, 0x04u, 0xFFu}) {
                Bytes damaged = whole;
                damaged[at] ^= std::byte(bits);
                expectSame(damaged, at);
            }
        }
        for (unsigned version = 0; version <= info.version.Writer() + 1; ++version) {
            Bytes older = whole;
            older[0] = std::byte(version);
            expectSame(older, version);
        }
    }
}

TEST_F(EveryClassInAFile, IsReadBackAsItWasSaved) {
    for (int round = 1; round <= 3; ++round) {
        everything.Fill(round);
        const auto library = ReadTree(LibraryTable(), everything.library.get());
        const auto project = ReadTree(ProjectTable(), everything.project.get());
        Save(everything.library.get(), "library");
        Save(everything.project.get(), "project");
        const auto savedLibrary = library->Saved(), savedProject = project->Saved();  // without what is for the session
        ExpectSame(Open(LibraryTable(), "library").get(), *savedLibrary);
        ExpectSame(Open(ProjectTable(), "project").get(), *savedProject);
        const Ref<IDispatch> compared = Open(ProjectTable(), "project");
        ForEachProperty(everything, [&](const ClassTable& table, const Property& property, IDispatch* object) {
            if (!Compares(table, property)) return;
            const Bstr id(IdOf(object));
            const Ref<IDispatch> same(DoLate(compared.get(), member::kLoad, {TextArgument(id.get())}).Object());
            const AsArgument value(property, ValueFor(table, property, 0, round));
            EXPECT_EQ(PutPlace(same.get(), property, 0, value).status, S_OK);
            EXPECT_EQ(GetLate(compared.get(), member::kModified).value.boolVal, VARIANT_FALSE)
                << "what is there already";
        });
        DoLate(compared.get(), member::kCloseFile);
        // Without having looked at it.
        const Ref<IDispatch> untouched = Open(ProjectTable(), "project");
        Save(untouched.get(), "copy");
        ExpectSame(Open(ProjectTable(), "copy").get(), *savedProject);
    }
}

// A copy has IDs of its own and no locks; what was given other values takes the contents back.
TEST_F(EveryClassInAFile, IsCopiedWithAllItHolds) {
    everything.Fill(1);
    for (const ClassTable& table : ClassTables()) {
        if (table.kind != Kind::Item) continue;
        SCOPED_TRACE(table.interfaceName);
        IDispatch* item = everything.Of(table);
        PutLate(item, member::kLocks, {LongArgument(2)});
        const auto tree = ReadTree(table.ofLibrary ? LibraryTable() : ProjectTable(), everything.RootOf(table));
        Node* source = nullptr;
        ForEach(*tree->root, [&](Node& node) { source = node.id == IdOf(item) ? &node : source; });
        ASSERT_TRUE(source);
        const Ref<IDispatch> owner(GetLate(item, member::kParentBase).Object());
        const Answer copy = DoLate(item, member::kCopy, {ObjectArgument(owner.get())});
        if (table.name == "CSpkrEQDesign" || table.name == "CCrossoverConfig") {
            EXPECT_EQ(copy.status, Status(0x80040FA0)) << "each name once";
            continue;
        }
        ASSERT_EQ(copy.status, S_OK);
        const auto same = [](const Node* target) { return const_cast<Node*>(target); };
        Node* expected = tree->Clone(*source, source->owner, true, same);
        source->owner->below.push_back(expected);
        const auto compare = [&] {
            try {
                Compare(*expected, copy.Object(), {});
            } catch (const Wrong& wrong) {
                ADD_FAILURE() << wrong.what();
            }
        };
        compare();
        EXPECT_NE(expected->id, source->id);
        Everything::Fill(table, copy.Object(), 2);
        EXPECT_EQ(DoLate(item, member::kCopyContents, {ObjectArgument(copy.Object())}).status, S_OK);
        for (Node* child : expected->below) ForEach(*child, [](Node& node) { node.id.clear(); });
        compare();
        PutLate(item, member::kLocks, {LongArgument(0)});
    }
    Save(everything.project.get(), "project");
    Save(everything.library.get(), "library");
}

// An item goes with all below, and tells of it; one that is locked, or has something locked below, stays.
TEST_F(EveryClassInAFile, IsRemoved) {
    for (const ClassTable& table : ClassTables()) {
        if (table.kind != Kind::Item) continue;
        SCOPED_TRACE(table.interfaceName);
        everything = Everything();
        Told told(everything);
        IDispatch* item = everything.Of(table);
        const Ref<IDispatch> owner(GetLate(item, member::kParentBase).Object());
        const LONG count = GetLate(owner.get(), member::kCount).value.lVal;
        const std::u16string id = IdOf(item);
        LONG position = 1;
        while (IdOf(GetLate(owner.get(), member::kItem, {LongArgument(position)}).Object()) != id) ++position;
        PutLate(item, member::kLocks, {LongArgument(1)});
        told.Taken();
        EXPECT_EQ(DoLate(owner.get(), member::kRemove, {LongArgument(position)}).status, Status(0x80040FA8));
        EXPECT_EQ(told.Taken(), Strings());
        PutLate(item, member::kLocks, {LongArgument(0)});
        told.Taken();
        ASSERT_EQ(DoLate(owner.get(), member::kRemove, {LongArgument(position)}).status, S_OK);
        const Strings events = told.Taken();
        ASSERT_GE(events.size(), 2u);
        EXPECT_EQ(events.front(), table.interfaceName + " 7");
        EXPECT_EQ(events.back(), Told::ClassOf(Object(owner)) + " 9");
        EXPECT_EQ(GetLate(owner.get(), member::kCount).value.lVal, count - 1);
        const Bstr text(id);
        EXPECT_EQ(DoLate(everything.RootOf(table), member::kLoad, {TextArgument(text.get())}).status, S_FALSE);
        Save(everything.RootOf(table), "removed");
    }
}

}  // namespace
}  // namespace lumvex::tests
