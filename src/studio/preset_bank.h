#pragma once

#include "studio/node.h"

namespace orbi {

class PDeviceNode;

/// Presets for nodes of one kind, and banks below. The presets of a tree of banks are numbered: a
/// bank's own first, then those of the banks below in order.
class PPresetBank : public CmClass<PPresetBank, FNode> {
public:
  static constexpr const char* className = "PPresetBank";

  using CmClass::CmClass;
  ~PPresetBank() override { tellGone(); }

  // The bank's own presets
  virtual int32_t countPresets() const = 0;
  virtual CmString getPresetName(int32_t index) const = 0;
  virtual bool canRename(int32_t) const { return false; }
  virtual bool renamePreset(const char*, int32_t) { return false; }
  virtual bool recall(int32_t index, PDeviceNode* node) = 0; ///< the node takes over the preset
};

int32_t countAllPresets(const PPresetBank& bank); ///< of the tree

/// The bank that holds a preset of the tree, and the preset's index there; null for none.
const PPresetBank* findPreset(const PPresetBank& bank, int32_t number, int32_t& index);
PPresetBank* findPreset(PPresetBank& bank, int32_t number, int32_t& index);

} // namespace orbi
