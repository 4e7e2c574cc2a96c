#include "MeasurementRecording.h"

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordId.h>
#include <zsff/SignalTypes.h>
#include <zsff/Version.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <chrono>
#include <cstdint>
#include <map>
#include <system_error>
#include <thread>

#include "Errors.h"
#include "HostHeader.h"
#include "WidePath.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace py = pybind11;
namespace fs = std::filesystem;

namespace zsff_python {

namespace {

// Every channel of the module's recordings belongs to one analyzer.
constexpr unsigned short kAnalyzerIndex = 1;
constexpr unsigned long kDeviceSerial = 1;

struct FormatName {
  const char* Python;
  const char* Stored;
  zsff::SampleFormat_t Format;
};
constexpr FormatName kFormats[] = {{"float32", "SIFloat", zsff::SIFloat},
                                   {"float64", "SIDouble", zsff::SIDouble},
                                   {"int16", "Compact16", zsff::Compact16},
                                   {"int32", "Raw32", zsff::Raw32}};

const FormatName& FindFormat(const std::string& name) {
  for (const FormatName& format : kFormats) {
    if (name == format.Python) return format;
  }
  throw py::value_error("format must be \"int16\", \"int32\", \"float32\" or \"float64\", not \"" +
                        name + "\"");
}

// The analyzer's front-end rate: the fastest channel's. Every channel samples
// at a whole fraction of it, its time step, in which a ring's offset counts.
double FrontEndRate(const std::vector<ChannelSetup>& channels) {
  double fastest = 0.0;
  for (const ChannelSetup& setup : channels) fastest = std::max(fastest, setup.Rate);
  return fastest;
}

unsigned short TimeStep(const ChannelSetup& setup, double frontEndRate) {
  return static_cast<unsigned short>(std::lround(frontEndRate / setup.Rate));
}

void CheckSetups(const std::vector<ChannelSetup>& channels) {
  if (channels.empty()) throw py::value_error("a recording needs at least one channel");
  if (channels.size() > 65535) throw py::value_error("at most 65535 channels");
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const ChannelSetup& setup = channels[i];
    FindFormat(setup.Format);
    if (!(setup.Rate > 0.0) || setup.Rate > 1e9) {
      throw py::value_error("channel \"" + setup.Name + "\": rate must be above 0 Hz");
    }
    const double step = FrontEndRate(channels) / setup.Rate;
    if (std::fabs(step - std::round(step)) > 1e-9 * step || step > 65535.0) {
      throw py::value_error("channel \"" + setup.Name +
                            "\": every rate must divide the fastest channel's rate");
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (channels[j].Name == setup.Name) {
        throw py::value_error("two channels are named \"" + setup.Name + "\"");
      }
    }
  }
}

zsff::MetaDataContainer ChannelMetaData(const ChannelSetup& setup, unsigned short number,
                                        unsigned short timeStep) {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.Name(zsff::Utf8ToWide(setup.Name));
  writer.Type("Dynamic");
  writer.Format(FindFormat(setup.Format).Stored);
  writer.Channel(static_cast<long>(number));
  writer.Unit(zsff::Utf8ToWide(setup.Unit));
  writer.SamplingRate(static_cast<float>(setup.Rate));
  writer.Sensitivity(static_cast<float>(setup.Sensitivity));
  writer.Offset(static_cast<float>(setup.Offset));
  writer.TimeStep(timeStep);
  writer.UncompCoeff(static_cast<float>(setup.Coefficient));
  writer.UncompOffset(0.0f);
  writer.DeviceName(u"zsff Python module");
  writer.DeviceSN(zsff::Utf8ToWide(std::to_string(kDeviceSerial)));
  return metaData;
}

zsff::MetaDataContainer MeasurementMetaData(const std::string& name,
                                            const std::u16string& baseName,
                                            const std::vector<ChannelSetup>& channels) {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataMeasurementWriter writer(metaData);
  writer.ProjectName(u"zsff");
  writer.MeasurementName(zsff::Utf8ToWide(name));
  writer.Comment(u"Recorded from Python");
  writer.TavroxVersion("zsff " ZSFF_VERSION_STRING);
  writer.SignalFileName(baseName);
  writer.NumberOfChannels(static_cast<long>(channels.size()));
  writer.SamplingFrontEnd(static_cast<float>(FrontEndRate(channels)));
  writer.Sampling1(static_cast<float>(FrontEndRate(channels)));
  writer.AddAnalyzer(std::to_string(kDeviceSerial), "Python", "", "");
  writer.AddMeasProperty("Generator", u"Generator", u"zsff Python module");
  return metaData;
}

std::string LibraryReason(const std::u16string& text) {
  const std::string reason = zsff::WideToUtf8(text);
  return reason.empty() ? std::string("the library gives no reason") : reason;
}

}  // namespace

