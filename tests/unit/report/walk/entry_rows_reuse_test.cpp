// Tests what entry_rows uses again: rows that have been printed, and a record that has been read.
#include <cstdint>
#include <string>
#include <vector>

#include "ntfs/records/record_reader.h"
#include "report/walk/entry_rows.h"
#include "unit/report/listed_volume.h"
#include "unit/report/walk/rows_of_entry.h"

namespace {

using listing::add;
using listing::EntryRows;
using listing::root;

constexpr std::size_t most_spare_rows = 10'000;

dir_entry row_with_number(std::uint64_t number) {
    dir_entry row;
    row.mft_entry = number;
    row.name = "old";
    return row;
}

TEST(SpareRows, NewRowIsEmpty) {
    spare_rows spare;
    const dir_entry_set::node_type row = spare.take();
    EXPECT_EQ(row.value().name, "");
    EXPECT_EQ(row.value().mft_entry, 0u);
}

TEST(SpareRows, EachRowIsTakenOnce) {
    spare_rows spare;
    dir_entry_set entries = {row_with_number(1), row_with_number(2)};
    spare.add(entries);
    EXPECT_TRUE(entries.empty());
    std::uint64_t sum = 0;
    for (int i = 0; i < 2; ++i) {
        const dir_entry_set::node_type row = spare.take();
        EXPECT_EQ(row.value().name, "old");
        sum += row.value().mft_entry;
    }
    EXPECT_EQ(sum, 3u);
    EXPECT_EQ(spare.take().value().name, "");
}

// Otherwise the rows of the largest directory would use memory up to the end of the run.
TEST(SpareRows, RowsOfALargeDirectoryAreDeleted) {
    for (const std::size_t first : {std::size_t{0}, std::size_t{4'000}}) {
        SCOPED_TRACE(first);
        spare_rows spare;
        for (const std::size_t count : {first, most_spare_rows + 500}) {
            dir_entry_set entries;
            for (std::size_t i = 0; i < count; ++i)
                entries.insert(entries.end(), row_with_number(i));
            spare.add(entries);
            EXPECT_TRUE(entries.empty());
        }
        std::size_t reused = 0;
        while (spare.take().value().name == "old")
            ++reused;
        EXPECT_EQ(reused, most_spare_rows);
    }
}

class EntryRowReuse : public EntryRows {
protected:
    // Formats the fields of each row that differ between the entries of these tests.
    static std::string details_of(const dir_entry_set& entries) {
        std::string text = text_of({entries.begin(), entries.end()});
        for (const dir_entry& row : entries) {
            text += ql::to_utf8(row.parent_path.text());
            for (const std::uint64_t number :
                 {row.mft_entry, std::uint64_t{row.seq_num}, std::uint64_t{row.flags},
                  std::uint64_t{row.attributes}, row.si_created, row.si_modified})
                text += ' ' + std::to_string(number);
            for (const std::uint8_t byte : row.object_id)
                text += ' ' + std::to_string(byte);
            for (const fn_entry& name : row.fn_list) {
                text += ' ' + name.name + std::to_string(name.created);
                text += std::string(name.comment());
            }
            text += '\n';
        }
        return text;
    }
};

TEST_F(EntryRowReuse, RowsAfterALargeDirectoryContainNothingOfIt) {
    volume.file(root, u"long name of a file in a large directory", 64, {.times = {.modified = 0}})
        .sequence(9)
        .data("abc")
        .object_id(support::pattern(16))
        .stream(u"zone", "12345");
    volume.file(root, u"b", 65);
    volume.directory(root, u"Sub", 66).stream(u"s", "1");
    const std::unique_ptr<CNtfs> ntfs = open();
    const shared_path large(L"\\Large");
    const shared_path next(L"\\Next");
    for (const std::uint8_t alldates : {std::uint8_t{0}, std::uint8_t{1}}) {
        SCOPED_TRACE(alldates);
        opts.alldates = alldates;
        dir_entry_set expected;
        for (const std::uint64_t entry : {64u, 65u, 66u}) {
            entry_rows fresh(*ntfs, opts);
            add(fresh, *ntfs, entry, next, expected);
        }
        ASSERT_EQ(expected.size(), 5u);

        entry_rows maker(*ntfs, opts);
        dir_entry_set entries;
        while (entries.size() <= most_spare_rows)
            add(maker, *ntfs, 64, large, entries);
        maker.recycle(entries);
        EXPECT_TRUE(entries.empty());
        for (int round = 0; round < 2; ++round) {
            for (const std::uint64_t entry : {64u, 65u, 66u})
                add(maker, *ntfs, entry, next, entries);
            EXPECT_EQ(details_of(entries), details_of(expected));
            maker.recycle(entries);
        }
    }
}

// Adds the rows of an entry under the root, with or without a record that has been read whole.
void add_with(entry_rows& maker, ql::bytes record, std::uint64_t entry, const whole_record* whole,
              dir_entry_set& entries) {
    const shared_path path(L"\\Dir");
    maker.add({.record = record,
               .entry_num = entry,
               .parent_num = root,
               .path = path,
               .append_name = true,
               .whole = whole},
              entries);
}

TEST_F(EntryRowReuse, WholeRecordIsNotReadAgain) {
    volume.file(root, u"f", 64).data("abc").stream(u"zone", "12345");
    const std::unique_ptr<CNtfs> ntfs = open();
    std::vector<std::uint8_t> record;
    whole_record whole;
    ASSERT_TRUE(ntfs->read_record(64, record, whole));
    entry_rows maker(*ntfs, opts);
    dir_entry_set expected;
    add_with(maker, record, 64, nullptr, expected);
    ASSERT_EQ(expected.size(), 2u);

    ntfs->m_disk->ok = false;  // every read fails
    dir_entry_set entries;
    add_with(maker, record, 64, &whole, entries);
    EXPECT_EQ(details_of(entries), details_of(expected));
    const whole_record no_record;
    for (const whole_record* other : {static_cast<const whole_record*>(nullptr), &no_record}) {
        dir_entry_set none;
        add_with(maker, record, 64, other, none);
        EXPECT_TRUE(none.empty());
    }
}

}  // namespace
