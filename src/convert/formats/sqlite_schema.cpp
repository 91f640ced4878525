#include "convert/formats/sqlite_schema.h"

#include <array>

namespace convert {

namespace {

struct stamp {
    const char* letter;
    const char* column;
};
// In the order of the letters "MACB".
constexpr std::array<stamp, 4> stamps = {
    {{"M", "modified"}, {"A", "accessed"}, {"C", "changed"}, {"B", "created"}}};

// Returns an expression for the letters of a time: those of the columns that are equal to it.
std::string letters_of(const std::string& time, const std::string& prefix) {
    std::string text;
    for (const stamp& other : stamps) {
        if (!text.empty()) text += " || ";
        text.append("CASE WHEN ").append(prefix).append(other.column).append(" = ").append(time);
        text.append(" THEN '").append(other.letter).append("' ELSE '.' END");
    }
    return text;
}

// Returns the rows of one column. Equal times of several columns give equal rows.
std::string select_time(const std::string& source, const std::string& prefix, const stamp& which) {
    const std::string time = prefix + which.column;
    return "SELECT " + time + " AS time, " + letters_of(time, prefix) + " AS macb, '" + source +
           "' AS source, type, path, path_hex, allocated_size, entry, sequence, deleted "
           "FROM named WHERE " +
           time + " IS NOT NULL\n";
}

}  // namespace

std::string sqlite_timeline() {
    // A row of a stream is used if its entry has no other row, and only the first one.
    std::string text =
        "CREATE VIEW timeline AS\n"
        "WITH named AS (\n"
        "SELECT * FROM entries WHERE type IN ('file', 'dir')\n"
        "UNION ALL\n"
        "SELECT * FROM entries AS e WHERE type NOT IN ('file', 'dir')\n"
        "AND NOT EXISTS (SELECT 1 FROM entries AS f WHERE f.entry = e.entry\n"
        "AND f.sequence = e.sequence AND f.type IN ('file', 'dir'))\n"
        "AND path = (SELECT min(path) FROM entries AS f WHERE f.entry = e.entry\n"
        "AND f.sequence = e.sequence))\n";
    bool first = true;
    for (const auto& [source, prefix] : {std::array{"SI", "si_"}, std::array{"FN", "fn_"}}) {
        for (const stamp& which : stamps) {
            if (!first) text += "UNION\n";
            first = false;
            text += select_time(source, prefix, which);
        }
    }
    return text + "ORDER BY time, entry, sequence, source DESC, path;\n";
}

}  // namespace convert
