// The page's files (studio/web/), compiled into kelo so that the studio needs nothing beside the
// program and fetches nothing from elsewhere.
#pragma once

#include <string_view>

namespace kelo::studio {

struct WebFile {
  std::string_view name;  // "index.html", "app.js", ...
  std::string_view type;  // its media type
  std::string_view data;
};

// The file of that name, or null.
const WebFile* FindWebFile(std::string_view name);

}  // namespace kelo::studio
