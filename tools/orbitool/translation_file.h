#pragma once

#include "orbitool/readable.h"

#include <optional>
#include <vector>

namespace orbi {

/// All that a translation file holds, in the order of the file.
struct TranslationFile {
  struct Language {
    std::string code;
    std::string name;
  };
  struct Text {
    std::string key;
    std::string translation;
  };
  struct Table { ///< the texts of one language
    std::string code;
    std::vector<Text> texts;
  };

  std::vector<Language> languages;
  std::vector<Table> tables;
};

std::optional<TranslationFile> readTranslationFile(std::string_view bytes, Fault& fault);
void printTranslations(std::ostream& out, const TranslationFile& file);

} // namespace orbi
