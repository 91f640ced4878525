#include "ntfs/file_record.h"
