#include "orbitool/translation_file.h"

#include "persist/translation_parser.h"

#include <algorithm>
#include <unordered_map>

namespace orbi {

namespace {

class Collector final : public TranslationTarget {
public:
  void addLanguage(std::string_view code, std::string_view name) override
  {
    file.languages.push_back({std::string(code), std::string(name)});
  }
  void addPair(std::string_view language, std::string_view key, std::string_view text) override
  {
    const auto [place, isNew] = tableOf_.try_emplace(std::string(language), file.tables.size());
    if (isNew)
      file.tables.push_back({std::string(language), {}});
    file.tables[place->second].texts.push_back({std::string(key), std::string(text)});
  }

  TranslationFile file;

private:
  std::unordered_map<std::string, size_t> tableOf_; ///< by language code
};

int64_t lineAt(std::string_view bytes, size_t position)
{
  const auto end = bytes.begin() + static_cast<ptrdiff_t>(std::min(position, bytes.size()));
  return std::count(bytes.begin(), end, '\n') + 1;
}

} // namespace

std::optional<TranslationFile> readTranslationFile(std::string_view bytes, Fault& fault)
{
  Collector collector;
  TranslationParser parser(collector, bytes);
  if (parser.parse() && !parser.isCut())
    return std::move(collector.file);
  fault = {parser.fault() ? parser.fault() : "ends with elements open",
           lineAt(bytes, parser.position())};
  return std::nullopt;
}

void printTranslations(std::ostream& out, const TranslationFile& file)
{
  if (!file.languages.empty())
    startLine(out, 1) << "languages\n";
  for (const TranslationFile::Language& language : file.languages)
    startLine(out, 2) << readable(language.code) << " = " << inQuotes(language.name) << '\n';
  for (const TranslationFile::Table& table : file.tables) {
    const auto count = static_cast<int64_t>(table.texts.size());
    startLine(out, 1) << readable(table.code) << ", " << counted(count, "text", "texts") << '\n';
    for (const TranslationFile::Text& text : table.texts)
      startLine(out, 2) << inQuotes(text.key) << " = " << inQuotes(text.translation) << '\n';
  }
}

} // namespace orbi
