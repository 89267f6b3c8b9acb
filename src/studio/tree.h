#pragma once

#include "studio/node.h"

namespace orbi {

/// A tree of nodes with a title. Holds a reference to its root, through which everything else goes.
class FTree : public CmClass<FTree, CmObject> {
public:
  static constexpr const char* className = "FTree";

  explicit FTree(Ref<FNode> root = nullptr, std::string_view title = {})
      : root_(std::move(root)), title_(title)
  {
  }
  FTree(const FTree&) = delete;

  FNode* root() const { return root_.get(); } ///< may be null
  const CmString& title() const { return title_; }
  void setTitle(std::string_view title) { title_.set(title); }

private:
  Ref<FNode> root_;
  CmString title_;
};

} // namespace orbi
