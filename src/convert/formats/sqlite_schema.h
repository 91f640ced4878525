// The statements that create a database. docs/convert.md describes its tables and views.
#pragma once

#include <string>

namespace convert {

// Creates the table. The column allocated_size has no type: a size of 2^63 or more is text.
constexpr const char* sqlite_tables = R"sql(
CREATE TABLE entries (
    row INTEGER PRIMARY KEY,
    type TEXT NOT NULL,
    path TEXT NOT NULL,
    path_hex TEXT,
    link_target TEXT,
    allocated_size NOT NULL,
    attributes INTEGER NOT NULL,
    entry NOT NULL,
    sequence INTEGER NOT NULL,
    flags INTEGER NOT NULL,
    deleted INTEGER NOT NULL,
    si_created TEXT,
    si_modified TEXT,
    si_changed TEXT,
    si_accessed TEXT,
    fn_created TEXT,
    fn_modified TEXT,
    fn_changed TEXT,
    fn_accessed TEXT,
    short_fn_created TEXT,
    short_fn_modified TEXT,
    short_fn_changed TEXT,
    short_fn_accessed TEXT,
    set_back INTEGER NOT NULL,
    object_id TEXT
);
)sql";

constexpr const char* sqlite_insert =
    "INSERT INTO entries VALUES "
    "(NULL,?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13,?14,?15,?16,?17,?18,?19,?20,?21,?22,?23,?24)";

// Creates the indexes and the views, except the timeline.
constexpr const char* sqlite_views = R"sql(
CREATE INDEX entries_path ON entries (path);
CREATE INDEX entries_entry ON entries (entry, sequence);
CREATE INDEX entries_si_created ON entries (si_created);
CREATE INDEX entries_si_modified ON entries (si_modified);
CREATE INDEX entries_set_back ON entries (set_back) WHERE set_back;
CREATE INDEX entries_deleted ON entries (deleted) WHERE deleted;
CREATE INDEX entries_streams ON entries (type) WHERE type = 'ads';

CREATE VIEW timestomped AS
SELECT *, si_created < fn_created AND si_created LIKE '%.0000000Z' AS whole_second_before_name
FROM entries
WHERE type IN ('file', 'dir')
    AND (set_back OR (si_created < fn_created AND si_created LIKE '%.0000000Z'));

CREATE VIEW deleted AS SELECT * FROM entries WHERE deleted;

CREATE VIEW streams AS
SELECT *,
    substr(path, 1, length(rtrim(path, replace(path, ':', ''))) - 1) AS owner,
    substr(path, length(rtrim(path, replace(path, ':', ''))) + 1) AS stream
FROM entries
WHERE type = 'ads';

CREATE VIEW zone_identifier AS
SELECT * FROM streams WHERE stream = 'Zone.Identifier' COLLATE NOCASE;

CREATE VIEW same_second_bursts AS
SELECT substr(si_created, 1, 19) || 'Z' AS second, count(*) AS entries,
    min(path) AS first_path, max(path) AS last_path
FROM entries
WHERE type IN ('file', 'dir') AND si_created IS NOT NULL
GROUP BY second
HAVING count(*) >= 10
ORDER BY entries DESC, second;
)sql";

// Returns the statement that creates the view of the timeline.
std::string sqlite_timeline();

}  // namespace convert