MeasurementRecording::MeasurementRecording(const std::string& directory, const std::string& name,
                                           const std::vector<ChannelSetup>& channels,
                                           double ringSeconds)
    : m_Setups(channels) {
  try {
    Begin(directory, name, ringSeconds);
  } catch (...) {
    // What was made stays on disk for a look; the files are closed.
    std::string ignored;
    Finish(ignored);
    throw;
  }
}

void MeasurementRecording::Begin(const std::string& directory, const std::string& name,
                                 double ringSeconds) {
  const std::vector<ChannelSetup>& channels = m_Setups;
  CheckSetups(channels);
  if (!(ringSeconds >= 0.0)) throw py::value_error("ring must be 0 (none) or a number of seconds");
  if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..") {
    throw py::value_error("the name \"" + name + "\" can't name a directory");
  }
  std::error_code ec;
  const fs::path parent = fs::absolute(fs::path(directory), ec).lexically_normal();
  m_Directory = parent / name;
  if (fs::exists(m_Directory, ec) && !fs::is_empty(m_Directory, ec)) {
    RaiseFileError(m_Directory.string() + " already exists and isn't empty", EEXIST);
  }
  fs::create_directories(parent, ec);
  if (ec) RaiseFileError("cannot create " + parent.string() + ": " + ec.message(), ec.value());

  std::u16string wideParent, wideName;
  std::string pathError;
  if (!zsff_tools::ToWideParentAndName(m_Directory, wideParent, wideName, pathError)) {
    throw py::value_error(pathError);
  }
  errno = 0;
  m_Tree = zsff::CRecordSignalTree::CreateSignalTree(wideParent, wideName, nullptr, false);
  if (!m_Tree) {
    RaiseFileError("cannot create the measurement " + m_Directory.string() + ": " +
                       LibraryReason(zsff::CRecordSignalTree::LastErrorString()),
                   errno);
  }
  zsff::CRecordId base;
  base.NewBase();
  if (!m_Tree->SetRecordBase(static_cast<long>(base.RecordBase()))) Fail("cannot set its base");
  const std::u16string baseName = m_Tree->RecordNameBase();
  {
    // Released before the record starts: the tree takes the same lock for its notices.
    const std::unique_ptr<zsff::MetaDataFileLock> lock =
        m_Tree->CreateMetaDataLock(zsff::MetaDataFileLock::LockWait);
    if (!lock) Fail("cannot lock it");
    if (!m_Tree->SaveMetaDataMeasurement(lock.get(),
                                         MeasurementMetaData(name, baseName, channels),
                                         true)) {
      Fail("cannot write its measurement file");
    }
  }
  m_HeaderPath = m_Directory / zsff::names::HeaderFileName(zsff::WideToUtf8(baseName));
  if (!zsff_tools::WriteHostHeader(m_HeaderPath, "zsff Python module")) {
    RaiseFileError("cannot write " + m_HeaderPath.string(), errno);
  }

  m_Handle = m_Tree->CreateRecord(0);
  if (m_Handle == 0) Fail("cannot create its record");
  zsff::CAbstractRecordSection& section = m_Tree->wRecord(m_Handle);
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const unsigned short number = static_cast<unsigned short>(i + 1);
    const zsff::CChannelID id(number, kAnalyzerIndex, kDeviceSerial);
    const unsigned short step = TimeStep(channels[i], FrontEndRate(channels));
    if (!section.AddChannel(id, ChannelMetaData(channels[i], number, step))) {
      Fail("cannot add channel \"" + channels[i].Name + "\"");
    }
    zsff::TAG_RECORD_INFO info;  // a start date of 0: the library stamps the current time
    info.RecordNumber = 1;
    info.TimeStep = step;
    info.UncompactCoeff = static_cast<float>(channels[i].Coefficient);
    infos[id] = info;
    m_Ids.push_back(id);
  }
  const bool ring = ringSeconds > 0.0;
  if (!section.ArmRecord(ringSeconds, ring ? zsff::PartLengthAuto : zsff::PartLengthShort, !ring)) {
    Fail("cannot arm its record");
  }
  if (!section.StartRecord(infos)) Fail("cannot start its record");
}

MeasurementRecording::~MeasurementRecording() {
  std::string ignored;
  Finish(ignored);
}

