#pragma once

#include "foundation/attributes.h"

namespace orbi {

/// Exchange between values under four-character integer keys and the text-keyed world: a
/// sub-container whose keys are the integer's four bytes, lowest first.
inline constexpr const char* additionalAttributesKey = "Additional Attributes";

/// Copies the values (FIntIDAttribute) that may be exported into a container under the key, which
/// is made only when there is something to put in it.
void exportAttributes(const CmArray& values, FAttributes& target,
                      const char* key = additionalAttributesKey);

enum class ImportMode { overwrite, keepPresent };

/// Takes integer, double, text and object values back in; other kinds are passed over. False when
/// there is no container under the key.
bool importAttributes(CmArray& values, const FAttributes& source,
                      ImportMode mode = ImportMode::overwrite,
                      const char* key = additionalAttributesKey);

} // namespace orbi
