#include "persist/reference_graph.h"

#include <algorithm>

namespace orbi {

int32_t ReferenceGraph::begin(int32_t parent)
{
  nodes_.push_back({parent, nullptr});
  return static_cast<int32_t>(nodes_.size() - 1);
}

void ReferenceGraph::complete(int32_t number, Ref<FXmlInstance> instance, Place place)
{
  byId_.emplace(instance->id(), number);
  node(number).instance = std::move(instance);
  node(number).place = place;
}

void ReferenceGraph::addReference(int32_t owner, Ref<FXmlReference> reference)
{
  waiting_.push_back({owner, std::move(reference)});
}

/// The objects are walked by depth, those first that the tree holds: a reference that leads to an
/// object on the way that led to itself only borrows.
void ReferenceGraph::resolve()
{
  sortEdges();
  states_.assign(nodes_.size(), State::unseen);
  const auto count = static_cast<int32_t>(nodes_.size());
  for (int32_t number = 0; number < count; ++number)
    if (node(number).parent == outside && node(number).place == Place::held)
      walkFrom(number);
  for (const Waiting& waiting : waiting_) {
    int32_t target = waiting.owner == outside ? targetOf(*waiting.reference) : outside;
    if (target == outside)
      continue;
    waiting.reference->resolve(node(target).instance.get());
    walkFrom(target);
  }
  for (int32_t number = 0; number < count; ++number)
    walkFrom(number);
}

int32_t ReferenceGraph::targetOf(const FXmlReference& reference) const
{
  auto found = byId_.find(reference.id());
  return found == byId_.end() ? outside : found->second;
}

/// Counts the edges of each node, which gives their places, and puts them there: objects that lie
/// inside before references.
void ReferenceGraph::sortEdges()
{
  firstEdge_.assign(nodes_.size() + 2, 0);
  for (const Node& inner : nodes_)
    if (inner.parent != outside)
      ++firstEdge(inner.parent + 2);
  for (const Waiting& waiting : waiting_)
    if (waiting.owner != outside)
      ++firstEdge(waiting.owner + 2);
  for (size_t i = 2; i < firstEdge_.size(); ++i)
    firstEdge_[i] += firstEdge_[i - 1];
  edges_.assign(firstEdge_.back(), {});
  for (size_t number = 0; number < nodes_.size(); ++number)
    if (nodes_[number].parent != outside)
      edges_[firstEdge(nodes_[number].parent + 1)++] = {static_cast<int32_t>(number), nullptr};
  for (const Waiting& waiting : waiting_)
    if (waiting.owner != outside)
      edges_[firstEdge(waiting.owner + 1)++] = {targetOf(*waiting.reference),
                                                waiting.reference.get()};
}

/// From the outermost object around it that wasn't met yet inwards: what lies inside never holds
/// what is around it. All on the way are opened at once, so that no way is gone twice.
void ReferenceGraph::enter(int32_t number)
{
  const auto outermost = static_cast<std::ptrdiff_t>(path_.size());
  for (; number != outside && state(number) == State::unseen; number = node(number).parent) {
    state(number) = State::open;
    path_.push_back({number, firstEdge(number)});
  }
  std::reverse(path_.begin() + outermost, path_.end());
}

void ReferenceGraph::walkFrom(int32_t number)
{
  if (state(number) == State::unseen)
    enter(number);
  while (!path_.empty()) {
    Visit& visit = path_.back();
    if (visit.edge == firstEdge(visit.node + 1)) {
      state(visit.node) = State::done;
      path_.pop_back();
      continue;
    }
    const Edge edge = edges_[visit.edge++];
    if (edge.target == outside)
      continue;
    const State seen = state(edge.target);
    if (edge.reference)
      edge.reference->resolve(node(edge.target).instance.get(), seen == State::open
                                                                    ? FXmlReference::Hold::borrows
                                                                    : FXmlReference::Hold::keeps);
    if (seen == State::unseen)
      enter(edge.target);
  }
}

} // namespace orbi
