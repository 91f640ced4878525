#include "foundation/security_descriptor.h"
