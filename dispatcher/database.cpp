#include "dispatcher/database.h"

namespace kvdisp12 {

Database::Database(const std::string& path, int flags) {
    constexpr int kPatience = 10000;  // milliseconds, for another process's transaction
    if (sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
        const std::string what = handle_ ? sqlite3_errmsg(handle_) : "out of memory";
        sqlite3_close(handle_);
        throw JournalError(path + ": " + what);
    }
    sqlite3_extended_result_codes(handle_, 1);
    sqlite3_busy_timeout(handle_, kPatience);
}

void Database::fail() const {
    const int code = sqlite3_errcode(handle_) & 0xFF;  // without what SQLite adds to it
    // The statements are right: an error without a name is that of a file that has other tables, or another format.
    throw JournalError(std::string("journal: ") + sqlite3_errmsg(handle_),
                       code == SQLITE_CORRUPT || code == SQLITE_NOTADB || code == SQLITE_ERROR);
}

void Database::run(const std::string& statements) {
    if (sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

std::string Database::value(const std::string& text) {
    Statement statement(*this, text);
    return statement.step() ? statement.text() : "";
}

Statement::Statement(Database& database, const std::string& text) : database_(database) {
    const int size = static_cast<int>(text.size());
    if (sqlite3_prepare_v2(database.get(), text.c_str(), size, &handle_, nullptr) != SQLITE_OK) database.fail();
}

Statement& Statement::bind(int64_t value) {
    if (sqlite3_bind_int64(handle_, ++parameter_, value) != SQLITE_OK) database_.fail();
    return *this;
}

Statement& Statement::bind(const std::string& text) {
    const int size = static_cast<int>(text.size());
    if (sqlite3_bind_text(handle_, ++parameter_, text.c_str(), size, SQLITE_TRANSIENT) != SQLITE_OK) database_.fail();
    return *this;
}

bool Statement::step() {
    column_ = 0;
    const int result = sqlite3_step(handle_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) database_.fail();
    return result == SQLITE_ROW;
}

std::string Statement::text() {
    const int column = column_++;
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
    return bytes ? std::string(bytes, static_cast<size_t>(sqlite3_column_bytes(handle_, column))) : "";
}

}  // namespace kvdisp12
