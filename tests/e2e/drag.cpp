// Drags files onto a window and lets go: drag WINDOW X Y URI... Says who took them, as far as a
// program that drags hears of it: "taken", "not taken", or "refused" before they were let go.
#include "shared/x_drag.h"

#include <cstdio>

int main(int count, char** words)
{
  if (count < 5)
    return 2;
  std::string uris;
  for (int i = 4; i < count; ++i)
    uris += std::string(words[i]) + "\r\n";
  XDrag drag(uris);
  drag.over(static_cast<xcb_window_t>(std::strtoul(words[1], nullptr, 0)), std::atoi(words[2]),
            std::atoi(words[3]));
  if (!drag.await(drag.accepts)) {
    std::puts("refused");
    return 0;
  }
  drag.drop();
  std::puts(drag.await(drag.taken) ? "taken" : "not taken");
}
