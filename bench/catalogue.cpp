// Measures names in our format and in SQLite: a library of 2,000 manufacturers with 10 models each, every model in two
// configurations; and a list of 60,000 named arrays.
//
//     bench_catalogue library|sqlite save|find|save-list|find-list FILE
//
// save: builds it and makes it durable. find: opens it and finds a model by its manufacturer's and its own name, or an
// array by its name, regardless of case, and closes it. Prints milliseconds as JSON.
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

constexpr int kManufacturers = 2'000, kModels = 10, kConfigs = 2;
constexpr int kItems = 60'000;
constexpr char kWantedItem[] = "dAtum 41234";
constexpr char kWantedMaker[] = "mAnufacturer 1234", kWantedModel[] = "moDel 12347";

std::string MakerName(int maker) { return "Manufacturer " + std::to_string(maker); }
std::string ModelName(int maker, int model) { return "Model " + std::to_string(maker * kModels + model); }
std::string ItemName(int item) { return "Datum " + std::to_string(item); }
std::u16string Wide(const std::string& text) { return {text.begin(), text.end()}; }

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

void SaveLibrary(const std::string& path) {
    Specifications library = Specifications::Create();
    const Configs configs = library.Configs();
    for (int maker = 0; maker < kManufacturers; ++maker) {
        const Models models = library.Manufacturers().Add(Wide(MakerName(maker))).Models();
        for (int model = 0; model < kModels; ++model) {
            const ModelConfigs own = models.Add(Wide(ModelName(maker, model))).ModelConfigs();
            for (LONG config = 1; config <= kConfigs; ++config) own.Add(configs.Item(config));
        }
    }
    library.SaveFileAs(Wide(path));
    library.CloseFile();
}

void FindInLibrary(const std::string& path) {
    Specifications library = Specifications::Create();
    library.AccessMode(LX_SHARE_READ);
    library.OpenFile(Wide(path));
    const auto maker = library.Manufacturers().FindName(Wide(kWantedMaker)).As<Manufacturer>();
    const auto model = maker.Models().FindName(Wide(kWantedModel)).As<Model>();
    Require(model && model.ModelConfigs().Count() == kConfigs, "the model is not there");
    library.CloseFile();
}

void SaveList(const std::string& path) {
    Project project = Project::Create();
    const Data data = project.Data();
    for (int item = 0; item < kItems; ++item) data.Add(Wide(ItemName(item)));
    project.SaveFileAs(Wide(path));
    project.CloseFile();
}

void FindInList(const std::string& path) {
    Project project = Project::Create();
    project.AccessMode(LX_SHARE_READ);
    project.OpenFile(Wide(path));
    Require(static_cast<bool>(project.Data().FindName(Wide(kWantedItem))), "the array is not there");
    project.CloseFile();
}

class Database {
public:
    explicit Database(const std::string& path) { Check(sqlite3_open(path.c_str(), &handle_)); }
    ~Database() { sqlite3_close(handle_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void Run(const char* sql) { Check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)); }
    sqlite3_stmt* Prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr));
        return statement;
    }
    void Check(int code) {
        if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(handle_));
    }

private:
    sqlite3* handle_ = nullptr;
};

