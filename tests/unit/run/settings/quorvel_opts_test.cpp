#include "run/settings/quorvel_opts.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/temp_dir.h"

namespace {

TEST(QuorvelOpts, DefaultsAreATextReportOfOneLevel) {
    const quorvel_opts opts;
    EXPECT_EQ(opts.out, nullptr);
    EXPECT_EQ(opts.image_path, L"");
    EXPECT_EQ(opts.drive_number, 0xFFFFFFFFu);
    EXPECT_EQ(opts.volume_offset, 0u);
    EXPECT_EQ(opts.directory, L"");
    EXPECT_TRUE(opts.entries.empty());
    EXPECT_EQ(opts.dir_entry_num, 0u);
    EXPECT_EQ(opts.show_indx, 0);
    EXPECT_EQ(opts.show_objid, 0);
    EXPECT_EQ(opts.alldates, 0);
    EXPECT_EQ(opts.filepath_only, 0);
    EXPECT_EQ(opts.follow_links, 1);
    EXPECT_EQ(opts.levels, 1u);
    EXPECT_EQ(opts.no_listing, 0);
    EXPECT_EQ(opts.last_level, 0);
    EXPECT_EQ(opts.xml, 0);
    EXPECT_EQ(opts.csv, 0);
    EXPECT_EQ(opts.csv_separator, " | ");
}

TEST(QuorvelOpts, DestructionThroughTheBaseClosesTheTrace) {
    const support::temp_dir dir;
    const std::string path = dir.file("trace.txt");
    std::unique_ptr<cmd_params> params = std::make_unique<quorvel_opts>();
    params->diags_stream = std::make_unique<std::ofstream>(path);
    *params->diags_stream << "unflushed";
    params.reset();
    EXPECT_EQ(support::read_file(path), "unflushed");
}

}  // namespace
