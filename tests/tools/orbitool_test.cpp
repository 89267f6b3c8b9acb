#include "orbitool/tool.h"

#include "platform/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

namespace orbi {

namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

/// The tool in a folder of its own. Paths among the arguments begin with "@".
class Orbitool : public testing::Test {
protected:
  int run(std::vector<std::string> arguments)
  {
    for (std::string& argument : arguments)
      if (argument.starts_with('@'))
        argument = (folder / argument.substr(1)).string();
    std::ostringstream out, err;
    const int status = runTool(arguments, out, err);
    printed = out.str();
    said = err.str();
    for (size_t at; (at = said.find(folder.path().string() + '/')) != said.npos;)
      said.erase(at, folder.path().string().size() + 1);
    return status;
  }

  /// Makes the file anew, as emptying one that is there costs far more.
  void write(const std::string& name, const std::string& bytes) const
  {
    fs::remove(folder / name);
    folder.write(name, bytes);
  }

  std::string contents(const std::string& name) const
  {
    std::ifstream file(folder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// XML to binary form and back.
  std::string roundTrip(const std::string& xml)
  {
    folder.write("in.xml", xml);
    EXPECT_EQ(run({"convert", "@in.xml", "@in.bin"}), 0) << said;
    const std::string losses = said;
    EXPECT_EQ(run({"convert", "@in.bin", "@back.xml"}), 0) << said;
    said = losses + said;
    return contents("back.xml");
  }

  TemporaryFolder folder;
  std::string printed;
  std::string said; ///< on standard error, names relative to the folder
};

template <class Number>
std::string bytesOf(Number number)
{
  return {reinterpret_cast<const char*>(&number), sizeof number};
}

std::string binaryText(const std::string& text)
{
  return bytesOf(static_cast<int32_t>(text.size() + 1)) + text + '\0';
}

/// A binary file with one inline root that holds one value under the key "k".
std::string binaryFile(const std::string& root, const std::string& kindAndValue)
{
  return bytesOf(0) + bytesOf(1) + binaryText(root) + bytesOf(1) + binaryText("k") + kindAndValue;
}

std::string textValue(const std::string& text)
{
  return bytesOf(int16_t(8)) + bytesOf(static_cast<int32_t>(text.size())) + text;
}

std::string lines(std::initializer_list<const char*> all, const char* end = "\r\n")
{
  std::string text;
  for (const char* line : all)
    text += std::string(line) + end;
  return text;
}

// Loading makes an FMemoryStream drop all of its attributes but "Data".
const std::string oneRootFile = lines({
    "<Root>",
    "   <int name=\"i\" value=\"-5\"/>",
    "   <float name=\"f\" value=\"0.1000000000000000055511151231257827021181583404541\"/>",
    "   <string name=\"s\" value=\"&lt;&dollar;&nl;&#xad;&eacute;\"/>",
    "   <member name=\"m\">",
    "      <list name=\"texts\" type=\"string\">",
    "         <item value=\"\"/>",
    "      </list>",
    "      <list name=\"members\" type=\"list\">",
    "         <item>",
    "            <obj class=\"FMemoryStream\" name=\"known\" ID=\"7\">",
    "               <int name=\"x\" value=\"1\"/>",
    "               <obj name=\"ring\" ID=\"7\"/>",
    "            </obj>",
    "         </item>",
    "      </list>",
    "   </member>",
    "   <obj name=\"again\" ID=\"7\"/>",
    "   <obj name=\"nowhere\" ID=\"99\"/>",
    "   <list name=\"objects\" type=\"obj\">",
    "      <obj class=\"Unknown\" ID=\"8\">",
    "         <bin name=\"b\">",
    "\t\t\t\t0102FF",
    "         </bin>",
    "      </obj>",
    "      <item value=\"7\"/>",
    "   </list>",
    "</Root>",
});

const std::string namedRootsFile = lines({
    "<Root>",
    "   <rootObjects>",
    "      <root name=\"a\">",
    "         <int name=\"i\" value=\"1\"/>",
    "      </root>",
    "   </rootObjects>",
    "</Root>",
});

const std::string translation =
    "<StringTable>\n<String Key=\"OK\">\n<Eng>Fine</Eng><Deu>Gut\x9B</Deu>\n"
    "</String>\n</StringTable>";

// Conversion

TEST_F(Orbitool, conversion_and_back_gives_the_same_file)
{
  for (const std::string& file : {oneRootFile, namedRootsFile, lines({"<Root>", "</Root>"})}) {
    EXPECT_EQ(roundTrip(file), file);
    EXPECT_EQ(said, "");
  }
  std::string open, close;
  for (int i = 1; i < 30; ++i) {
    open += "<obj class=\"C\" name=\"deep\" ID=\"" + std::to_string(i) + "\">";
    close += "</obj>";
  }
  const std::string once =
      roundTrip("<Root>" + open + "<obj name=\"up\" ID=\"3\"/>" + close + "</Root>");
  EXPECT_THAT(once, HasSubstr("ID=\"29\""));
  EXPECT_EQ(roundTrip(once), once);
}

TEST_F(Orbitool, what_the_other_form_does_not_keep_is_said_in_one_line_each)
{
  const struct {
    const char* from;
    std::string content;
    std::string losses;
  } cases[] = {
      {"a.xml", "<Root><member name=\"m\"><string name=\"t\" value=\"\"/></member></Root>",
       "a.xml: m/t: an empty text isn't kept in a binary file\n"},
      {"a.xml", "<R><!-- one --><obj class=\"C\" ID=\"4\"/></R>",
       "a.xml: 1 comment isn't kept\n"
       "a.xml: the object 4 of class \"C\" isn't kept: nothing refers to it\n"
       "a.xml: the root tag \"R\" comes back as \"Root\"\n"},
      {"a.xml",
       "<Root><int name=\"a\" value=\"1\"/>lost<member name=\"a\"/><bin name=\"b\">0a0 "
       "x</bin></Root>"
       "<int name=\"c\" value=\"2\"/>" +
           std::string(2, '\0'),
       "a.xml: 5 characters aren't kept: text stands where none belongs\n"
       "a.xml: 1 digit isn't kept: of a byte only the half is there\n"
       "a.xml: 1 element stands behind the end and may be taken for the root's\n"
       "a.xml: 1 value isn't kept: the same key comes again in its place\n"
       "a.xml: 2 bytes aren't read: the text ends at a NUL\n"},
      {"a.bin",
       bytesOf(0) + bytesOf(1) + binaryText("Root") + bytesOf(2) + binaryText("k") +
           textValue("x") + binaryText("k") + textValue("y"),
       "a.bin: 1 value isn't kept: the same key comes again in its place\n"},
      {"a.xml", "<R><rootObjects><root name=\"Root\"> </root></rootObjects></R>",
       "a.xml: the root tag \"R\" comes back as \"Root\"\n"
       "a.xml: named roots come back as a file of one root, as their only one is called "
       "\"Root\"\n"},
      {"a.bin", binaryFile("Root", textValue("\xC0") + "tail"),
       "a.bin: 4 bytes stand behind the last root and can't be read\n"
       "a.bin: k: \"À\" comes back as \"¿\"\n"},
      {"a.bin", binaryFile("named", bytesOf(int16_t(2)) + bytesOf(int16_t(3)) + bytesOf(0)),
       "a.bin: named/k: an empty list isn't kept in an XML file\n"},
      {"a.bin",
       bytesOf(0) + bytesOf(1) + binaryText("Root") + bytesOf(1) + binaryText("\xC0") +
           textValue("x"),
       "a.bin: À: isn't kept under this key\n"},
  };
  for (const auto& row : cases) {
    folder.write(row.from, row.content);
    const std::string target = row.from == std::string("a.xml") ? "@out.bin" : "@out.xml";
    EXPECT_EQ(run({"convert", std::string("@") + row.from, target}), 0);
    EXPECT_EQ(said, row.losses);
    EXPECT_EQ(run({"check", target}), 0) << said;
  }
}

TEST_F(Orbitool, a_refused_conversion_leaves_the_target_as_it_was)
{
  std::string nested = bytesOf(int64_t(1) << 32) + binaryText("Root");
  for (int i = 0; i < 60000; ++i)
    nested += bytesOf(1) + binaryText("k") + bytesOf(int16_t(2)) + bytesOf(int16_t(6));
  const struct {
    const char* from;
    std::string content;
    const char* reason;
  } cases[] = {
      {"a.bin", binaryFile("Root", textValue(std::string(2048, 'x'))), "<string name=\"k\""},
      {"a.bin", nested + bytesOf(0), "too large"},
      {"a.bin", oneRootFile, "byte 8"},
      {"a.xml",
       "<R><rootObjects><root name=\"r\" ID=\"4\"/></rootObjects><obj class=\"C\" ID=\"4\"/></R>",
       "the root \"r\" is one by reference"},
      {"a.xml", "<R>\n<int name=\"i\" value=\"1\"/>\n", "line 3: Unexpected end of file!"},
      {"a.xml", "<R>\n<int name=\"i\"/>\n<rootObjects/></R>", "line 2: Unexpected tag"},
      {"a.xml", translation, "no object file"},
  };
  for (const auto& row : cases) {
    const char* target = row.from == std::string("a.xml") ? "out.bin" : "out.xml";
    folder.write(row.from, row.content);
    folder.write(target, "former");
    EXPECT_EQ(run({"convert", std::string("@") + row.from, std::string("@") + target}), 1);
    EXPECT_THAT(said, HasSubstr(row.reason));
    EXPECT_EQ(contents(target), "former");
  }
  folder.write("a.xml", oneRootFile);
  fs::create_directory(folder / "is.bin");
  for (const char* target : {"@is.bin", "@none/x.bin"})
    EXPECT_EQ(run({"convert", "@a.xml", target}), 1) << target;
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 5)
      << "something is left over";
}

// Showing

TEST_F(Orbitool, a_tree_shows_kinds_keys_and_values)
{
  folder.write("a.xml", oneRootFile);
  ASSERT_EQ(run({"show", "@a.xml"}), 0);
  EXPECT_EQ(printed,
            lines({"XML object file, root tag Root", "  int i = -5", "  float f = 0.1",
                   "  text s = \"<$\\n\u00AD\u00E9\"", "  member m", "    text list texts, 1 item",
                   "      \"\"", "    member list members, 1 item", "      item",
                   "        object known, class FMemoryStream, ID 7", "          int x = 1",
                   "          reference ring, class FMemoryStream, ID 7",
                   "  reference again, class FMemoryStream, ID 7",
                   "  reference nowhere, ID 99, not in this file", "  object list objects, 2 items",
                   "    object, class Unknown, ID 8", "      binary b, 3 bytes: 01 02 FF",
                   "    reference, class FMemoryStream, ID 7"},
                  "\n"));
  const std::string tree = printed.substr(printed.find('\n'));
  ASSERT_EQ(run({"convert", "@a.xml", "@a.bin"}), 0);
  ASSERT_EQ(run({"show", "@a.bin"}), 0);
  EXPECT_EQ(printed, "binary object file, root tag Root" + tree);
}

TEST_F(Orbitool, translations_show_the_texts_of_each_language)
{
  folder.write("t.xml", "<LanguageTable><language key=\"de\">Deutsch</language></LanguageTable>" +
                            translation);
  ASSERT_EQ(run({"show", "@t.xml"}), 0);
  EXPECT_EQ(printed,
            lines({"translation file", "  languages", "    de = \"Deutsch\"", "  Eng, 1 text",
                   "    \"OK\" = \"Fine\"", "  Deu, 1 text", "    \"OK\" = \"Gut\u203A\""},
                  "\n"));
}

const std::string bankFile = "CcnK" +
                             std::string("\0\0\1\x0E"
                                         "FxBk\0\0\0\1TEST\0\0\0\7\0\0\0\2",
                                         24) +
                             std::string(128, '\0') +
                             std::string("CcnK\0\0\0\x34"
                                         "FxCk\0\0\0\1TEST\0\0\0\7\0\0\0\1Bright\x01",
                                         35) +
                             std::string(21, '\0') + std::string("\x3F\x80\0\0", 4) +
                             std::string("CcnK\0\0\0\x36"
                                         "FPCh\0\0\0\1TEST\0\0\0\7\0\0\0\1Soft",
                                         32) +
                             std::string(24, '\0') + std::string("\0\0\0\2\xAB\1", 6);

TEST_F(Orbitool, banks_show_whose_they_are_and_what_their_programs_hold)
{
  folder.write("b.fxb", bankFile);
  ASSERT_EQ(run({"show", "@b.fxb"}), 0) << said;
  const std::string whose = ", plug-in 0x54455354 \"TEST\", version 7\n";
  EXPECT_EQ(printed, "bank of 2 programs" + whose + "  program \"Bright\\x01\"" + whose +
                         "    parameter 0 = 1\n  program \"Soft\"" + whose +
                         "    data, 2 bytes: AB 01\n");
  folder.write("odd.fxp", bankFile.substr(156, 60) + "x");
  EXPECT_EQ(run({"show", "@odd.fxp"}), 0);
  EXPECT_EQ(run({"check", "@odd.fxp"}), 1);
  EXPECT_EQ(said, "odd.fxp: something stands behind its end (byte 60)\n");
}

// Archives

TEST_F(Orbitool, an_archive_gives_back_the_folder_that_it_was_made_of)
{
  folder.write("in/sub/a.txt", "abc");
  folder.write("in/b", "");
  fs::create_directory(folder / "in/empty");
  ASSERT_EQ(run({"archive", "create", "@x.qrf", "@in"}), 0) << said;
  ASSERT_EQ(run({"archive", "list", "@x.qrf"}), 0);
  EXPECT_EQ(printed, "           0  b\n           -  empty/\n           -  sub/\n"
                     "           3  sub/a.txt\n");
  ASSERT_EQ(run({"show", "@x.qrf"}), 0);
  EXPECT_THAT(printed, HasSubstr("  folder sub\n    file a.txt, 3 bytes\n"));
  ASSERT_EQ(run({"archive", "extract", "@x.qrf", "@out"}), 0) << said;
  EXPECT_EQ(contents("out/sub/a.txt"), "abc");
  EXPECT_TRUE(fs::is_directory(folder / "out/empty") && fs::is_regular_file(folder / "out/b"));

  fs::create_symlink("x.qrf", folder / "link.qrf");
  folder.write("x.qrf~", "somebody's own");
  const std::string archive = contents("x.qrf");
  folder.write("in/b", "more");
  ASSERT_EQ(run({"archive", "create", "@link.qrf", "@in"}), 0) << said;
  EXPECT_NE(contents("x.qrf"), archive);
  EXPECT_TRUE(fs::is_symlink(folder / "link.qrf"));
  EXPECT_EQ(contents("x.qrf~"), "somebody's own");
  fs::create_symlink("ring.qrf", folder / "ring.qrf");
  EXPECT_EQ(run({"archive", "create", "@ring.qrf", "@in"}), 1);
  EXPECT_TRUE(fs::is_symlink(folder / "ring.qrf"));
}

TEST_F(Orbitool, an_archive_that_lies_is_refused_before_anything_is_extracted)
{
  auto archive = [](const std::string& records, int32_t count, const std::string& data = "") {
    const auto bytes = static_cast<int32_t>(records.size());
    return "Quillmore Resource File\r\n" + data + records + bytesOf(bytes) + bytesOf(count) +
           bytesOf(16) + "QRFF";
  };
  auto record = [](int32_t flags, const std::string& name, int32_t size = 0, int32_t at = 25) {
    const std::string stored = flags & 4 ? bytesOf(size) : "";
    return bytesOf(flags) + bytesOf(at) + bytesOf(size) + stored + name + '\0';
  };
  std::string deep;
  for (int i = 0; i < 1001; ++i)
    deep += record(2, "d");
  const struct {
    std::string bytes;
    const char* reason;
  } cases[] = {
      {archive(record(1, "a") + record(1, "b"), 9), "tells of 9 records and holds 2"},
      {archive(record(1, "a") + record(1, "../b"), 2), "../b"},
      {archive(record(1, "a") + record(1, "a"), 2), "twice"},
      {archive(record(1, "a") + record(1, "b", 500), 2), "outside"},
      {archive(record(1, "a", 5, 25) + record(1, "b", 5, 29), 2, "0123456789"), "overlap"},
      {archive(record(1, "a", 5, 0), 1, "0123456789"), "overlap"},
      {archive(record(1, "a") + record(5, "b"), 2), "Compression not supported!"},
      {archive(deep, 1001), "deeper"},
  };
  for (const auto& row : cases) {
    folder.write("x.qrf", row.bytes);
    for (const std::vector<std::string>& call :
         {std::vector<std::string>{"check", "@x.qrf"}, {"archive", "extract", "@x.qrf", "@out"}}) {
      EXPECT_EQ(run(call), 1);
      EXPECT_THAT(said, HasSubstr(row.reason));
    }
    EXPECT_FALSE(fs::exists(folder / "out"));
  }
  EXPECT_EQ(run({"archive", "create", "@y.qrf", "@nothing"}), 1);
  EXPECT_FALSE(fs::exists(folder / "y.qrf"));
}

// Checking

TEST_F(Orbitool, files_cut_anywhere_are_refused_and_whole_ones_are_not)
{
  folder.write("in/a.txt", "abc");
  folder.write("a.xml", oneRootFile);
  ASSERT_EQ(run({"convert", "@a.xml", "@a.bin"}), 0);
  ASSERT_EQ(run({"archive", "create", "@a.qrf", "@in"}), 0);
  folder.write("t.xml", translation);
  folder.write("a.fxb", bankFile);
  for (const char* name : {"a.xml", "a.bin", "a.qrf", "t.xml", "a.fxb"}) {
    ASSERT_EQ(run({"check", std::string("@") + name}), 0) << said;
    EXPECT_EQ(printed + said, "");
    const std::string whole = contents(name);
    const std::string cut = std::string("cut") + name;
    const size_t end = whole.find_last_not_of("\r\n"); // a missing line end isn't missed
    const size_t step = whole.size() / 200 + 1;
    for (size_t length = 0; length < end; length += step) {
      write(cut, whole.substr(0, length));
      EXPECT_EQ(run({"check", '@' + cut}), 1) << name << " at " << length;
    }
    for (size_t i = 0; i < whole.size(); i += step) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(damaged[i] ^ 0x81);
      write(cut, damaged);
      const int status = run({"show", '@' + cut});
      EXPECT_EQ(status == 0, said.empty()) << name << " at " << i;
    }
  }
}

TEST_F(Orbitool, every_bad_file_gets_its_line_and_the_good_ones_none)
{
  folder.write("good.xml", oneRootFile);
  folder.write("bad.xml", "<R>\r\n   <list name=\"l\" type=\"int\">\r\n   <item>1</item>\r\n");
  folder.write("lang.xml", "<LanguageTable>\n<language>Deutsch</language>\n</LanguageTable>");
  folder.write("skin.xml", "<?xml version=\"1.0\"?><skin/>");
  folder.write("song.mid", "MThd");
  folder.write("other.txt", "");
  fs::create_directory(folder / "folder.xml");
  EXPECT_EQ(run({"check", "@bad.xml", "@good.xml", "@lang.xml", "@skin.xml", "@song.mid",
                 "@other.txt", "@folder.xml", "@none.xml"}),
            1);
  EXPECT_EQ(said,
            "bad.xml: line 3: Unexpected tag or invalid attributes!\n"
            "lang.xml: line 2: The language tag requires a single key/value pair!\n"
            "skin.xml: is a skin, which can't be checked yet\n"
            "song.mid: is cut off in its header\n"
            "other.txt: is of no known kind (known extensions: xml pxml bin qrf fxp fxb mid)\n"
            "folder.xml: is a folder\n"
            "none.xml: doesn't exist\n");
  EXPECT_EQ(printed, "");
}

// Usage

TEST_F(Orbitool, wrong_usage_ends_with_2_and_one_line_that_names_it)
{
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{}, "COMMAND"},
      {{"frob"}, "frob"},
      {{"show"}, "show FILE"},
      {{"show", "a", "b"}, "show FILE"},
      {{"--bogus", "x"}, "--bogus"},
      {{"check"}, "FILE..."},
      {{"convert", "a.xml"}, "IN OUT"},
      {{"convert", "a.xml", "b.xml"}, "b.xml"},
      {{"convert", "a.xml", "b\nc"}, "b\\nc"},
      {{"archive"}, "list"},
      {{"archive", "create", "a.qrf"}, "FOLDER"},
  };
  for (const auto& [arguments, word] : cases) {
    EXPECT_EQ(run(arguments), 2);
    EXPECT_THAT(said, HasSubstr(word));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
  }
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_THAT(printed, HasSubstr("archive extract QRF [FOLDER]"));
  EXPECT_EQ(run({"check", "--", "-a.xml"}), 1) << "what follows -- is a file";
}

} // namespace

} // namespace orbi