void SaveDatabase(const std::string& path) {
    Database database(path);
    database.Run(
        "PRAGMA page_size=16384; PRAGMA synchronous=FULL;"
        "CREATE TABLE makers(id INTEGER PRIMARY KEY, name TEXT COLLATE NOCASE UNIQUE);"
        "CREATE TABLE models(id INTEGER PRIMARY KEY, maker INTEGER, name TEXT COLLATE NOCASE, UNIQUE(maker, name));"
        "CREATE TABLE configs(model INTEGER, config INTEGER, PRIMARY KEY(model, config)); BEGIN");
    sqlite3_stmt* makers = database.Prepare("INSERT INTO makers VALUES(?, ?)");
    sqlite3_stmt* models = database.Prepare("INSERT INTO models VALUES(?, ?, ?)");
    sqlite3_stmt* configs = database.Prepare("INSERT INTO configs VALUES(?, ?)");
    const auto finish = [&](sqlite3_stmt* statement) {
        sqlite3_step(statement);
        database.Check(sqlite3_reset(statement));
    };
    const auto bindName = [&](sqlite3_stmt* statement, int place, const std::string& name) {
        database.Check(
            sqlite3_bind_text(statement, place, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT));
    };
    for (int maker = 0; maker < kManufacturers; ++maker) {
        sqlite3_bind_int(makers, 1, maker);
        bindName(makers, 2, MakerName(maker));
        finish(makers);
        for (int model = 0; model < kModels; ++model) {
            const int id = maker * kModels + model;
            sqlite3_bind_int(models, 1, id);
            sqlite3_bind_int(models, 2, maker);
            bindName(models, 3, ModelName(maker, model));
            finish(models);
            for (int config = 1; config <= kConfigs; ++config) {
                sqlite3_bind_int(configs, 1, id);
                sqlite3_bind_int(configs, 2, config);
                finish(configs);
            }
        }
    }
    for (sqlite3_stmt* statement : {makers, models, configs}) sqlite3_finalize(statement);
    database.Run("COMMIT");
}

void FindInDatabase(const std::string& path) {
    Database database(path);
    sqlite3_stmt* find = database.Prepare(
        "SELECT count(*) FROM makers JOIN models ON maker=makers.id JOIN configs ON model=models.id "
        "WHERE makers.name=? AND models.name=?");
    sqlite3_bind_text(find, 1, kWantedMaker, -1, SQLITE_STATIC);
    sqlite3_bind_text(find, 2, kWantedModel, -1, SQLITE_STATIC);
    Require(sqlite3_step(find) == SQLITE_ROW && sqlite3_column_int(find, 0) == kConfigs, "the model is not there");
    sqlite3_finalize(find);
}

void SaveItems(const std::string& path) {
    Database database(path);
    database.Run(
        "PRAGMA page_size=16384; PRAGMA synchronous=FULL;"
        "CREATE TABLE items(id INTEGER PRIMARY KEY, name TEXT COLLATE NOCASE); CREATE INDEX names ON items(name); "
        "BEGIN");
    sqlite3_stmt* items = database.Prepare("INSERT INTO items VALUES(?, ?)");
    for (int item = 0; item < kItems; ++item) {
        const std::string name = ItemName(item);
        sqlite3_bind_int(items, 1, item);
        database.Check(sqlite3_bind_text(items, 2, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT));
        sqlite3_step(items);
        database.Check(sqlite3_reset(items));
    }
    sqlite3_finalize(items);
    database.Run("COMMIT");
}

void FindItem(const std::string& path) {
    Database database(path);
    sqlite3_stmt* find = database.Prepare("SELECT id FROM items WHERE name=? COLLATE NOCASE");
    sqlite3_bind_text(find, 1, kWantedItem, -1, SQLITE_STATIC);
    Require(sqlite3_step(find) == SQLITE_ROW, "the item is not there");
    sqlite3_finalize(find);
}

int Measure(const std::string& subject, const std::string& operation, const std::string& path) {
    const bool list = operation.ends_with("-list"), saves = operation.starts_with("save"), ours = subject == "library";
    if (saves) std::filesystem::remove(path);
    const auto work = list   ? ours ? (saves ? SaveList : FindInList) : (saves ? SaveItems : FindItem)
                      : ours ? (saves ? SaveLibrary : FindInLibrary)
                             : (saves ? SaveDatabase : FindInDatabase);
    const auto start = std::chrono::steady_clock::now();
    work(path);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    std::printf("{\"ms\": %.6f}\n", taken.count());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s library|sqlite save|find|save-list|find-list FILE\n", argv[0]);
        return 2;
    }
    try {
        return Measure(argv[1], argv[2], argv[3]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
