#include "persist/xml_entities.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace orbi {

namespace {

struct Entity {
  uint8_t code;
  std::string_view name;
  bool written; ///< otherwise only understood
};

// The order counts: of two rows with one code or one name the first is used. Files depend on the
// table as it stands, the four rows from 192 on and the missing 173 included.
constexpr Entity entities[] = {
    {34, "quot", true},    {38, "amp", true},     {60, "lt", true},      {62, "gt", true},
    {36, "dollar", true},  {94, "circ", true},    {96, "grave", true},   {10, "nl", true},
    {13, "cr", true},      {160, "nbsp", true},   {161, "iexcl", true},  {162, "cent", true},
    {163, "pound", true},  {164, "curren", true}, {165, "yen", true},    {166, "brvbar", true},
    {167, "sect", true},   {168, "uml", true},    {169, "copy", true},   {170, "ordf", true},
    {171, "laquo", true},  {172, "not", true},    {174, "reg", true},    {175, "macr", true},
    {176, "deg", true},    {177, "plusmn", true}, {178, "sup2", true},   {179, "sup3", true},
    {180, "acute", true},  {181, "micro", true},  {182, "para", true},   {183, "middot", true},
    {184, "cedil", true},  {185, "sup1", true},   {186, "ordm", true},   {187, "raquo", true},
    {188, "frac14", true}, {189, "frac12", true}, {189, "half", true},   {190, "frac34", true},
    {191, "iquest", true}, {192, "iquest", true}, {193, "Agrave", true}, {194, "Aacute", true},
    {195, "Atilde", true}, {196, "Auml", true},   {197, "Aring", true},  {198, "AElig", true},
    {199, "Ccedil", true}, {200, "Egrave", true}, {201, "Eacute", true}, {202, "Ecirc", true},
    {203, "Euml", true},   {204, "Igrave", true}, {205, "Iacute", true}, {206, "Icirc", true},
    {207, "Iuml", true},   {208, "ETH", true},    {209, "Ntilde", true}, {210, "Ograve", true},
    {211, "Oacute", true}, {212, "Ocirc", true},  {213, "Otilde", true}, {214, "Ouml", true},
    {215, "times", true},  {216, "Oslash", true}, {217, "Ugrave", true}, {218, "Uacute", true},
    {219, "Ucirc", true},  {220, "Uuml", true},   {221, "Yacute", true}, {222, "THORN", true},
    {223, "szlig", true},  {224, "agrave", true}, {225, "aacute", true}, {226, "acirc", true},
    {227, "atilde", true}, {228, "auml", true},   {229, "aring", true},  {230, "aelig", true},
    {231, "ccedil", true}, {232, "egrave", true}, {233, "eacute", true}, {234, "ecirc", true},
    {235, "euml", true},   {236, "igrave", true}, {237, "iacute", true}, {238, "icirc", true},
    {239, "iuml", true},   {240, "eth", true},    {241, "ntilde", true}, {242, "ograve", true},
    {243, "oacute", true}, {244, "ocirc", true},  {245, "otilde", true}, {246, "ouml", true},
    {247, "divide", true}, {248, "oslash", true}, {249, "ugrave", true}, {250, "uacute", true},
    {251, "ucirc", true},  {252, "uuml", true},   {253, "yacute", true}, {254, "thorn", true},
    {255, "yuml", true},   {92, "bsol", false},   {39, "apos", false},   {33, "excl", false},
    {35, "num", false},    {37, "percnt", false}, {40, "lpar", false},   {41, "rpar", false},
    {42, "ast", false},    {43, "plus", false},   {44, "comma", false},  {45, "hyphen", false},
    {46, "period", false}, {47, "sol", false},    {58, "colon", false},  {59, "semi", false},
    {61, "equals", false}, {63, "quest", false},  {64, "commat", false}, {91, "lsqb", false},
    {93, "rsqb", false},   {95, "horbar", false}, {123, "lcub", false},  {124, "verbar", false},
    {125, "rcub", false},  {126, "tilde", false},
};

constexpr size_t longestName = 10;
constexpr size_t entityCount = std::size(entities);
static_assert(entityCount <= UINT8_MAX);

/// What is written for each character.
struct Escape {
  char text[longestEscape] = {};
  uint8_t length = 0; ///< 0 for the character itself
};

constexpr Escape escapeOf(unsigned code)
{
  Escape escape;
  auto put = [&](char c) { escape.text[escape.length++] = c; };
  for (const Entity& entity : entities) {
    if (entity.code != code || !entity.written)
      continue;
    put('&');
    for (char c : entity.name)
      put(c);
    put(';');
    return escape;
  }
  if (code < 0x80)
    return escape;
  for (char c : {'&', '#', 'x', "0123456789abcdef"[code >> 4], "0123456789abcdef"[code & 15], ';'})
    put(c);
  return escape;
}

constexpr auto escapes = [] {
  std::array<Escape, 256> all{};
  for (unsigned code = 0; code < all.size(); ++code)
    all[code] = escapeOf(code);
  return all;
}();

/// Rows in the order of their names, the first of equal ones before the others.
constexpr auto byName = [] {
  std::array<uint8_t, entityCount> order{};
  for (size_t i = 0; i < entityCount; ++i) {
    size_t place = i;
    for (; place > 0 && entities[i].name < entities[order[place - 1]].name; --place)
      order[place] = order[place - 1];
    order[place] = static_cast<uint8_t>(i);
  }
  return order;
}();

int codeOfName(std::string_view name)
{
  auto row = std::lower_bound(
      byName.begin(), byName.end(), name,
      [](uint8_t index, std::string_view sought) { return entities[index].name < sought; });
  return row != byName.end() && entities[*row].name == name ? entities[*row].code : -1;
}

int codeOfNumber(std::string_view digits, int base)
{
  int code = 0;
  for (char c : digits) {
    int digit = c >= '0' && c <= '9'   ? c - '0'
                : c >= 'a' && c <= 'f' ? c - 'a' + 10
                : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                       : base;
    code = code * base + digit;
    if (digit >= base || code > 255)
      return -1;
  }
  return code > 0 ? code : -1;
}

/// The character that an entity's inside, between & and ;, stands for; -1 for none.
int codeOf(std::string_view inside)
{
  if (inside.starts_with("#x"))
    return codeOfNumber(inside.substr(2), 16);
  if (inside.starts_with('#'))
    return codeOfNumber(inside.substr(1), 10);
  return codeOfName(inside);
}

/// Decodes the entity at the front of the text and takes it off; -1, and nothing taken, for none.
int takeEntity(std::string_view& text)
{
  size_t end = text.substr(0, longestName + 2).find(';');
  int code = end == text.npos ? -1 : codeOf(text.substr(1, end - 1));
  if (code >= 0)
    text.remove_prefix(end + 1);
  return code;
}

} // namespace

