#pragma once

#include "foundation/array.h"
#include "foundation/ref.h"
#include "foundation/string.h"

#include <memory>
#include <string_view>

namespace orbi {

class FNodeNames;
class PDevice;
class PStudio;

/// What the dependents of a node hear at its end, where it tells them.
inline constexpr int32_t nodeGoneNotice = 2;

/// A named place in a tree. Siblings have different names, whatever they are called: who comes
/// second gets a number behind the name. Main thread.
///
/// A parent holds one reference to each child; children don't hold their parent. Everything that
/// tells others of a change expects that the tree is another one afterwards.
class FNode : public CmClass<FNode, CmObject> {
public:
  static constexpr const char* className = "FNode";
  static constexpr char pathSeparator = '\\';
  static constexpr size_t longestNumberedName = 1023; ///< bytes of a name that was given a number

  explicit FNode(std::string_view name = {});
  FNode(const FNode& other); ///< the name only: without parent and children
  FNode& operator=(const FNode&) = delete;
  ~FNode() override; ///< lets go of the children, the last one first

  void destroy(uint32_t flags) override;
  bool isEqual(const CmObject* other) const override; ///< nodes of the same name, case included

  // Name
  virtual const CmString& getName() const { return name_; }
  /// Siblings of any case count as being of the same name. Null empties the name; an empty text
  /// leaves a node without a parent as it is.
  virtual void setName(const char* text);

  // Paths: names from above to below with a separator between them
  /// From below stopAt down to this node, so that stopAt->findByPath finds it; from below the root
  /// when stopAt is null or none of those above.
  virtual void getPath(CmString& out, const FNode* stopAt = nullptr) const;
  enum class EmptyPath { givesNothing, givesSelf };
  FNode* findByPath(std::string_view path, EmptyPath empty = EmptyPath::givesNothing);
  /// The child of this name, case included; else the first whose name translates to it.
  virtual FNode* findChild(const char* name) const;

  // Children
  virtual FNode* getParent() const { return parent_; }
  virtual int32_t countChildren() const;
  virtual FNode* childAt(int32_t index) const; ///< null outside
  /// Takes a reference and a node out of the tree where it stood before. True for one that is a
  /// child already. False for null, for this node itself and for one above it.
  virtual bool addChild(FNode* node) { return insertChild(node, -1); }
  virtual bool insertChild(FNode* node, int32_t index);  ///< below 0: at the end; false behind it
  virtual bool removeChild(FNode* node);                 ///< releases it; false for no child
  virtual int32_t indexOfChild(const FNode* node) const; ///< -1 for none
  virtual void removeAllChildren();                      ///< the last one first
  virtual int32_t getIndex() const;                      ///< among its siblings, -1 at the root

  // Who it belongs to; null when nobody above knows
  virtual PStudio* getStudio() const;
  virtual PDevice* getDevice();

  /// "IDString" and "Children". Loading adds to the children that are there. What isn't a node is
  /// passed over, and so is a node that a damaged file has standing in two places.
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  virtual void setParent(FNode* parent);          ///< and gives itself a name of its own there
  FNode* findChildByName(const char* name) const; ///< case included
  /// It has another name, or may have, and stands in its place.
  virtual void nameChanged() {}
  /// First of all in the destructor of a class that others depend on: these hear nodeGoneNotice,
  /// and no notice of the node waits any more.
  void tellGone();

private:
  struct Teardown;
  static constexpr int deepestNest = 200;  ///< destructors within each other
  static constexpr int deepestCopy = 1000; ///< levels of a tree that is copied

  FNode* findSameName(const char* name, const FNode* besides = nullptr) const; ///< of any case
  CmString freeNameFor(const FNode* child, std::string_view text);
  bool isSameOrAbove(const FNode* node) const;
  void adopt(FNode* child, int32_t index);
  void drop(int32_t index);
  void rename(std::string_view name);
  void loadChild(CmObject* item);
  static Ref<FNode> copyOf(FNode& node);

  CmString name_;
  FNode* parent_ = nullptr;
  Ref<CmArray> children_;             ///< made for the first child
  std::unique_ptr<FNodeNames> names_; ///< made when there are many children
  bool isLoading_ = false;            ///< a ring in a file mustn't close now
  bool isJoining_ = false;            ///< it has its parent, but not its place yet
};

} // namespace orbi
