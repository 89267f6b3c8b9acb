#include "persist/object_files.h"

#include "foundation/block_stream_reader.h"
#include "foundation/memory_stream.h"
#include "persist/file_system.h"
#include "persist/file_types.h"
#include "persist/object_file_reader.h"
#include "persist/object_file_writer.h"
#include "persist/translator.h"

#include <chrono>
#include <thread>

namespace orbi {

namespace fs = std::filesystem;

namespace {

constexpr const char* oldSuffix = "_old"; ///< the former file while the new one takes its place
constexpr const char* newSuffix = "_new"; ///< the new one until it is complete
constexpr const char* badSuffix = "_bad"; ///< what couldn't be read

bool holds(FFileSystem& files, const fs::path& path, const FMemoryStream& text)
{
  Ref<FStream> stream =
      files.size(path) == text.size() ? files.openStream(path, openRead) : nullptr;
  std::string there(static_cast<size_t>(text.size()), 0);
  return stream && stream->read(there.data(), text.size()) == text.size() &&
         std::memcmp(there.data(), text.data(), there.size()) == 0;
}

/// A text that is too long for the format can be written and not be read.
bool readsBack(FMemoryStream& text, const char* rootTag)
{
  FAttributes tree;
  text.rewind();
  return ObjectFileReader(text).readRootAttributes(rootTag, tree);
}

} // namespace

bool FReplaceQuestion::ask(const std::string& name)
{
  return mayReplace(UTranslator::text("Do you want to replace ") + name + "?");
}

fs::path FObjectFiles::pathOf(const std::string& name) const
{
  return folders_.settings / (name + "." + xmlFileType().extension.text());
}

bool FObjectFiles::exists(const fs::path& path) const
{
  return files_.exists(path);
}

/// Of a save that was cut off; the next one clears them away.
bool FObjectFiles::hasLeftovers(const std::string& name) const
{
  return exists(pathOf(name + oldSuffix)) || exists(pathOf(name + newSuffix));
}

bool FObjectFiles::fail(const fs::path& path, const std::string& reason)
{
  error_ = path.string() + ": " + reason;
  return false;
}

// ---- loading ----

/// The user's own file, what a save that was cut off left of it, or the delivered one.
std::optional<fs::path> FObjectFiles::find(const std::string& name) const
{
  if (!folders_.settings.empty())
    for (const fs::path& path : {pathOf(name), pathOf(name + oldSuffix)})
      if (exists(path))
        return path;
  for (const fs::path& folder : folders_.delivered)
    if (fs::path path = folder / pathOf(name).filename(); exists(path))
      return path;
  return std::nullopt;
}

FObjectFiles::Loaded FObjectFiles::loadAttributes(const char* name, const char* rootTag,
                                                  FAttributes& target)
{
  std::optional<fs::path> path = find(name);
  if (!path)
    return Loaded::absent;
  Ref<FStream> stream = files_.openStream(*path, openRead);
  if (stream) {
    FBlockStreamReader blocks(stream.get());
    ObjectFileReader reader(blocks);
    if (reader.readRootAttributes(rootTag, target))
      return Loaded::yes;
    fail(*path, "line " + std::to_string(reader.line()) + ": " + reader.errorText());
  } else {
    fail(*path, "can't be opened");
  }
  if (*path == pathOf(name) || *path == pathOf(name + std::string(oldSuffix)))
    unreadable_[name] = *path;
  return Loaded::unreadable;
}

FObjectFiles::Loaded FObjectFiles::load(const char* name, const char* rootTag, CmObject& object)
{
  FAttributes tree;
  Loaded loaded = loadAttributes(name, rootTag, tree);
  if (loaded == Loaded::yes)
    object.loadAttributes(tree);
  return loaded;
}

// ---- saving ----

std::optional<fs::path> FObjectFiles::save(const char* name, const char* rootTag,
                                           const CmObject& object, FReplaceQuestion* question)
{
  return replace(name, rootTag, question, [&](FStream& stream) {
    return ObjectFileWriter(stream, pool_).writeRootObject(rootTag, object);
  });
}

std::optional<fs::path> FObjectFiles::saveAttributes(const char* name, const char* rootTag,
                                                     FAttributes& attributes,
                                                     FReplaceQuestion* question)
{
  return replace(name, rootTag, question, [&](FStream& stream) {
    return ObjectFileWriter(stream, pool_).writeRootAttributes(rootTag, attributes);
  });
}

template <class Write>
std::optional<fs::path> FObjectFiles::replace(const char* name, const char* rootTag,
                                              FReplaceQuestion* question, Write write)
{
  if (folders_.settings.empty())
    return std::nullopt;
  fs::path path = pathOf(name);
  if (question && exists(path) && !question->ask(name))
    return std::nullopt;
  FMemoryStream text;
  if (!write(text) || !readsBack(text, rootTag)) {
    fail(path, "not everything can be stored");
    return std::nullopt;
  }
  if (!unreadable_.contains(name) && !hasLeftovers(name) && holds(files_, path, text))
    return path; // nothing has changed
  if (!files_.makeFolder(folders_.settings)) {
    fail(folders_.settings, "the folder can't be made");
    return std::nullopt;
  }
  fs::path written = pathOf(std::string(name) + newSuffix);
  bool isWhole = writeNew(written, text);
  if (isWhole && !holds(files_, written, text)) { // another program took it for a leftover
    fail(written, "was taken away");
    return std::nullopt;
  }
  if (!isWhole || !putInPlace(name, written)) {
    files_.remove(written);
    return std::nullopt;
  }
  return path;
}

/// Another program of the same name may be writing its own just now; one that was killed at it
/// left its file behind.
bool FObjectFiles::writeNew(const fs::path& path, const FMemoryStream& text)
{
  constexpr int tries = 50;
  constexpr auto pause = std::chrono::milliseconds(10);
  constexpr uint32_t mode = openWrite | openNew;
  Ref<FStream> stream = files_.openStream(path, mode);
  for (int i = 0; !stream && i < tries && exists(path); ++i) {
    std::this_thread::sleep_for(pause);
    stream = files_.openStream(path, mode);
  }
  if (!stream && files_.remove(path))
    stream = files_.openStream(path, mode);
  if (!stream)
    return fail(path, "can't be written");
  bool complete = stream->write(text.data(), text.size()) == text.size() && stream->flush();
  return files_.closeStream(std::move(stream)) && complete ? true
                                                           : fail(path, "can't be written whole");
}

/// Under the file's own name stands the old one, nothing or the new one, but never a part.
bool FObjectFiles::putInPlace(const std::string& name, const fs::path& written)
{
  fs::path path = pathOf(name);
  const auto bad = unreadable_.find(name);
  bool isBad = bad != unreadable_.end();
  fs::path there = isBad ? bad->second : path;
  fs::path former = pathOf(name + (isBad ? badSuffix : oldSuffix));
  bool isKept = false;
  if (exists(there)) {
    files_.remove(former);
    isKept = files_.rename(there, former);
    if (!isKept && isBad)
      return fail(there, "can't be read and can't be kept under another name");
  }
  if (!files_.rename(written, path)) {
    if (isKept)
      files_.rename(former, there);
    return fail(path, "can't be replaced");
  }
  platform::flushFolder(folders_.settings);
  unreadable_.erase(name);
  fs::path old = pathOf(name + oldSuffix);
  if (isBad && !isKept && exists(old)) { // it was the old one that couldn't be read
    files_.remove(former);
    files_.rename(old, former);
  } else if (!isBad || exists(old)) {
    files_.remove(old);
  }
  return true;
}

} // namespace orbi
