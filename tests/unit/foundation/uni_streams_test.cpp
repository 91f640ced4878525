#include "foundation/uni_streams.h"
