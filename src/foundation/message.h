#pragma once

#include "foundation/attributes.h"
#include "foundation/string.h"

namespace orbi {

/// The message as those see it who know only interfaces.
class IMessage : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x4D455353, 0x41470001, 1};

  virtual const char* messageId() const = 0;
  virtual void setMessageId(const char* id) = 0;
  virtual int32_t setArgument(const char* key, const AttributeVariant& value) = 0;
  virtual int32_t getArgument(const char* key, AttributeVariant& value) const = 0;

protected:
  ~IMessage() = default;
};

/// A receiver that is only an interface; its fourth operation takes the message.
class IMessageHandler : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x48414E44, 0x4C450001, 1};
  virtual int32_t handleMessage(IMessage* message) = 0;

protected:
  ~IMessageHandler() = default;
};

/// A named record of arguments for one receiver. Handed over at once by calling the receiver's
/// handleMessage with a local one, or posted through FMessenger, which adopts it.
class FMessage : public CmClass<FMessage, CmObject>, public IMessage {
public:
  static constexpr const char* className = "FMessage";

  FMessage() = default;
  explicit FMessage(std::string_view id) : id_(id) {}
  FMessage(const FMessage& other); ///< arguments of its own, objects shared
  FMessage& operator=(const FMessage& other);

  bool isMessage(const char* id) const { return id_.compare(id, TextCompare::byFlag) == 0; }
  const CmString& id() const { return id_; }
  const char* getId() const { return id_.text(); }
  void setId(const char* id) { id_.set(id); }

  // Arguments; an absent key is 0, 0.0 or null
  void setInt(const char* key, int64_t value);
  int64_t getInt(const char* key) const;
  void setFloat(const char* key, double value);
  double getFloat(const char* key) const;
  void setString(const char* key, const char* text);
  const char* getString(const char* key) const;
  /// Borrowed, or with the reference handed over. Objects don't travel on a stream.
  void setObject(const char* key, CmObject* object, ObjectMode mode = ObjectMode::borrowed);
  CmObject* getObject(const char* key) const;
  template <class T>
  T* getObject(const char* key) const
  {
    return castTo<T>(getObject(key));
  }

  const FAttributes* arguments() const { return arguments_.get(); } ///< null before the first one

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  const char* messageId() const override { return getId(); }
  void setMessageId(const char* id) override { setId(id); }
  int32_t setArgument(const char* key, const AttributeVariant& value) override;
  int32_t getArgument(const char* key, AttributeVariant& value) const override;

  // The id, then the arguments that may travel: a 32-bit count, key and value of each
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

private:
  FAttributes& require();
  FStringIDAttribute& requireLocal(const char* key);

  CmString id_;
  Ref<FAttributes> arguments_;
};

/// A message that came over the network, with the one who sent it. The sender is known from the
/// connection by who receives, so it isn't written to a stream.
class NMessage final : public CmClass<NMessage, FMessage> {
public:
  static constexpr const char* className = "NMessage";

  NMessage() = default;
  explicit NMessage(std::string_view id) : CmClass(id) {}

  const CmString& sender() const { return sender_; } ///< address in text form
  void setSender(std::string_view sender) { sender_.set(sender); }

private:
  CmString sender_;
};

} // namespace orbi
