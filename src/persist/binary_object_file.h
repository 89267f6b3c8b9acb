#pragma once

#include <cstdint>

namespace orbi {

/// The sorts of object values in binary object files.
enum BinaryObjectTag : uint16_t {
  binaryTagObjects = 1, ///< through an object stream that no file of ours uses; refused
  binaryTagInts = 2,
  binaryTagFloats = 3,
  binaryTagStrings = 4,
  binaryTagSubList = 5,
  binaryTagAttributes = 6,
  binaryTagBytes = 7,
  binaryTagObject = 8, ///< like binaryTagObjects
  binaryTagInstance = 20,
  binaryTagReference = 21,
  binaryTagOldObjects = 101, ///< read only, as is the next
  binaryTagOldObject = 108,
  binaryTagObjectList = 201
};

} // namespace orbi
