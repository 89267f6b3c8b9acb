#include "orbitool/object_file.h"

#include "foundation/number_text.h"
#include "persist/binary_object_reader.h"
#include "persist/binary_object_writer.h"
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
    if (rootTag.empty()) {
      rootTag = name;
    } else {
      elementsBehind_ += open_.empty();
      note(name, attributes, isEmpty);
    }
    if (!isEmpty) {
      const char* type = name == "list" ? attributes.find("type") : nullptr;
      open_.push_back({type && std::string_view(type) == "obj", name == "bin"});
    }
    return true;
  }
  bool endElement(const char*, void*) override
  {
    halfBytes_ += open_.back().digits % 2;
    open_.pop_back();
    return true;
  }
  void text(const char* bytes, size_t length, void*) override
  {
    const std::string_view text(bytes, length);
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    constexpr std::string_view blanks = " \t\r\n";
    const bool isBinary = !open_.empty() && open_.back().isBinary;
    int64_t others = 0;
    for (char c : text)
      if (isBinary && digits.find(c) != digits.npos)
        ++open_.back().digits;
      else
        others += blanks.find(c) == blanks.npos;
    characters_ += others;
  }
  void comment(const char*, size_t, void*) override { ++comments_; }

  void tell(std::vector<std::string>& leftOut) const
  {
    if (comments_ > 0)
      leftOut.push_back(counted(comments_, "comment isn't", "comments aren't") + " kept");
    if (characters_ > 0)
      leftOut.push_back(counted(characters_, "character isn't", "characters aren't") +
                        " kept: text stands where none belongs");
    if (halfBytes_ > 0)
      leftOut.push_back(counted(halfBytes_, "digit isn't", "digits aren't") +
                        " kept: of a byte only the half is there");
    if (elementsBehind_ > 0)
      leftOut.push_back(counted(elementsBehind_, "element stands", "elements stand") +
                        " behind the end and may be taken for the root's");
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
    const bool inObjectList = !open_.empty() && open_.back().isObjectList;
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

  struct Open {
    bool isObjectList;
    bool isBinary;
    int64_t digits = 0; ///< of binary content
  };

  std::vector<Open> open_; ///< elements
  std::vector<std::pair<int64_t, std::string>> nameless_;
  std::unordered_set<int64_t> referred_;
  int64_t comments_ = 0;
  int64_t characters_ = 0; ///< that stand where only elements do
  int64_t halfBytes_ = 0;
  int64_t elementsBehind_ = 0; ///< the root's end
};

void tellOverwritten(int64_t count, std::vector<std::string>& leftOut)
{
  if (count > 0)
    leftOut.push_back(counted(count, "value isn't", "values aren't") +
                      " kept: the same key comes again in its place");
}

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
  tellOverwritten(reader->overwritten(), file.leftOut);
  if (const size_t nul = bytes.find('\0'); nul != bytes.npos)
    file.leftOut.push_back(
        counted(static_cast<int64_t>(bytes.size() - nul), "byte isn't", "bytes aren't") +
        " read: the text ends at a NUL");
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
  tellOverwritten(reader.overwritten(), file.leftOut);
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
