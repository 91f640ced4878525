// The whole program over an image in memory.
//
// Input: six bytes, then the image.
//   0  report form (bits 0 to 2), filter (3 and 4), date and time formats (5 and 6), a VMDK file
//      with a valid image (7)
//   1  one bit each for -indx, -objid, -pair_datetime, -split_pathfile, -no_whitespace, -base10,
//      -diags, -out
//   2  levels (bits 0 and 1), CSV separator (2 and 3), -ignore_image_size (4), -mft (5), directory
//      (6 and 7 with the bits of byte 5)
//   3  MFT entry
//   4  volume offset in sectors of 512 bytes; 0 for none
//   5  directory, see the table
//
// The program does not end on three kinds of damage, or not in any useful time. The target detects
// the first two before a run and skips it, and excludes the third:
//   - Links that refer to each other restart the lookup of a path again and again. The lookup
//     traces each restart; a run with more than 200 restarts is skipped.
//   - With -mft, a cycle of parents never ends. The target follows the parents itself; a run whose
//     entry is its own ancestor is skipped.
//   - Directories that contain each other are listed down to the given level. No run has more than
//     five levels.
#include <array>
#include <sstream>

#include "foundation/text/ql_string.h"
#include "fuzz_support.h"
#include "ntfs/entry_paths/entry_paths.h"
#include "ntfs/volume/ntfs.h"
#include "run/arguments/directory_argument.h"
#include "run/driver/run_driver.h"
#include "run/settings/cmd_params.h"
#include "storage/opening/source_opening.h"
#include "storage/volumes/source_check.h"
#include "support/ntfs_image.h"

namespace {

using words = std::vector<std::string>;

constexpr const char* directories[] = {
    "\\",
    "\\users",
    "\\users\\kim",
    "\\users\\kim\\docs",
    "\\users\\kim\\docs\\letter.txt",
    "/users/my documents/letter.txt",
    "c:\\users\\kim\\report.txt:zone",
    "users\\kim\\far.dat",
    "\\USERS\\KIM\\",
    "\\loop\\x",
    "\\$MFT",
    "\\$Extend\\$ObjId",
    ".",
    "c:\\",
    "\\users\\kim\\notes.txt:big",
    "\\\\.\\x\\users",
};

struct request {
    std::uint8_t form = 0;
    std::uint8_t flags = 0;
    std::uint8_t extra = 0;
    std::uint8_t entry = 0;
    std::uint64_t offset = 0;
    std::uint8_t place = 0;

    bool with_vmdk() const { return (form & 0x80) != 0; }
    bool with_entry() const { return (extra & 0x20) != 0; }
    bool ignores_size() const { return (extra & 0x10) != 0; }
    const char* directory() const { return directories[place % std::size(directories)]; }
};

request take_request(fuzz::input& in) {
    request made;
    made.form = in.u8();
    made.flags = in.u8();
    made.extra = in.u8();
    made.entry = in.u8();
    made.offset = std::uint64_t{in.u8()} * 512;
    made.place = in.u8();
    return made;
}

// --- the files of a run ---

struct run_files {
    fuzz::memory_file source;
    fuzz::memory_file sound_image;
    fuzz::memory_file xml;
    fuzz::memory_file trace;
    fuzz::scratch_folder folder;

