#include "orbitool/tool.h"

#include "foundation/class_registry.h"
#include "platform/file.h"

#include <iostream>
#include <new>

int main(int count, char** values)
{
  orbi::platform::letWritesFail(orbi::platform::ClosedPipe::endsProgram); // as "| head" does
  std::ios::sync_with_stdio(false);
  int status = 1;
  try {
    status = orbi::runTool({values + (count > 0 ? 1 : 0), values + count}, std::cout, std::cerr);
  } catch (const std::bad_alloc&) {
    std::cerr << "orbitool: there isn't enough memory\n";
  }
  orbi::CmClassRegistry::destroyInstance();
  if (!std::cout.flush()) {
    std::cerr << "orbitool: standard output can't be written\n";
    return 1;
  }
  return status;
}
