#include "foundation/split_path.h"
