// Shared by the tests of the "CollectionsEx" components: a fixture that checks every object a
// test makes is gone at its end, and small helpers.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "host/common/HostObject.h"
#include "host/core/CreatableString.h"
#include "host/core/GlobalComponentCollection.h"
#include "host/core/Text.h"
#include "sdk/ComPtr.h"

namespace coretest {

class CoreTest : public testing::Test {
 protected:
  void SetUp() override {
    // The global collection and its entries live for the whole process: make them first.
    ASSERT_NE(host::core::GlobalComponentCollection::Instance(), nullptr);
    live_ = host::LiveObjects().load();
  }
  void TearDown() override { EXPECT_EQ(host::LiveObjects().load(), live_) << "objects left alive"; }
  // Objects the test leaves alive on purpose, for good.
  void LeaveAlive(long count) { live_ += count; }

 private:
  long live_ = 0;
};

// A new instance of `name` answering I, made by the global collection of the static library.
template <class I>
ComPtr<I> Make(std::wstring_view name) {
  ComPtr<I> object;
  IID iid = I::kIID;
  EXPECT_EQ(host::core::GlobalComponentCollection::Instance()->CreateByName(RefView(name), &iid,
                                                                            object.PutVoid()),
            S_OK)
      << std::wstring(name);
  return object;
}

inline ComPtr<IString> Str(std::wstring_view text) {
  return ComPtr<IString>::Adopt(host::core::CreatableString::Make(text));
}

inline std::wstring Text(IString* string) {
  return std::wstring(host::TextOf(string));
}

}  // namespace coretest
