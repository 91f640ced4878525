#include "run/quorvel_opts.h"
