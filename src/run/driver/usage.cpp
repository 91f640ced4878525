#include "run/driver/usage.h"

#include <iostream>

#include "run/driver/report_head.h"

namespace {

constexpr const char* rule =
    "-----------------------------------------------------------------------------\n\n";

constexpr const char* forms_and_options =
    "Usage:\n"
    "\n"
    "  quorvel <directory> -image <disk image> [-offset <volume offset>] \n"
    "  quorvel <volume> -mft <entry>\n"
    "  quorvel -image <disk image> [-offset <volume offset>] -mft <entry>\n"
    "  quorvel <directory> -vmdk \"<file1> | <file2> | ...\"\n"
    "  quorvel <directory> -vss <#>\n"
    "  quorvel -?             = this help msg\n"
    "\n"
    " Basic options\n"
    "  -csv                   = output data in csv format\n"
    "  -xml <xml file>        = output data in xml format\n"
    "  -alldates              = output all the date/timestamps\n"
    "\n"
    " Additional options\n"
    "  -level <levels>        = [-recurse] down to the specified levels\n"
    "  -base10                = output in base10 vice hex for csv or xml\n"
    "  -indx                  = show INDX type records\n"
    "  -objid                 = show object ID, if it exists\n"
    "  -filepath_only         = show just the path/file [only w/ -recurse]\n"
    "  -dateformat mm/dd/yyyy = \"yyyy-mm-dd\" is the default\n"
    "  -timeformat hh:mm:ss   = \"hh:mm:ss.xxx\" is the default\n"
    "  -pair_datetime         = combine date/time into 1 field for csv\n"
    "  -split_pathfile        = path and file in separate fields for csv\n"
    "  -no_whitespace         = remove whitespace between csv delimiter\n"
    "  -csv_separator \"|\"     = use a pipe char for csv separator\n"
    "\n";

}  // namespace

void usage() { std::cerr << rule << identification_line() << "\n\n" << forms_and_options; }
