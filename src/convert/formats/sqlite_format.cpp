#include "convert/formats/sqlite_format.h"

#include <sqlite3.h>

#include <limits>
#include <utility>

#include "convert/formats/sqlite_schema.h"
#include "convert/listing/name_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

// The file is new and gets its name when it is complete, so it needs no journal.
constexpr const char* settings =
    "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE;"
    "PRAGMA cache_size = -16384; BEGIN;";

// Binds a text that is copied; null if it is empty.
void bind_text(sqlite3_stmt* statement, int column, std::string_view text) {
    if (text.empty())
        sqlite3_bind_null(statement, column);
    else
        sqlite3_bind_text64(statement, column, text.data(), text.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8);
}

// Binds a number. SQLite has signed numbers only: a larger one becomes a text.
void bind_number(sqlite3_stmt* statement, int column, std::uint64_t value) {
    constexpr std::uint64_t most = std::numeric_limits<sqlite3_int64>::max();
    if (value <= most) {
        sqlite3_bind_int64(statement, column, static_cast<sqlite3_int64>(value));
        return;
    }
    std::string text;
    ql::append_decimal(text, value);
    bind_text(statement, column, text);
}

void bind_time(sqlite3_stmt* statement, int column, const std::optional<utc_time>& time) {
    std::string text;
    if (time) append_iso_time(text, *time);
    bind_text(statement, column, text);
}

}  // namespace

void sqlite_writer::closer::operator()(sqlite3* database) const { sqlite3_close(database); }

void sqlite_writer::closer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

sqlite_writer::sqlite_writer(std::string path) : m_path(std::move(path)) {}

sqlite_writer::~sqlite_writer() = default;

bool sqlite_writer::fail() {
    m_failure = "cannot write " + m_path + ": " + sqlite3_errmsg(m_database.get());
    return false;
}

bool sqlite_writer::run(const std::string& statements) {
    return sqlite3_exec(m_database.get(), statements.c_str(), nullptr, nullptr, nullptr) ==
               SQLITE_OK ||
           fail();
}

bool sqlite_writer::begin() {
    sqlite3* database = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    const int opened = sqlite3_open_v2(m_path.c_str(), &database, flags, nullptr);
    m_database.reset(database);
    if (opened != SQLITE_OK) return fail();
    if (!run(settings) || !run(sqlite_tables)) return false;
    sqlite3_stmt* insert = nullptr;
    const int prepared = sqlite3_prepare_v2(database, sqlite_insert, -1, &insert, nullptr);
    m_insert.reset(insert);
    return prepared == SQLITE_OK || fail();
}

void sqlite_writer::bind_times(int first, const row_times& times) {
    bind_time(m_insert.get(), first, times.created);
    bind_time(m_insert.get(), first + 1, times.modified);
    bind_time(m_insert.get(), first + 2, times.changed);
    bind_time(m_insert.get(), first + 3, times.accessed);
}

void sqlite_writer::bind_row(const listing_row& row) {
    sqlite3_stmt* insert = m_insert.get();
    m_text.clear();
    append_valid(m_text, row.path);
    m_hex.clear();
    if (!is_valid_unicode(row.path)) append_hex_bytes(m_hex, row.path);
    bind_text(insert, 1, type_name(row.type));
    bind_text(insert, 2, m_text);
    bind_text(insert, 3, m_hex);
    m_text.clear();
    append_valid(m_text, row.link_target);
    bind_text(insert, 4, m_text);
    bind_number(insert, 5, row.allocated_size);
    bind_number(insert, 6, row.attributes);
    bind_number(insert, 7, row.entry);
    bind_number(insert, 8, row.sequence);
    bind_number(insert, 9, row.flags);
    bind_number(insert, 10, row.is_deleted() ? 1 : 0);
    bind_times(11, row.standard);
    bind_times(15, row.name);
    bind_times(19, row.short_name);
    bind_number(insert, 23, row.set_back ? 1 : 0);
    bind_text(insert, 24, row.object_id);
}

bool sqlite_writer::write(const listing_row& row) {
    bind_row(row);
    const bool inserted = sqlite3_step(m_insert.get()) == SQLITE_DONE;
    return (sqlite3_reset(m_insert.get()) == SQLITE_OK && inserted) || fail();
}

bool sqlite_writer::finish() {
    if (!run(sqlite_views) || !run(sqlite_timeline()) || !run("COMMIT")) return false;
    m_insert.reset();
    sqlite3* database = m_database.release();
    if (sqlite3_close(database) == SQLITE_OK) return true;
    m_database.reset(database);
    return fail();
}

}  // namespace convert
