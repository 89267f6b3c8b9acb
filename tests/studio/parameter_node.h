#pragma once

#include "foundation/class_registry.h"
#include "persist/object_file_helpers.h"
#include "studio/device_node.h"
#include "ui/application.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orbi {

/// A node with whole numbers from 0 to 100 as parameters, known by "p<tag>" and named "Name <tag>".
class ParameterNode : public CmClass<ParameterNode, PDeviceNode> {
public:
  static constexpr const char* className = "TestParameterNode";

  explicit ParameterNode(std::string_view name = {}, std::vector<int32_t> tags = {})
      : CmClass(name), tags_(std::move(tags))
  {
    for (int32_t tag : tags_)
      values[tag].setTag(tag);
  }
  ParameterNode(const ParameterNode& other) : CmClass(other) {}

  PParameterAnswer parameterRequest(const PParameterRequest& request) override
  {
    using enum PParameterQuestion;
    if (request.question == count)
      return static_cast<int32_t>(tags_.size());
    if (request.question == tagAt)
      return tags_[static_cast<size_t>(request.tag)];
    int32_t tag = request.tag;
    if (request.question == valueByKey)
      tag = request.key[0] == 'p' ? std::atoi(request.key + 1) : -1;
    auto found = values.find(tag);
    if (found == values.end())
      return {};
    if (request.question == name)
      request.text->format("Name %d", tag);
    else if (request.question != presence)
      return &found->second;
    return 1;
  }
  PPresetBank* getPresetBank(int32_t) override { return bank; }

  struct Percent final : UIntValue {
    Percent() : UIntValue(0, 0, 100) {}
  };
  std::map<int32_t, Percent> values;
  PPresetBank* bank = nullptr;

private:
  std::vector<int32_t> tags_;
};

/// Answers what nodes ask and tell, and remembers it.
class Application final : public UApplication {
public:
  Application() : UApplication("Test") {}
  void startup() override {}
  int32_t handleMessage(FMessage& message) override
  {
    heard.emplace_back(message.getId());
    if (onMessage)
      onMessage(message);
    return 0;
  }
  std::vector<std::string> heard;
  std::function<void(FMessage&)> onMessage;
};

inline std::vector<std::string> namesBelow(const FNode& node)
{
  std::vector<std::string> names;
  for (int32_t i = 0; i < node.countChildren(); ++i)
    names.emplace_back(node.childAt(i)->getName().text());
  return names;
}

} // namespace orbi
