// ceph://CLIENT@CONFIG_PATH/PATH, read and written.
#include <zsff/CephFileAccess.h>

namespace zsff {

namespace {

constexpr const char* kScheme = "ceph://";
constexpr const char* kConfigSuffix = ".conf";

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

bool CephLocation::Parse(const std::string& url, CephLocation& location, std::string& error) {
  const std::string scheme = kScheme;
  if (url.compare(0, scheme.size(), scheme) != 0) {
    error = "not a ceph:// address: " + url;
    return false;
  }
  const std::string rest = url.substr(scheme.size());
  const std::string::size_type at = rest.find('@');
  if (at == std::string::npos || at == 0) {
    error = "no client name in " + url + " (ceph://CLIENT@CONFIG_PATH/PATH)";
    return false;
  }
  CephLocation parsed;
  parsed.Client = rest.substr(0, at);
  // The config file's path itself holds separators: it runs up to the first
  // component named like a config file.
  const std::string paths = rest.substr(at + 1);
  std::string::size_type end = 0;
  for (;;) {
    end = paths.find('/', end + 1);
    const std::string head = paths.substr(0, end);
    if (EndsWith(head, kConfigSuffix) && head.size() > 5 && head[head.size() - 6] != '/') break;
    if (end == std::string::npos) {
      error = "no config file (*.conf) in " + url;
      return false;
    }
  }
  parsed.ConfigPath = paths.substr(0, end);
  parsed.Path = end == std::string::npos ? "/" : paths.substr(end);
  location = parsed;
  return true;
}

std::string CephLocation::ToUrl() const {
  return kScheme + Client + "@" + ConfigPath + (Path == "/" ? std::string() : Path);
}

}  // namespace zsff
