#include "ViewerServer.h"

#include <httplib.h>

#include <cmath>
#include <cstdlib>

#include "MeasurementOutline.h"
#include "ViewerJson.h"
#include "ViewerPage.h"

namespace zsff_tools {

namespace {

constexpr unsigned long long kMaxPoints = 100000;

void Answer(httplib::Response& response, int status, const std::string& json) {
  response.status = status;
  response.set_header("Cache-Control", "no-store");
  response.set_content(json, "application/json");
}

void Refuse(httplib::Response& response, int status, const std::string& message) {
  Answer(response, status, ErrorToJson(message));
}

// A query parameter as a finite number; false when it is missing or isn't one.
bool NumberParameter(const httplib::Request& request, const char* name, double& value) {
  if (!request.has_param(name)) return false;
  const std::string text = request.get_param_value(name);
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return !text.empty() && end == text.c_str() + text.size() && std::isfinite(value);
}

}  // namespace

ViewerServer::ViewerServer(std::string directory)
    : m_Directory(std::move(directory)), m_Server(std::make_unique<httplib::Server>()) {
  // A thread serves one connection at a time, and a page keeps a connection per
  // strip (a browser up to six per server) busy while it pans.
  m_Server->new_task_queue = [] { return new httplib::ThreadPool(16); };
  m_Server->set_keep_alive_max_count(100000);
  Routes();
}

ViewerServer::~ViewerServer() = default;

bool ViewerServer::Bind(const std::string& address, int port, std::string& error) {
  m_Port = port == 0 ? m_Server->bind_to_any_port(address) : port;
  if (m_Port <= 0 || (port != 0 && !m_Server->bind_to_port(address, port))) {
    error = "cannot listen on " + address + ":" + std::to_string(port);
    return false;
  }
  return true;
}

void ViewerServer::Run() { m_Server->listen_after_bind(); }

void ViewerServer::Stop() { m_Server->stop(); }

void ViewerServer::Routes() {
  for (const ViewerFile& file : ViewerFiles()) {
    m_Server->Get(file.Path, [&file](const httplib::Request&, httplib::Response& response) {
      response.set_content(std::string(file.Content), file.Type);
    });
  }
  // Browsers ask for an icon; there is none, and that is no error.
  m_Server->Get("/favicon.ico",
                [](const httplib::Request&, httplib::Response& response) { response.status = 204; });
  m_Server->Get("/api/measurement", [this](const httplib::Request& request,
                                           httplib::Response& response) {
    Measurement(request, response);
  });
  m_Server->Get("/api/zoom", [this](const httplib::Request& request, httplib::Response& response) {
    Zoom(request, response);
  });
  // Anything else, a path with ".." among it, is unknown: no route reaches the disk.
  m_Server->set_error_handler([](const httplib::Request& request, httplib::Response& response) {
    if (response.status == 404) {
      Refuse(response, 404, "no such page: " + request.path);
    } else if (response.body.empty()) {
      Refuse(response, response.status, "the request can't be served");
    }
  });
}

void ViewerServer::Measurement(const httplib::Request&, httplib::Response& response) {
  MeasurementOutline outline;
  std::string error;
  if (!LoadOutline(m_Directory, outline, error)) return Refuse(response, 500, error);
  Remember(outline);
  Answer(response, 200, OutlineToJson(outline));
}

void ViewerServer::Remember(const MeasurementOutline& outline) {
  std::vector<zsff::CChannelID> channels;
  for (const ChannelOutline& channel : outline.Channels) channels.push_back(channel.Id);
  const std::lock_guard<std::mutex> guard(m_ChannelsLock);
  m_Channels = std::move(channels);
}

bool ViewerServer::ChannelAt(std::size_t index, zsff::CChannelID& id, std::string& error) {
  for (int look = 0; look < 2; ++look) {
    {
      const std::lock_guard<std::mutex> guard(m_ChannelsLock);
      if (index < m_Channels.size()) {
        id = m_Channels[index];
        return true;
      }
    }
    // Not known yet, or a measurement whose first record has just begun: look again once.
    MeasurementOutline outline;
    if (look == 0 && LoadOutline(m_Directory, outline, error)) Remember(outline);
  }
  return false;
}

void ViewerServer::Zoom(const httplib::Request& request, httplib::Response& response) {
  double channel = 0.0, start = 0.0, end = 0.0, points = 0.0;
  if (!NumberParameter(request, "channel", channel) || !NumberParameter(request, "start", start) ||
      !NumberParameter(request, "end", end) || !NumberParameter(request, "points", points)) {
    return Refuse(response, 400, "channel, start, end and points must be numbers");
  }
  EnvelopeUnit unit = EnvelopeUnit::Volts;
  if (request.has_param("unit") && !ParseEnvelopeUnit(request.get_param_value("unit"), unit)) {
    return Refuse(response, 400, "unit must be volts, recorded or post-analysis");
  }
  if (points < 1.0 || points > static_cast<double>(kMaxPoints) || points != std::floor(points)) {
    return Refuse(response, 400, "points must be a whole number from 1 to 100000");
  }
  if (!(start >= 0.0) || !(end > start)) {
    return Refuse(response, 400, "end must lie after start, and start at 0 or later");
  }
  std::string error;
  zsff::CChannelID id;
  if (channel < 0.0 || channel != std::floor(channel) || channel > 65535.0 ||
      !ChannelAt(static_cast<std::size_t>(channel), id, error)) {
    return Refuse(response, 404, "no channel " + request.get_param_value("channel"));
  }
  EnvelopeView* view = ViewOf(unit, error);
  if (view == nullptr) return Refuse(response, 500, error);
  std::vector<float> pairs;
  double until = 0.0;
  if (!view->Zoom(id, start, end, static_cast<unsigned long long>(points), pairs, until, error)) {
    return Refuse(response, error.find("past the end") != std::string::npos ? 400 : 500, error);
  }
  Answer(response, 200, ZoomToJson(start, until, static_cast<unsigned long long>(points), pairs));
}

EnvelopeView* ViewerServer::ViewOf(EnvelopeUnit unit, std::string& error) {
  std::unique_ptr<EnvelopeView>* slot;
  {
    const std::lock_guard<std::mutex> guard(m_ViewsLock);
    slot = &m_Views[{std::this_thread::get_id(), unit}];
  }
  if (!*slot) {
    auto view = std::make_unique<EnvelopeView>(unit);
    if (!view->Open(m_Directory, error)) return nullptr;
    *slot = std::move(view);
  }
  return slot->get();
}

}  // namespace zsff_tools
