#include "convert/formats/sqlite_schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "unit/convert/formats/database_lines.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// A database in memory with the table, the views and the timeline.
class database {
public:
    database() {
        EXPECT_EQ(sqlite3_open(":memory:", &m_database), SQLITE_OK);
        query(convert::sqlite_tables);
        query(convert::sqlite_views);
    }
    ~database() { sqlite3_close(m_database); }
    database(const database&) = delete;
    database& operator=(const database&) = delete;

    sqlite3* handle() const { return m_database; }

    lines query(const std::string& statements) const { return query_lines(m_database, statements); }

private:
    sqlite3* m_database = nullptr;
};

TEST(SqliteSchema, TheInsertionHasAParameterForEachColumnExceptTheRow) {
    const database made;
    sqlite3_stmt* insertion = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(made.handle(), convert::sqlite_insert, -1, &insertion, nullptr),
              SQLITE_OK);
    const lines columns = made.query("SELECT name FROM pragma_table_info('entries')");
    EXPECT_EQ(columns.size(), 25u);
    EXPECT_EQ(columns.front(), "row");
    EXPECT_EQ(sqlite3_bind_parameter_count(insertion), 24);
    sqlite3_finalize(insertion);
}

TEST(SqliteSchema, OnlyNumbersThatMayBeTextsHaveNoType) {
    // A column of the type INTEGER would turn the text of a number into the number.
    EXPECT_THAT(database().query("SELECT name FROM pragma_table_info('entries') WHERE type = ''"),
                ElementsAre("allocated_size", "entry"));
}

TEST(SqliteSchema, TheTimelineIsTheLastView) {
    const database made;
    const std::string views = "SELECT name FROM sqlite_master WHERE type = 'view'";
    EXPECT_THAT(made.query(views), UnorderedElementsAre("timestomped", "deleted", "streams",
                                                        "zone_identifier", "same_second_bursts"));
    made.query(convert::sqlite_timeline());
    EXPECT_THAT(made.query(views), Contains("timeline"));
    EXPECT_THAT(made.query("SELECT * FROM timeline"), IsEmpty());
}

TEST(SqliteSchema, TheTimelineMarksEachTimestampWithItsLetter) {
    const database made;
    made.query(convert::sqlite_timeline());
    const std::string columns =
        "(type, path, allocated_size, attributes, entry, sequence, flags, deleted, set_back, "
        "si_modified, si_accessed, si_changed, si_created, fn_modified)";
    made.query("INSERT INTO entries " + columns +
               " VALUES ('file', 'a', 1, 32, 64, 2, 1, 0, 0, '1', '2', '3', '4', '4')");
    EXPECT_THAT(made.query("SELECT time, macb, source FROM timeline"),
                ElementsAre("1|M...|SI", "2|.A..|SI", "3|..C.|SI", "4|...B|SI", "4|M...|FN"));
}

TEST(SqliteSchema, LookupsUseTheIndexes) {
    const database made;
    for (const char* condition :
         {"path = 'x'", "entry = 5 AND sequence = 1", "si_created = 'x'", "si_modified = 'x'"}) {
        SCOPED_TRACE(condition);
        EXPECT_THAT(
            made.query(std::string("EXPLAIN QUERY PLAN SELECT * FROM entries WHERE ") + condition),
            ElementsAre(HasSubstr("USING INDEX")));
    }
    // A column without an index is scanned.
    EXPECT_THAT(made.query("EXPLAIN QUERY PLAN SELECT * FROM entries WHERE object_id = 'x'"),
                ElementsAre(testing::Not(HasSubstr("USING INDEX"))));
}

}  // namespace
