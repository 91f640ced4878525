// A volume of files, directories and links for tests of the command line.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace e2e {

using words = std::vector<std::string>;

// A volume with these entries:
//
//   40  \docs                  50  \links
//   41  \docs\a.txt            51  \links\one.txt = \docs\two.txt
//   42  \docs\sub              52  \links\pair = \docs\pair, a directory
//   43  \docs\sub\deep         60  an orphan, whose parent 61 has no name
//   44  \docs\sub\deep\b.txt   62  a record without a name
class Driver : public testing::Test {
protected:
    Driver() {
        support::ntfs_image volume;
        volume.directory(5, u"docs", 40);
        volume.file(40, u"a.txt", 41).data("abc");
        volume.directory(40, u"sub", 42);
        volume.directory(42, u"deep", 43);
        volume.file(43, u"b.txt", 44).data("12345");
        volume.directory(5, u"links", 50);
        volume.file(50, u"one.txt", 51).data("1");
        volume.link(51, 40, u"two.txt");
        volume.directory(50, u"pair", 52);
        volume.link(52, 40, u"pair");
        volume.entry(61).standard_information();
        volume.entry(60).standard_information().file_name(61, u"orphan.txt").data("x");
        volume.entry(62).standard_information().data("x");
        m_image = volume.save(m_dir.file("volume.dd"));
    }

    // Returns the listing of the root, one level.
    static std::string root_rows() {
        return text_header + directory_row(5, "\\") + directory_row(40, "\\docs\\") +
               directory_row(50, "\\links\\");
    }

    // Returns the listing of \docs, one level; `path` ends in a backslash.
    static std::string docs_rows(const std::string& path = "\\docs\\") {
        return text_header + directory_row(40, path) + file_row(41, 3, path + "a.txt") +
               directory_row(52, path + "pair\\") + directory_row(42, path + "sub\\") +
               file_row(51, 1, path + "two.txt");
    }

    // Returns the output of a run with bare paths.
    std::string bare_paths(words arguments) {
        arguments.insert(arguments.end(), {"-filepath_only", "-image", m_image});
        const whole_run run(arguments);
        EXPECT_EQ(run.status(), 0);
        EXPECT_EQ(run.errors(), terminal_clearing);
        return run.out();
    }

    support::temp_dir m_dir;
    std::string m_image;
};

}  // namespace e2e
