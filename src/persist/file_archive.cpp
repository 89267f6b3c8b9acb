#include "persist/file_archive.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FFileArchiveNode);
CM_REGISTER_ABSTRACT(FFileArchiveIterator);
CM_REGISTER_ABSTRACT(FFileArchive);

// Nodes

/// Takes the whole tree apart in one list, so that no depth of folders exhausts the stack.
FFileArchiveNode::~FFileArchiveNode()
{
  if (!children_)
    return;
  CmILinkedList rest(CmOwnership::adopts);
  rest.takeAll(children_->list);
  while (CmILink* link = rest.takeHead()) {
    auto node = Ref<FFileArchiveNode>::adopt(static_cast<FFileArchiveNode*>(link));
    node->parent_ = nullptr;
    if (!node->children_ || node->refCount() > 1) // somebody still walks through that folder
      continue;
    rest.takeAll(node->children_->list);
    node->children_ = nullptr;
  }
}

FFileArchiveNode* FFileArchiveNode::firstChild() const
{
  return children_ ? static_cast<FFileArchiveNode*>(children_->list.head()) : nullptr;
}

FFileArchiveNode* FFileArchiveNode::findChild(std::string_view name) const
{
  if (!children_)
    return nullptr;
  const auto found = children_->byName.find(name);
  return found == children_->byName.end() ? nullptr : found->second;
}

bool FFileArchiveNode::addChild(Ref<FFileArchiveNode> child)
{
  if (!isFolder() || !child || child->parent_)
    return false;
  if (!children_)
    children_ = std::make_unique<Children>();
  FFileArchiveNode* node = child.get();
  if (!children_->list.add(node))
    return false;
  child.detach(); // the list's from now on
  node->parent_ = this;
  children_->byName.emplace(node->name_.view(), node);
  return true;
}

bool FFileArchiveNode::removeChild(FFileArchiveNode* child)
{
  if (!child || child->parent_ != this)
    return false;
  children_->byName.erase(child->name_.view());
  child->parent_ = nullptr;
  const CmString name = child->name_;
  children_->list.remove(child);
  for (FFileArchiveNode* node = firstChild(); node; node = node->nextSibling())
    if (node->name_.view() == name.view()) // it stood behind the one that left
      children_->byName.emplace(node->name_.view(), node);
  return true;
}

FFileArchiveNode* FFileArchiveNode::nextBelow(const FFileArchiveNode* root) const
{
  if (FFileArchiveNode* child = firstChild())
    return child;
  for (const FFileArchiveNode* node = this; node && node != root; node = node->parent_)
    if (FFileArchiveNode* sibling = node->nextSibling())
      return sibling;
  return nullptr;
}

// Iterator

FFileArchiveIterator::FFileArchiveIterator(FFileArchiveNode* folder)
    : folder_(Ref<FFileArchiveNode>::share(folder)), next_(folder->firstChild())
{
}

bool FFileArchiveIterator::next(FFileItem& item)
{
  if (!next_)
    return false;
  item = FFileItem();
  item.name = next_->name();
  item.kind = next_->isFolder() ? FFileKind::folder : FFileKind::file;
  item.bytes = next_->bytes();
  next_ = next_->nextSibling();
  return true;
}

// Archive

FFileArchive::FFileArchive(FFileSystem* base, const FNPath& path)
    : base_(Ref<FFileSystem>::share(base)), path_(path), engine_(FCompressionEngine::registered())
{
}

FFileArchive::~FFileArchive()
{
  close();
}

void FFileArchive::close()
{
  stream_ = nullptr;
  root_ = nullptr;
  version_ = 0;
}

int32_t FFileArchive::openEntries() const
{
  return stream_ ? stream_->refCount() - 1 : 0;
}

FFileArchiveNode* FFileArchive::find(const FNPath& path) const
{
  FFileArchiveNode* node = root_.get();
  std::string_view rest = path.view();
  while (node && !rest.empty()) {
    const size_t end = std::min(rest.find_first_of(FNPath::separators), rest.size());
    if (end > 0)
      node = node->findChild(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return node;
}

Ref<FStream> FFileArchive::openStream(const FNPath& path, uint32_t mode)
{
  const FFileArchiveNode* node = find(path);
  if (!stream_ || !node || node->isFolder() || (mode & (openWrite | openAppend)))
    return nullptr;
  return openEntry(*node);
}

bool FFileArchive::isFolder(const FNPath& path) const
{
  const FFileArchiveNode* node = find(path);
  return node && node->isFolder();
}

int64_t FFileArchive::size(const FNPath& path) const
{
  const FFileArchiveNode* node = find(path);
  return node && !node->isFolder() ? node->bytes() : -1;
}

Ref<FFileIterator> FFileArchive::newIterator(const FNPath& folder)
{
  FFileArchiveNode* node = find(folder);
  if (!node || !node->isFolder())
    return nullptr;
  return make<FFileArchiveIterator>(node);
}

} // namespace orbi
