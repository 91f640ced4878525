#include "ntfs/attributes/attrib_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/mft_info.h"
#include "ntfs/volume/name_entry.h"

namespace {

using testing::Each;

// The initial values of the structures that describe an entry.

TEST(RecordsStart, RunsAreEmpty) {
    const NTFS_DATA run;
    for (const std::uint64_t field : {run.lcn, run.lcn_delta, run.vcn, run.run_offset})
        EXPECT_EQ(field, 0u);
    for (const std::uint32_t field : {run.num_clusters, run.resident_size, run.attrib_type})
        EXPECT_EQ(field, 0u);
    EXPECT_EQ(run.negative_delta, 0u);
    EXPECT_EQ(run.resident, 0u);

    const data_run compact;
    EXPECT_EQ(compact.lcn, 0u);
    EXPECT_EQ(compact.vcn, 0u);
    EXPECT_EQ(compact.sparse, 0u);
    EXPECT_EQ(compact.num_clusters, 0u);
}

TEST(RecordsStart, StoresAreEmpty) {
    const NTFS_ENTRY_STORE store;
    EXPECT_EQ(store.inode, 0u);
    EXPECT_EQ(store.sequence, 0u);
    EXPECT_EQ(store.base_ref, 0u);
    EXPECT_FALSE(store.has_base);
    EXPECT_FALSE(store.seen_unnamed_data);
    EXPECT_THAT(store.header, Each(0));

    const NTFS_STD_INFO_ITEM info;
    EXPECT_THAT(info.value, Each(0));
    EXPECT_FALSE(info.time_warning);

    const NTFS_FILE_NAME_ITEM name;
    EXPECT_THAT(name.value, Each(0));
    EXPECT_FALSE(name.is_dos_name);
    EXPECT_FALSE(name.time_warning);
    EXPECT_EQ(name.attrib_id, 0u);
    EXPECT_EQ(name.inode, 0u);

    const NTFS_ATTRIB_ITEM attribute;
    EXPECT_FALSE(attribute.is_ads);
    EXPECT_FALSE(attribute.is_data);
}

TEST(RecordsStart, RowsAndNamesAreEmpty) {
    const NTFS_ATTRIB_ROW row;
    EXPECT_EQ(row.type, 0u);
    EXPECT_EQ(row.attrib_id, 0u);
    EXPECT_EQ(row.attrib_flags, 0u);
    EXPECT_EQ(row.file_ref, 0u);
    EXPECT_EQ(row.nonresident, 0u);
    EXPECT_EQ(row.record_size, 0u);
    EXPECT_THAT(row.body, Each(0));

    const NTFS_NAME_ENTRY name;
    EXPECT_EQ(name.parent_ref, 0u);
    EXPECT_EQ(name.is_dos_name, 0u);
    EXPECT_EQ(name.record_number, 0u);
    EXPECT_THAT(name.file_name_body, Each(0));
    EXPECT_THAT(name.attrib_head, Each(0));
}

TEST(RecordsStart, FieldsHaveTheSizesOfTheirOnDiskParts) {
    EXPECT_EQ(sizeof(NTFS_STD_INFO_ITEM::value), 72u);
    EXPECT_EQ(sizeof(NTFS_FILE_NAME_ITEM::value), 68u);
    EXPECT_EQ(sizeof(NTFS_ENTRY_STORE::header), 42u);
    EXPECT_EQ(sizeof(NTFS_NAME_ENTRY::file_name_body), 68u);
    EXPECT_EQ(sizeof(NTFS_NAME_ENTRY::attrib_head), 72u);
    EXPECT_EQ(sizeof(NTFS_INODE_INFO::file_name_body), 68u);
}

TEST(RecordsStart, ParsedEntriesAndContextsAreEmpty) {
    const NTFS_INODE_INFO info;
    EXPECT_EQ(info.data_size, 0u);
    EXPECT_EQ(info.bitmap_size, 0u);
    EXPECT_THAT(info.file_name_body, Each(0));

    const mft_entries_ctx context;
    EXPECT_EQ(context.ntfs, nullptr);
    EXPECT_EQ(context.record_size, 0u);
    EXPECT_EQ(context.bytes_per_sector, 0u);
    EXPECT_EQ(context.byte_count, 0u);
}

}  // namespace
