#pragma once

#include "messages/catalogue.h"

// What both the local and the remote reports say.
inline constexpr Message kNoStatistics{189, "No statistics data available for %1 drive."};
