// Object files of 20 MB: reading and writing in XML and binary form, and other parsers over the
// same bytes in the same run. Best of several rounds; memory is the growth of the process.
#include "foundation/memory_stream.h"
#include "persist/binary_object_reader.h"
#include "persist/binary_object_writer.h"
#include "persist/object_file_reader.h"
#include "persist/object_file_writer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <random>
#include <string>
#include <time.h>

#if ORBI_HAVE_LIBXML2
#include <libxml/parser.h>
#endif
#if ORBI_HAVE_EXPAT
#include <expat.h>
#endif
#if ORBI_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

using namespace orbi;

namespace {

constexpr double wantedBytes = 20e6;
constexpr int rounds = 7;

/// Settings as they might be: groups in groups, each with some numbers and texts.
Ref<FAttributes> makeTree(int groups)
{
  std::mt19937 random(1);
  auto tree = make<FAttributes>();
  for (int group = 0; group < groups; ++group) {
    auto outer = make<FAttributes>();
    for (int part = 0; part < 10; ++part) {
      auto inner = make<FAttributes>();
      for (int i = 0; i < 4; ++i) {
        const std::string number = std::to_string(i);
        inner->setInt(("channel" + number).c_str(), random() % 10000);
        inner->setDouble(("level" + number).c_str(), random() / 4294967296.0);
        inner->setString(("title" + number).c_str(),
                         ("Preset " + std::to_string(random() % 1000) + " & more").c_str());
      }
      outer->setObject(("part" + std::to_string(part)).c_str(), inner.get(), ObjectMode::shared);
    }
    tree->setObject(("group" + std::to_string(group)).c_str(), outer.get(), ObjectMode::shared);
  }
  return tree;
}

/// Processor time, which others on the machine disturb least.
double secondsNow()
{
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
double bestSeconds(Work work)
{
  double best = 1e9;
  for (int round = 0; round < rounds; ++round) {
    malloc_trim(0); // what the last round left is no business of this one
    const double start = secondsNow();
    [[maybe_unused]] auto kept = work(); // let go of outside the clock
    best = std::min(best, secondsNow() - start);
  }
  return best;
}

void print(const char* what, double bytes, double seconds)
{
  std::printf("%-34s %8.1f ms %8.1f MB/s\n", what, seconds * 1e3, bytes / seconds / 1e6);
}

void require(bool held)
{
  if (!held)
    std::abort();
}

TextBufferPool& pool()
{
  static TextBufferPool buffers;
  return buffers;
}

std::string writeXml(FAttributes& tree)
{
  FMemoryStream stream;
  require(ObjectFileWriter(stream, pool()).writeRootAttributes("Root", tree));
  return {reinterpret_cast<const char*>(stream.data()), static_cast<size_t>(stream.size())};
}

/// Takes everything and keeps nothing, so that the writer alone is measured.
class Sink final : public CmClass<Sink, FStream> {
public:
  static constexpr const char* className = "BenchSink";
  using FStream::read;
  using FStream::write;
  int64_t read(void*, int64_t) override { return 0; }
  int64_t write(const void*, int64_t count) override { return size += count, count; }
  int64_t seek(int64_t, SeekMode) override { return size; }
  int64_t tell() override { return size; }
  void rewind() override {}
  int64_t size = 0;
};

Ref<FAttributes> readXml(const std::string& file)
{
  FMemoryStream stream(const_cast<char*>(file.data()), static_cast<int64_t>(file.size()));
  auto tree = make<FAttributes>();
  require(make<ObjectFileReader>(stream)->readRootAttributes("Root", *tree));
  return tree;
}

Ref<FAttributes> readBinary(const std::string& file)
{
  FMemoryStream stream(const_cast<char*>(file.data()), static_cast<int64_t>(file.size()));
  auto roots = make<FAttributes>();
  require(BinaryObjectReader(stream).readRoots(nullptr, roots.get()));
  return roots;
}

double writeBinary(FAttributes& tree, FStream& stream)
{
  FAttributes roots;
  roots.setObject("Root", &tree, ObjectMode::borrowed);
  require(BinaryObjectWriter(stream, pool()).writeRoots(nullptr, &roots));
  return static_cast<double>(stream.tell());
}

void compareParsers(const std::string& file)
{
  const auto bytes = static_cast<double>(file.size());
#if ORBI_HAVE_LIBXML2
  print("libxml2, tree", bytes, bestSeconds([&] {
          xmlDocPtr document = xmlReadMemory(file.data(), static_cast<int>(file.size()), "",
                                             nullptr, XML_PARSE_HUGE);
          require(document);
          return std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)>(document, xmlFreeDoc);
        }));
#endif
#if ORBI_HAVE_EXPAT
  print("expat, attributes walked", bytes, bestSeconds([&] {
          size_t walked = 0;
          XML_Parser parser = XML_ParserCreate("ISO-8859-1");
          XML_SetUserData(parser, &walked);
          XML_SetElementHandler(
              parser,
              [](void* data, const XML_Char*, const XML_Char** attributes) {
                for (; *attributes; ++attributes)
                  *static_cast<size_t*>(data) += **attributes != 0;
              },
              [](void*, const XML_Char*) {});
          require(XML_Parse(parser, file.data(), static_cast<int>(file.size()), 1));
          XML_ParserFree(parser);
          return walked;
        }));
#endif
#if ORBI_HAVE_PUGIXML
  print("pugixml, tree", bytes, bestSeconds([&] {
          auto document = std::make_unique<pugi::xml_document>();
          require(document->load_buffer(file.data(), file.size()));
          return document;
        }));
#endif
}

const char* const filePath = "bench_object_files.xml";

/// Reads straight from the disk, as a host does.
class DiskStream final : public CmClass<DiskStream, FStream> {
public:
  static constexpr const char* className = "BenchDiskStream";
  using FStream::read;
  using FStream::write;
  DiskStream() : file_(std::fopen(filePath, "rb")) { require(file_); }
  ~DiskStream() override { std::fclose(file_); }
  int64_t read(void* buffer, int64_t count) override
  {
    return static_cast<int64_t>(std::fread(buffer, 1, static_cast<size_t>(count), file_));
  }
  int64_t write(const void*, int64_t) override { return 0; }
  int64_t seek(int64_t, SeekMode) override { return 0; }
  int64_t tell() override { return 0; }
  void rewind() override {}

private:
  std::FILE* file_;
};

/// The most memory that this process had, by its system; the only figure that a fork doesn't spoil.
double peakBytes()
{
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (double kilobytes = 0; word == "VmHWM:" && status >> kilobytes)
      return kilobytes * 1024;
  return 0;
}

/// In a process of its own, so that nothing but the tree counts.
int readAndHold()
{
  const double before = peakBytes();
  DiskStream stream;
  FAttributes tree;
  require(make<ObjectFileReader>(stream)->readRootAttributes("Root", tree));
  const double bytes = peakBytes() - before;
  std::printf("%-34s %8.1f MB %8.2f times the file\n", "peak memory of the tree", bytes / 1e6,
              bytes / static_cast<double>(std::filesystem::file_size(filePath)));
  return 0;
}

} // namespace

