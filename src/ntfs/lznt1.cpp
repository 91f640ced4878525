#include "ntfs/lznt1.h"
