// kelo studio: the property page of every transition in the browser, served by kelo itself.
#pragma once

#include <string>
#include <vector>

namespace kelo::studio {

struct StudioOptions {
  std::vector<std::string> pictures;  // the pair to start with; two built-in ones without
  int port = 0;                       // 0: a free port
  bool noOpen = false;                // do not start the browser
};

// Serves the page on 127.0.0.1 until SIGINT or SIGTERM; returns the exit code.
int RunStudio(const StudioOptions& options);

}  // namespace kelo::studio
