#include "persist/translator.h"

#include "foundation/buffer.h"
#include "foundation/memory_stream.h"
#include "persist/global_texts.h"
#include "persist/user_message.h"

#include <algorithm>
#include <cstring>

namespace orbi {

namespace {

constexpr std::string_view english = "en";
constexpr uint32_t largestFile = 64 << 20; ///< bytes that are looked at

/// Of languages that aren't written in letters; of some the files use codes of three letters.
constexpr std::string_view asianLanguages[] = {"ja", "zh", "ko", "ch"};

char lowerCase(char c)
{
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isLetter(char c)
{
  return lowerCase(c) >= 'a' && lowerCase(c) <= 'z';
}

/// The printf directives of a text, one behind the other: "%s%2d".
std::string directivesOf(std::string_view text)
{
  constexpr std::string_view between = "-+ #0123456789.*hlLqjzt";
  std::string directives;
  for (size_t i = text.find('%'); i < text.size(); i = text.find('%', i)) {
    const size_t end = std::min(text.find_first_not_of(between, i + 1), text.size());
    const std::string_view directive = text.substr(i, end + 1 - i);
    if (directive != "%%")
      directives += directive;
    i = end + 1;
  }
  return directives;
}

/// A key that serves as a pattern needs a translation that takes the same arguments.
bool takesSameArguments(std::string_view key, std::string_view translation)
{
  const std::string directives = directivesOf(key);
  return directives.empty() || directives == directivesOf(translation);
}

/// The stream's bytes from its start; they lie in the buffer unless they lay in memory already.
std::string_view bytesOf(FStream& stream, FBuffer& buffer)
{
  if (auto* memory = castTo<FMemoryStream>(&stream))
    return {reinterpret_cast<const char*>(memory->data()), static_cast<size_t>(memory->size())};
  stream.rewind();
  stream.readBytes(buffer, largestFile);
  return {reinterpret_cast<const char*>(buffer.data()), buffer.used()};
}

} // namespace

bool isSameLanguage(std::string_view a, std::string_view b)
{
  return a.size() >= 2 && b.size() >= 2 && lowerCase(a[0]) == lowerCase(b[0]) &&
         lowerCase(a[1]) == lowerCase(b[1]);
}

// Pool

std::string_view UTextPool::add(std::string_view text)
{
  const size_t bytes = text.size() + 1;
  if (bytes > blockBytes - used_) {
    blocks_.push_back(std::make_unique<char[]>(std::max(bytes, blockBytes)));
    used_ = 0;
  }
  char* place = blocks_.back().get() + used_;
  std::copy(text.begin(), text.end(), place);
  place[text.size()] = 0;
  used_ = std::min(used_ + bytes, blockBytes);
  return {place, text.size()};
}

// Translator

UTranslator::UTranslator() : language_(english)
{
  instance_ = this;
  parse(builtInTranslations(), Faults::told);
}

UTranslator::~UTranslator()
{
  UGlobalText::forgetTranslations();
  if (instance_ == this)
    instance_ = nullptr;
}

const char* UTranslator::text(const char* key)
{
  return instance_ ? instance_->translate(key) : key;
}

/// A translation comes from a file, so it is no pattern for formatting.
std::string UTranslator::filled(const char* key, std::string_view with)
{
  constexpr std::string_view gap = "%s";
  std::string filled = text(key);
  if (const size_t place = filled.find(gap); place != filled.npos)
    filled.replace(place, gap.size(), with);
  return filled;
}

void UTranslator::start(const ULanguageSetting* setting, std::string_view systemLanguage,
                        FStream* file)
{
  FBuffer buffer;
  const std::string_view text = file ? bytesOf(*file, buffer) : std::string_view();
  const std::string chosen = setting ? setting->languageCode() : std::string();
  setLanguage(chosen.empty() ? systemLanguage : chosen);
  parse(text, Faults::told);
  if (chosen.empty() || findLanguage(chosen))
    return;
  setLanguage(systemLanguage);
  parse(text, Faults::silent);
}

bool UTranslator::load(FStream& stream)
{
  FBuffer buffer;
  return load(bytesOf(stream, buffer));
}

bool UTranslator::load(std::string_view text)
{
  return parse(text, Faults::told);
}

bool UTranslator::parse(std::string_view text, Faults faults)
{
  TranslationParser parser(*this, text);
  if (parser.parse())
    return true;
  if (faults == Faults::told)
    FUserMessage::tell(parser.message());
  return false;
}

void UTranslator::addPair(std::string_view language, std::string_view key,
                          std::string_view translation)
{
  if (!isSameLanguage(language, language_) || !takesSameArguments(key, translation))
    return;
  const std::string_view text = pool_.add(translation);
  const auto present = texts_.find(key);
  if (present != texts_.end())
    present->second = text;
  else
    texts_.emplace(pool_.add(key), text);
}

void UTranslator::addRunTimePair(std::string_view key, std::string_view translation)
{
  if (takesSameArguments(key, translation))
    runTimePairs_.push_back({pool_.add(key), pool_.add(translation)});
}

const char* UTranslator::translate(const char* key) const
{
  if (!key)
    return nullptr;
  const std::string_view text = key;
  const auto found = texts_.find(text);
  if (found != texts_.end() && !found->second.empty())
    return found->second.data();
  for (const RunTimePair& pair : runTimePairs_)
    if (pair.key == text)
      return pair.translation.data();
  return key;
}

// Languages

void UTranslator::setLanguage(std::string_view code)
{
  language_ = code.size() >= 2 ? code : english;
  texts_.clear();
  parse(builtInTranslations(), Faults::told);
}

void UTranslator::addLanguage(std::string_view code, std::string_view name)
{
  if (code.size() < 2 || !isLetter(code[0]) || !isLetter(code[1]))
    return; // can't be told from others
  for (ULanguage& language : languages_)
    if (isSameLanguage(language.code, code)) {
      language.name = name;
      return;
    }
  languages_.push_back({std::string(name), std::string(code)});
}

const ULanguage* UTranslator::findLanguage(std::string_view code) const
{
  for (const ULanguage& language : languages_)
    if (isSameLanguage(language.code, code))
      return &language;
  return nullptr;
}

bool UTranslator::isAsian() const
{
  return std::any_of(std::begin(asianLanguages), std::end(asianLanguages),
                     [this](std::string_view code) { return isSameLanguage(code, language_); });
}

// Menu

std::vector<std::string> UTranslator::menuNames() const
{
  std::vector<std::string> names;
  for (const ULanguage& language : languages_)
    names.emplace_back(language.name);
  if (names.empty())
    names.emplace_back(builtInLanguage);
  return names;
}

size_t UTranslator::currentMenuIndex() const
{
  const ULanguage* language = findLanguage(language_);
  if (!language) // texts are shown as they stand in the code
    language = findLanguage(english);
  return language ? static_cast<size_t>(language - languages_.data()) : 0;
}

bool UTranslator::choose(size_t menuIndex, ULanguageSetting& setting) const
{
  if (menuIndex >= menuNames().size())
    return false;
  setting.setLanguageCode(languages_.empty() ? english : languages_[menuIndex].code);
  FUserMessage::tell(globalTexts::restart.text());
  return true;
}

// Global texts

const char* UGlobalText::text()
{
  UTranslator* translator = UTranslator::instance();
  if (!translated_ && translator) {
    text_ = translator->translate(key_);
    translated_ = true;
    nextTranslated_ = translatedOnes_;
    translatedOnes_ = this;
  }
  return text_;
}

void UGlobalText::forgetTranslations()
{
  while (UGlobalText* one = translatedOnes_) {
    translatedOnes_ = one->nextTranslated_;
    one->text_ = one->key_;
    one->translated_ = false;
  }
}

} // namespace orbi
