// CSV reports of whole runs.
#include <gtest/gtest.h>

#include <algorithm>

#include "e2e/report_head.h"
#include "e2e/rich_volume.h"
#include "support/partition_image.h"

namespace {

using e2e::list;

// The two texts of a timestamp.
struct stamp {
    std::string date, time;
};
using stamps = std::vector<stamp>;  // created, modified, mft changed, accessed

// The content of a row of the report.
struct csv_row {
    std::string type, path;
    std::uint64_t size, attributes, entry;
    unsigned sequence, flags;
    stamps info, long_name, short_name;
    bool discrepancy = false;
    std::string object_id = {};
};

const stamps usual = {{"2021-03-04", "05:06:07.123"},
                      {"2021-03-05", "06:07:08.234"},
                      {"2021-03-06", "07:08:09.345"},
                      {"2021-03-07", "08:09:10.456"}};
const stamps set_back = {{"2020-03-04", "05:06:07.000"},
                         {"2021-12-31", "23:59:59.999"},
                         {"2020-02-29", "12:00:00.000"},
                         {"2000-02-29", "00:00:00.000"}};
const stamps short_stamps = {{"2022-01-01", "01:01:01.000"},
                             {"2022-02-02", "02:02:02.000"},
                             {"2022-03-03", "03:03:03.000"},
                             {"2022-04-04", "04:04:04.000"}};
const stamps far_stamps = {{"", ""}, {"", ""}, {"", ""}, {"1970-01-01", "00:00:01.000"}};
const stamps no_stamps = {{"", ""}, {"", ""}, {"", ""}, {"", ""}};

// The rows of \docs of the rich volume, at the last level.
const std::vector<csv_row> docs = {
    {"dir", "\\docs\\", 0, 0, 40, 1, 3, usual, usual, {}, false, e2e::docs_id},
    {"ads", "\\docs:note", 5, 0, 40, 1, 3, usual, usual, {}},
    {"file", "\\docs\\a,b|c.txt", 3, 0x20, 41, 1, 1, usual, usual, {}},
    {"file", "\\docs\\far\t.dat", 8, 0x20, 45, 1, 1, far_stamps, usual, {}},
    {"file", "\\docs\\linked.txt", 4, 0x20, 48, 1, 1, usual, usual, {}},
    {"file", "\\docs\\Long Name.txt", 8192, 0x21, 42, 3, 1, set_back, usual, short_stamps, true,
     e2e::long_name_id},
    {"ads", "\\docs\\Long Name.txt:zone", 7, 0x21, 42, 3, 1, set_back, usual, short_stamps, true},
    {"dir", "\\docs\\sub\\", 0, 0, 43, 1, 3, usual, usual, {}},
};

// The effects of the options on the report.
struct csv_form {
    std::string separator = ",";
    std::string from = ",", to = " ";  // replaced in paths; empty for nothing
    bool paired = false, split = false, all = false, decimal = false, objid = false;
    bool padded = true;
};

std::string number(std::uint64_t value, int width, bool decimal) {
    if (decimal) return std::to_string(value);
    std::string digits;
    for (; value != 0; value /= 16)
        digits.insert(0, 1, "0123456789abcdef"[value % 16]);
    while (digits.size() < static_cast<std::size_t>(width))
        digits.insert(0, 1, '0');
    return "0x" + digits;
}

std::string replaced(std::string text, const csv_form& form) {
    if (!form.from.empty()) std::replace(text.begin(), text.end(), form.from[0], form.to[0]);
    return text;
}

std::string stamp_cells(const stamps& set, const csv_form& form) {
    const std::string pad = form.padded ? " " : "";
    std::string cells;
    for (const stamp& s : set) {
        cells += form.paired ? pad + s.date + " " + s.time + form.separator
                             : s.date + form.separator + pad + s.time + form.separator;
    }
    return cells;
}

std::string row_text(const csv_row& row, const csv_form& form) {
    const std::string& sep = form.separator;
    std::string text = row.type + sep + replaced(row.path, form) + sep;
    if (form.split) text += sep;  // no slash in any path: the second field is empty
    text += sep;                  // the link
    text += number(row.size, 8, form.decimal) + sep + number(row.attributes, 8, form.decimal) +
            sep + number(row.entry, 8, form.decimal) + sep + number(row.sequence, 4, form.decimal) +
            sep + number(row.flags, 4, form.decimal) + sep;
    text += stamp_cells(row.info, form);
    if (form.all) {
        text += stamp_cells(row.long_name, form);
        if (!row.short_name.empty()) {
            text += stamp_cells(row.short_name, form);
        } else {
            for (int i = 0; i < (form.paired ? 4 : 8); ++i)
                text += sep;
        }
        if (row.discrepancy) text += "true";
    }
    text += sep;
    if (form.objid) text += row.object_id;
    return text + "\n";
}

std::string header_text(const csv_form& form) {
    std::vector<std::string> names = {"type", "filename"};
    if (form.split) names.push_back("path");
    for (const char* name :
         {"symbolic link", "size", "attributes", "MFT entry", "sequence #", "flags"}) {
        names.push_back(name);
    }
    std::vector<std::string> sources = {" (stdinfo)"};
    if (form.all) sources = {" (stdinfo)", " (fn)", " (short fn)"};
    for (const std::string& source : sources) {
        for (const char* name :
             {"cdate", "ctime", "mdate", "mtime", "MFT date", "MFT time", "adate", "atime"}) {
            const bool is_time = std::string(name).find("time") != std::string::npos;
            if (!form.paired || !is_time) names.push_back(name + source);
        }
    }
    names.push_back("time discrepancy");
    if (form.objid) names.push_back("object ID");
    std::string text = names[0];
    for (std::size_t i = 1; i < names.size(); ++i)
        text += form.separator + names[i];
    return text + "\n";
}

std::string report_text(const std::vector<csv_row>& rows, const csv_form& form) {
    std::string text = header_text(form);
    for (const csv_row& row : rows)
        text += row_text(row, form);
    return text;
}

class CsvReport : public testing::Test {
protected:
    std::string run(const std::vector<std::string>& options,
                    const std::string& path = "\\docs") const {
        std::vector<std::string> arguments = {path, "-image", image.path()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return list(arguments);
    }

    e2e::rich_image image;
};

TEST_F(CsvReport, HeaderAndRowInFull) {
    EXPECT_EQ(run({"-csv"}, "\\docs\\linked.txt"),
              "type,filename,symbolic link,size,attributes,MFT entry,sequence #,flags,"
              "cdate (stdinfo),ctime (stdinfo),mdate (stdinfo),mtime (stdinfo),MFT date (stdinfo),"
              "MFT time (stdinfo),adate (stdinfo),atime (stdinfo),time discrepancy\n"
              "file,\\docs\\linked.txt,,0x00000004,0x00000020,0x00000030,0x0001,0x0001,"
              "2021-03-04, 05:06:07.123,2021-03-05, 06:07:08.234,2021-03-06, 07:08:09.345,"
              "2021-03-07, 08:09:10.456,,\n");
}

// Every combination of the options that affect a row, with four separators.
TEST_F(CsvReport, EveryCombinationOfOptions) {
    const struct {
        std::vector<std::string> options;
        csv_form form;
    } separators[] = {
        {{"-csv"}, {}},
        {{"-csv", "-csv_separator", " | "}, {.separator = " | ", .from = "|", .to = ";"}},
        {{"-csv", "-csv_separator", "; "}, {.separator = "; ", .from = "", .to = ""}},
        {{"-csv", "-csv_separator", "TAB"}, {.separator = "\t", .from = "", .to = ""}},
    };
    for (const auto& base : separators) {
        for (unsigned set = 0; set < 64; ++set) {
            std::vector<std::string> options = base.options;
            csv_form form = base.form;
            const auto option = [&](unsigned bit, const char* word, bool& field) {
                if ((set >> bit & 1) == 0) return;
                options.push_back(word);
                field = true;
            };
            bool stripped = false;
            option(0, "-pair_datetime", form.paired);
            option(1, "-split_pathfile", form.split);
            option(2, "-alldates", form.all);
            option(3, "-base10", form.decimal);
            option(4, "-objid", form.objid);
            option(5, "-no_whitespace", stripped);
            if (stripped) {
                form.padded = false;
                std::erase(form.separator, ' ');
            }
            SCOPED_TRACE(e2e::joined_words(options));
            EXPECT_EQ(run(options), report_text(docs, form));
        }
    }
}

TEST_F(CsvReport, AlldatesAloneUsesTheDefaultSeparator) {
    const csv_form form{.separator = " | ", .from = "|", .to = ";", .all = true};
    EXPECT_EQ(run({"-alldates"}), report_text(docs, form));
    EXPECT_EQ(run({"-alldates", "-no_whitespace"}),
              report_text(
                  docs, {.separator = "|", .from = "|", .to = ";", .all = true, .padded = false}));
}

TEST_F(CsvReport, AlldatesUsesTheSeparatorOfOtherForms) {
    EXPECT_EQ(run({"-alldates", "-bodyfile"}),
              report_text(docs, {.separator = "|", .from = "|", .to = ";", .all = true}));
    EXPECT_EQ(run({"-alldates", "-csvgen"}), report_text(docs, {.all = true}));
    EXPECT_EQ(run({"-alldates", "-multiline"}),
              report_text(docs, {.separator = "", .from = "", .to = "", .all = true}));
}

TEST_F(CsvReport, TabAndBackslashTAreATab) {
    const csv_form form{.separator = "\t", .from = "", .to = ""};
    for (const char* word : {"tab", "Tab", "\\t", "\\T"}) {
        EXPECT_EQ(run({"-csv", "-csv_separator", word}), report_text(docs, form));
    }
}

// A separator is any sequence of bytes, such as half of a UTF-8 character or invalid bytes.
TEST_F(CsvReport, SeparatorMayHaveAnyBytes) {
    for (const char* separator : {"\x80", "\xFF\xFE", "\xC3", "\u00A7"}) {
        const csv_form form{.separator = separator, .from = "", .to = ""};
        EXPECT_EQ(run({"-csv", "-csv_separator", separator}), report_text(docs, form));
    }
}

TEST_F(CsvReport, Base16TakesPrecedenceInAnyOrder) {
    EXPECT_EQ(run({"-csv", "-base16", "-base10"}), report_text(docs, {}));
    EXPECT_EQ(run({"-csv", "-base10", "-base16"}), report_text(docs, {}));
}

TEST_F(CsvReport, PairedDecimalRowWithoutWhitespace) {
    const std::string text =
        run({"-csv", "-pair_datetime", "-base10", "-no_whitespace"}, "\\docs\\linked.txt");
    EXPECT_EQ(text.substr(text.find('\n') + 1),
              "file,\\docs\\linked.txt,,4,32,48,1,1,2021-03-04 05:06:07.123,"
              "2021-03-05 06:07:08.234,2021-03-06 07:08:09.345,2021-03-07 08:09:10.456,,\n");
}

TEST_F(CsvReport, HeaderIsPrintedOnceForAllDirectories) {
    std::vector<csv_row> all = docs;
    all.push_back({"file", "\\docs\\sub\\other name.txt", 4, 0x20, 48, 1, 1, usual, usual, {}});
    all.push_back({"file", "\\docs\\sub\\x&<y>\".txt", 0, 0x20, 44, 1, 1, no_stamps, usual, {}});
    all.push_back({"dir", "\\docs\\sub\\deep\\", 0, 0, 46, 1, 3, usual, usual, {}});
    all.push_back({"file", "\\docs\\sub\\deep\\end.txt", 0, 0x20, 47, 1, 1, usual, usual, {}});
    EXPECT_EQ(run({"-csv", "-level", "9"}), report_text(all, {}));
    EXPECT_EQ(run({"-csv", "-level", "9", "-alldates"}), report_text(all, {.all = true}));
}

TEST_F(CsvReport, SubdirectoriesOfAVolumeInsideADisk) {
    constexpr std::uint64_t mib = 1024 * 1024;
    support::byte_image disk(3 * mib);
    support::put_boot_record(disk, 0, {{7, 2048, 4096}});
    support::embed(disk, mib, e2e::rich_volume().build());
    std::vector<csv_row> rows = docs;
    rows.push_back({"dir", "\\docs\\sub\\deep\\", 0, 0, 46, 1, 3, usual, usual, {}});
    rows.push_back({"file", "\\docs\\sub\\other name.txt", 4, 0x20, 48, 1, 1, usual, usual, {}});
    rows.push_back({"file", "\\docs\\sub\\x&<y>\".txt", 0, 0x20, 44, 1, 1, no_stamps, usual, {}});
    EXPECT_EQ(list({"\\docs", "-image", disk.save(image.file("disk.dd")), "-offset", "0x100000",
                    "-csv", "-level", "1"}),
              report_text(rows, {}));
}

TEST_F(CsvReport, IndexStreams) {
    std::vector<csv_row> rows = docs;
    rows.insert(rows.begin() + 1, {"indx", "\\docs:$I30", 4096, 0, 40, 1, 3, usual, usual, {}});
    rows.push_back({"indx", "\\docs\\sub:$I30", 4096, 0, 43, 1, 3, usual, usual, {}});
    EXPECT_EQ(run({"-csv", "-indx"}), report_text(rows, {}));
}

TEST_F(CsvReport, StreamSuffix) {
    const std::vector<csv_row> rows = {
        {"ads", ":zone", 7, 0x21, 42, 3, 1, set_back, usual, short_stamps, true}};
    EXPECT_EQ(run({"-csv", "-alldates"}, "\\docs\\Long Name.txt:zone"),
              report_text(rows, {.all = true}));
}

TEST_F(CsvReport, FiltersKeepDirectories) {
    const std::vector<csv_row> rows = {docs[0], docs[1], docs[3], docs[7]};
    EXPECT_EQ(run({"-csv", "-filter", "*.dat"}), report_text(rows, {}));
}

TEST_F(CsvReport, DateAndTimeFormatsApplyToTheCells) {
    const std::vector<std::string> arguments = {
        "\\docs\\linked.txt", "-image",   image.path(),  "-csv",
        "-dateformat",        "dd/mm/yy", "-timeformat", "hh:mm:ss"};
    const std::string text = list(arguments, "%d/%m/%y");
    EXPECT_EQ(text.substr(text.find('\n') + 1),
              "file,\\docs\\linked.txt,,0x00000004,0x00000020,0x00000030,0x0001,0x0001,"
              "04/03/2021, 05:06:07,05/03/2021, 06:07:08,06/03/2021, 07:08:09,07/03/2021, "
              "08:09:10,,\n");
}

TEST_F(CsvReport, EmptyListingHasNoHeader) {
    EXPECT_EQ(run({"-csv", "-filter", "*.exe"}, "\\docs\\linked.txt"), "no items\n\n");
    EXPECT_EQ(run({"-csv"}, "\\nowhere"), "");
}

}  // namespace
