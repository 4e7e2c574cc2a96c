// Post-analysis as the tool shows it: the keys a channel's settings lie under
// beside the recorded ones, and the volts that the viewing commands give unless
// they are asked for the post-analysis scaling.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <vector>

namespace zsff_tools {

struct PostAnalysisKey {
  const char* Recorded;      // "Sensitivity"
  const char* PostAnalysis;  // "SensitivityPostAnalysis"
};

// Every pair, in the order a listing shows them.
const std::vector<PostAnalysisKey>& PostAnalysisKeys();

// The zoomer's views come in the post-analysis scaling, which a record's saved
// settings change: this puts the recorded scaling back over the channels `ids`
// of every record the zoomer holds, so that its views are in volts, as "zsff
// read" gives them. Lasts until the zoomer opens its records anew (when a
// record is added to a measurement being recorded).
void ZoomInVolts(zsff::CRecordSignalTree& tree, const zsff::CRecordZoomer& zoomer,
                 const std::vector<zsff::CChannelID>& ids);

}  // namespace zsff_tools