size_t escapedLength(std::string_view text)
{
  size_t bytes = 0;
  for (char c : text)
    bytes += std::max<size_t>(escapes[static_cast<uint8_t>(c)].length, 1);
  return bytes;
}

char* writeEscaped(char* to, std::string_view text)
{
  for (char c : text) {
    const Escape& escape = escapes[static_cast<uint8_t>(c)];
    if (escape.length == 0) {
      *to++ = c;
      continue;
    }
    std::memcpy(to, escape.text, longestEscape);
    to += escape.length;
  }
  return to;
}

void appendEscaped(std::string& to, std::string_view text)
{
  for (char c : text) {
    const Escape& escape = escapes[static_cast<uint8_t>(c)];
    if (escape.length == 0)
      to += c;
    else
      to.append(escape.text, escape.length);
  }
}

size_t decodeEntities(char* text, size_t length)
{
  std::string_view left(text, length);
  char* to = text;
  while (!left.empty()) {
    int code = left.front() == '&' ? takeEntity(left) : -1;
    if (code >= 0) {
      *to++ = static_cast<char>(code);
    } else {
      *to++ = left.front();
      left.remove_prefix(1);
    }
  }
  return static_cast<size_t>(to - text);
}

std::string decodeXmlText(std::string_view text, uint32_t flags)
{
  std::string decoded;
  bool atLineStart = true;
  while (!text.empty()) {
    char c = text.front();
    int code = c == '&' && (flags & xmlTextEntities) ? takeEntity(text) : -1;
    if (code >= 0) {
      decoded += static_cast<char>(code);
      atLineStart = false;
      continue;
    }
    text.remove_prefix(1);
    if (c == '\r' || c == '\n') {
      if (c == '\r' && text.starts_with('\n'))
        text.remove_prefix(1);
      decoded += flags & xmlTextJoinsLines ? ' ' : '\n';
      atLineStart = true;
    } else if (!atLineStart || (c != ' ' && c != '\t')) {
      decoded += c;
      atLineStart = false;
    }
  }
  return decoded;
}

} // namespace orbi
