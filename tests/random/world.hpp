// Two projects and a library, the plain copies kept beside them, and what is done to all of it at random.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>

#include "kit/plain_tree.hpp"
#include "kit/random.hpp"

namespace lumvex::tests {

struct Options {
    std::uint64_t seed = 1;
    std::uint64_t steps = 20000;
    bool handlers = false;  // that call back into the model
    bool failingAllocations = false;
    bool cacheBounds = true;
    std::uint64_t compareEvery = 0;  // steps; 0: when it comes up
    std::size_t objects = 250;       // about as many items in one document; some have a tenth, some five times as many
    std::set<std::string> without;   // operations left out
    bool trace = false;
};

inline constexpr auto kSharingViolation = static_cast<HRESULT>(0x80030020), kDenied = static_cast<HRESULT>(0x80030005);
inline constexpr const char* kDamaged = "damaged.lvx";

class Sink;

// One document in memory.
struct Doc {
    const ClassTable* table = nullptr;
    Ref<IDispatch> root;
    std::unique_ptr<Tree> tree;
    std::string path;  // empty: no file is open
    LONG mode = LX_EXCLUSIVE_READWRITE;
    bool complete = true;  // all of it is in memory
    bool bounded = false;  // the load cache has bounds
    bool modified = false;
    LONG arrays = LX_R4;
    std::size_t objects = 0;  // about as many items at the most
    unsigned opened = 0;      // counts the trees that were put here
    unsigned linked = 0;      // the library's number of opening when it was put

    std::vector<Node*> items, collections;
    std::map<const ClassTable*, std::vector<Node*>> ofClass;
    bool indexed = false;
};

class World {
public:
    explicit World(const Options& options);
    ~World();
    void Run();
    std::uint64_t Step() const { return step_; }
    const std::string& LastOperations();

private:
    friend class Sink;
    struct Held {
        Ref<IDispatch> object;
        Doc* doc;
        unsigned opened;
        Node* node;  // only while the document is the same
        std::u16string id;
    };

    // ---- choosing ----
    Doc& AnyDoc();
    Doc& Project(std::size_t number) { return docs_[number]; }
    Doc& Library() { return docs_[2]; }
    void Index(Doc& doc);
    Node* AnyItem(Doc& doc);
    Node* AnyCollection(Doc& doc);
    Node* AnyOf(Doc& doc, const ClassTable& table);
    std::u16string AnyName();
    double AnyNumber(const Property& property);
    ArrayContent AnyArray(LONG channels, bool workspace);
    LONG ChannelsOf(const Node& node, const Property& property) const;
    std::string AnyPath() { return "f" + std::to_string(random_.Below(6)) + ".lvx"; }

    // ---- calling ----
    Answer Do(IDispatch* object, DISPID id, WORD kind, std::initializer_list<VARIANT> arguments);
    Ref<IDispatch> Live(Doc& doc, Node& node);
    bool OutOfMemory(const Answer& answer, Doc& doc);
    void Expect(HRESULT expected, const Answer& answer, const char* what);

    // ---- operations ----
    void PutProperty(Doc& doc);
    void PutBase(Doc& doc);
    void PutReference(Doc& doc);
    void Get(Doc& doc);
    void Add(Doc& doc);
    void Grow(Doc& doc);
    void Remove(Doc& doc);
    void RemoveAll(Doc& doc);
    void Find(Doc& doc);
    void Enumerate(Doc& doc);
    void Copy(Doc& doc);
    void CopyWithParents(Doc& doc);
    void CopyContents(Doc& doc);
    void Hold(Doc& doc);
    void UseHeld();
    void Settings(Doc& doc);
    void Save(Doc& doc);
    void SaveAs(Doc& doc);
    void Close(Doc& doc);
    void Reopen(Doc& doc);
    void OpenFails(Doc& doc);
    void Mistake(Doc& doc);
    void LeaveIncomplete(Doc& doc);
    bool IsFull(Doc& doc) {
        Index(doc);
        return doc.items.size() > doc.objects;
    }
    void CompareLive(Doc& doc);

    // ---- what they share ----
    Node* AddTo(Doc& doc, Node& collection, bool mistaken);
    Node* CopyInto(Doc& from, Node& item, Doc& to, Node& collection, bool withChildren);
    Node* Counterpart(Node& collection, const Node& other) const;
    HRESULT CopyRefused(const Doc& from, const Node& item, const Doc& to, const Node& collection) const;
    void Learn(Doc& doc, Node& node);
    void Reconcile(Doc& doc, Node& node);
    void Drop(Doc& doc);
    void Fresh(Doc& doc);
    void Replace(Doc& doc, std::unique_ptr<Tree> tree);
    void CompareAll(Doc& doc);
    void CheckFile(const std::string& name, const Doc& doc);
    Reading ReadingOf(Doc& doc);
    std::string FullPath(const std::string& name) const { return (folder_ / name).string(); }
    bool OpenElsewhere(const Doc& doc, const std::string& name) const;
    bool MayOpen(const Doc& doc, const std::string& name, LONG mode) const;
    void Log(const std::string& text);
    void MakeDefaults();
    void Connect(Doc& doc);
    void Handle(Doc& doc, IDispatch* object, LONG type);
    void Act(Doc& doc, IDispatch* object, LONG type);
    void SaveInHandler(Doc& doc);
    void AfterHandlers();
    std::unique_ptr<Tree> Read(Doc& doc);
    Ref<IDispatch> Found(Doc& doc, const Node* node);

    Options options_;
    Random random_;
    std::filesystem::path folder_;
    Doc docs_[3];
    std::map<std::string, std::pair<const ClassTable*, std::unique_ptr<Tree>>> files_;
    std::vector<Held> held_;
    std::uint64_t step_ = 0;
    bool failed_ = false;  // an allocation did, in the last call
    bool compareSoon_ = false;
    std::set<std::u16string> libraryIds_;
    int handling_ = 0;      // handlers that still act during the call
    bool handled_ = false;  // one has
    std::string wrong_;     // what it found
};

}  // namespace lumvex::tests