void MeasurementRecording::Fail(const std::string& step) const {
  const std::u16string text = m_Handle != 0 ? m_Tree->wRecord(m_Handle).LastErrorString()
                                            : zsff::CRecordSignalTree::LastErrorString();
  RaiseFileError(m_Directory.string() + ": " + step + ": " + LibraryReason(text));
}

std::size_t MeasurementRecording::ChannelIndex(const py::object& channel) const {
  if (py::isinstance<py::int_>(channel) && !py::isinstance<py::bool_>(channel)) {
    const long long index = channel.cast<long long>();
    if (index < 0 || index >= static_cast<long long>(m_Setups.size())) {
      throw py::value_error("no channel " + std::to_string(index) + ": the recording has " +
                            std::to_string(m_Setups.size()));
    }
    return static_cast<std::size_t>(index);
  }
  if (!py::isinstance<py::str>(channel)) {
    throw py::type_error("a channel is named by its name (str) or its index (int)");
  }
  const std::string name = channel.cast<std::string>();
  for (std::size_t i = 0; i < m_Setups.size(); ++i) {
    if (m_Setups[i].Name == name) return i;
  }
  throw py::value_error("no channel named \"" + name + "\" in the recording");
}

namespace {

// `samples` as a contiguous array of T: any real numbers for the float formats;
// the integer formats take their own type only, since a float would have to be
// rounded to a count of steps behind the caller's back.
template <typename T>
py::array_t<T, py::array::c_style> AsStored(const py::array& samples, bool integerFormat) {
  const char kind = samples.dtype().kind();
  const bool fits = integerFormat ? samples.dtype().is(py::dtype::of<T>())
                                  : (kind == 'f' || kind == 'i' || kind == 'u');
  if (!fits) {
    throw py::type_error(std::string("samples of dtype ") +
                         py::str(samples.dtype()).cast<std::string>() +
                         " don't fit the channel's format, " +
                         py::str(py::dtype::of<T>()).cast<std::string>());
  }
  return py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(samples);
}

}  // namespace

void MeasurementRecording::Write(const py::object& channel, const py::object& values) {
  if (!m_Tree) RaiseError(m_Directory.string() + ": the recording was closed");
  const std::size_t index = ChannelIndex(channel);
  const py::array samples = py::array::ensure(values);
  if (!samples) throw py::type_error("samples must be a numpy array or a sequence of numbers");
  if (samples.ndim() != 1) {
    throw py::value_error("samples must be a one-dimensional array, not of " +
                          std::to_string(samples.ndim()) + " dimensions");
  }
  py::array stored;
  switch (FindFormat(m_Setups[index].Format).Format) {
    case zsff::SIFloat: stored = AsStored<float>(samples, false); break;
    case zsff::SIDouble: stored = AsStored<double>(samples, false); break;
    case zsff::Compact16: stored = AsStored<std::int16_t>(samples, true); break;
    case zsff::Raw32: stored = AsStored<std::int32_t>(samples, true); break;
  }
  if (stored.size() == 0) return;
  zsff::CAbstractRecordSection& section = m_Tree->wRecord(m_Handle);
  bool written;
  {
    py::gil_scoped_release release;
    written = section.WriteSampleBlock(m_Ids[index], stored.data(),
                                       static_cast<unsigned long long>(stored.size()), true);
  }
  if (!written) Fail("cannot write to channel \"" + m_Setups[index].Name + "\"");
}

bool MeasurementRecording::Finish(std::string& error) {
  if (!m_Tree) return true;
  bool stopped = m_Handle != 0;
  if (m_Handle != 0) {
    zsff::CAbstractRecordSection& section = m_Tree->wRecord(m_Handle);
    // The lock the stop needs may be held a moment by a reader.
    stopped = section.StopRecord();
    for (int attempt = 0; !stopped && attempt < 3; ++attempt) {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      stopped = section.StopRecord();
    }
    if (!stopped) {
      error = m_Directory.string() + ": cannot stop the record: " +
              LibraryReason(section.LastErrorString());
    }
    m_Tree->CloseRecord(m_Handle, true);
  }
  zsff::CRecordSignalTree::CloseSignalTree(m_Tree);
  m_Handle = 0;
  std::error_code ec;
  if (stopped) fs::remove(m_HeaderPath, ec);
  return stopped;
}

void MeasurementRecording::Close() {
  std::string error;
  bool finished;
  {
    py::gil_scoped_release release;
    finished = Finish(error);
  }
  if (!finished) RaiseFileError(error);
}

}  // namespace zsff_python
