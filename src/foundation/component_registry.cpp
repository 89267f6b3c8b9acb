#include "foundation/component_registry.h"

#include "foundation/uid_object.h"

namespace orbi {

namespace {

/// Makes the components behind objects that are read from a stream.
class ComponentSource final : public FComponentSource {
public:
  ComponentSource() { instance = this; }
  ~ComponentSource() override { instance = nullptr; }

  FUnknown* createComponent(const FUID& id) override
  {
    const FComponent* component = FComponentRegistry::find(id);
    return component ? component->create() : nullptr;
  }
};

ComponentSource source;

} // namespace

FComponent::FComponent(const FUID& id, const char* category, const char* name, Create create,
                       Count count)
    : id_(id), category_(category), name_(name), create_(create), count_(count)
{
  FComponent** end = &FComponentRegistry::first_;
  while (*end)
    end = &(*end)->next_;
  *end = this;
}

FComponent::~FComponent()
{
  FComponent** link = &FComponentRegistry::first_;
  while (*link && *link != this)
    link = &(*link)->next_;
  if (*link)
    *link = next_;
}

template <class Matches>
const FComponent* FComponentRegistry::findIf(const Matches& matches)
{
  for (const FComponent* component = first_; component; component = component->next_)
    if (matches(*component))
      return component;
  return nullptr;
}

const FComponent* FComponentRegistry::find(const FUID& id)
{
  return findIf([&](const FComponent& component) { return component.id() == id; });
}

const FComponent* FComponentRegistry::find(std::string_view category, std::string_view name)
{
  return findIf([=](const FComponent& component) {
    return component.category() == category && component.name() == name;
  });
}

const FComponent* FComponentRegistry::at(std::string_view category, int32_t index)
{
  return findIf([&](const FComponent& component) {
    return component.category() == category && index-- == 0;
  });
}

} // namespace orbi
