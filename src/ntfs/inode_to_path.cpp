#include "ntfs/inode_to_path.h"
