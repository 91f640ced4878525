#include "run/driver/run_path.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "run/settings/quorvel_opts.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace {

// Settings for runs on a saved volume that contains the file "\a.txt".
class RunPath : public testing::Test {
protected:
    RunPath() {
        support::ntfs_image volume;
        volume.file(5, u"a.txt", 64).data("abc");
        const std::string path = volume.save(m_dir.file("volume.dd"));
        m_image.assign(path.begin(), path.end());
        m_opts.out = &m_out;
        m_opts.filepath_only = 1;
    }

    support::temp_dir m_dir;
    std::wstring m_image;
    std::ostringstream m_out;
    quorvel_opts m_opts;
};

TEST_F(RunPath, ListsThePathInTheImage) {
    m_opts.image_path = m_image;
    m_opts.directory = L"\\";
    EXPECT_TRUE(run_path(m_opts));
    EXPECT_EQ(m_out.str(), "\\\n\\a.txt\n");
    EXPECT_EQ(m_opts.dir_entry_num, 5u);
}

TEST_F(RunPath, MissingPathIsSilent) {
    m_opts.image_path = m_image;
    m_opts.directory = L"\\nothing";
    EXPECT_FALSE(run_path(m_opts));
    EXPECT_EQ(m_out.str(), "");
}

TEST_F(RunPath, MissingSourceIsSilent) {
    m_opts.image_path = m_image + L".missing";
    m_opts.directory = L"\\";
    testing::internal::CaptureStderr();
    EXPECT_FALSE(run_path(m_opts));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(m_out.str(), "");
}

TEST_F(RunPath, ChainTakesPrecedenceOverTheImage) {
    m_opts.image_path = m_image;
    m_opts.vmdk_files = {m_image};  // not a chain
    m_opts.directory = L"\\";
    EXPECT_FALSE(run_path(m_opts));
}

TEST_F(RunPath, DriveTakesPrecedenceOverTheImage) {
    m_opts.image_path = m_image;
    m_opts.drive_number = 20;  // never opened
    m_opts.directory = L"\\";
    EXPECT_FALSE(run_path(m_opts));
}

TEST_F(RunPath, DirectoryIsTheSourceIfThereIsNoOther) {
    m_opts.directory = m_image;  // opened as a volume, but not found in it
    EXPECT_FALSE(run_path(m_opts));
    EXPECT_EQ(m_out.str(), "");
}

}  // namespace
