#include "ui/views/basic/theme.h"

namespace orbi {

namespace {

UTheme theme;

} // namespace

UTheme& UTheme::instance()
{
  return theme;
}

} // namespace orbi