    run_files() {
        support::ntfs_image volume{{.cluster = 512, .mft_records = 32}};
        volume.entry(4).data("");
        volume.entry(10).data("");
        volume.file(5, u"a.txt").data("abc");
        sound_image.set(volume.build().bytes());
    }
};

run_files& files() {
    static run_files made;
    return made;
}

const fuzz::memory_file& image_of(const request& asked) {
    return asked.with_vmdk() ? files().sound_image : files().source;
}

// --- the command line ---

void add_form(words& line, const request& asked) {
    switch (asked.form & 7) {
        case 1:
            line.push_back("-csv");
            break;
        case 2:
            line.push_back("-alldates");
            break;
        case 3:
            line.insert(line.end(), {"-xml", files().xml.path()});
            break;
        case 4:
            line.push_back("-filepath_only");
            break;
        case 5:
            line.push_back("-csvl2t");
            break;
        case 6:
            line.insert(line.end(), {"-alldates", "-xml", files().xml.path()});
            break;
        default:
            break;
    }
}

void add_values(words& line, const request& asked) {
    constexpr const char* filters[] = {"*.txt|*.dat", "*:zone", "report*,/kim/"};
    if (const unsigned filter = asked.form >> 3 & 3u; filter != 0)
        line.insert(line.end(), {"-filter", filters[filter - 1]});
    constexpr const char* dates[] = {"mm/dd/yyyy", "dd-mmm-yy ", "yyyy,mm,dd"};
    constexpr const char* times[] = {"hh:mm:ss", "hh:mm:ss.xxxxxxxxx", "hh:mm:ss.x  "};
    if (const unsigned format = asked.form >> 5 & 3u; format != 0) {
        line.insert(line.end(),
                    {"-dateformat", dates[format - 1], "-timeformat", times[format - 1]});
    }
    constexpr const char* separators[] = {"tab", "|", ", "};
    if (const unsigned separator = asked.extra >> 2 & 3u; separator != 0)
        line.insert(line.end(), {"-csv_separator", separators[separator - 1]});
    switch (asked.extra & 3) {
        case 1:
            line.insert(line.end(), {"-level", "1"});
            break;
        case 2:
            line.insert(line.end(), {"-recurse", "2"});
            break;
        case 3:
            line.insert(line.end(), {"-level", "5"});
            break;
        default:
            break;
    }
}

void add_flags(words& line, const request& asked) {
    constexpr const char* flags[] = {"-indx",           "-objid",         "-pair_datetime",
                                     "-split_pathfile", "-no_whitespace", "-base10"};
    for (unsigned i = 0; i < std::size(flags); ++i) {
        if ((asked.flags >> i & 1) != 0) line.push_back(flags[i]);
    }
    if ((asked.flags & 0x40) != 0) line.insert(line.end(), {"-diags", files().trace.path()});
    if ((asked.flags & 0x80) != 0)
        line.insert(line.end(), {"-out", files().folder.file("report.txt")});
}

words command_line(const request& asked) {
    words line{"quorvel", asked.directory(), "-image", image_of(asked).path(), "-quiet"};
    if (asked.with_vmdk()) line.insert(line.end(), {"-vmdk", files().source.path()});
    if (asked.offset != 0) line.insert(line.end(), {"-offset", std::to_string(asked.offset)});
    if (asked.ignores_size()) line.push_back("-ignore_image_size");
    if (asked.with_entry()) line.insert(line.end(), {"-mft", std::to_string(asked.entry)});
    add_form(line, asked);
    add_values(line, asked);
    add_flags(line, asked);
    return line;
}

// --- runs that would not end ---

struct too_many_restarts {};

// Receives the trace of a lookup, and ends the lookup after too many restarts.
class restart_counter : public std::streambuf {
protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        const std::string_view line(text, static_cast<std::size_t>(count));
        if (line.find("restart segments") != line.npos && ++m_restarts > most) {
            throw too_many_restarts{};
        }
        return count;
    }
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }

private:
    static constexpr int most = 200;
    int m_restarts = 0;
};

class bounded_lookup {
public:
    explicit bounded_lookup(const request& asked) : m_asked(asked) {
        bool found_ntfs = false;
        std::ostringstream ignored;
        m_offset = asked.offset;
        if (asked.with_vmdk()) {
            m_vmdk_files = {files().source.wide_path()};
            check_vmdk_list(ignored, m_vmdk_files, m_offset, found_ntfs, asked.ignores_size());
        } else {
            check_image(ignored, image_of(asked).path(), m_offset, found_ntfs,
                        asked.ignores_size());
        }
    }

