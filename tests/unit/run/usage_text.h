// The expected help text.
#pragma once

#include <string>

inline const std::string usage_text =
    R"(-----------------------------------------------------------------------------

quorvel ver: 1.45

Usage:

  quorvel <directory> -image <disk image> [-offset <volume offset>] 
  quorvel <volume> -mft <entry>
  quorvel -image <disk image> [-offset <volume offset>] -mft <entry>
  quorvel <directory> -vmdk "<file1> | <file2> | ..."
  quorvel <directory> -vss <#>
  quorvel -?             = this help msg

 Basic options
  -csv                   = output data in csv format
  -xml <xml file>        = output data in xml format
  -alldates              = output all the date/timestamps

 Additional options
  -level <levels>        = [-recurse] down to the specified levels
  -base10                = output in base10 vice hex for csv or xml
  -indx                  = show INDX type records
  -objid                 = show object ID, if it exists
  -filepath_only         = show just the path/file [only w/ -recurse]
  -dateformat mm/dd/yyyy = "yyyy-mm-dd" is the default
  -timeformat hh:mm:ss   = "hh:mm:ss.xxx" is the default
  -pair_datetime         = combine date/time into 1 field for csv
  -split_pathfile        = path and file in separate fields for csv
  -no_whitespace         = remove whitespace between csv delimiter
  -csv_separator "|"     = use a pipe char for csv separator

)";
