#include "convert/sorting/temporary_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "support/temp_dir.h"

namespace {

using convert::temporary_file;
using records = std::vector<std::string>;

// Sets $TMPDIR, or removes it if the value is null.
void set_folder(const char* value) {
    if (value != nullptr)
        ::setenv("TMPDIR", value, 1);
    else
        ::unsetenv("TMPDIR");
}

TEST(TemporaryFile, TheFolderIsThatOfTheEnvironment) {
    const char* found = std::getenv("TMPDIR");
    const std::string before = found != nullptr ? found : "";
    set_folder("/some/folder");
    EXPECT_EQ(convert::temporary_folder(), "/some/folder");
    set_folder("");
    EXPECT_EQ(convert::temporary_folder(), "/tmp");
    set_folder(nullptr);
    EXPECT_EQ(convert::temporary_folder(), "/tmp");
    set_folder(found != nullptr ? before.c_str() : nullptr);
}

void write_all(temporary_file& file, const records& input) {
    for (const std::string& record : input)
        EXPECT_TRUE(file.write(record));
    EXPECT_TRUE(file.rewind());
}

records read_all(temporary_file& file) {
    records result;
    for (std::string_view record; file.read(record);)
        result.emplace_back(record);
    return result;
}

// Truncates the only file without a name that this process has open in `folder`.
void truncate_in(const std::string& folder, std::uintmax_t size) {
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code failed;
        const std::string target = std::filesystem::read_symlink(entry.path(), failed);
        if (!target.starts_with(folder + "/")) continue;
        ++found;
        std::filesystem::resize_file(entry.path(), size);
    }
    EXPECT_EQ(found, 1);
}

TEST(TemporaryFile, ReadsTheRecordsInTheirOrder) {
    const support::temp_dir dir;
    temporary_file file;
    ASSERT_TRUE(file.create(dir.path()));
    // Short and empty records, one with zeros, and some that are longer than a buffer.
    const records input = {"b",
                           "",
                           std::string("\0\xFF\0", 3),
                           std::string(700'000, 'x'),
                           "a",
                           std::string(262'144, 'y'),
                           "",
                           "last"};
    write_all(file, input);
    EXPECT_EQ(read_all(file), input);
    EXPECT_FALSE(file.failed());
    std::string_view none;
    EXPECT_FALSE(file.read(none));
}

TEST(TemporaryFile, AFileWithoutRecordsEndsAtOnce) {
    const support::temp_dir dir;
    temporary_file file;
    ASSERT_TRUE(file.create(dir.path()));
    write_all(file, {});
    EXPECT_EQ(read_all(file), records{});
    EXPECT_FALSE(file.failed());
}

TEST(TemporaryFile, HasNoName) {
    const support::temp_dir dir;
    temporary_file file;
    ASSERT_TRUE(file.create(dir.path()));
    write_all(file, {std::string(300'000, 'x')});
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(TemporaryFile, ReportsAFolderThatIsMissing) {
    temporary_file file;
    errno = 0;
    EXPECT_FALSE(file.create("/none"));
    EXPECT_EQ(errno, ENOENT);
}

TEST(TemporaryFile, AFileThatEndsWithinARecordHasFailed) {
    // Of the two records, 4 + 3 and 4 + 6 bytes, the last byte is missing; or the second one has
    // only a part of its length.
    for (const std::uintmax_t size : {std::uintmax_t{16}, std::uintmax_t{10}, std::uintmax_t{8}}) {
        SCOPED_TRACE(size);
        const support::temp_dir dir;
        temporary_file file;
        ASSERT_TRUE(file.create(dir.path()));
        write_all(file, {"abc", "defghi"});
        truncate_in(dir.path(), size);
        EXPECT_EQ(read_all(file), records{"abc"});
        EXPECT_TRUE(file.failed());
    }
}

TEST(TemporaryFile, MovesWithItsRecords) {
    const support::temp_dir dir;
    temporary_file first;
    ASSERT_TRUE(first.create(dir.path()));
    write_all(first, {"a", "b"});
    std::string_view record;
    ASSERT_TRUE(first.read(record));
    temporary_file second = std::move(first);
    EXPECT_EQ(read_all(second), records{"b"});
    EXPECT_FALSE(second.failed());
}

}  // namespace