int main(int count, char** arguments)
{
  if (count > 1)
    return readAndHold();
  int groups = 100;
  groups = static_cast<int>(groups * wantedBytes /
                            static_cast<double>(writeXml(*makeTree(groups)).size()));
  Ref<FAttributes> tree = makeTree(groups);
  const std::string xml = writeXml(*tree);
  const auto bytes = static_cast<double>(xml.size());
  tree = readXml(xml); // as it comes from a file: keys are kept once
  require(writeXml(*tree) == xml);
  std::printf("%.1f MB of XML\n", bytes / 1e6);

  compareParsers(xml);
  const double xmlRead = bestSeconds([&] { return readXml(xml); });
  print("ours, tree", bytes, xmlRead);
  const double xmlWrite = bestSeconds([&] {
    Sink sink;
    return ObjectFileWriter(sink, pool()).writeRootAttributes("Root", *tree);
  });
  print("ours, written", bytes, xmlWrite);

  FMemoryStream stream;
  const double binaryBytes = writeBinary(*tree, stream);
  const std::string binary(reinterpret_cast<const char*>(stream.data()),
                           static_cast<size_t>(binaryBytes));
  const double binaryRead = bestSeconds([&] { return readBinary(binary); });
  const double binaryWrite = bestSeconds([&] {
    Sink sink;
    return writeBinary(*tree, sink);
  });
  print("binary, tree", binaryBytes, binaryRead);
  print("binary, written", binaryBytes, binaryWrite);
  std::printf("binary is %.1f times as fast to read and %.1f times as fast to write\n",
              xmlRead / binaryRead, xmlWrite / binaryWrite);

  std::FILE* file = std::fopen(filePath, "wb");
  require(file && std::fwrite(xml.data(), 1, xml.size(), file) == xml.size());
  std::fclose(file);
  std::fflush(stdout);
  require(std::system((std::string(arguments[0]) + " --read").c_str()) == 0);
  std::remove(filePath);
  return 0;
}
