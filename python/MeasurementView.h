// zsff.Measurement: a measurement directory opened for reading from Python. It
// holds no file open between calls: each listing reads the directory afresh and
// each read opens the measurement and closes it again, so that a measurement
// another process is recording shows what is on disk at the time of the call.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

namespace zsff_python {

// Where a record starts, how long it is, and whether it is being recorded.
struct RecordInfo {
  int Number = 0;  // position in the measurement's list, from 1: what `read` takes
  pybind11::object Start;  // datetime, UTC
  double Duration = 0.0;   // seconds
  bool Recording = false;
};

struct ChannelInfo {
  std::string Name;
  std::string Unit;
  double Rate = 0.0;   // Hz
  std::string Format;  // "int16", "int32", "float32", "float64"
  int Index = 0;       // position among the channels, from 0
  int Number = 0;      // the channel's number at its analyzer, as `zsff` takes it
};

struct MarkerInfo {
  double Position = 0.0;  // seconds on the measurement's axis
  double Duration = 0.0;
  std::string Name;
};

class MeasurementView {
 public:
  // Raises FileError when `directory` holds no readable measurement.
  explicit MeasurementView(const std::string& directory);

  const std::string& Path() const { return m_Path; }
  // The directory's name, which is the measurement's.
  std::string Name() const;
  // The records' durations added up: the length of the zoom axis.
  double Duration() const;
  pybind11::list Records() const;
  pybind11::list Channels() const;
  pybind11::list Markers() const;

  // Samples of `channel` (a name or an index) of the `record`-th record from
  // `start` to `stop` seconds (None: to the end) as float64 in `unit`.
  pybind11::array Read(const pybind11::object& channel, long record, double start,
                       const pybind11::object& stop, const std::string& unit) const;
  // The same as stored: int16, int32, float32 or float64.
  pybind11::array ReadRaw(const pybind11::object& channel, long record, double start,
                          const pybind11::object& stop) const;
  // At most `points` (min, max) pairs over [start, stop] seconds of the axis on
  // which the records stand end to end, as two float64 arrays; NaN where
  // nothing was recorded yet.
  pybind11::tuple Zoom(const pybind11::object& channel, double start,
                       const pybind11::object& stop, long long points,
                       const std::string& unit) const;

  void Close() { m_Closed = true; }
  bool Closed() const { return m_Closed; }

 private:
  // Raises when the measurement was closed.
  void CheckOpen() const;
  pybind11::array ReadSamples(const pybind11::object& channel, long record, double start,
                              const pybind11::object& stop, const std::string* unit) const;

  std::string m_Path;  // absolute
  bool m_Closed = false;
};

}  // namespace zsff_python
