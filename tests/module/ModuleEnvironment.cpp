// Every module test runs as the host would run it: the module holds the host's global collection.
#include <gtest/gtest.h>

#include "effects/KeloTransitions.h"
#include "tests/common/TestHost.h"

namespace {

class ModuleEnvironment : public testing::Environment {
 public:
  void SetUp() override { InitializeModule(nullptr, testhost::Global()); }
};

[[maybe_unused]] testing::Environment* const gEnvironment =
    testing::AddGlobalTestEnvironment(new ModuleEnvironment);

}  // namespace
