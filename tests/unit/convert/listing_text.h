// Builds listings as quorvel prints them, byte by byte.
#pragma once

#include <string>
#include <vector>

namespace listing_text {

inline const std::string separator = "@0123456789a";

inline const std::string words =
    "-csv -alldates -base10 -no_whitespace -quiet -dateformat yyyy-mm-dd "
    "-timeformat hh:mm:ss.xxxxxxx -csv_separator ";

inline std::string head(const std::string& user_words = "-image disk.dd") {
    return "quorvel ver: 1.45\n"
           "run time: 2026-01-02 03:04:05 [UTC]; host: lab; system: Linux;1;2;64\n"
           "\"command line: quorvel " +
           words + separator + " " + user_words + "\"\n\n";
}

inline std::string joined(const std::vector<std::string>& fields) {
    std::string text;
    for (const std::string& field : fields)
        text += field + separator;
    return text;
}

inline std::string header(bool with_object_id = false) {
    std::string text = joined({"type", "filename", "symbolic link", "size", "attributes",
                               "MFT entry", "sequence #", "flags"});
    for (const char* source : {"(stdinfo)", "(fn)", "(short fn)"}) {
        for (const char* name :
             {"cdate", "ctime", "mdate", "mtime", "MFT date", "MFT time", "adate", "atime"})
            text += std::string(name) + " " + source + separator;
    }
    text += "time discrepancy";
    if (with_object_id) text += separator + "object ID";
    return text + "\n";
}

// The fields of a row, each as it is printed.
struct row_fields {
    std::string type = "file", path = "\\a.txt", link = {}, size = "4096", attributes = "32",
                entry = "64", sequence = "2", flags = "1";
    std::vector<std::string> standard = {"2021-03-04",       "05:06:07.1234567", "2021-03-05",
                                         "06:07:08.2345678", "2021-03-06",       "07:08:09.3456789",
                                         "2021-03-07",       "08:09:10.4567890"};
    std::vector<std::string> name = standard;
    std::vector<std::string> short_name = std::vector<std::string>(8);
    std::string discrepancy = {}, object_id = {};
};

inline std::string row(const row_fields& fields = {}) {
    return joined({fields.type, fields.path, fields.link, fields.size, fields.attributes,
                   fields.entry, fields.sequence, fields.flags}) +
           joined(fields.standard) + joined(fields.name) + joined(fields.short_name) +
           joined({fields.discrepancy}) + fields.object_id + "\n";
}

}  // namespace listing_text
