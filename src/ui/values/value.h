#pragma once

#include "foundation/ref.h"
#include "foundation/string.h"
#include "ui/values/value_interface.h"

namespace orbi {

/// Observable parameter: a value in a range with a text form, a persistent form, one target and
/// any number of dependents. A control changes it through IValue, which tells the target at once;
/// whoever it belongs to changes it by setValue, which doesn't. The dependents hear of either soon
/// after, on the main loop's next pass. This class itself is a switch, 0 or 1.
///
/// Subclasses override the operations on the value below; IValue is made of them. Main thread.
class UValue : public CmClass<UValue, CmObject>, public IValue {
public:
  static constexpr const char* className = "UValue";
  static constexpr const char* beginEditMessage = "BeginEdit"; ///< to the target, with "Value"
  static constexpr const char* endEditMessage = "EndEdit";

  /// What dependents and the target are told.
  enum Notice : int32_t { changeNotice = 1, goneNotice = 2 };
  enum Type : int32_t { integerType = 1, floatType = 2, textType = 3, choiceType = 4 };

  UValue() = default;
  UValue(const UValue& other); ///< with its target, without its dependents and what goes on
  UValue& operator=(const UValue&) = delete;
  ~UValue() override; ///< tells the dependents goneNotice; they have a plain UValue before them

  // Target: hears of what comes through IValue
  virtual void setTarget(CmObject* target, int32_t tag, bool owned = false); ///< owned: adopted
  virtual void setTag(int32_t tag) { tag_ = tag; }
  virtual void notifyTarget();

  // The value in whole numbers; dependents are told of a change, the target isn't
  virtual void setValue(int32_t value);
  virtual int32_t getValue() const { return has(boolean) ? 1 : 0; }
  virtual int32_t getMin() const { return 0; }
  virtual void setMin(int32_t) {}
  virtual int32_t getMax() const { return 1; }
  virtual void setMax(int32_t) {}
  virtual int32_t constrain(int32_t value) const;
  virtual void setNormalized(float fraction); ///< cuts off what isn't whole
  virtual bool getDefault(int32_t&) const { return false; }
  virtual void setDefault(int32_t) {}

  // By way of IValue
  virtual void stepDown();
  virtual void stepUp();
  virtual void copyValue(const UValue& other);

  // Notices. What changes while they are off is not made up for.
  virtual void setNotify(bool on) { put(notifyOff, !on); }
  virtual bool getNotify() const { return !has(notifyOff); }
  virtual void setImmediate(bool on) { put(immediate, on); } ///< dependents at once

  // Edits: from the press on a control to its release
  virtual void BeginEdit();
  virtual void EndEdit();
  virtual bool isEditing() const { return has(editing); }
  virtual bool getNotifyOnEdit() const { return has(notifyOnEdit); }
  virtual void setNotifyOnEdit(bool on) { put(notifyOnEdit, on); } ///< target, at begin and end
  virtual void setNotifyAtEnd(bool on) { put(notifyAtEnd, on); }   ///< target, at each end
  virtual void setEditMessages(bool on) { put(editMessages, on); } ///< the target handles these

  // Text
  virtual void getString(CmString& text) const;
  virtual void getStringThis(CmString& text) const { getString(text); }
  virtual void getStringForValue(int32_t value, CmString& text); ///< as if it had that value
  virtual void getStringForNormalized(float fraction, CmString& text);

  // Properties
  virtual void setType(int32_t type); ///< 0 to 15
  virtual int32_t getType() const { return static_cast<int32_t>(flags_ & typeMask); }
  virtual bool isReadOnly() const { return has(readOnly); }
  virtual void setReadOnly(bool on) { putVisibly(readOnly, on); }
  virtual bool isChoice() const { return has(choice); } ///< its texts are one of a list each
  virtual void setChoice(bool on) { put(choice, on); }
  virtual bool isMarked() const { return has(marked); } ///< for its owner, no meaning here
  virtual void setMarked(bool on) { put(marked, on); }

