// The server behind "zsff serve": one measurement's outline and zooms as JSON,
// and the page that draws them, over HTTP. Requests are served by a pool of
// threads; each thread keeps its own zoom contexts (the measurement and its
// records open, one per unit), so that a request doesn't wait for another and
// a warm zoom reopens nothing.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "EnvelopeView.h"
#include "MeasurementOutline.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace zsff_tools {

class ViewerServer {
 public:
  // Serves the measurement in `directory` (absolute).
  explicit ViewerServer(std::string directory);
  ~ViewerServer();
  ViewerServer(const ViewerServer&) = delete;
  ViewerServer& operator=(const ViewerServer&) = delete;

  // Binds `address`:`port` (port 0: any free one); false with `error` set when it
  // can't. The port bound is Port() afterwards.
  bool Bind(const std::string& address, int port, std::string& error);
  int Port() const { return m_Port; }
  // Answers requests until Stop, from any thread.
  void Run();
  void Stop();

 private:
  void Routes();
  void Measurement(const httplib::Request& request, httplib::Response& response);
  void Zoom(const httplib::Request& request, httplib::Response& response);
  // The channels of the measurement by their index, as the last outline listed
  // them: they stay while a measurement is recorded, so a zoom needn't look.
  void Remember(const MeasurementOutline& outline);
  bool ChannelAt(std::size_t index, zsff::CChannelID& id, std::string& error);
  // The calling thread's view of the measurement in `unit`, opened on first use;
  // null with `error` set when the measurement can't be opened.
  EnvelopeView* ViewOf(EnvelopeUnit unit, std::string& error);

  std::string m_Directory;
  std::unique_ptr<httplib::Server> m_Server;
  int m_Port = 0;
  std::mutex m_ChannelsLock;
  std::vector<zsff::CChannelID> m_Channels;
  std::mutex m_ViewsLock;  // guards the map, not the views: each belongs to one thread
  std::map<std::pair<std::thread::id, EnvelopeUnit>, std::unique_ptr<EnvelopeView>> m_Views;
};

}  // namespace zsff_tools
