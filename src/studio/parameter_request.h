#pragma once

#include <cstdint>

namespace orbi {

class CmString;
class UValue;

/// What is asked of a node about its parameters, all through one operation.
enum class PParameterQuestion : int32_t {
  count = 0,
  tagAt = 1, ///< the tag of the parameter with an index
  name = 3,
  text = 4, ///< of the value, as the user sees it
  value = 5,
  valueByKey = 6, ///< by the name under which skins know it
  presence = 7
};

struct PParameterRequest {
  PParameterQuestion question;
  int32_t tag = 0;           ///< with tagAt the index
  const char* key = nullptr; ///< with valueByKey
  CmString* text = nullptr;  ///< takes the name or the text
};

/// An empty answer means that there is no such parameter.
struct PParameterAnswer {
  PParameterAnswer() = default;
  PParameterAnswer(int32_t answer) : number(answer) {}
  PParameterAnswer(UValue* answer) : value(answer) {}

  int32_t number = 0;      ///< count or tag; not 0 when a name or text was given, or for presence
  UValue* value = nullptr; ///< borrowed
};

} // namespace orbi
