#include "MeasurementView.h"

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "EnvelopeView.h"
#include "Errors.h"
#include "MeasurementOutline.h"
#include "OpenTree.h"
#include "foundation/TextConversion.h"

namespace py = pybind11;
namespace fs = std::filesystem;
using zsff_tools::ChannelOutline;
using zsff_tools::MarkerOutline;
using zsff_tools::MeasurementOutline;
using zsff_tools::RecordOutline;

namespace zsff_python {

namespace {

MeasurementOutline Load(const std::string& path) {
  MeasurementOutline outline;
  std::string error;
  if (!zsff_tools::LoadOutline(path, outline, error)) RaiseFileError(error);
  return outline;
}

py::dtype StoredType(zsff::SampleFormat_t format) {
  switch (format) {
    case zsff::SIDouble: return py::dtype::of<double>();
    case zsff::Compact16: return py::dtype::of<std::int16_t>();
    case zsff::Raw32: return py::dtype::of<std::int32_t>();
    case zsff::SIFloat: break;
  }
  return py::dtype::of<float>();
}

// The unit a read or a zoom is asked for, the same words as the tool's and the viewer's.
zsff_tools::EnvelopeUnit ParseUnit(const std::string& unit) {
  zsff_tools::EnvelopeUnit parsed;
  if (!zsff_tools::ParseEnvelopeUnit(unit, parsed)) {
    throw py::value_error("unit must be \"volts\", \"recorded\" or \"post-analysis\", not \"" +
                          unit + "\"");
  }
  return parsed;
}

zsff::SampleReadMode_t ReadMode(const std::string& unit) {
  switch (ParseUnit(unit)) {
    case zsff_tools::EnvelopeUnit::Recorded: return zsff::SampleReadRecordedDouble;
    case zsff_tools::EnvelopeUnit::PostAnalysis: return zsff::SampleReadPostAnalysisDouble;
    case zsff_tools::EnvelopeUnit::Volts: break;
  }
  return zsff::SampleReadVoltDouble;
}

// The channel `which` names: its name (str) or its index (int) among the channels.
const ChannelOutline& FindChannel(const MeasurementOutline& outline, const py::object& which) {
  if (py::isinstance<py::bool_>(which) ||
      !(py::isinstance<py::int_>(which) || py::isinstance<py::str>(which))) {
    throw py::type_error("a channel is named by its name (str) or its index (int), not " +
                         py::str(py::type::of(which)).cast<std::string>());
  }
  if (py::isinstance<py::int_>(which)) {
    const long long index = which.cast<long long>();
    if (index < 0 || index >= static_cast<long long>(outline.Channels.size())) {
      throw py::value_error("no channel " + std::to_string(index) + ": the measurement has " +
                            std::to_string(outline.Channels.size()) + " channels");
    }
    return outline.Channels[static_cast<std::size_t>(index)];
  }
  const std::string name = which.cast<std::string>();
  const ChannelOutline* channel = zsff_tools::FindChannel(outline, name);
  if (channel == nullptr) throw py::value_error("no channel named \"" + name + "\" in " + outline.Path);
  return *channel;
}

// The tree and the record a read works on, closed however the read ends.
struct OpenRecord {
  std::unique_ptr<zsff::CRecordSignalTree> Tree;
  int Handle = 0;
  ~OpenRecord() {
    if (Tree && Handle != 0) Tree->CloseRecord(Handle, false);
    zsff::CRecordSignalTree::CloseSignalTree(Tree);
  }
};

std::unique_ptr<zsff::CRecordSignalTree> OpenTree(const std::string& path) {
  std::string error;
  std::unique_ptr<zsff::CRecordSignalTree> tree = zsff_tools::OpenForReading(path, error);
  if (!tree) RaiseFileError(error);
  return tree;
}

// The library's words for the last failure of `section`, or `fallback`.
std::string Reason(const zsff::CAbstractRecordSection& section, const char* fallback) {
  const std::string text = zsff::WideToUtf8(section.LastErrorString());
  return text.empty() ? fallback : text;
}

py::object DateTime(long long fileTime) {
  const py::module_ datetime = py::module_::import("datetime");
  return datetime.attr("datetime").attr("fromtimestamp")(zsff_tools::UnixSeconds(fileTime),
                                                        datetime.attr("timezone").attr("utc"));
}

}  // namespace

MeasurementView::MeasurementView(const std::string& directory) : m_Path(Load(directory).Path) {}

void MeasurementView::CheckOpen() const {
  if (m_Closed) RaiseError(m_Path + ": the measurement was closed");
}

std::string MeasurementView::Name() const { return fs::path(m_Path).filename().string(); }

double MeasurementView::Duration() const {
  CheckOpen();
  return Load(m_Path).Duration;
}

py::list MeasurementView::Records() const {
  CheckOpen();
  py::list out;
  for (const RecordOutline& record : Load(m_Path).Records) {
    out.append(RecordInfo{record.Number, DateTime(record.StartDate), record.Duration,
                          record.Recording});
  }
  return out;
}

py::list MeasurementView::Channels() const {
  CheckOpen();
  py::list out;
  for (const ChannelOutline& channel : Load(m_Path).Channels) {
    out.append(ChannelInfo{channel.Name, channel.Unit, channel.Rate, channel.Format,
                           channel.Index, static_cast<int>(channel.Id.ChannelNumber())});
  }
  return out;
}

py::list MeasurementView::Markers() const {
  CheckOpen();
  const MeasurementOutline outline = Load(m_Path);
  if (!outline.MarkersError.empty()) RaiseFileError(outline.Path + ": " + outline.MarkersError);
  py::list out;
  for (const MarkerOutline& marker : outline.Markers) {
    out.append(MarkerInfo{marker.Position, marker.Duration, marker.Name});
  }
  return out;
}

py::array MeasurementView::Read(const py::object& channel, long record, double start,
                            const py::object& stop, const std::string& unit) const {
  return ReadSamples(channel, record, start, stop, &unit);
}

py::array MeasurementView::ReadRaw(const py::object& channel, long record, double start,
                               const py::object& stop) const {
  return ReadSamples(channel, record, start, stop, nullptr);
}

py::array MeasurementView::ReadSamples(const py::object& channel, long record, double start,
                                   const py::object& stop, const std::string* unit) const {
  CheckOpen();
  const zsff::SampleReadMode_t mode = unit != nullptr ? ReadMode(*unit) : zsff::SampleReadVolt;
  const double stopSeconds = stop.is_none() ? -1.0 : stop.cast<double>();
  if (!(start >= 0.0) || (!stop.is_none() && !(stopSeconds >= start))) {
    throw py::value_error("start must be at least 0 and stop at least start");
  }
  const MeasurementOutline outline = Load(m_Path);
  const ChannelOutline& wanted = FindChannel(outline, channel);
  if (record < 1 || record > static_cast<long>(outline.Records.size())) {
    throw py::value_error("no record " + std::to_string(record) + ": " + m_Path + " holds " +
                          std::to_string(outline.Records.size()) + " records, numbered from 1");
  }
  const bool growing = outline.Records[static_cast<std::size_t>(record - 1)].Recording;

  OpenRecord open;
  open.Tree = OpenTree(m_Path);
  // A record id without a base is a position in the measurement's list.
  open.Handle = open.Tree->OpenRecord(zsff::CRecordId(static_cast<unsigned long long>(record)),
                                      zsff::CRecordSignalTree::TreeOpenDefault, 0);
  if (open.Handle == 0) {
    RaiseFileError(m_Path + ": record " + std::to_string(record) + " can't be opened: " +
                   zsff::WideToUtf8(zsff::CRecordSignalTree::LastErrorString()));
  }
  zsff::CAbstractRecordSection& section = open.Tree->wRecord(open.Handle);
  const zsff::CChannelID id = wanted.Id;
  zsff::MetaDataContainer metaData;
  zsff::TAG_RECORD_INFO info;
  float rate = 0.0f;
  if (!section.IsValidChannel(id)) {
    throw py::value_error("record " + std::to_string(record) + " has no channel \"" + wanted.Name +
                          "\"");
  }
  const std::string where = m_Path + ", record " + std::to_string(record) + ", " + wanted.Name;
  if (!section.ReadChannelMetaData(id, metaData, info, false) ||
      !zsff::CMetaDataChannelReader(metaData).SamplingRate(rate) || !(rate > 0.0f)) {
    RaiseFileError(where + ": the channel's metadata can't be read: " +
                   Reason(section, "no sampling rate"));
  }

  if (!section.SetReadPos(id, start)) {
    RaiseFileError(where + ": can't seek to " + std::to_string(start) + " s: " +
                   Reason(section, "seek failed"));
  }
  // What the record keeps, which a ring's time to stop shortens too: known once
  // the reader stands in the record.
  const unsigned long long length =
      static_cast<unsigned long long>(std::llround(section.SignalLength(id, false) * rate));
  const unsigned long long first = static_cast<unsigned long long>(std::llround(start * rate));
  unsigned long long last = stop.is_none()
                                ? length
                                : static_cast<unsigned long long>(std::llround(stopSeconds * rate));
  if (first > length || (last > length && !growing)) {
    throw py::value_error(where + " holds " + std::to_string(static_cast<double>(length) / rate) +
                          " s, not up to " +
                          std::to_string(std::max(start, stopSeconds)) + " s");
  }

  const std::size_t count = static_cast<std::size_t>(last - first);
  const py::dtype type = unit != nullptr
                            ? py::dtype::of<double>()
                            : StoredType(zsff::CMetaDataChannelReader(metaData).SampleFormat());
  py::array samples(type, py::array::ShapeContainer{static_cast<py::ssize_t>(count)});
  const std::size_t itemSize = static_cast<std::size_t>(samples.itemsize());
  unsigned char* out = static_cast<unsigned char*>(samples.mutable_data());
  std::size_t done = 0;
  {
    py::gil_scoped_release release;
    while (done < count) {
      const unsigned long long read =
          unit != nullptr ? section.ReadSampleBlock(id, out + done * itemSize, count - done, mode)
                          : section.ReadRawSampleBlock(id, out + done * itemSize, count - done);
      if (read == 0) break;
      done += static_cast<std::size_t>(read);
    }
  }
  if (done == count) return samples;
  // A record being recorded is read as far as it reaches the disk.
  zsff::CAbstractRecordSection::ReadState_t state = zsff::CAbstractRecordSection::ReadStateNone;
  if (growing && section.EndOfReading(id, state)) {
    return samples[py::slice(0, static_cast<py::ssize_t>(done), 1)];
  }
  RaiseFileError(where + ": the samples end after " +
                 std::to_string(static_cast<double>(first + done) / rate) + " s, its metadata gives " +
                 std::to_string(static_cast<double>(length) / rate) + " s: " +
                 Reason(section, "a part file is cut short"));
}

py::tuple MeasurementView::Zoom(const py::object& channel, double start, const py::object& stop,
                                long long points, const std::string& unit) const {
  CheckOpen();
  const zsff_tools::EnvelopeUnit scaling = ParseUnit(unit);
  if (points < 1 || points > 10000000) throw py::value_error("points must be 1 to 10000000");
  const double stopSeconds = stop.is_none() ? -1.0 : stop.cast<double>();
  if (!(start >= 0.0) || (!stop.is_none() && !(stopSeconds > start))) {
    throw py::value_error("start must be at least 0 and stop after start");
  }
  const zsff::CChannelID id = FindChannel(Load(m_Path), channel).Id;
  zsff_tools::EnvelopeView view(scaling);
  std::string error;
  if (!view.Open(m_Path, error)) RaiseFileError(error);
  std::vector<float> values;
  double until = 0.0;
  bool zoomed;
  {
    py::gil_scoped_release release;
    zoomed = view.Zoom(id, start, stopSeconds, static_cast<unsigned long long>(points), values,
                       until, error);
  }
  if (!zoomed) {
    if (error.find("past the end") != std::string::npos) throw py::value_error(error);
    RaiseFileError(error);
  }
  const std::size_t pairs = values.size() / 2;
  py::array_t<double> low(pairs);
  py::array_t<double> high(pairs);
  double* lowOut = low.mutable_data();
  double* highOut = high.mutable_data();
  for (std::size_t i = 0; i < pairs; ++i) {
    lowOut[i] = values[2 * i];
    highOut[i] = values[2 * i + 1];
  }
  return py::make_tuple(low, high);
}

}  // namespace zsff_python
