#pragma once

#include "foundation/dependencies.h"
#include "foundation/message.h"
#include "ui/values/value.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace orbi {

/// Hears as a target or a dependent, and may do something then.
class Listener final : public CmObject {
public:
  ~Listener() override
  {
    if (FDependencies* dependencies = FDependencies::instance())
      dependencies->removeDependent(nullptr, this);
  }
  void update(CmObject* subject, int32_t code) override
  {
    codes.push_back(code);
    if (then)
      then(subject, code);
  }
  int32_t handleMessage(FMessage& received) override
  {
    message = received.getObject<UValue>("Value") ? received.getId() : "no value";
    return 1;
  }
  std::vector<int32_t> taken() { return std::exchange(codes, {}); }
  std::vector<int32_t> flushed()
  {
    FDependencies::instance()->flush();
    return taken();
  }

  std::vector<int32_t> codes;
  std::string message;
  std::function<void(CmObject*, int32_t)> then;
};

inline std::string textOf(const UValue& value)
{
  char text[UValue::textBytes];
  value.getText(text);
  return text;
}

using Codes = std::vector<int32_t>;

} // namespace orbi
