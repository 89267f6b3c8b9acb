#pragma once

#include "foundation/attributes.h"

namespace orbi {

/// A named group of the user's settings. Main thread.
class FDefaults final : public CmClass<FDefaults, CmObject> {
public:
  static constexpr const char* className = "FDefaults";

  FDefaults() = default;
  FDefaults(const char* group, int32_t version) : group_(group), version_(version) {}
  FDefaults(const FDefaults&) = delete;

  const CmString& group() const { return group_; }
  int32_t version() const { return version_; }

  void setInt(const char* key, int64_t value);
  int64_t getInt(const char* key) const; ///< 0 when absent
  bool getInt(const char* key, int64_t& out) const;
  void setFloat(const char* key, double value);
  double getFloat(const char* key) const; ///< 0 when absent
  bool getFloat(const char* key, double& out) const;
  void setString(const char* key, const char* value);
  const char* getString(const char* key) const; ///< "" when absent; valid until the value changes
  bool has(const char* key) const { return values_ && values_->has(key); }
  void setObject(const char* key, CmObject* object, bool adopt); ///< else shared
  CmObject* getObject(const char* key) const; ///< borrowed and resolved; null when absent
  bool remove(const char* key);               ///< whether there was one
  bool isEmpty() const { return !values_ || values_->isEmpty(); }

  void takeValues(const FAttributes& source); ///< over those that are there

  int compare(const CmObject* other) const override; ///< by group, among its kind
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  FAttributes& values();

  CmString group_;
  Ref<FAttributes> values_; ///< null until the first value is set
  int32_t version_ = 0;
};

} // namespace orbi
