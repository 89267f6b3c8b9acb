#pragma once

#include "persist/xml_object.h"

#include <unordered_map>
#include <vector>

namespace orbi {

/// The objects of one file and who refers to whom. Gives each reference its object in the end, in
/// such a way that rings of objects don't keep each other alive. Time and memory go with the number
/// of objects and references.
class ReferenceGraph {
public:
  static constexpr int32_t outside = -1; ///< in place of an object: the tree itself

  /// An object begins, inside another one or outside. Its number.
  int32_t begin(int32_t parent);
  /// It is complete, and found its place where it stood or is known by its ID only. Of two with one
  /// ID the first counts.
  enum class Place { held, none };
  void complete(int32_t number, Ref<FXmlInstance> instance, Place place);
  /// A reference that stands inside an object or outside.
  void addReference(int32_t owner, Ref<FXmlReference> reference);

  /// References whose ID belongs to no object stay as they are.
  void resolve();

private:
  enum class State : uint8_t { unseen, open, done };
  struct Visit {
    int32_t node;
    size_t edge;
  };
  struct Node {
    int32_t parent;
    Ref<FXmlInstance> instance;
    Place place = Place::none;
  };
  struct Waiting {
    int32_t owner;
    Ref<FXmlReference> reference;
  };
  struct Edge {
    int32_t target = outside;
    FXmlReference* reference = nullptr; ///< null for an object that lies inside
  };
  Node& node(int32_t number) { return nodes_[static_cast<size_t>(number)]; }
  State& state(int32_t number) { return states_[static_cast<size_t>(number)]; }
  size_t& firstEdge(int32_t number) { return firstEdge_[static_cast<size_t>(number)]; }
  int32_t targetOf(const FXmlReference& reference) const;
  void sortEdges();
  void enter(int32_t number);
  void walkFrom(int32_t number);

  std::vector<Node> nodes_;
  std::vector<Waiting> waiting_;
  std::unordered_map<int64_t, int32_t, MixedId> byId_{50};

  // While resolving: the edges of node n are edges_[firstEdge_[n]] to edges_[firstEdge_[n + 1]]
  std::vector<Edge> edges_;
  std::vector<size_t> firstEdge_;
  std::vector<State> states_;
  std::vector<Visit> path_;
};

} // namespace orbi
