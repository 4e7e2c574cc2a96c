// The Python module `zsff`: measurements read as numpy arrays, and recorded
// from numpy arrays, through the C++ library itself.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <zsff/Version.h>

#include "Errors.h"
#include "MeasurementRecording.h"
#include "MeasurementView.h"

namespace py = pybind11;
using namespace pybind11::literals;
using zsff_python::ChannelInfo;
using zsff_python::ChannelSetup;
using zsff_python::MarkerInfo;
using zsff_python::MeasurementRecording;
using zsff_python::MeasurementView;
using zsff_python::RecordInfo;

namespace {

std::string Quoted(const std::string& text) { return py::repr(py::str(text)).cast<std::string>(); }
std::string Number(double value) { return py::repr(py::float_(value)).cast<std::string>(); }

void DefineListings(py::module_& m) {
  py::class_<RecordInfo>(m, "Record", "One record of a measurement.")
      .def_readonly("number", &RecordInfo::Number,
                    "Its position in the measurement's list, from 1, as read() takes it.")
      .def_readonly("start", &RecordInfo::Start, "When it started, a datetime in UTC.")
      .def_readonly("duration", &RecordInfo::Duration, "Its length in seconds.")
      .def_readonly("recording", &RecordInfo::Recording, "Whether it is being recorded.")
      .def("__repr__", [](const RecordInfo& r) {
        return "<zsff.Record " + std::to_string(r.Number) + ", " + Number(r.Duration) + " s" + (r.Recording ? ", recording>" : ">");
      });
  py::class_<ChannelInfo>(m, "Channel", "One channel of a measurement.")
      .def_readonly("name", &ChannelInfo::Name)
      .def_readonly("unit", &ChannelInfo::Unit)
      .def_readonly("rate", &ChannelInfo::Rate, "Samples a second.")
      .def_readonly("format", &ChannelInfo::Format,
                    "How samples are stored: int16, int32, float32 or float64.")
      .def_readonly("index", &ChannelInfo::Index, "Its position among the channels, from 0.")
      .def_readonly("number", &ChannelInfo::Number,
                    "Its number at its analyzer, as the zsff tool's --channel takes it.")
      .def("__repr__", [](const ChannelInfo& c) {
        return "<zsff.Channel " + std::to_string(c.Index) + " " + Quoted(c.Name) + ", " +
               Number(c.Rate) + " Hz, " + c.Format + ">";
      });
  py::class_<MarkerInfo>(m, "Marker", "A marker: a span of the measurement with a name.")
      .def_readonly("position", &MarkerInfo::Position, "Seconds from the measurement's start.")
      .def_readonly("duration", &MarkerInfo::Duration, "Seconds.")
      .def_readonly("name", &MarkerInfo::Name)
      .def("__repr__", [](const MarkerInfo& k) {
        return "<zsff.Marker " + Quoted(k.Name) + " at " + Number(k.Position) + " s>";
      });
}

void DefineMeasurement(py::module_& m) {
  py::class_<MeasurementView>(m, "Measurement",
                              "A measurement opened for reading; see zsff.open().")
      .def_property_readonly("path", &MeasurementView::Path)
      .def_property_readonly("name", &MeasurementView::Name)
      .def_property_readonly("duration", &MeasurementView::Duration,
                             "Seconds of all records end to end.")
      .def_property_readonly("records", &MeasurementView::Records)
      .def_property_readonly("channels", &MeasurementView::Channels)
      .def_property_readonly("markers", &MeasurementView::Markers)
      .def_property_readonly("closed", &MeasurementView::Closed)
      .def("read", &MeasurementView::Read, "channel"_a, "record"_a = 1, "start"_a = 0.0,
           "stop"_a = py::none(), "unit"_a = "volts",
           "Samples of a channel (name or index) of one record as float64, in \"volts\", "
           "\"recorded\" or \"post-analysis\" units, from start to stop seconds (None: the "
           "end). A record being recorded gives what is on disk now.")
      .def("read_raw", &MeasurementView::ReadRaw, "channel"_a, "record"_a = 1, "start"_a = 0.0,
           "stop"_a = py::none(), "Samples as stored: int16, int32, float32 or float64.")
      .def("zoom", &MeasurementView::Zoom, "channel"_a, "start"_a = 0.0, "stop"_a = py::none(),
           "points"_a = 1000, "unit"_a = "volts",
           "At most `points` (min, max) pairs over [start, stop] seconds of all records end "
           "to end, as two float64 arrays; NaN where nothing was recorded yet.")
      .def("close", &MeasurementView::Close)
      .def("__enter__", [](MeasurementView& self) -> MeasurementView& { return self; },
           py::return_value_policy::reference)
      .def("__exit__", [](MeasurementView& self, py::args) { self.Close(); })
      .def("__repr__", [](const MeasurementView& self) {
        return "<zsff.Measurement " + Quoted(self.Path()) + (self.Closed() ? ", closed>" : ">");
      });
  m.def("open", [](const std::string& path) { return std::make_unique<MeasurementView>(path); },
        "path"_a, "Opens the measurement in the directory `path` for reading.");
}

void DefineRecording(py::module_& m) {
  py::class_<ChannelSetup>(m, "ChannelSetup", "How a channel is recorded.")
      .def(py::init([](std::string name, std::string unit, double rate, std::string format,
                       double sensitivity, double offset, double coefficient) {
             return ChannelSetup{std::move(name), std::move(unit), rate,      std::move(format),
                                 sensitivity,     offset,          coefficient};
           }),
           "name"_a, "unit"_a = "V", "rate"_a = 51200.0, "format"_a = "float32",
           "sensitivity"_a = 1.0, "offset"_a = 0.0, "coefficient"_a = 1.0,
           "`coefficient`: the value of one step of an int16 channel.")
      .def_readwrite("name", &ChannelSetup::Name)
      .def_readwrite("unit", &ChannelSetup::Unit)
      .def_readwrite("rate", &ChannelSetup::Rate)
      .def_readwrite("format", &ChannelSetup::Format)
      .def_readwrite("sensitivity", &ChannelSetup::Sensitivity)
      .def_readwrite("offset", &ChannelSetup::Offset)
      .def_readwrite("coefficient", &ChannelSetup::Coefficient);
  py::class_<MeasurementRecording>(m, "Recording",
                                   "A measurement being recorded; see zsff.create().")
      .def_property_readonly("path", &MeasurementRecording::Path)
      .def_property_readonly("closed", &MeasurementRecording::Closed)
      .def("write", &MeasurementRecording::Write, "channel"_a, "samples"_a,
           "Appends a one-dimensional array to a channel (name or index).")
      .def("close", &MeasurementRecording::Close,
           "Stops the record and finishes the measurement.")
      .def("__enter__", [](MeasurementRecording& self) -> MeasurementRecording& { return self; },
           py::return_value_policy::reference)
      .def("__exit__", [](MeasurementRecording& self, py::args) { self.Close(); });
  m.def(
      "create",
      [](const std::string& directory, const std::string& name,
         const std::vector<ChannelSetup>& channels, double ring) {
        return std::make_unique<MeasurementRecording>(directory, name, channels, ring);
      },
      "directory"_a, "name"_a, "channels"_a, "ring"_a = 0.0,
      "Creates the measurement `name` in `directory` and starts recording its channels; "
      "with `ring` seconds, only the last so many are kept.");
}

}  // namespace

PYBIND11_MODULE(zsff, m) {
  m.doc() = "Measurements of the zsff signal library as numpy arrays.";
  m.attr("__version__") = zsff::LibraryVersion();
  zsff_python::DefineErrors(m);
  DefineListings(m);
  DefineMeasurement(m);
  DefineRecording(m);
}