    // Returns true if the lookup of `path` ends.
    bool ends(const std::wstring& path) const {
        restart_counter counter;
        cmd_params trace;
        trace.diags_on = 1;
        trace.diags_stream = std::make_unique<std::ofstream>();
        trace.diags_stream->std::ios::rdbuf(&counter);
        trace.diags_stream->exceptions(std::ios::badbit);
        bool ended = true;
        try {
            open(path, trace);
        } catch (const too_many_restarts&) {
            ended = false;
        }
        trace.diags_stream->std::ios::rdbuf(nullptr_buffer(*trace.diags_stream));
        return ended;
    }

private:
    // The stream's previous buffer, which outlives the counter.
    static std::streambuf* nullptr_buffer(std::ofstream& stream) {
        stream.exceptions(std::ios::goodbit);
        return stream.rdbuf();
    }

    void open(const std::wstring& path, cmd_params& trace) const {
        std::unique_ptr<CNtfs> ntfs;
        std::uint64_t entry = 0;
        std::wstring resolved;
        if (m_asked.with_vmdk()) {
            open_by_vmdk_list(ntfs, entry, resolved, m_vmdk_files, m_offset, path, true, trace);
        } else {
            open_by_image(ntfs, entry, resolved, image_of(m_asked).wide_path(), m_offset, path,
                          true, trace);
        }
    }

    const request& m_asked;
    std::vector<std::wstring> m_vmdk_files;
    std::uint64_t m_offset = 0;
};

// Follows the parents of all names of an entry. Returns false if an entry is its own ancestor.
bool climb_ends(CNtfs& ntfs, std::uint64_t entry, std::vector<std::uint64_t>& way) {
    constexpr std::uint64_t root_entry = 5;
    if (std::find(way.begin(), way.end(), entry) != way.end()) return false;
    name_entry_map names;
    {
        std::vector<std::uint8_t> record;
        if (!ntfs.read_whole_record(entry, record)) return true;
        if (!ntfs.get_file_names(names, entry, record)) return true;
    }
    way.push_back(entry);
    for (const auto& [key, name] : names) {
        const std::uint64_t parent = name.parent_entry();
        if (parent != root_entry && !climb_ends(ntfs, parent, way)) return false;
    }
    way.pop_back();
    return true;
}

// -mft reads the volume of the image, even if there is a VMDK file.
bool entry_paths_end(const request& asked) {
    std::uint64_t offset = asked.offset;
    bool found_ntfs = false;
    std::ostringstream ignored;
    check_image(ignored, image_of(asked).path(), offset, found_ntfs, asked.ignores_size());
    const std::wstring image = image_of(asked).wide_path();
    {
        std::unique_ptr<CNtfs> ntfs;
        std::vector<std::uint64_t> way;
        if (attach_image(ntfs, image, offset) && !climb_ends(*ntfs, asked.entry, way)) return false;
    }
    std::vector<std::wstring> paths;
    const std::wstring directory = ql::to_wide(normalise_directory(asked.directory()));
    paths_for_entry({image, offset}, asked.entry, entry_path_prefix(directory), paths);
    const bounded_lookup lookup(asked);
    return std::all_of(paths.begin(), paths.end(),
                       [&](const std::wstring& path) { return lookup.ends(path); });
}

bool ends(const request& asked) {
    if (asked.with_entry() && !entry_paths_end(asked)) return false;
    const std::wstring directory = ql::to_wide(normalise_directory(asked.directory()));
    return bounded_lookup(asked).ends(directory);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::quiet silence;
    fuzz::input in(data, size);
    const request asked = take_request(in);
    files().source.set(in.rest());
    if (!ends(asked)) return -1;

    const words line = command_line(asked);
    std::vector<const char*> arguments;
    for (const std::string& word : line)
        arguments.push_back(word.c_str());
    run_program(static_cast<int>(arguments.size()), arguments.data());
    return 0;
}
