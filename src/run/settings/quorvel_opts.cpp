#include "run/settings/quorvel_opts.h"

quorvel_opts::quorvel_opts() = default;

quorvel_opts::~quorvel_opts() = default;
