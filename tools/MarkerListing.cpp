#include "MarkerListing.h"

#include <string>

#include "Format.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

Table MarkerTable(const std::vector<zsff::MetaDataMarker>& markers) {
  Table table;
  table.AddColumn("record", Table::Right);
  table.AddColumn("#", Table::Right);
  table.AddColumn("start (s)", Table::Right);
  table.AddColumn("end (s)", Table::Right);
  table.AddColumn("date");
  table.AddColumn("text");
  for (const zsff::MetaDataMarker& marker : markers) {
    table.AddRow({std::to_string(marker.id().Scope()), std::to_string(marker.id().Sequence()),
                  FormatSeconds(marker.relativeDate(), 3),
                  FormatSeconds(marker.relativeDateFromRun(), 3),
                  zsff::WideToUtf8(marker.absoluteDate()), zsff::WideToUtf8(marker.comment())});
  }
  return table;
}

}  // namespace zsff_tools
