#include "report/csv_listing.h"
