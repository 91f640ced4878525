// A volume that the test builds and opens, with the settings of a run.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/text/ql_string.h"
#include "foundation/time/date_style.h"
#include "ntfs/volume/ntfs.h"
#include "report/walk/enumerator.h"
#include "report/writers/csv_listing.h"
#include "report/writers/text_listing.h"
#include "run/settings/quorvel_opts.h"
#include "storage/opening/source_opening.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace listing {

inline constexpr std::uint64_t root = 5;

class volume_test : public testing::Test {
protected:
    volume_test() {
        text_header_pending = true;
        csv_header_pending = true;
        ql::parse_date_style(opts.date_style, opts.date_format, opts.time_format, false);
        opts.out = &out;
        opts.filepath_only = 1;  // most tests check only the paths
    }

    // Opens the volume in its current state.
    std::unique_ptr<CNtfs> open() {
        const std::string path = dir.file("volume.dd");
        volume.save(path);
        std::unique_ptr<CNtfs> ntfs;
        EXPECT_TRUE(attach_image(ntfs, std::wstring(path.begin(), path.end()), 0));
        return ntfs;
    }

    std::string written() {
        std::string text = out.str();
        out.str("");
        return text;
    }

    support::ntfs_image volume;
    support::temp_dir dir;
    quorvel_opts opts;
    std::ostringstream out;
};

}  // namespace listing
