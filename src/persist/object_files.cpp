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
constexpr const char* oldBadSuffix = "_old_bad"; ///< likewise, where there is one already

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

/// Of the file itself or, with a suffix, of what a save makes beside it. A link leads to the file
/// that it stands for.
fs::path FObjectFiles::pathOf(const std::string& name, const char* suffix) const
{
  fs::path path = folders_.settings / (name + "." + xmlFileType().extension.text());
  path = files_.behindLinks(path).native();
  const fs::path extension = path.extension();
  return *suffix ? path.replace_extension() += suffix + extension.string() : path;
}

bool FObjectFiles::exists(const fs::path& path) const
{
  return files_.exists(path);
}

/// Of a save that was cut off; the next one clears them away.
bool FObjectFiles::hasLeftovers(const std::string& name) const
{
  return exists(pathOf(name, oldSuffix)) || exists(pathOf(name, newSuffix));
}

bool FObjectFiles::fail(const fs::path& path, const std::string& reason)
{
  error_ = path.string() + ": " + reason;
  return false;
}

// ---- loading ----

bool FObjectFiles::read(const fs::path& path, const char* rootTag, FAttributes& target)
{
  Ref<FStream> stream = files_.openStream(path, openRead);
  if (!stream)
    return fail(path, "can't be opened");
  FBlockStreamReader blocks(stream.get());
  ObjectFileReader reader(blocks);
  return reader.readRootAttributes(rootTag, target) ||
         fail(path, "line " + std::to_string(reader.line()) + ": " + reader.errorText());
}

/// The user's own file, or what a save that was cut off left of it.
FObjectFiles::Loaded FObjectFiles::loadOwn(const char* name, const char* rootTag,
                                           FAttributes& target)
{
  Unreadable unreadable;
  Loaded loaded = Loaded::absent;
  for (auto [suffix, isUnreadable] :
       {std::pair("", &unreadable.file), {oldSuffix, &unreadable.old}}) {
    const fs::path path = pathOf(name, suffix);
    if (!files_.mayExist(path))
      continue;
    if (read(path, rootTag, target)) {
      loaded = Loaded::yes;
      break;
    }
    *isUnreadable = true;
    loaded = Loaded::unreadable;
  }
  unreadable_.erase(name);
  if (unreadable.file || unreadable.old)
    unreadable_[name] = unreadable;
  return loaded;
}

FObjectFiles::Loaded FObjectFiles::loadAttributes(const char* name, const char* rootTag,
                                                  FAttributes& target)
{
  if (!folders_.settings.empty())
    if (const Loaded loaded = loadOwn(name, rootTag, target); loaded != Loaded::absent)
      return loaded;
  for (const fs::path& folder : folders_.delivered)
    if (fs::path path = folder / (std::string(name) + "." + xmlFileType().extension.text());
        exists(path))
      return read(path, rootTag, target) ? Loaded::yes : Loaded::unreadable;
  return Loaded::absent;
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
  return replace(name, rootTag, question,
                 [&](ObjectFileWriter& writer) { return writer.writeRootObject(rootTag, object); });
}

std::optional<fs::path> FObjectFiles::saveAttributes(const char* name, const char* rootTag,
                                                     FAttributes& attributes,
                                                     FReplaceQuestion* question)
{
  return replace(name, rootTag, question, [&](ObjectFileWriter& writer) {
    return writer.writeRootAttributes(rootTag, attributes);
  });
}

template <class Write>
std::optional<fs::path> FObjectFiles::replace(const char* name, const char* rootTag,
                                              FReplaceQuestion* question, Write write)
{
  error_.clear();
  if (folders_.settings.empty())
    return std::nullopt;
  const fs::path path = pathOf(name);
  if (question && exists(path) && !question->ask(name))
    return std::nullopt;
  FMemoryStream text;
  ObjectFileWriter writer(text, pool_, ObjectFileWriter::LongTexts::leftOut);
  if (!write(writer) || !readsBack(text, rootTag)) {
    fail(path, "not everything can be stored");
    return std::nullopt;
  }
  if (!writer.leftOut().empty())
    fail(path, "\"" + writer.leftOut() + "\" is too long and was left out");
  if (!unreadable_.contains(name) && !hasLeftovers(name) && holds(files_, path, text))
    return path; // nothing has changed
  const fs::path written = pathOf(name, newSuffix);
  if (!mayReplace(name) || !writeNew(written, text))
    return std::nullopt;
  if (!holds(files_, written, text)) { // another program took it for a leftover
    fail(written, "was taken away");
    return std::nullopt;
  }
  if (!putInPlace(name, written)) {
    files_.remove(written);
    return std::nullopt;
  }
  return path;
}

/// Makes the folder where it is missing.
bool FObjectFiles::mayReplace(const std::string& name)
{
  const fs::path path = pathOf(name);
  if (!files_.makeFolder(path.parent_path()))
    return fail(path.parent_path(), "the folder can't be made");
  // What may not be written may not be replaced either.
  if (!unreadable_.contains(name) && files_.mayExist(path) && !files_.openStream(path, openWrite))
    return fail(path, "can't be written");
  return true;
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
  const bool isWritten = stream->write(text.data(), text.size()) == text.size() && stream->flush();
  if (files_.closeStream(std::move(stream)) && isWritten)
    return true;
  files_.remove(path);
  return fail(path, "can't be written whole");
}

/// Under the file's own name stands the old one, nothing or the new one, but never a part.
bool FObjectFiles::putInPlace(const std::string& name, const fs::path& written)
{
  const auto found = unreadable_.find(name);
  const Unreadable unreadable = found == unreadable_.end() ? Unreadable() : found->second;
  const fs::path path = pathOf(name);
  const fs::path old = pathOf(name, oldSuffix);
  if (unreadable.old && !keepAs(old, pathOf(name, unreadable.file ? oldBadSuffix : badSuffix)))
    return false;
  const fs::path former = unreadable.file ? pathOf(name, badSuffix) : old;
  if (unreadable.file && !keepAs(path, former))
    return false;
  if (!unreadable.file && exists(path)) {
    files_.takePermissions(path, written);
    files_.remove(old);
    files_.rename(path, old); // where that can't be, the new one takes the place of the file itself
  }
  if (!files_.rename(written, path)) {
    if (!exists(path))
      files_.rename(former, path);
    return fail(path, "can't be replaced");
  }
  platform::flushFolder(path.parent_path());
  unreadable_.erase(name);
  if (exists(old))
    files_.remove(old);
  return true;
}

/// A file that can't be read; what was kept of an earlier one goes.
bool FObjectFiles::keepAs(const fs::path& path, const fs::path& kept)
{
  return !files_.mayExist(path) || files_.rename(path, kept) ||
         fail(path, "can't be read and can't be kept under another name");
}

} // namespace orbi
