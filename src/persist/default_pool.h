#pragma once

#include "foundation/array.h"
#include "persist/defaults.h"
#include "platform/old_settings.h"

#include <vector>

namespace orbi {

class FObjectFiles;

/// The one store of the user's settings: named groups of keyed values, loaded once at start, read
/// and written in memory, and saved at the end. Main thread; other threads read copies made at
/// start.
class FDefaultPool final : public CmClass<FDefaultPool, CmObject> {
public:
  static constexpr const char* className = "FDefaultPool";
  static constexpr const char* fileName = "Defaults"; ///< and the root's tag
  using Callback = void (*)();

  FDefaultPool() { instance_ = this; }
  FDefaultPool(const FDefaultPool&) = delete;
  ~FDefaultPool() override;

  static FDefaultPool* instance() { return instance_; }

  // Groups

  /// The version is the mark of a group's schema: one that is there in another version is thrown
  /// away. Null for an empty name, after closePool, and when it is missing and not to be created.
  FDefaults* getGroup(const char* name, int32_t version = 0, bool create = true);
  void removeGroup(const char* name, int32_t version);
  uint32_t groupCount() const { return entries_.count(); }

  // Objects that keep their state here without a group of their own, known by their class

  void addAutoSaver(CmObject* object); ///< borrowed
  void removeAutoSaver(CmObject* object);

  // Functions called when loading is finished and before each save, in order of addition
  static void addLoadCallback(Callback function) { loadCallbacks_.push_back(function); }
  static void addSaveCallback(Callback function) { saveCallbacks_.push_back(function); }

  // Start, in this order

  void load(FObjectFiles& files);
  /// Takes over what an older installation left, when the key says that it has the form asked for.
  /// Kept open until finishLoading, for the auto-savers.
  void importOldSettings(std::unique_ptr<platform::OldSettingsKey> key, int32_t form);
  /// "Software\<company>\<product>\Defaults", with "(<form>)" behind it when form is above 0.
  static std::string oldSettingsPath(const std::string& company, const std::string& product,
                                     int32_t form);
  void finishLoading();

  // End

  /// False when loading was never finished; else true, also when the file can't be written.
  bool save(FObjectFiles& files, bool runCallbacks);
  void closePool(); ///< empties it; from then on it has no groups

  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  void loadOldKey(const platform::OldSettingsKey& key, const std::string& name);
  void takeOldValue(const platform::OldSettingsKey::Value& value, const std::string& group,
                    int32_t version);
  void loadOldAutoSavers();

  static inline FDefaultPool* instance_ = nullptr;
  static inline std::vector<Callback> loadCallbacks_;
  static inline std::vector<Callback> saveCallbacks_;

  CmOrderedArray entries_{CmOwnership::adopts};
  std::vector<CmObject*> autoSavers_;
  Ref<FAttributes> savedAutoState_; ///< of the file, until the savers have taken it
  std::unique_ptr<platform::OldSettingsKey> oldSettings_;
  int32_t registryVersion_ = -1; ///< the form of old settings that was found
  bool loaded_ = false;
  bool closed_ = false;
};

} // namespace orbi
