// A SQLite database with one table, its indexes and views.
#pragma once

#include <memory>
#include <string>

#include "convert/formats/row_writer.h"

struct sqlite3;
struct sqlite3_stmt;

namespace convert {

class sqlite_writer : public row_writer {
public:
    // `path` is that of an empty file. It becomes a database when finish() returns.
    explicit sqlite_writer(std::string path);
    ~sqlite_writer() override;
    sqlite_writer(const sqlite_writer&) = delete;
    sqlite_writer& operator=(const sqlite_writer&) = delete;

    bool begin() override;
    bool write(const listing_row& row) override;
    bool finish() override;
    std::string failure() const override { return m_failure; }

private:
    struct closer {
        void operator()(sqlite3* database) const;
        void operator()(sqlite3_stmt* statement) const;
    };

    bool run(const std::string& statements);
    bool fail();
    void bind_row(const listing_row& row);
    void bind_times(int first, const row_times& times);

    std::string m_path;
    std::string m_failure;
    std::unique_ptr<sqlite3, closer> m_database;
    std::unique_ptr<sqlite3_stmt, closer> m_insert;
    std::string m_text;
    std::string m_hex;
};

}  // namespace convert
