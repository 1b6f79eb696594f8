#include "host/imaging/Components.h"

namespace host::imaging {

std::span<const HostComponent> Components() { return {}; }

}  // namespace host::imaging
