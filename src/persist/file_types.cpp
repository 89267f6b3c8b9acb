#include "persist/file_types.h"

namespace orbi {

FFileType xmlFileType()
{
  return {"Quillmore XML File", "TEXT", "xml"};
}

FFileType binaryFileType()
{
  return {"Quillmore BIN File", "DATA", "bin"};
}

FFileType presetFileType()
{
  return {"Quillmore Preset File", "TEXT", "pxml"};
}

FFileType resourceFileType()
{
  return {"Quillmore Resource File", "QRFF", "qrf"};
}

} // namespace orbi