  // IValue
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  void getText(char text[textBytes]) const override;
  void setText(const char* text) override { setTextBuffer(text, true); }
  int32_t getInt() const override { return getValue(); }
  void setInt(int32_t value) override { setIntEx(value, true); }
  int32_t getMinInt() const override { return getMin(); }
  int32_t getMaxInt() const override { return getMax(); }
  void setTargetObject(IDependent* object, int32_t tag) override;
  int32_t getTag2() const final { return getTag(); } ///< a proxy's, too
  int32_t getTag() const override { return tag_; }
  void setNotifyEx(bool on) override { setNotify(on); }
  void setEnabled(bool on) override { putVisibly(enabled, on); }
  bool isEnabled() const override { return has(enabled); }
  void edit(bool begins) override;
  bool isReadOnlyEx() const override { return isReadOnly(); }
  uint32_t getTextBuffer(char* text, uint32_t* size) const override;
  void setTextBuffer(const char* text, bool notifyTarget) override; ///< "On", "Off" or a number
  void setIntEx(int32_t value, bool notifyTarget) override;
  void setMinInt(int32_t min) override { setMin(min); }
  void setMaxInt(int32_t max) override { setMax(max); }
  float getFloat() const override { return static_cast<float>(getValue()); }
  void setFloat(float value) override; ///< cuts off what isn't whole
  float getMinFloat() const override { return static_cast<float>(getMin()); }
  float getMaxFloat() const override { return static_cast<float>(getMax()); }
  void setMinFloat(float min) override;
  void setMaxFloat(float max) override;
  float getNormalized() const override;
  void setNormalizedEx(float fraction, bool notifyTarget) override;
  CmObject* getTarget() const override { return target_; }
  bool resetToDefault() override;
  void setDefaultFloat(float value) override;
  bool getDefaultFloat(float& value) const override;
  bool getFlag(int32_t index) const override; ///< 1 getNotifyOnEdit, 2, 4 and 8 free ones
  void setFlag(int32_t index, bool on) override;

  // Dependents
  void addDependent(CmObject* dependent) override;
  void removeDependent(CmObject* dependent) override;
  void changed(int32_t code) override; ///< at once or by the queue, as the flags say
  void onNoticeTaken() override { put(noticeWaits, false); }

  // Persistence: "Min", "Max", "Value"; the value alone as 32 bits on a stream
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  enum Flag : uint32_t {
    typeMask = 15,
    noticeWaits = 1u << 4, ///< in the queue of FDependencies
    ownsTarget = 1u << 5,
    boolean = 1u << 8, ///< the value of this class
    enabled = 1u << 9,
    editing = 1u << 10,
    notifyOff = 1u << 11,
    immediate = 1u << 12,
    notifyOnEdit = 1u << 13,
    free2 = 1u << 14,
    choice = 1u << 15,
    editMessages = 1u << 16,
    free4 = 1u << 17,
    marked = 1u << 18,
    notifyAtEnd = 1u << 19,
    free8 = 1u << 20,
    readOnly = 1u << 21
  };
  bool has(Flag flag) const { return (flags_ & flag) != 0; }
  void put(Flag flag, bool on) { flags_ = on ? flags_ | flag : flags_ & ~uint32_t(flag); }
  void putVisibly(Flag flag, bool on); ///< and tells the dependents when it differs
  void tellDependents(int32_t code);   ///< at once

  /// Keeps the value from going while it calls out; for those that live on the heap.
  Ref<UValue> kept() { return Ref<UValue>::share(this); }

  /// An edit as long as it lives, if the value wants to be told of edits.
  class FlaggedEdit {
  public:
    explicit FlaggedEdit(UValue& value) : value_(value), isEdit_(value.getNotifyOnEdit())
    {
      if (isEdit_)
        value_.BeginEdit();
    }
    ~FlaggedEdit()
    {
      if (isEdit_)
        value_.EndEdit();
    }
    FlaggedEdit(const FlaggedEdit&) = delete;
    FlaggedEdit& operator=(const FlaggedEdit&) = delete;

  private:
    UValue& value_;
    bool isEdit_;
  };

  /// Silent as long as it lives.
  class Quiet {
  public:
    explicit Quiet(UValue& value) : value_(value), wasOff_(value.has(notifyOff))
    {
      value.put(notifyOff, true);
    }
    ~Quiet() { value_.put(notifyOff, wasOff_); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

  private:
    UValue& value_;
    bool wasOff_;
  };

private:
  bool sendEditMessage(const char* id);

  uint32_t flags_ = uint32_t(integerType) | enabled;
  int32_t tag_ = 0;
  CmObject* target_ = nullptr; ///< borrowed unless ownsTarget
};

} // namespace orbi
