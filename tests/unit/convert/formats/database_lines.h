// Reads a database as lines of text.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

using lines = std::vector<std::string>;

// Runs the statements and returns a line for each row of their results: its columns with "|"
// between them, and "NULL" for a null.
inline lines query_lines(sqlite3* database, const std::string& statements) {
    const auto append_line = [](void* result, int count, char** columns, char**) {
        std::string line;
        for (int i = 0; i < count; ++i)
            line += (i > 0 ? "|" : "") + std::string(columns[i] != nullptr ? columns[i] : "NULL");
        static_cast<lines*>(result)->push_back(line);
        return 0;
    };
    lines result;
    char* error = nullptr;
    sqlite3_exec(database, statements.c_str(), append_line, &result, &error);
    EXPECT_EQ(error, nullptr) << error;
    sqlite3_free(error);
    return result;
}
