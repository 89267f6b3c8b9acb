#pragma once

#include "foundation/object.h"

#include <string_view>

namespace orbi {

/// A part that others make without knowing its class, by its id or by its category and name. Stands
/// in the registry as long as it lives: as a static of the file that makes it, or with the module
/// that does. Main thread.
class FComponent {
public:
  using Create = FUnknown* (*)(); ///< a new one with one reference; null when there can't be one
  enum class Count { any, one };  ///< how many of its kind make sense at a time

  /// The texts are borrowed.
  FComponent(const FUID& id, const char* category, const char* name, Create create,
             Count count = Count::any);
  FComponent(const FComponent&) = delete;
  FComponent& operator=(const FComponent&) = delete;
  ~FComponent();

  const FUID& id() const { return id_; }
  const char* category() const { return category_; }
  const char* name() const { return name_; }
  bool isSingle() const { return count_ == Count::one; }
  FUnknown* create() const { return create_(); }

private:
  friend class FComponentRegistry;

  const FUID id_;
  const char* const category_;
  const char* const name_;
  const Create create_;
  const Count count_;
  FComponent* next_ = nullptr;
};

/// All components, in the order in which they came. Words are compared exactly; of two with the
/// same id or name the first counts. Answers are borrowed, null for none.
class FComponentRegistry {
public:
  static const FComponent* find(const FUID& id);
  static const FComponent* find(std::string_view category, std::string_view name);
  static const FComponent* at(std::string_view category, int32_t index); ///< within the category

private:
  friend class FComponent;

  template <class Matches>
  static const FComponent* findIf(const Matches& matches);

  static inline constinit FComponent* first_ = nullptr;
};

} // namespace orbi
