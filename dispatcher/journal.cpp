#include "dispatcher/journal.h"

#include <chrono>
#include <cstdio>
#include <random>

#include "dispatcher/database.h"
#include "dispatcher/files.h"
#include "dispatcher/native_path.h"

namespace kvdisp12 {
namespace {

constexpr int kVersion = 2;
constexpr const char* kStates[] = {"announced", "taking", "taken",   "filing",  "filed",     "delivering",
                                   "delivered", "failed", "refused", "aborted", "cancelled", "damaged"};

constexpr const char* kSchema =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE documents (id INTEGER PRIMARY KEY AUTOINCREMENT, uuid TEXT NOT NULL UNIQUE, state TEXT NOT NULL,"
    " announced INTEGER, changed INTEGER, user TEXT, session INTEGER, process INTEGER, spooler_job INTEGER,"
    " printer TEXT, name TEXT, pages INTEGER, bytes INTEGER, source TEXT, source_identity TEXT, target TEXT,"
    " target_identity TEXT, error TEXT, attempts INTEGER, delivery_id INTEGER, delivery_name TEXT,"
    " delivery_identity TEXT);"
    "CREATE INDEX documents_by_state ON documents (state);"
    "CREATE INDEX documents_by_source ON documents (source);"
    "CREATE INDEX documents_by_identity ON documents (source_identity);"
    "CREATE TABLE names (stem TEXT PRIMARY KEY, next INTEGER, used INTEGER) WITHOUT ROWID;"
    "PRAGMA user_version = 2;"
    "COMMIT;";
constexpr const char* kColumns =
    "id, uuid, state, announced, changed, user, session, process, spooler_job, printer, name, pages, bytes, source,"
    " source_identity, target, target_identity, error, attempts, delivery_id, delivery_name, delivery_identity";

// Version 4: random.
std::string make_uuid() {
    std::random_device random;
    const uint32_t a = random(), b = random(), c = random(), d = random();
    char text[40];
    std::snprintf(text, sizeof text, "%08x-%04x-4%03x-%04x-%04x%08x", a, b >> 16, b & 0xFFF,
                  0x8000 | (c >> 16 & 0x3FFF), c & 0xFFFF, d);
    return text;
}

Document read_document(Statement& row) {
    Document document;
    document.id = row.number();
    document.uuid = row.text();
    document.state = state_named(row.text()).value_or(State::Failed);
    document.announced = row.number();
    document.changed = row.number();
    document.user = row.text();
    document.session = static_cast<uint32_t>(row.number());
    document.process = static_cast<uint32_t>(row.number());
    document.spooler_job = static_cast<uint32_t>(row.number());
    document.printer = row.text();
    document.name = row.text();
    document.pages = row.number();
    document.bytes = row.number();
    document.source = row.text();
    document.source_identity = row.text();
    document.target = row.text();
    document.target_identity = row.text();
    document.error = row.text();
    document.attempts = row.number();
    document.delivery_id = row.number();
    document.delivery_name = row.text();
    document.delivery_identity = row.text();
    return document;
}

// In the order of the columns, from the user on.
void bind_facts(Statement& statement, const Document& document) {
    statement.bind(document.user).bind(document.session).bind(document.process).bind(document.spooler_job);
    statement.bind(document.printer).bind(document.name).bind(document.pages).bind(document.bytes);
    statement.bind(document.source).bind(document.source_identity).bind(document.target);
    statement.bind(document.target_identity).bind(document.error).bind(document.attempts).bind(document.delivery_id);
    statement.bind(document.delivery_name).bind(document.delivery_identity);
}

std::optional<Document> first_of(std::vector<Document> documents) {
    if (documents.empty()) return std::nullopt;
    return std::move(documents.front());
}

// With what belongs to it, under a name with the time.
void set_aside(const std::string& path) {
    const std::string mark = ".aside-" + std::to_string(Journal::now());
    for (const char* part : {"", "-wal", "-shm", "-journal"}) {
        std::error_code ignored;
        std::filesystem::rename(native_path(path + part), native_path(path + mark + part), ignored);
    }
}

}  // namespace

int64_t Journal::now() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

const char* name_of(State state) { return kStates[static_cast<size_t>(state)]; }

std::optional<State> state_named(const std::string& name) {
    for (size_t i = 0; i < std::size(kStates); ++i) {
        if (name == kStates[i]) return static_cast<State>(i);
    }
    return std::nullopt;
}

Journal::Journal(const std::string& path, Access access, const std::function<void(const std::string&)>& told) {
    try {
        open(path, access);
        return;
    } catch (const JournalError& error) {
        database_.reset();
        if (access != Access::Own || !error.unusable) throw;
        told(error.what());
    }
    set_aside(path);
    open(path, access);
}

Journal::~Journal() = default;

void Journal::close() {
    std::lock_guard guard(lock_);
    database_.reset();
}

void Journal::open(const std::string& path, Access access) {
    const int making = access == Access::Own ? SQLITE_OPEN_CREATE : 0;
    const int writing = access == Access::Look ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    database_ = std::make_unique<Database>(path, writing | SQLITE_OPEN_FULLMUTEX | making);
    // What a database says of itself runs no code of it.
    database_->run("PRAGMA trusted_schema = OFF; PRAGMA cache_size = -512; PRAGMA synchronous = FULL");
    const std::string version = database_->value("PRAGMA user_version");
    if (version == "0" && access == Access::Own) {
        // Processes share memory for a write-ahead log, which no network file system gives them.
        if (database_->value("SELECT count(*) FROM sqlite_master") != "0")
            throw JournalError(path + ": no journal", true);
        const bool network = is_on_network(utf8_path(native_path(path).parent_path()));
        database_->value(network ? "PRAGMA journal_mode = DELETE" : "PRAGMA journal_mode = WAL");
        database_->run(kSchema);
        return;
    }
    if (version != std::to_string(kVersion))
        throw JournalError(path + ": a journal of another version: " + version, true);
    if (database_->value("SELECT count(*) FROM sqlite_master WHERE type='view'") != "0") {
        throw JournalError(path + ": no journal", true);
    }
    if (access != Access::Own) return;
    const std::string found = database_->value("PRAGMA quick_check(1)");
    if (found != "ok") throw JournalError(path + ": damaged: " + found, true);
    for (const std::string& table :
         {std::string(kColumns) + " FROM documents", std::string("stem, next, used FROM names")}) {
        Statement(*database_, "SELECT " + table);  // it has them
    }
    database_->run("CREATE INDEX IF NOT EXISTS documents_by_identity ON documents (source_identity)");  // of 12.4
}

void Journal::add(Document& document) {
    std::lock_guard guard(lock_);
    if (document.uuid.empty()) document.uuid = make_uuid();
    document.announced = document.changed = now();
    Statement statement(*database_,
                        "INSERT INTO documents (uuid, state, announced, changed, user, session, process, spooler_job,"
                        " printer, name, pages, bytes, source, source_identity, target, target_identity, error,"
                        " attempts, delivery_id, delivery_name, delivery_identity)"
                        " VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
    statement.bind(document.uuid).bind(std::string(name_of(document.state)));
    statement.bind(document.announced).bind(document.changed);
    bind_facts(statement, document);
    statement.step();
    document.id = database_->last_id();
}

bool Journal::change(Document& document, State from) {
    std::lock_guard guard(lock_);
    return update(document, from);
}

bool Journal::change_and_take_number(Document& document, State from, const std::string& stem, int64_t number) {
    std::lock_guard guard(lock_);
    database_->run("BEGIN IMMEDIATE");
    try {
        const bool changed = update(document, from);
        Statement statement(*database_,
                            "INSERT INTO names VALUES (?,?,?) ON CONFLICT (stem)"
                            " DO UPDATE SET next=excluded.next, used=excluded.used");
        if (changed) statement.bind(stem).bind(number + 1).bind(now()).step();
        database_->run("COMMIT");
        return changed;
    } catch (const JournalError&) {
        sqlite3_exec(database_->get(), "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

bool Journal::update(Document& document, State from) {
    document.changed = now();
    Statement statement(*database_,
                        "UPDATE documents SET state=?, changed=?, user=?, session=?, process=?, spooler_job=?,"
                        " printer=?, name=?, pages=?, bytes=?, source=?, source_identity=?, target=?,"
                        " target_identity=?, error=?, attempts=?, delivery_id=?, delivery_name=?,"
                        " delivery_identity=? WHERE id=? AND state=?");
    statement.bind(std::string(name_of(document.state))).bind(document.changed);
    bind_facts(statement, document);
    statement.bind(document.id).bind(std::string(name_of(from)));
    statement.step();
    return database_->changes() == 1;
}

void Journal::remove(int64_t id) {
    std::lock_guard guard(lock_);
    Statement(*database_, "DELETE FROM documents WHERE id=?").bind(id).step();
}

std::vector<Document> Journal::select(const std::string& rest, const std::function<void(Statement&)>& bind) {
    std::lock_guard guard(lock_);
    Statement statement(*database_, std::string("SELECT ") + kColumns + " FROM documents " + rest);
    bind(statement);
    std::vector<Document> documents;
    while (statement.step()) documents.push_back(read_document(statement));
    return documents;
}

std::optional<Document> Journal::find(int64_t id) {
    return first_of(select("WHERE id=?", [&](Statement& statement) { statement.bind(id); }));
}
std::optional<Document> Journal::find_by_uuid(const std::string& uuid) {
    return first_of(select("WHERE uuid=?", [&](Statement& statement) { statement.bind(uuid); }));
}
std::optional<Document> Journal::find_by_source(const std::string& source) {
    return first_of(
        select("WHERE source=? ORDER BY id DESC LIMIT 1", [&](Statement& statement) { statement.bind(source); }));
}
std::optional<Document> Journal::find_by_source_identity(const std::string& identity) {
    return first_of(select("WHERE source_identity=? ORDER BY id DESC LIMIT 1",
                           [&](Statement& statement) { statement.bind(identity); }));
}
std::vector<Document> Journal::all() {
    return select("ORDER BY id DESC", [](Statement&) {});
}
std::vector<Document> Journal::last_errors(int64_t count) {
    return select("WHERE error<>'' ORDER BY changed DESC LIMIT ?",
                  [&](Statement& statement) { statement.bind(count); });
}
std::vector<std::pair<State, int64_t>> Journal::counts() {
    std::lock_guard guard(lock_);
    Statement statement(*database_, "SELECT state, count(*) FROM documents GROUP BY state ORDER BY state");
    std::vector<std::pair<State, int64_t>> counts;
    while (statement.step()) {
        const auto state = state_named(statement.text());
        if (state) counts.emplace_back(*state, statement.number());
    }
    return counts;
}
std::vector<Document> Journal::in_states(std::span<const State> states) {
    std::string marks;
    for (size_t i = 0; i < states.size(); ++i) marks += i == 0 ? "?" : ",?";
    return select("WHERE state IN (" + marks + ") ORDER BY id", [&](Statement& statement) {
        for (const State state : states) statement.bind(std::string(name_of(state)));
    });
}

std::optional<Document> Journal::next_in_state(State state, int64_t after) {
    return first_of(select("WHERE state=? AND id>? ORDER BY id LIMIT 1",
                           [&](Statement& statement) { statement.bind(std::string(name_of(state))).bind(after); }));
}
int64_t Journal::last_id() {
    std::lock_guard guard(lock_);
    Statement statement(*database_, "SELECT coalesce(max(id), 0) FROM documents");
    return statement.step() ? statement.number() : 0;
}

std::vector<DeliveredJob> Journal::delivered_jobs() {
    std::lock_guard guard(lock_);
    Statement statement(*database_,
                        "SELECT id, changed, bytes FROM documents WHERE state=? AND target<>'' ORDER BY id DESC");
    statement.bind(std::string(name_of(State::Delivered)));
    std::vector<DeliveredJob> jobs;
    while (statement.step()) {
        const int64_t id = statement.number(), changed = statement.number();
        jobs.push_back({id, changed, statement.number()});
    }
    return jobs;
}

// A part at a time, so that nobody waits for it.
void Journal::prune(int64_t before, int64_t most, bool delivered_jobs_stay) {
    const std::string jobs_stay = delivered_jobs_stay ? " AND NOT (state='delivered' AND target<>'')" : "";
    const std::string ended =
        "SELECT id FROM documents WHERE state IN "
        "('filed','delivered','failed','refused','aborted','cancelled','damaged')" +
        jobs_stay;
    for (bool more = true; more;) {
        std::lock_guard guard(lock_);
        Statement statement(*database_,
                            "DELETE FROM documents WHERE id IN (" + ended +
                                " AND (changed<? OR id<=(SELECT max(id) FROM documents)-?) ORDER BY id LIMIT 500)");
        statement.bind(before).bind(most).step();
        more = database_->changes() > 0;
    }
    std::lock_guard guard(lock_);
    Statement(*database_, "DELETE FROM names WHERE used<?").bind(before).step();
}

int64_t Journal::next_number(const std::string& stem, const std::function<int64_t()>& look) {
    {
        std::lock_guard guard(lock_);
        Statement statement(*database_, "SELECT next FROM names WHERE stem=?");
        if (statement.bind(stem).step()) return statement.number();
    }
    return look();
}

}  // namespace kvdisp12
