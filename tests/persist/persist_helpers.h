#pragma once

#include "persist/file_system.h"
#include "persist/user_message.h"

#include "foundation/memory_stream.h"

#include <map>
#include <string>
#include <vector>

/// Keeps what the user would have been told.
struct ToldMessages final : orbi::FUserMessage {
  void show(std::string_view text) override { texts.emplace_back(text); }
  std::vector<std::string> texts;
};

inline std::string contentsOf(orbi::FStream* stream)
{
  std::string text;
  char bytes[64];
  for (int64_t got; stream && (got = stream->read(bytes, sizeof bytes)) > 0;)
    text.append(bytes, static_cast<size_t>(got));
  return stream ? text : "(null)";
}

inline std::string contentsOf(orbi::FFileSystem& files, const orbi::FNPath& path)
{
  return contentsOf(files.openStream(path, orbi::openRead).get());
}

/// The names in a folder, in the order of the listing; those of folders with a "/" behind.
inline std::vector<std::string> namesIn(orbi::FFileSystem& files, const orbi::FNPath& folder)
{
  std::vector<std::string> names;
  auto items = files.newIterator(folder);
  for (orbi::FFileItem item; items && items->next(item);)
    names.push_back(item.name.text() +
                    std::string(item.kind == orbi::FFileKind::folder ? "/" : ""));
  return names;
}
