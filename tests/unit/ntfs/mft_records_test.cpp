#include "ntfs/ntfs.h"
