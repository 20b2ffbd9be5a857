// The search of FindObjects: what it knows so far, and its steps, each in the file that is named above it.
#pragma once

#include <unordered_map>

#include "storage/salvage/found_objects.hpp"
#include "storage/salvage/stream_beginnings.hpp"

namespace lumvex::inside {

class ObjectFinder {
public:
    ObjectFinder(compound::File& file, const ClassGraph& graph, const ClassInfo* likelyRoot,
                 std::vector<DocumentProblem>& losses, const Progress& progress)
        : likelyRoot_(likelyRoot),
          file_(std::make_shared<SalvagedFile>(file, BeginsAsAny)),
          graph_(graph),
          losses_(losses),
          progress_(progress),
          claimed_(static_cast<std::size_t>(file_->Size() / compound::kMiniSectorSize + 1)),
          guessedTables_(claimed_.size()) {}

    // To be called once.
    FoundDocument Run();

private:
    using SalvagedEntry = compound::SalvagedEntry;
    using SalvagedFile = compound::SalvagedFile;
    using Way = SalvagedFile::Way;
    using Source = std::shared_ptr<const SalvagedSource>;
    // What the bytes at a place may be: one for each class that fits.
    using Readings = std::vector<std::unique_ptr<FoundObject>>;

    // ---- find_tables.cpp
    template <class Visit>
    void ForEachReading(std::u16string_view name, Visit&& visit);
    void ReadTable();
    void TakeTable(const Source& source);
    void ReadRoot();
    bool TakeRoot(const Source& source, bool hasWord, bool isNamed);

    // ---- find_named.cpp
    void ReadNamed();
    bool LeadsTo(const GUID& id, const SalvagedSource& source) const;
    bool IsOutdated(const SalvagedEntry& entry) const;
    std::unique_ptr<FoundObject> ReadNamed(const GUID& id, const ClassInfo& info) const;
    Readings ReadNamedAsAny(const GUID& id) const;
    bool IsStale(const GUID& id) const;

    // ---- find_unnamed.cpp
    void ReadUnnamed();
    std::unique_ptr<FoundObject> ReadIn(const SalvagedFile::Unnamed& stream, const Source& source,
                                        const ClassInfo& info) const;
    static void AddReading(Readings& readings, std::unique_ptr<FoundObject> found);
    Readings ReadingsAt(std::uint64_t offset) const;
    bool HoldsOthers(const std::vector<compound::Extent>& extents) const;
    void ReadCutAt(std::uint64_t offset, Readings& readings) const;
    bool EndsWell(const SalvagedSource& source) const;
    int PointsOfLength(const SalvagedSource& source) const;
    static int DoubtOf(const SalvagedSource& source);
    static int CertaintyOf(const FoundObject& found);
    void AddUnnamed(Readings readings);

    // ---- find_covered.cpp
    // For each 64 bytes of the file, whether an object takes them; and which object begins where.
    struct Takers {
        enum Kind : std::uint8_t { kNone, kGuessed, kCertain };
        struct Taker {
            FoundObject* found;
            bool holdsOthers;  // other streams may begin inside
        };
        std::vector<Kind> ofUnits;
        std::unordered_map<std::size_t, Taker> byFirstUnit;
    };
    Takers TakersOf(const std::vector<std::uint64_t>& beginnings) const;
    static void KeepBeside(const Takers::Taker& taker, Readings& readings);
    void ReadCovered();

    // ---- choose_classes.cpp
    int ScoreOf(const FoundObject& found) const;
    int PointsBeside(const FoundObject& found) const;
    void ChooseRootClass();
    bool IsCopy(const FoundObject& found) const;
    bool DropContradicted(Readings& readings) const;
    void Narrow();
    using Scores = std::vector<std::pair<int, std::size_t>>;  // of readings, with their places; the best first
    void Choose(Readings& readings, const Scores& scores, bool isMissing);
    void ChooseClasses();
    void MatchIds();

    // ---- object_finder.cpp
    void SortEntries();
    void Learn(const FoundObject& found);
    void Accept(std::unique_ptr<FoundObject> found);
    // Visits the number of each mini sector of the file that holds a part of it.
    template <class Visit>
    void ForEachUnit(const SalvagedSource& source, Visit&& visit) const {
        for (const compound::Extent& extent : source.Extents())
            for (std::uint64_t at = extent.offset / 64; extent.offset != compound::Extent::kLost; ++at) {
                if (at * 64 >= extent.offset + extent.count || at >= claimed_.size()) break;
                visit(static_cast<std::size_t>(at));
            }
    }
    std::vector<std::uint8_t> Owners() const;
    void Claim(const SalvagedSource& source, std::uint64_t from, std::uint64_t to);
    void Claim(const SalvagedSource& source, std::uint64_t count) { Claim(source, 0, count); }
    std::map<const ClassInfo*, std::vector<GUID>> MissingByClass() const;
    void KeepDamaged();
    bool MayBeOneObject(const FoundObject& one, const FoundObject& other) const;
    bool MayBeMisplaced(const FoundObject& one, const FoundObject& other) const;
    void NoteOtherEnds();
    void NoteDoubts();
    void NoteOtherClasses(const FoundObject& found);
    void KeepRivals();
    void ReadOthers();
    void NoteMissing();

    Source SourceOf(const SalvagedEntry& entry, Way way) const {
        return std::make_shared<SalvagedSource>(file_, file_->ExtentsOf(entry, way));
    }
    bool IsClaimed(std::uint64_t offset) const { return claimed_[static_cast<std::size_t>(offset / 64)]; }
    bool Has(const GUID& id) const { return objects_.contains(id); }
    bool IsPossible(const ClassInfo& info) const {
        return info.kind != ClassKind::Root && (!document_.rootClass || graph_.RootOf(info) == document_.rootClass);
    }
    void Lost(std::string where, std::string what) { losses_.push_back({std::move(where), std::move(what)}); }

    const ClassInfo* likelyRoot_;
    std::shared_ptr<const SalvagedFile> file_;
    const ClassGraph& graph_;
    std::vector<DocumentProblem>& losses_;
    const Progress& progress_;
    std::vector<bool> claimed_;        // mini sectors of the file in which something was found
    std::vector<bool> guessedTables_;  // those that were looked at for a stream that every document has, by a guess
    FoundDocument document_;
    std::map<std::u16string, std::vector<const SalvagedEntry*>> entries_;  // by name in upper case, the best first
    std::map<GUID, std::vector<const SalvagedEntry*>, GuidLess> named_;
    std::map<GUID, FoundObject*, GuidLess> objects_;
    std::map<GUID, const ClassInfo*, GuidLess> known_;  // classes as references and the object directory name them
    std::vector<GUID> knownInOrder_;                    // the referred ones, in the order of the references
    std::set<GUID, GuidLess> referred_;
    std::vector<std::unique_ptr<FoundObject>> damaged_;
    std::vector<Readings> unnamed_;
    // Of objects whose class is not certain yet: which it may be, and which those want that may refer to it.
    std::map<GUID, std::set<const ClassInfo*>, GuidLess> possible_, wanted_;
    // Where in the file objects begin and end, with their classes: those that are certain, and those that are not yet.
    struct Places {
        std::unordered_map<std::uint64_t, std::vector<const ClassInfo*>> begins, ends;

        void Add(const FoundObject& found);
    };
    Places certainPlaces_, possiblePlaces_;
};

}  // namespace lumvex::inside
