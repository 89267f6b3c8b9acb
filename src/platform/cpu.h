#pragma once

namespace orbi::platform {

// What the processor can do and the system lets programs use; for choosing a kernel once.
bool hasAvx2();
bool hasFma();
bool hasAvx512(); ///< the foundation and the byte and word instructions

} // namespace orbi::platform
