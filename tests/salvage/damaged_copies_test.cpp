// Damaged copies of documents and what a repair gives back of them: every object whose bytes are still in the file.
#include <cmath>
#include <cstdlib>
#include <set>

#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "core/tree/references.hpp"
#include "kit/committed_image.hpp"
#include "kit/documents.hpp"
#include "kit/random.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/object_record.hpp"
#include "storage/records/table_rows.hpp"

namespace lumvex::tests {
namespace {

using inside::ClassInfo;

struct Place {
    std::uint64_t offset, count;
};

// An item as the file has it: its class, where its bytes are, and its content: the record without the references.
struct StoredItem {
    const ClassInfo* info;
    std::vector<Place> places;
    Bytes content;
    std::vector<GUID> targets;

    bool operator==(const StoredItem& other) const {
        return info == other.info && content == other.content &&
               std::ranges::equal(targets, other.targets, IsEqualGUID);
    }
};

using Items = std::map<GUID, StoredItem, inside::GuidLess>;

struct Image {
    std::string name;
    Bytes bytes;
    Items items;
};

Bytes ContentOf(const ClassInfo& info, const GUID& id, Bytes record, std::vector<GUID>& targets) {
    using namespace inside;
    const lumvex::Ref<inside::Object> object = info.create();
    object->Bind(*lumvex::Ref<Entry>(new Entry(id, &info)));
    ReadObject(*object, RecordReader(std::make_shared<MemorySource>(std::move(record))));
    object->Materialise();
    object->ForEachChild([](ChildSlot& slot, const ClassInfo&) { slot.reference.reset(); });
    object->ForEachReference([&](ReferenceBase& reference, const ClassInfo&) {
        if (reference.Id()) targets.push_back(*reference.Id());
        reference.PointTo(std::optional<GUID>());
    });
    RecordWriter writer;
    WriteObject(*object, writer);
    return writer.Joined();
}

Items ItemsOf(const Bytes& bytes) {
    using namespace inside;
    const CommittedImage image(bytes);
    std::map<GUID, compound::EntryId, GuidLess> streams;
    Items items;
    const auto read = [&](compound::StreamBody& body) {
        Bytes record(body.size);
        body.Read(0, record);
        return record;
    };
    std::array<char16_t, compound::kMaxNameLength> buffer;
    Bytes table;
    for (compound::EntryId entry = 1; entry < image->EntryCount(); ++entry) {
        const std::u16string_view name = image->At(entry).Name(buffer);
        if (const auto id = IdOfStream(name)) streams.emplace(*id, entry);
        if (name != kDirectoryStream) continue;
        compound::StreamBody body(image.State(), entry);
        table = read(body);
    }
    for (std::size_t at = 4; at + sizeof(DirectoryRow) <= table.size(); at += sizeof(DirectoryRow)) {
        DirectoryRow row;
        std::memcpy(&row, &table[at], sizeof row);
        const ClassInfo* info = FindClass(row.classId);
        if (!info || info->kind != ClassKind::Item || !streams.contains(row.id)) continue;
        compound::StreamBody body(image.State(), streams.at(row.id));
        StoredItem item{info, {}, {}, {}};
        for (std::uint64_t done = 0; done < body.size;) {
            const auto extent = body.ExtentAt(done, body.size - done);
            item.places.push_back({extent.offset, extent.count});
            done += extent.count;
        }
        item.content = ContentOf(*info, row.id, read(body), item.targets);
        items.emplace(row.id, std::move(item));
    }
    return items;
}

// Some of each class, all of them different, with arrays up to `elements` long.
void MakeVaried(Project& project, int copies, std::size_t elements) {
    for (int copy = 0; copy < copies; ++copy) {
        project.Rooms().Item(1).Copy(project.Rooms());
        project.SpeakerEQs().Item(1).Copy(project.SpeakerEQs());
        project.BoxCfgs().Item(1).Copy(project.BoxCfgs());
        project.Experiments().Item(1).Copy(project.Experiments());
        project.Data().Add(u"more");
    }
    int round = 0;
    const auto tree = ReadTree(ProjectTable(), project.Pointer());
    ForEach(*tree->root, [&](const Node& node) {
        if (!node.IsItem()) return;
        const Object object = project.Load(node.id);
        Everything::Fill(*node.table, object.Pointer(), ++round % 60);
        if (node.table->name == "CDatum" || node.table->name == "CRoomMeasurement") {
            std::vector<float> values(elements * static_cast<std::size_t>(round % 7) / 6 + 2);
            for (std::size_t at = 0; at < values.size(); ++at)
                values[at] = std::sin(static_cast<float>(at + 31 * round));
            node.table->name == "CDatum" ? object.As<Datum>().Data(Floats(values))
                                         : object.As<RoomMeasurement>().Data(Floats(values));
        }
        object.As<Collectable>().Name(FromUtf8(node.table->name + " " + std::to_string(round)));
    });
}

// Dates that are a minute apart, and the same in every run, for what has been made since the last call.
void PutDates(const ClassTable& root, Object& document) {
    constexpr DATE kBegin = 30000, kMinute = 1.0 / 1440;
    static int minutes = 0;
    const auto tree = ReadTree(root, document.Pointer());
    ForEach(*tree->root, [&](const Node& node) {
        if (!node.IsItem()) return;
        Collectable item = document.As<Root>().Load(node.id).As<Collectable>();
        if (item.Timestamp() > kBegin + 1000) item.Timestamp(kBegin + kMinute * ++minutes);
    });
}

const std::vector<Image>& Images() {
    static const std::vector<Image> images = [] {
        std::vector<Image> made;
        const Folder folder;
        const auto keep = [&](const std::string& name) {
            Bytes bytes = FileBytes(folder / name);
            Items items = ItemsOf(bytes);
            made.push_back({name, std::move(bytes), std::move(items)});
        };
        const auto saved = [&](const Everything& everything, const ClassTable& root, const std::string& name) {
            Object document(everything.RootOf(root));
            PutDates(root, document);
            document.As<Root>().SaveFileAs(PathText(folder / name));
            keep(name);
        };
        Everything everything;
        everything.Fill(1);
        saved(everything, ProjectTable(), "one of everything");
        saved(everything, LibraryTable(), "library");
        Project project = Object(everything.project).As<Project>();
        MakeVaried(project, 4, 3000);
        PutDates(ProjectTable(), project);
        project.SaveFileAs(PathText(folder / "varied"));
        keep("varied");
        for (LONG round = 1; round <= 3; ++round) {
            ChangeEverything(project, round);
            PutDates(ProjectTable(), project);
            project.SaveFile();
        }
        keep("varied");
        made.back().name = "saved again and again";
        // A list with marks of names, records on both sides of the length from which on they are long streams.
        Everything listed;
        listed.Fill(1);
        Project data = Object(listed.project).As<Project>();
        for (LONG member = 1; member <= 60; ++member) {
            Datum datum = data.Data().Add(u"listed " + FromUtf8(std::to_string(member)));
            datum.Data(Floats(std::vector<float>(980 + static_cast<std::size_t>(member), static_cast<float>(member))));
        }
        PutDates(ProjectTable(), data);
        data.SaveFileAs(PathText(folder / "listed"));
        data.Data().Item(5).Name(u"renamed");
        data.Data().Item(6).Data(Floats(std::vector<float>(30)));
        data.Data().Item(7).Data(Floats(std::vector<float>(3000)));
        data.SaveFile();
        keep("listed");
        Everything other;
        other.Fill(2);
        Project large = Object(other.project).As<Project>();
        MakeVaried(large, 2, 60000);
        PutDates(ProjectTable(), large);
        large.SaveFileAs(PathText(folder / "large"));
        keep("large");
        return made;
    }();
    return images;
}

// ---- damage ---------------------------------------------------------------------------------------------------------

enum Damage { kCut, kZeros, kRubbish, kSwap, kFlips, kAllOfIt, kDamages };
constexpr const char* kNames[] = {"cut", "zeroed", "overwritten", "swapped", "flipped", "all of it"};

void Hurt(Bytes& bytes, Damage damage, Random& random) {
    const std::size_t sector = random.OneIn(2) ? 512 : 4096;
    const std::size_t sectors = std::max<std::size_t>(1, bytes.size() / sector);
    const auto at = [&](std::size_t number) { return bytes.begin() + static_cast<std::ptrdiff_t>(number * sector); };
    switch (damage) {
        case kCut:
            bytes.resize(random.Below(bytes.size()));
            break;
        case kZeros:
        case kRubbish:
            for (std::size_t count = 1 + random.Below(6); count > 0; --count) {
                const std::size_t begin = random.Below(sectors) * sector;
                for (std::size_t each = begin; each < std::min(begin + sector, bytes.size()); ++each)
                    bytes[each] = damage == kZeros ? std::byte{0} : static_cast<std::byte>(random.Next() & 0xFF);
            }
            break;
        case kSwap:
            for (std::size_t count = 1 + random.Below(3); count > 0 && sectors > 1; --count) {
                const std::size_t one = random.Below(sectors), other = random.Below(sectors);
                if (one == other || (std::max(one, other) + 1) * sector > bytes.size()) continue;
                std::swap_ranges(at(one), at(one) + static_cast<std::ptrdiff_t>(sector), at(other));
            }
            break;
        case kFlips:
            for (std::size_t count = 1 + random.Below(40); count > 0; --count)
                bytes[random.Below(bytes.size())] ^= static_cast<std::byte>(1u << random.Below(8));
            break;
        default:
            Hurt(bytes, kSwap, random);
            Hurt(bytes, kZeros, random);
            Hurt(bytes, kFlips, random);
            if (random.OneIn(2)) bytes.resize(bytes.size() - random.Below(bytes.size() / 4));
    }
}

bool IsIntact(const StoredItem& item, const Bytes& original, const Bytes& damaged) {
    return std::ranges::all_of(item.places, [&](const Place& place) {
        const auto from = static_cast<std::ptrdiff_t>(place.offset),
                   to = from + static_cast<std::ptrdiff_t>(place.count);
        return static_cast<std::size_t>(to) <= damaged.size() &&
               std::equal(original.begin() + from, original.begin() + to, damaged.begin() + from);
    });
}

// `wrong`: objects that came back under their IDs with another content, although nothing had changed their bytes, and
// `ofOthers`: those whose bytes were changed, and that came back with all that another object has. Both are about what
// the report does not name. What was changed within an object's own bytes cannot be noticed: there are no sums.
// `doubted`: objects that came back as they were, and the report says that they may be wrong. `extra`: objects that the
// document did not have, of older states, damaged ones without their IDs, and what was kept in each way it may be.
struct Figures {
    std::size_t copies = 0, intact = 0, back = 0, sameId = 0, wrong = 0, ofOthers = 0, doubted = 0, extra = 0;

