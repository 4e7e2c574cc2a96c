// A measurement's markers as the tool lists them, in "zsff markers" and in
// "zsff info": one row a marker, in the order of their ids.
#pragma once

#include <zsff/MetaDataMarker.h>

#include <vector>

#include "Table.h"

namespace zsff_tools {

// Columns: the record (the id's scope word), the marker's number in it (its
// sequence word), start and end in seconds of that record, date and text.
Table MarkerTable(const std::vector<zsff::MetaDataMarker>& markers);

}  // namespace zsff_tools
