#pragma once

#include "foundation/ref.h"
#include "studio/port.h"
#include "studio/port_descriptor.h"

namespace orbi {

/// Stands in for a port that a saved routing names and that isn't there. The registry makes it and
/// takes it away when it has no connections any more.
class PAliasPort final : public CmClass<PAliasPort, PPort> {
public:
  static constexpr const char* className = "PAliasPort";
  static constexpr const char* checkMessage = "CheckAliasPort"; ///< to the registry
  static constexpr const char* keyPort = "Port";

  explicit PAliasPort(PPortDescriptor& descriptor); ///< shared

  PPortDescriptor& descriptor() const { return *descriptor_; }

  const char* getType() const override { return descriptor_->type.text(); }
  const char* getSubtype() const override { return "alias"; }
  bool getID(CmString& out) const override; ///< the descriptor's, if it is well-formed
  const CmString& getSystemName() const override;
  void getDisplayName(CmString& out) const override;
  bool removeConnection(PPort* other) override;

  /// Lets the registry look, after what is under way now, whether this is still wanted.
  void postCheck();

protected:
  bool isMeantBy(std::string_view id) const override;

private:
  Ref<PPortDescriptor> descriptor_;
};

} // namespace orbi
