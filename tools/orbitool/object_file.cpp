#include "orbitool/object_file.h"

#include "persist/binary_object_reader.h"
#include "persist/binary_object_writer.h"
#include "foundation/number_text.h"
#include "persist/object_file_reader.h"
#include "persist/object_file_writer.h"

#include <unordered_set>

namespace orbi {

namespace {

Ref<FMemoryStream> streamOf(std::string_view bytes)
{
  return make<FMemoryStream>(const_cast<char*>(bytes.data()), static_cast<int64_t>(bytes.size()));
}

class FirstElement final : public XmlHandler {
public:
  bool startElement(const char* tag, const XmlAttributes&, bool, void*) override
  {
    name = tag;
    return false;
  }
  bool endElement(const char*, void*) override { return true; }
  void text(const char*, size_t, void*) override {}

  std::string name;
};

/// Goes through an XML object file for what its reader has to know before, and for what the reader
/// doesn't keep.
class Survey final : public XmlHandler {
public:
  bool startElement(const char* tag, const XmlAttributes& attributes, bool isEmpty, void*) override
  {
    const std::string_view name(tag);
    if (rootTag.empty())
      rootTag = name;
    else
      note(name, attributes, isEmpty);
    if (!isEmpty) {
      const char* type = name == "list" ? attributes.find("type") : nullptr;
      inObjectList_.push_back(type && std::string_view(type) == "obj");
    }
    return true;
  }
  bool endElement(const char*, void*) override
  {
    inObjectList_.pop_back();
    return true;
  }
  void text(const char*, size_t, void*) override {}
  void comment(const char*, size_t, void*) override { ++comments_; }

  void tell(std::vector<std::string>& leftOut) const
  {
    if (comments_ > 0)
      leftOut.push_back(counted(comments_, "comment isn't", "comments aren't") + " kept");
    for (const auto& [id, className] : nameless_)
      if (!referred_.contains(id))
        leftOut.push_back("the object " + std::to_string(id) + " of class " + inQuotes(className) +
                          " isn't kept: nothing refers to it");
  }

  std::string rootTag;
  bool hasNamedRoots = false;

private:
  void note(std::string_view tag, const XmlAttributes& attributes, bool isEmpty)
  {
    const bool inObjectList = !inObjectList_.empty() && inObjectList_.back();
    const bool isItem = tag == "item" && inObjectList;
    const char* id = attributes.find(isItem ? "value" : "ID");
    const char* className = attributes.find("class");
    if (tag == "root" || tag == "rootObjects")
      hasNamedRoots = true;
    if (!id)
      return;
    if (tag == "obj" && className) {
      if (!attributes.find("name") && !inObjectList)
        nameless_.emplace_back(readInt(id), className);
    } else if (isItem || tag == "obj" || (tag == "root" && isEmpty)) {
      referred_.insert(readInt(id));
    }
  }

  std::vector<bool> inObjectList_; ///< of each open element
  std::vector<std::pair<int64_t, std::string>> nameless_;
  std::unordered_set<int64_t> referred_;
  int64_t comments_ = 0;
};

} // namespace

FAttributes* ObjectFile::oneRoot() const
{
  return isOneRoot ? castTo<FAttributes>(inlineRoots->at(0)->asObject()) : nullptr;
}

std::string firstElementOf(std::string_view xml)
{
  FirstElement element;
  make<FXmlParser>(*streamOf(xml), &element)->parse();
  return element.name;
}

std::optional<ObjectFile> readXmlFile(std::string_view bytes, Fault& fault)
{
  Survey survey;
  make<FXmlParser>(*streamOf(bytes), &survey, xmlReportsComments)->parse();
  ObjectFile file;
  if (!survey.rootTag.empty())
    file.rootTag = survey.rootTag;
  file.isOneRoot = !survey.hasNamedRoots;
  survey.tell(file.leftOut);

  const char* tag = file.rootTag.c_str();
  auto tree = make<FAttributes>();
  auto reader = make<ObjectFileReader>(*streamOf(bytes));
  const bool complete =
      file.isOneRoot ? reader->readRootAttributes(tag, *tree)
                     : reader->readRoots(tag, file.byReference.get(), file.inlineRoots.get());
  if (!complete) {
    fault = {reader->errorText(), reader->line()};
    return std::nullopt;
  }
  if (file.isOneRoot)
    file.inlineRoots->setObject(ObjectFile::defaultTag, tree.get(), ObjectMode::shared);
  return file;
}

std::optional<ObjectFile> readBinaryFile(std::string_view bytes, Fault& fault)
{
  ObjectFile file;
  Ref<FMemoryStream> stream = streamOf(bytes);
  BinaryObjectReader reader(*stream);
  if (!reader.readRoots(file.byReference.get(), file.inlineRoots.get())) {
    fault = {"cut short, or no binary object file (byte " + std::to_string(reader.failedAt()) +
             ")"};
    return std::nullopt;
  }
  if (const int64_t rest = stream->size() - stream->tell(); rest > 0)
    file.leftOut.push_back(counted(rest, "byte stands", "bytes stand") +
                           " behind the last root and can't be read");
  file.isOneRoot = file.byReference->isEmpty() && file.inlineRoots->count() == 1 &&
                   file.inlineRoots->at(0)->key() == ObjectFile::defaultTag;
  return file;
}

bool writeXmlFile(const ObjectFile& file, FStream& stream)
{
  TextBufferPool pool;
  ObjectFileWriter writer(stream, pool);
  const char* tag = file.rootTag.c_str();
  if (FAttributes* tree = file.oneRoot())
    return writer.writeRootAttributes(tag, *tree);
  return writer.writeRoots(tag, file.byReference.get(), file.inlineRoots.get());
}

bool writeBinaryFile(const ObjectFile& file, FStream& stream)
{
  TextBufferPool pool;
  return BinaryObjectWriter(stream, pool)
      .writeRoots(file.byReference.get(), file.inlineRoots.get());
}

} // namespace orbi