    void Add(const Figures& other) {
        copies += other.copies, intact += other.intact, back += other.back, sameId += other.sameId;
        wrong += other.wrong, ofOthers += other.ofOthers, doubted += other.doubted, extra += other.extra;
    }
    void Print(const char* name) const {
        std::printf(
            "%-12s %5zu copies: %7zu objects intact, %7zu given back, %7zu under their IDs, %4zu doubted, "
            "%zu wrong, %zu as others, %zu extra\n",
            name, copies, intact, back, sameId, doubted, wrong, ofOthers, extra);
    }
};

// Does the report say one of these of the object?
bool Says(const std::vector<DocumentProblem>& losses, const GUID& id, std::initializer_list<std::string_view> words) {
    const std::string text = ToUtf8(ToText(id));
    return std::ranges::any_of(losses, [&](const DocumentProblem& loss) {
        return loss.where.find(text) != std::string::npos && std::ranges::any_of(words, [&](std::string_view word) {
                   return loss.what.find(word) != std::string::npos;
               });
    });
}

void RepairOne(const Image& image, Damage damage, std::uint64_t seed, Figures& figures) {
    const Folder folder;
    Random random(seed);
    Bytes bytes = image.bytes;
    Hurt(bytes, damage, random);
    const auto from = folder / (image.name == "library" ? "damaged.lvs" : "damaged.lvp"), to = folder / "repaired";
    WriteFileBytes(from, bytes);
    const std::string what = image.name + ", " + kNames[damage] + ", seed " + std::to_string(seed);
    std::vector<GUID> intact;
    for (const auto& [id, item] : image.items)
        if (IsIntact(item, image.bytes, bytes)) intact.push_back(id);
    ++figures.copies;
    figures.intact += intact.size();
    std::vector<DocumentProblem> losses;
    try {
        losses = SalvageDocument(from, to).losses;
        if (std::getenv("LUMVEX_SALVAGE_LOSSES"))
            for (const DocumentProblem& loss : losses) std::printf("  %s: %s\n", loss.where.c_str(), loss.what.c_str());
    } catch (const lumvex::Error& error) {
        EXPECT_TRUE(intact.empty()) << what << ": " << error.what();
        return;
    }
    EXPECT_EQ(FileBytes(from), bytes) << what;
    for (const DocumentProblem& problem : CheckDocument(to))
        ADD_FAILURE() << what << ": " << problem.where << ": " << problem.what;
    const Items items = ItemsOf(FileBytes(to));
    std::multiset<std::pair<const ClassInfo*, Bytes>> others;
    std::size_t back = 0;
    std::string lost;
    const auto isIn = [&](const GUID& id) {
        const auto found = items.find(id);
        const StoredItem& item = image.items.at(id);
        return found != items.end() && found->second.info == item.info && found->second.content == item.content;
    };
    for (const auto& each : items) {
        const GUID& id = each.first;
        const StoredItem& item = each.second;
        const bool isIntact = std::ranges::binary_search(intact, id, inside::GuidLess());
        if (isIntact && isIn(id)) {
            figures.doubted += Says(losses, id, {"doubtful"});
            continue;
        }
        others.emplace(item.info, item.content);
        const auto had = image.items.find(id);
        figures.extra += had == image.items.end() && std::ranges::none_of(image.items, [&](const auto& other) {
                             return other.second.info == item.info && other.second.content == item.content;
                         });
        if (had == image.items.end() || had->second.content == item.content) continue;
        if (Says(losses, id, {"doubtful", "its directory entry is lost", "its record", "only its name"})) continue;
        const bool isOfOther = std::ranges::any_of(
            image.items, [&](const auto& other) { return other.first != id && other.second.content == item.content; });
        if (!isIntact && !isOfOther) continue;
        ++(isIntact ? figures.wrong : figures.ofOthers);
        lost += "\n    not told: " + ToUtf8(item.info->name) + " " + ToUtf8(ToText(id));
    }
    for (const GUID& id : intact) {
        const StoredItem& item = image.items.at(id);
        const bool same = isIn(id);
        const auto other = same ? others.end() : others.find({item.info, item.content});
        figures.sameId += same;
        if (same || other != others.end())
            ++back;
        else
            lost += "\n    " + ToUtf8(item.info->name) + " " + ToUtf8(ToText(id)) + " at " +
                    std::to_string(item.places[0].offset) + " places " + std::to_string(item.places.size());
        if (other != others.end()) others.erase(other);
    }
    figures.back += back;
    if (!lost.empty() && std::getenv("LUMVEX_SALVAGE_SHOW"))
        std::printf("%s: %zu of %zu%s\n", what.c_str(), back, intact.size(), lost.c_str());
}

TEST(Salvage, SoundDocumentsAreRepairedAsTheyAre) {
    std::vector<Image> images = Images();  // before anything else gets an ID
    const Folder folder;
    // Long streams of little more than one large sector: small ones suit them.
    Project project = Project::Create();
    for (int member = 0; member < 400; ++member)
        project.Data().Add(FromUtf8(std::to_string(member))).Data(Floats(std::vector<float>(1100, 1.0f)));
    project.SaveFileAs(PathText(folder / "fitting"));
    images.push_back({"fitting", FileBytes(folder / "fitting"), ItemsOf(FileBytes(folder / "fitting"))});
    for (const Image& image : images) {
        const std::filesystem::path from = folder / "sound", to = folder / ("repaired " + image.name);
        WriteFileBytes(from, image.bytes);
        EXPECT_EQ(SalvageDocument(from, to).losses.size(), 0u) << image.name;
        const Bytes repaired = FileBytes(to);
        constexpr std::size_t kVersionAt = 26;
        EXPECT_EQ(repaired[kVersionAt], image.bytes[kVersionAt]) << image.name;
        EXPECT_TRUE(ItemsOf(repaired) == image.items) << image.name;
    }
}

TEST(Salvage, DamagedCopiesGiveBackWhatIsStillThere) {
    const char* wanted = std::getenv("LUMVEX_DAMAGED_COPIES");
    const std::size_t copies = wanted ? std::strtoul(wanted, nullptr, 10) : 90;
    Figures figures[kDamages], all;
    const char* only = std::getenv("LUMVEX_SALVAGE_ONLY");
    for (std::size_t copy = 0; copy < copies; ++copy) {
        if (only && copy != std::strtoul(only, nullptr, 10)) continue;
        const auto damage = static_cast<Damage>(copy % kDamages);
        const Image& image = Images()[copy / kDamages % Images().size()];
        RepairOne(image, damage, copy, figures[damage]);
    }
    for (int damage = 0; damage < kDamages; ++damage) {
        figures[damage].Print(kNames[damage]);
        all.Add(figures[damage]);
    }
    all.Print("all");
    EXPECT_EQ(all.wrong, 0u);
    EXPECT_EQ(all.ofOthers, 0u);
    EXPECT_LE(50 * all.doubted, all.back);  // a report that doubts everything says nothing
    EXPECT_LE(20 * all.extra, all.back);    // nor does a document that is full of what the other one never had
    // What is missing are records in two places that nothing joins any more, most of them in copies with all damage.
    EXPECT_LE(20000 * (all.intact - all.back), all.intact);
    for (const Damage damage : {kCut, kZeros, kRubbish, kSwap, kFlips})
        EXPECT_LE(50000 * (figures[damage].intact - figures[damage].back), figures[damage].intact) << kNames[damage];
}

}  // namespace
}  // namespace lumvex::tests
