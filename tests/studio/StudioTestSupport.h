// kelo studio started by the test as the user starts it (`kelo studio --no-open --port 0` in a
// scratch folder), reached over HTTP on the address it prints, and stopped with Ctrl-C's signal.
#pragma once

#include <httplib.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/app/ChildProcess.h"
#include "tests/app/ProgramTestSupport.h"
#include "tests/common/ScratchFolder.h"

namespace studiotest {

using Json = nlohmann::json;

class RunningStudio {
 public:
  // Starts kelo studio with `pictures` in `dir` (its temporary files go there too) and the
  // variables of `environment` set, and waits for its address. Fails the test when it does not
  // print one.
  RunningStudio(const std::filesystem::path& dir, const std::vector<std::string>& pictures = {},
                const std::vector<std::pair<std::string, std::string>>& environment = {});
  ~RunningStudio();

  int Port() const { return port_; }
  const std::string& Token() const { return token_; }
  const std::string& Address() const { return address_; }
  // A client of the server that sends the token with every request.
  httplib::Client Client() const;
  // Resident memory of the server, in KiB.
  long ResidentKiB() const;
  // Sends SIGINT and waits for the server to end.
  apptest::Ending Stop();

 private:
  apptest::Child child_;
  bool stopped_ = false;
  int port_ = 0;
  std::string token_, address_;
};

// The body of a JSON answer (null when it is not JSON).
Json Body(const httplib::Result& result);
// Decodes a JPEG file's bytes; an empty image when they are not a whole, valid JPEG.
apptest::Image DecodeJpeg(const std::string& bytes);

using testsupport::ScratchFolder;

}  // namespace studiotest
