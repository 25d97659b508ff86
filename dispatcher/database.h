#pragma once
// SQLite's connection and statements, owned. Failures throw JournalError.

#include <sqlite3.h>

#include <cstdint>
#include <string>

#include "dispatcher/journal.h"

namespace kvdisp12 {

class Database {
public:
    Database(const std::string& path, int flags);
    ~Database() { sqlite3_close(handle_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void run(const std::string& statements);
    // The first column of the first row.
    std::string value(const std::string& statement);
    int64_t last_id() const { return sqlite3_last_insert_rowid(handle_); }
    int changes() const { return sqlite3_changes(handle_); }
    sqlite3* get() const { return handle_; }
    [[noreturn]] void fail() const;

private:
    sqlite3* handle_ = nullptr;
};

class Statement {
public:
    Statement(Database& database, const std::string& text);
    ~Statement() { sqlite3_finalize(handle_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // The next parameter.
    Statement& bind(int64_t value);
    Statement& bind(const std::string& text);
    // Whether there is a row.
    bool step();
    // The next column of the row.
    int64_t number() { return sqlite3_column_int64(handle_, column_++); }
    std::string text();

private:
    Database& database_;
    sqlite3_stmt* handle_ = nullptr;
    int parameter_ = 0, column_ = 0;
};

}  // namespace kvdisp12
