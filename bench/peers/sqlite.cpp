// Measures SQLite: each object is a row. The mode "wal" keeps a write-ahead log, any other a rollback journal.
#include <sqlite3.h>

#include <utility>

#include "peers/peer.hpp"

namespace lumvex::bench {

namespace {

class Sqlite final : public Peer {
public:
    Sqlite(std::string path, const std::string& mode) : path_(std::move(path)), wal_(mode == "wal") {}
    ~Sqlite() override { Close(); }

    void Save(const Workload& workload) override {
        Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        Run("PRAGMA page_size=16384; PRAGMA cache_size=-65536; PRAGMA synchronous=FULL");
        if (wal_) Run("PRAGMA journal_mode=WAL");
        Run("CREATE TABLE objects(id BLOB PRIMARY KEY, class BLOB, tag INTEGER, data BLOB); BEGIN");
        Statement insert(*this, "INSERT INTO objects VALUES(?, ?, 0, ?)");
        for (std::uint32_t object = 0; object < workload.Count(); ++object) {
            const Id id = workload.IdOf(object), classId = workload.ClassOf();
            insert.Bind(1, id);
            insert.Bind(2, classId);
            insert.Bind(3, workload.ContentOf(object));
            insert.Finish();
        }
        Run("COMMIT");
    }

    Bytes ReadOne(const Workload& workload, std::uint32_t object) override {
        Open(wal_ ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
        Statement select(*this, "SELECT data FROM objects WHERE id=?");
        const Id id = workload.IdOf(object);
        select.Bind(1, id);
        if (!select.Step()) throw std::runtime_error("the object is not there");
        return Received(select);
    }

    void ReadAll(const Workload&, Tally& tally) override {
        Open(wal_ ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
        Statement select(*this, "SELECT data FROM objects");
        while (select.Step()) tally.Add(Received(select));
    }

    void ReadEach(const Workload& workload, Tally& tally) override {
        Open(wal_ ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
        Run("BEGIN");
        Statement select(*this, "SELECT data FROM objects WHERE id=?");
        for (std::uint32_t object = 0; object < workload.Count(); ++object) {
            const Id id = workload.IdOf(object);
            select.Bind(1, id);
            if (!select.Step()) throw std::runtime_error("an object is not there");
            tally.Add(Received(select));
            select.Reset();
        }
        Run("COMMIT");
    }

    void Change(const Workload& workload, std::uint32_t object, Bytes content) override {
        OpenToChange();
        Statement update(*this, kUpdate);
        Update(update, workload.IdOf(object), content);
    }

    void ChangeMany(const Workload& workload, std::span<const std::uint32_t> objects) override {
        OpenToChange();
        Statement update(*this, kUpdate);
        for (const std::uint32_t object : objects) Update(update, workload.IdOf(object), workload.ContentOf(object, 1));
    }

    void Close() override {
        if (database_) sqlite3_close(std::exchange(database_, nullptr));
    }

private:
    class Statement {
    public:
        Statement(Sqlite& owner, const char* sql) : owner_(owner) {
            owner_.Check(sqlite3_prepare_v2(owner_.database_, sql, -1, &statement_, nullptr));
        }
        ~Statement() { sqlite3_finalize(statement_); }
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;

        void Bind(int place, Bytes bytes) {
            owner_.Check(sqlite3_bind_blob(statement_, place, bytes.data(), static_cast<int>(bytes.size()), nullptr));
        }
        bool Step() {
            const int code = sqlite3_step(statement_);
            if (code != SQLITE_ROW && code != SQLITE_DONE) owner_.Check(code);
            return code == SQLITE_ROW;
        }
        void Finish() {
            Step();
            Reset();
        }
        void Reset() { owner_.Check(sqlite3_reset(statement_)); }
        Bytes Blob() {
            const void* bytes = sqlite3_column_blob(statement_, 0);
            return {static_cast<const std::byte*>(bytes),
                    static_cast<std::size_t>(sqlite3_column_bytes(statement_, 0))};
        }

    private:
        Sqlite& owner_;
        sqlite3_stmt* statement_ = nullptr;
    };

    Bytes Received(Statement& select) {
        const Bytes blob = select.Blob();
        std::memcpy(buffer_.data(), blob.data(), blob.size());
        return buffer_.First(blob.size());
    }

    static constexpr char kUpdate[] = "UPDATE objects SET data=? WHERE id=?";

    void OpenToChange() {
        Open(SQLITE_OPEN_READWRITE);
        Run("PRAGMA synchronous=FULL");
    }

    static void Update(Statement& update, const Id& id, Bytes content) {  // a transaction of its own
        update.Bind(1, content);
        update.Bind(2, id);
        update.Finish();
    }

    void Check(int code) {
        if (code != SQLITE_OK)
            throw std::runtime_error(std::string(sqlite3_errmsg(database_)) + ": " +
                                     std::strerror(sqlite3_system_errno(database_)));
    }
    void Open(int flags) { Check(sqlite3_open_v2(path_.c_str(), &database_, flags, nullptr)); }
    void Run(const char* sql) { Check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr)); }

    std::string path_;
    bool wal_;
    ReadBuffer buffer_;
    sqlite3* database_ = nullptr;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string& mode) {
    return std::make_unique<Sqlite>(path, mode);
}

}  // namespace lumvex::bench
