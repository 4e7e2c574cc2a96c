// zsff.Recording: a new measurement recorded from Python, the way a host in C++
// records one: the measurement's metadata and the host's header first, then one
// record whose channels take blocks of samples as numpy arrays, and at the end
// the record stopped and the header removed. A program that dies before that
// leaves the header, and the end-up repairs the measurement.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/RecordSignalTree.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zsff_python {

// How a channel is recorded. `Coefficient` is the physical value of one step of
// an integer format (volts = sample x coefficient for "int16").
struct ChannelSetup {
  std::string Name;
  std::string Unit = "V";
  double Rate = 0.0;  // Hz
  std::string Format = "float32";  // "int16", "int32", "float32" or "float64"
  double Sensitivity = 1.0;
  double Offset = 0.0;
  double Coefficient = 1.0;
};

class MeasurementRecording {
 public:
  // Creates the measurement `name` in `directory` (made when missing) and starts
  // its record; a ring keeps only the last `ringSeconds` (0: everything).
  MeasurementRecording(const std::string& directory, const std::string& name,
                       const std::vector<ChannelSetup>& channels, double ringSeconds);
  // Stops what is still running; failures then go unreported, as in any
  // destructor: call Close to hear of them.
  ~MeasurementRecording();
  MeasurementRecording(const MeasurementRecording&) = delete;
  MeasurementRecording& operator=(const MeasurementRecording&) = delete;

  std::string Path() const { return m_Directory.string(); }
  bool Closed() const { return !m_Tree; }

  // Appends `samples` (a one-dimensional array, or what numpy makes one of) to
  // `channel`, a name or an index.
  void Write(const pybind11::object& channel, const pybind11::object& samples);
  // Stops the record and finishes the measurement; raises when the stop fails,
  // leaving the header for the end-up.
  void Close();

 private:
  // The constructor's work, which Finish undoes when it raises.
  void Begin(const std::string& directory, const std::string& name, double ringSeconds);
  // Stops and closes; false with `error` set when the stop failed.
  bool Finish(std::string& error);
  std::size_t ChannelIndex(const pybind11::object& channel) const;
  [[noreturn]] void Fail(const std::string& step) const;

  std::filesystem::path m_Directory;
  std::vector<ChannelSetup> m_Setups;
  std::vector<zsff::CChannelID> m_Ids;
  std::unique_ptr<zsff::CRecordSignalTree> m_Tree;
  int m_Handle = 0;
  std::filesystem::path m_HeaderPath;
};

}  // namespace zsff_python
