// One channel's min/max envelope over the records of a measurement end to end,
// as a display draws it: the library's zoomer, with the scaling a viewer asks
// for put over every record it holds. The measurement and its records stay open
// between requests; when its list of records changes (a recording starts or
// stops a record), the zoomer binds them anew and the scaling follows.
#pragma once

#include <zsff/ChannelId.h>

#include <set>
#include <string>
#include <vector>

#include "OpenTree.h"

namespace zsff_tools {

enum class EnvelopeUnit { Volts, Recorded, PostAnalysis };

// "volts", "recorded" or "post-analysis"; false for anything else.
bool ParseEnvelopeUnit(const std::string& text, EnvelopeUnit& unit);

class EnvelopeView {
 public:
  explicit EnvelopeView(EnvelopeUnit unit) : m_Unit(unit) {}

  // Opens the measurement in `directory`; false with `error` set when it can't be.
  bool Open(const std::string& directory, std::string& error);

  // At most `points` (min, max) pairs of `channel` over [start, stop] seconds, min
  // first, NaN where a record being recorded has nothing yet. A negative `stop` is
  // the end; a stop beyond the end of a measurement that isn't being recorded is
  // cut to it, and `until` tells where the span ended. False with `error` set when
  // the span lies past the end or the records can't be read.
  bool Zoom(const zsff::CChannelID& channel, double start, double stop,
            unsigned long long points, std::vector<float>& pairs, double& until,
            std::string& error);

 private:
  // The handles of the records the zoomer holds: new ones tell it bound them anew.
  std::vector<int> Handles() const;
  // Puts the scaling of the unit over `channel` in each record the zoomer holds.
  void Scale(const zsff::CChannelID& channel);

  EnvelopeUnit m_Unit;
  std::string m_Directory;
  ZoomedMeasurement m_View;
  std::set<zsff::CChannelID> m_Scaled;  // channels whose scaling the bound records have
};

}  // namespace zsff_tools
