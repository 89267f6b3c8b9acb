#include "orbitool/conversion.h"

#include "orbitool/file_kinds.h"
#include "orbitool/object_file.h"
#include "orbitool/tree_losses.h"
#include "persist/xml_object.h"

#include <algorithm>

namespace orbi {

namespace {

std::optional<Fault> faultOfXmlTarget(const ObjectFile&)
{
  return std::nullopt;
}

std::optional<Fault> faultOfBinaryTarget(const ObjectFile& file)
{
  for (uint32_t i = 0; i < file.byReference->count(); ++i) {
    const FStringIDAttribute& root = *file.byReference->at(i);
    auto* reference = castTo<FXmlReference>(root.asObject());
    if (!reference || reference->instance())
      return Fault{"the root " + inQuotes(root.key().view()) +
                   " is one by reference, which can't be read back from a binary file"};
  }
  return std::nullopt;
}

struct Form {
  const char* name;
  std::string_view extension;
  std::optional<ObjectFile> (*read)(std::string_view bytes, Fault& fault);
  bool (*write)(const ObjectFile& file, FStream& stream);
  std::optional<Fault> (*faultOfTarget)(const ObjectFile& file); ///< why it can't hold the file
};

constexpr Form forms[] = {
    {"XML", "xml", readXmlFile, writeXmlFile, faultOfXmlTarget},
    {"XML", "pxml", readXmlFile, writeXmlFile, faultOfXmlTarget},
    {"binary", "bin", readBinaryFile, writeBinaryFile, faultOfBinaryTarget},
};

const Form* formOf(const std::filesystem::path& path)
{
  const std::string extension = extensionOf(path);
  for (const Form& form : forms)
    if (form.extension == extension)
      return &form;
  return nullptr;
}

/// The start of a line of a text, from 1; empty for none.
std::string_view lineOf(std::string_view text, int64_t line)
{
  constexpr size_t longest = 60;
  for (; line > 1 && !text.empty(); --line)
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  text = text.substr(0, std::min(text.find_first_of("\r\n"), text.size()));
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  return text.substr(0, longest);
}

Fault faultOfReading(const Form& form, std::string_view written, const Fault& fault)
{
  std::string where = fault.line > 0 ? std::string(lineOf(written, fault.line)) : "";
  return {"can't be read back as " + std::string(form.name) +
          (where.empty() ? "" : ", a text being too long or out of place: " + where + "...") +
          " (" + fault.reason + ")"};
}

void compare(ObjectFile& before, ObjectFile& after, std::vector<std::string>& losses)
{
  auto add = [&](std::vector<std::string> more) {
    std::move(more.begin(), more.end(), std::back_inserter(losses));
  };
  if (before.rootTag != after.rootTag)
    losses.push_back("the root tag " + inQuotes(before.rootTag) + " comes back as " +
                     inQuotes(after.rootTag));
  if (before.isOneRoot != after.isOneRoot)
    losses.push_back("named roots come back as a file of one root, as their only one is called " +
                     inQuotes(before.inlineRoots->at(0)->key().view()));
  FAttributes* tree = before.oneRoot();
  FAttributes* other = after.oneRoot();
  if (tree && other)
    return add(lossesBetween(*tree, *other));
  add(lossesBetween(*before.byReference, *after.byReference));
  add(lossesBetween(*before.inlineRoots, *after.inlineRoots));
}

/// Far more than the other form of a file of any use needs.
int64_t mostBytesFor(size_t sourceBytes)
{
  constexpr int64_t anyway = 64 << 20;
  constexpr int64_t timesTheSource = 16;
  return anyway + timesTheSource * static_cast<int64_t>(sourceBytes);
}

Conversion refused(Fault fault)
{
  return {std::move(fault), false, {}};
}

} // namespace

bool isConversion(const std::filesystem::path& from, const std::filesystem::path& to)
{
  const Form* source = formOf(from);
  const Form* target = formOf(to);
  return source && target && source->read != target->read;
}

Conversion convertFile(const std::filesystem::path& from, const std::filesystem::path& to)
{
  Fault fault;
  const Form& source = *formOf(from);
  const Form& target = *formOf(to);
  const std::optional<SourceFile> bytes = openSource(from, fault);
  if (!bytes)
    return refused(fault);
  if (!bytes->isObjectFile())
    return refused({"is a " + std::string(bytes->kind->name) + " and no object file"});
  std::optional<ObjectFile> file = source.read(bytes->bytes, fault);
  if (!file)
    return refused(fault);
  if (std::optional<Fault> wrong = target.faultOfTarget(*file))
    return refused(*wrong);

  auto written = make<LimitedMemoryStream>(mostBytesFor(bytes->bytes.size()));
  if (!target.write(*file, *written))
    return refused({"becomes too large as " + std::string(target.name)});
  std::optional<ObjectFile> readBack = target.read(written->bytes(), fault);
  if (!readBack)
    return refused(faultOfReading(target, written->bytes(), fault));

  Conversion done;
  done.losses = std::move(file->leftOut);
  compare(*file, *readBack, done.losses);
  done.fault = replaceFile(to, written->bytes());
  done.isOfTarget = done.fault.has_value();
  return done;
}

} // namespace orbi
