#pragma once

#include "foundation/object.h"

#include <cstdarg>
#include <string_view>

namespace orbi {

class FStream;

/// How texts are compared.
enum class TextCompare {
  byFlag = 0,    ///< as the process-wide flag says: bytes unless it was cleared
  bytes = 1,     ///< byte by byte
  ignoreCase = 2 ///< without the case of A to Z
};

/// Holder of a zero-terminated 8-bit text, copied on assignment. Short texts lie in the holder.
class FText {
public:
  FText() = default;
  FText(std::string_view text) { assign(text); }
  FText(const FText& other) { assign(other.view()); }
  FText(FText&& other) noexcept { swap(other); }
  ~FText() { release(); }
  FText& operator=(const FText& other);
  FText& operator=(FText&& other) noexcept
  {
    swap(other);
    return *this;
  }

  const char* text() const { return text_ ? text_ : ""; }
  uint32_t length() const { return length_; }
  std::string_view view() const { return {text(), length_}; }

  bool assign(std::string_view text); ///< false, and unchanged, without memory; own text allowed
  bool append(std::string_view text); ///< likewise
  void clear() { release(); }
  void swap(FText& other) noexcept;

private:
  static constexpr uint32_t inlineBytes = 24;

  bool reserve(uint32_t length);
  void release();
  bool isInline() const { return text_ == inline_; }

  char* text_ = nullptr; ///< null is the empty text
  uint32_t length_ = 0;
  uint32_t capacity_ = 0; ///< characters without the terminator
  char inline_[inlineBytes] = {};
};

/// Text as an object.
class CmString : public CmClass<CmString, CmObject> {
public:
  static constexpr const char* className = "CmString";
  static constexpr int32_t longestRead = 50000; ///< bytes on a stream, terminator included

  CmString() = default;
  CmString(std::string_view text) : text_(text) {}
  CmString(const char* text) : text_(text ? std::string_view(text) : std::string_view()) {}
  CmString(const CmString&) = default;
  CmString(CmString&& other) noexcept : CmClass(other), text_(std::move(other.text_)) {}
  CmString& operator=(const CmString&) = default;

  const char* text() const { return text_.text(); } ///< never null
  int32_t length() const { return static_cast<int32_t>(text_.length()); }
  bool isEmpty() const { return text_.length() == 0; }
  std::string_view view() const { return text_.view(); }

  void set(const char* text, int32_t length = -1); ///< ends at the terminator; null empties
  void set(std::string_view text) { text_.assign(text); }
  void append(const char* text, int32_t length = -1);
  void append(std::string_view text) { text_.append(text); }
  void appendNumber(int64_t number, int width = 0); ///< padded with zeros to width digits
  void format(const char* pattern, ...) __attribute__((format(printf, 2, 3)));

  /// -1, 0, 1 or a difference; null compares as empty.
  int compare(const char* text, TextCompare mode) const;
  bool operator==(std::string_view text) const { return text_.view() == text; }

  // As an object: by text
  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override;

  /// 32-bit length with the terminator, then the bytes; 0 alone for the empty text. Reading skips a
  /// text of more than longestRead bytes and fails.
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

  static inline bool comparesBytes = true; ///< the flag of TextCompare::byFlag

private:
  void formatArguments(const char* pattern, va_list arguments);

  FText text_;
};

/// Compares two texts; null is empty.
int compareTexts(const char* a, const char* b, TextCompare mode);

} // namespace orbi
