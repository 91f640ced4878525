#include "convert/formats/sqlite_format.h"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include "support/temp_dir.h"
#include "unit/convert/formats/database_lines.h"
#include "unit/convert/formats/format_text.h"

namespace {

using convert::listing_row;
using convert::row_type;
using convert::sqlite_writer;
using format_text::at;
using format_text::plain_row;
using format_text::times_of;
using testing::ElementsAre;
using testing::IsEmpty;

// A database of some rows.
class database {
public:
    explicit database(const std::vector<listing_row>& rows) {
        sqlite_writer writer(m_path);
        EXPECT_TRUE(writer.begin()) << writer.failure();
        for (const listing_row& row : rows)
            EXPECT_TRUE(writer.write(row)) << writer.failure();
        EXPECT_TRUE(writer.finish()) << writer.failure();
        EXPECT_EQ(sqlite3_open(m_path.c_str(), &m_database), SQLITE_OK);
    }
    ~database() { sqlite3_close(m_database); }
    database(const database&) = delete;
    database& operator=(const database&) = delete;

    lines query(const std::string& statement) const { return query_lines(m_database, statement); }

private:
    support::temp_dir m_dir;
    std::string m_path = m_dir.write("test.db", "");
    sqlite3* m_database = nullptr;
};

TEST(SqliteFormat, WritesEveryColumn) {
    listing_row row = plain_row();
    row.standard = times_of("2021");
    row.name = times_of("2022");
    row.short_name = times_of("2023");
    row.set_back = true;
    row.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    row.link_target = "x";
    std::string times;
    for (const char* year : {"2021", "2022", "2023"}) {
        for (const char* day : {"1", "2", "3", "4"})
            times += "|" + std::string(year) + "-01-0" + day + "T01:02:03.4567890Z";
    }
    const database made({row, plain_row()});
    std::string blank;
    for (int i = 0; i < 12; ++i)
        blank += "|NULL";
    EXPECT_THAT(made.query("SELECT * FROM entries"),
                ElementsAre("1|file|\\a.txt|NULL|x|4096|32|64|2|1|0" + times +
                                "|1|03020100-0504-0706-0809-0a0b0c0d0e0f",
                            "2|file|\\a.txt|NULL|NULL|4096|32|64|2|1|0" + blank + "|0|NULL"));
    EXPECT_THAT(made.query("PRAGMA integrity_check"), ElementsAre("ok"));
}

TEST(SqliteFormat, NumbersThatSqliteLacksAreTexts) {
    listing_row row = plain_row();
    row.allocated_size = 0x7FFF'FFFF'FFFF'FFFF;
    listing_row larger = plain_row();
    larger.allocated_size = 0xFFFF'FFFF'FFFF'FFFF;
    larger.entry = 0x8000'0000'0000'0000;
    EXPECT_THAT(database({row, larger})
                    .query("SELECT typeof(allocated_size), allocated_size, typeof(entry), entry "
                           "FROM entries ORDER BY allocated_size"),
                ElementsAre("integer|9223372036854775807|integer|64",
                            "text|18446744073709551615|text|9223372036854775808"));
}

TEST(SqliteFormat, AnInvalidPathIsAlsoInHexadecimal) {
    listing_row row = plain_row();
    row.path = "\\'\xED\xA0\x80";
    EXPECT_THAT(database({row}).query("SELECT path, path_hex FROM entries"),
                ElementsAre("\\'\xEF\xBF\xBD|5c27eda080"));
}

listing_row created(const std::string& path, const char* standard, const char* name) {
    listing_row row = plain_row();
    row.path = path;
    row.standard.created = at("2021-01-01", standard);
    row.name.created = at("2021-01-01", name);
    return row;
}

TEST(SqliteFormat, TimestompedEntries) {
    listing_row flagged = created("flagged", "10:00:00.0000001", "10:00:00.0000001");
    flagged.set_back = true;
    listing_row stream = flagged;
    stream.type = row_type::stream;
    const database made(
        {flagged, stream, created("whole second before", "09:00:00.0000000", "10:00:00.0000001"),
         created("fraction before", "09:00:00.0000001", "10:00:00.0000001"),
         created("whole second after", "11:00:00.0000000", "10:00:00.0000001"), plain_row()});
    EXPECT_THAT(made.query("SELECT path, set_back, whole_second_before_name FROM timestomped"),
                ElementsAre("flagged|1|0", "whole second before|0|1"));
}

TEST(SqliteFormat, DeletedEntries) {
    listing_row gone = plain_row();
    gone.path = "gone";
    gone.flags = 0;
    EXPECT_THAT(database({plain_row(), gone}).query("SELECT path FROM deleted"),
                ElementsAre("gone"));
}

TEST(SqliteFormat, StreamsHaveAnOwnerAndAName) {
    std::vector<listing_row> rows = {plain_row()};
    for (const char* path :
         {"\\a.txt:zone.identifier", "\\a:b:c", ":own", "\\x:Zone.Identifier2"}) {
        rows.push_back(plain_row());
        rows.back().type = row_type::stream;
        rows.back().path = path;
    }
    const database made(rows);
    EXPECT_THAT(made.query("SELECT owner, stream FROM streams"),
                ElementsAre("\\a.txt|zone.identifier", "\\a:b|c", "|own", "\\x|Zone.Identifier2"));
    EXPECT_THAT(made.query("SELECT path FROM zone_identifier"),
                ElementsAre("\\a.txt:zone.identifier"));
}

TEST(SqliteFormat, BurstsHaveTenEntriesInASecond) {
    std::vector<listing_row> rows;
    for (char name = 'a'; name < 'j'; ++name)  // 9 entries
        rows.push_back(created(std::string(1, name), "09:00:00.1000000", "10:00:00.0000000"));
    rows.push_back(created("stream", "09:00:00.1000000", "10:00:00.0000000"));
    rows.back().type = row_type::stream;
    rows.push_back(created("next", "09:00:01.0000000", "10:00:00.0000000"));
    EXPECT_THAT(database(rows).query("SELECT * FROM same_second_bursts"), IsEmpty());
    rows.push_back(created("z", "09:00:00.9999999", "10:00:00.0000000"));
    EXPECT_THAT(database(rows).query("SELECT * FROM same_second_bursts"),
                ElementsAre("2021-01-01T09:00:00Z|10|a|z"));
}

TEST(SqliteFormat, TheTimelineMergesEqualTimes) {
    listing_row row = plain_row();
    const auto first = at("2021-01-01", "01:02:03.4567890");
    const auto second = at("2021-01-02", "01:02:03.4567890");
    row.standard = {first, second, first, second};
    row.name.accessed = first;
    listing_row stream = row;
    stream.type = row_type::stream;
    listing_row alone = stream;
    alone.entry = 65;
    alone.path = "\\b:2";
    alone.standard = {second, {}, {}, {}};
    alone.name = {};
    listing_row other = alone;
    other.path = "\\b:1";
    EXPECT_THAT(database({row, stream, alone, other})
                    .query("SELECT time, macb, source, path, entry FROM timeline"),
                ElementsAre("2021-01-01T01:02:03.4567890Z|..CB|SI|\\a.txt|64",
                            "2021-01-01T01:02:03.4567890Z|.A..|FN|\\a.txt|64",
                            "2021-01-02T01:02:03.4567890Z|MA..|SI|\\a.txt|64",
                            "2021-01-02T01:02:03.4567890Z|...B|SI|\\b:1|65"));
}

TEST(SqliteFormat, ReportsAFileThatIsNotThere) {
    sqlite_writer writer("/none/x.db");
    EXPECT_FALSE(writer.begin());
    EXPECT_EQ(writer.failure(), "cannot write /none/x.db: unable to open database file");
}

}  // namespace
