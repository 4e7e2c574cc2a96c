// Post-analysis settings put into a channel's metadata: each value an operator
// set lies beside the recorded one, under the key of the same name ending in
// "PostAnalysis"; the recorded keys are never touched.
#pragma once

namespace zsff {

class CPostAnalysisSettings;
class MetaDataContainer;

// Writes the set values of `settings` beside the recorded ones in `metaData`. An
// unset value (sensitivity 0, offset 1e38, range 0, empty text) changes nothing;
// "none" or "None" as quantity or transducer stands for the recorded value. A
// value equal to the recorded one is written only over an earlier, different
// post-analysis value. True when the container changed.
bool PutPostAnalysisSettings(const CPostAnalysisSettings& settings, MetaDataContainer& metaData);

}  // namespace zsff
