// The studio's HTTP server: 127.0.0.1 only, every request checked for the page's token, a
// loopback Host and no foreign Origin before any route sees it, so that no other web page in the
// same browser (nor a rebound DNS name) can drive it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "studio/Exports.h"
#include "studio/Pictures.h"
#include "studio/Sessions.h"

namespace httplib {
class Server;
}

namespace kelo::studio {

class Server {
 public:
  // Settings files are read and written inside `workFolder` only.
  Server(Pictures& pictures, Sessions& sessions, Exports& exports,
         std::filesystem::path workFolder);
  ~Server();

  // Binds 127.0.0.1:port (0: a free port); throws AppError when it cannot.
  void Bind(int port);
  int Port() const { return port_; }
  const std::string& Token() const { return token_; }
  // The address to open: http://127.0.0.1:PORT/?token=TOKEN.
  std::string Address() const;

  // Serves until Stop (from another thread).
  void Serve();
  void Stop();

 private:
  void Route();
  bool Allowed(const std::string& host, const std::string& origin) const;
  std::filesystem::path SettingsFile(const std::string& name) const;

  Pictures& pictures_;
  Sessions& sessions_;
  Exports& exports_;
  std::filesystem::path workFolder_;
  std::string token_;
  int port_ = 0;
  std::unique_ptr<httplib::Server> http_;
};

}  // namespace kelo::studio
