#include "EnvelopeView.h"

#include <zsff/AbstractRecordSection.h>
#include <zsff/PostAnalysisSettings.h>

#include "PostAnalysis.h"

namespace zsff_tools {

bool ParseEnvelopeUnit(const std::string& text, EnvelopeUnit& unit) {
  if (text == "volts") {
    unit = EnvelopeUnit::Volts;
  } else if (text == "recorded") {
    unit = EnvelopeUnit::Recorded;
  } else if (text == "post-analysis") {
    unit = EnvelopeUnit::PostAnalysis;
  } else {
    return false;
  }
  return true;
}

bool EnvelopeView::Open(const std::string& directory, std::string& error) {
  m_Directory = directory;
  m_View.Tree = OpenForReading(directory, error);
  return m_View.Tree != nullptr;
}

std::vector<int> EnvelopeView::Handles() const {
  std::vector<int> handles;
  for (const zsff::CRecordZoomer::RecordInfo_t& record : m_View.Zoomer.VectRecordInfo())
    handles.push_back(record.Handle);
  return handles;
}

void EnvelopeView::Scale(const zsff::CChannelID& channel) {
  if (m_Scaled.count(channel) != 0) return;
  // The zoomer's views come in the post-analysis scaling: the other units put a
  // scaling of their own in its place.
  if (m_Unit == EnvelopeUnit::Volts) {
    ZoomInVolts(*m_View.Tree, m_View.Zoomer, {channel});
  } else if (m_Unit == EnvelopeUnit::Recorded) {
    for (const zsff::CRecordZoomer::RecordInfo_t& record : m_View.Zoomer.VectRecordInfo()) {
      if (record.Handle == 0) continue;
      m_View.Tree->wRecord(record.Handle)
          .SetPostAnalysisSettings(channel, zsff::CPostAnalysisSettings(1.0f, 0.0f));
    }
  }
  m_Scaled.insert(channel);
}

bool EnvelopeView::Zoom(const zsff::CChannelID& channel, double start, double stop,
                        unsigned long long points, std::vector<float>& pairs, double& until,
                        std::string& error) {
  if (m_View.Zoomer.VectRecordInfo().empty() && !m_View.Zoomer.Init(m_View.Tree.get(), channel)) {
    error = m_Directory + ": the records of the measurement can't be opened";
    return false;
  }
  Scale(channel);
  // As the records stood at the last request: a recording that stopped since
  // gives a shorter answer rather than one cut to its end.
  const double end = m_View.Zoomer.VectRecordInfo().back().End;
  until = stop < 0.0 || (stop > end && !m_View.Zoomer.WasRunning()) ? end : stop;
  if (!(until > start)) {
    error = "the span starts at " + std::to_string(start) + " s, past the end, " +
            std::to_string(end) + " s";
    return false;
  }
  // The zoomer binds the records anew when their list changed; the new ones
  // take the scaling, and the request is made again in it.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const std::vector<int> before = Handles();
    if (!m_View.Zoomer.GetCompressedSignal(channel, static_cast<float>(start),
                                           static_cast<float>(until), points, false, 0, pairs)) {
      error = m_Directory + ": the span can't be zoomed";
      return false;
    }
    if (Handles() == before || m_Unit == EnvelopeUnit::PostAnalysis) return true;
    m_Scaled.clear();
    Scale(channel);
  }
  return true;
}

}  // namespace zsff_tools
