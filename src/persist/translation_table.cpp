#include "persist/translation_parser.h"

namespace orbi {

namespace {

constexpr std::string_view table = R"(<?xml version="1.0" encoding="UTF-8"?>
<StringTable>
   <String Key="OK">
      <Eng>OK</Eng>
      <Deu>OK</Deu>
      <Fra>OK</Fra>
      <Jap>OK</Jap>
   </String>
   <String Key="Cancel">
      <Eng>Cancel</Eng>
      <Deu>Abbrechen</Deu>
      <Fra>Annuler</Fra>
      <Jap>キャンセル</Jap>
   </String>
   <String Key="Yes">
      <Eng>Yes</Eng>
      <Deu>Ja</Deu>
      <Fra>Oui</Fra>
      <Jap>はい</Jap>
   </String>
   <String Key="No">
      <Eng>No</Eng>
      <Deu>Nein</Deu>
      <Fra>Non</Fra>
      <Jap>いいえ</Jap>
   </String>
   <String Key="Sure you want to close?">
      <Eng>Sure you want to close?</Eng>
      <Deu>Wirklich schließen?</Deu>
      <Fra>Voulez-vous vraiment fermer ?</Fra>
      <Jap>本当に閉じますか？</Jap>
   </String>
</StringTable>
)";

} // namespace

std::string_view builtInTranslations()
{
  return table;
}

} // namespace orbi
