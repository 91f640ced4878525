// A bare volume as image and chains of VMDK files, for whole runs.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace e2e {

constexpr std::uint64_t mib = 1024 * 1024;

// An image with the file \image.txt, and chains of files beside it.
class chain_fixture : public testing::Test {
protected:
    chain_fixture() { m_image = volume(u"image.txt").save(m_dir.file("image.dd")); }

    static support::byte_image volume(const std::u16string& name) {
        support::ntfs_image image;
        image.file(5, name, 64).data("abc");
        return image.build();
    }
    static std::string rows(const std::string& name) {
        return text_header + directory_row(5, "\\") + file_row(64, 3, "\\" + name);
    }
    // A base with a bare volume that holds \base.txt.
    std::string base() const {
        return support::vmdk_image().content(volume(u"base.txt")).save(m_dir.file("base.vmdk"));
    }
    // NTFS with \first.txt at 1 MiB and \second.txt at 3 MiB.
    static support::byte_image disk() {
        support::byte_image disk(5 * mib);
        support::put_boot_record(disk, 0, {{7, 2048, 2048}, {7, 6144, 2048}});
        support::embed(disk, mib, volume(u"first.txt"));
        support::embed(disk, 3 * mib, volume(u"second.txt"));
        return disk;
    }
    whole_run run(const std::vector<std::string>& options) const {
        std::vector<std::string> arguments = {"-image", m_image};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return whole_run(arguments);
    }
    void expect_refused(const std::vector<std::string>& options, const std::string& errors) const {
        run(options).expect(status_failed, "", errors);
    }
    static std::string suggestion(const std::string& list) {
        return "suggested array: -vmdk \"" + list + "\"\n";
    }

    support::temp_dir m_dir;
    std::string m_image;
};

}  // namespace e2e
