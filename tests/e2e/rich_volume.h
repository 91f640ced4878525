// A volume with a sample of everything that a report can show.
//
//   40 \docs                    directory, object id, stream "note" (5 bytes)
//   41 \docs\a,b|c.txt          3 bytes, resident
//   42 \docs\Long Name.txt      two clusters; DOS name LONGNA~1.TXT; stream "zone" (7 bytes);
//                               object id; timestamps set back by a year
//   43 \docs\sub                directory with an index block, as 40 has
//   44 \docs\sub\x&<y>".txt     empty; timestamps of $STANDARD_INFORMATION all 0
//   45 \docs\far<TAB>.dat       timestamps out of range except the last
//   46 \docs\sub\deep           directory
//   47 \docs\sub\deep\end.txt   no $DATA
//   48 \docs\linked.txt         4 bytes; also \docs\sub\other name.txt
//
// Other timestamps are those of support::file_times:
//   created 2021-03-04 05:06:07.1234567      mft changed 2021-03-06 07:08:09.3456789
//   modified 2021-03-05 06:07:08.2345678     accessed 2021-03-07 08:09:10.4567890
#pragma once

#include <string>

#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace e2e {

inline support::bytes rich_object_id(std::uint8_t first) {
    support::bytes id;
    for (std::uint8_t i = 0; i < 16; ++i)
        id.push_back(static_cast<std::uint8_t>(first + i));
    return id;
}
inline const std::string docs_id = "13121110-1514-1716-1819-1a1b1c1d1e1f";       // 0x10, 0x11 ...
inline const std::string long_name_id = "83828180-8584-8786-8889-8a8b8c8d8e8f";  // 0x80, 0x81 ...

inline support::ntfs_image rich_volume() {
    using support::filetime;
    constexpr std::uint64_t root = 5;
    support::ntfs_image volume;
    volume.directory(root, u"docs", 40).object_id(rich_object_id(0x10)).stream(u"note", "12345");
    volume.index(40).in_blocks();
    volume.file(40, u"a,b|c.txt", 41).data("abc");

    const support::file_times set_back{.created = filetime(2020, 3, 4, 5, 6, 7),
                                       .modified = filetime(2021, 12, 31, 23, 59, 59, 9999999),
                                       .mft_changed = filetime(2020, 2, 29, 12),
                                       .accessed = filetime(2000, 2, 29)};
    const support::file_times short_times{.created = filetime(2022, 1, 1, 1, 1, 1),
                                          .modified = filetime(2022, 2, 2, 2, 2, 2),
                                          .mft_changed = filetime(2022, 3, 3, 3, 3, 3),
                                          .accessed = filetime(2022, 4, 4, 4, 4, 4)};
    volume.file(40, u"Long Name.txt", 42, {}, {.times = set_back, .attributes = 0x21})
        .sequence(3)
        .object_id(rich_object_id(0x80))
        .data_runs(volume.store(support::pattern(8192)), {.real = 5000})
        .stream(u"zone", "1234567");
    volume.link(42, 40, u"LONGNA~1.TXT", {.space = support::dos, .times = short_times});

    volume.directory(40, u"sub", 43);
    volume.index(43).in_blocks();
    volume.file(43, u"x&<y>\".txt", 44, {}, {.times = support::file_times::all(0)}).data("");
    volume
        .file(40, u"far\t.dat", 45, {},
              {.times = {.created = 1ull << 63,
                         .modified = filetime(1969, 12, 31, 23, 59, 59),
                         .mft_changed = filetime(3002, 1, 1),
                         .accessed = filetime(1970, 1, 1, 0, 0, 1)}})
        .data("12345678");
    volume.directory(43, u"deep", 46);
    volume.file(46, u"end.txt", 47);
    volume.file(40, u"linked.txt", 48).data("hard");
    volume.link(48, 43, u"other name.txt");
    return volume;
}

// The volume in a file, which is deleted with this object.
class rich_image {
public:
    const std::string& path() const { return m_path; }
    // Returns the name of another file in the same directory.
    std::string file(const std::string& name) const { return m_dir.file(name); }

private:
    support::temp_dir m_dir;
    std::string m_path = rich_volume().save(m_dir.file("rich.dd"));
};

}  // namespace e2e
