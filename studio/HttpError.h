// A request the studio refuses: the HTTP status and one line for the page.
#pragma once

#include <stdexcept>
#include <string>

namespace kelo::studio {

class HttpError : public std::runtime_error {
 public:
  HttpError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int Status() const { return status_; }

 private:
  int status_;
};

}  // namespace kelo::studio
