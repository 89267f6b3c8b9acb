#include "orbitool/tool.h"

#include "orbitool/archive_file.h"
#include "orbitool/conversion.h"
#include "orbitool/file_kinds.h"

#include <cstdint>

namespace orbi {

namespace {

constexpr int statusDone = 0;
constexpr int statusFailed = 1;
constexpr int statusWrong = 2;

using Arguments = std::vector<std::string>;

struct Output {
  std::ostream& out;
  std::ostream& err;
};

struct Command {
  std::string_view name;
  const char* takes; ///< its arguments, for the user
  size_t fewest;
  size_t most;
  int (*run)(const Arguments& arguments, Output& output);
  const char* does;
};

int wrongUsage(Output& output, const std::string& reason)
{
  printFault(output.err, "orbitool", {reason});
  return statusWrong;
}

int report(Output& output, const std::string& file, const std::optional<Fault>& fault)
{
  if (fault)
    printFault(output.err, file, *fault);
  return fault ? statusFailed : statusDone;
}

// Files

int show(const Arguments& arguments, Output& output)
{
  return report(output, arguments[0], showFile(arguments[0], output.out));
}

int check(const Arguments& arguments, Output& output)
{
  int status = statusDone;
  for (const std::string& file : arguments)
    if (report(output, file, checkFile(file)) != statusDone)
      status = statusFailed;
  return status;
}

int convert(const Arguments& arguments, Output& output)
{
  constexpr size_t mostLosses = 50; // lines that somebody reads
  const std::string& from = arguments[0];
  const std::string& to = arguments[1];
  if (!isConversion(from, to))
    return wrongUsage(output, "convert goes from .xml to .bin or back, not from " + inQuotes(from) +
                                  " to " + inQuotes(to));
  const Conversion done = convertFile(from, to);
  if (done.fault)
    return report(output, done.isOfTarget ? to : from, done.fault);
  for (size_t i = 0; i < std::min(done.losses.size(), mostLosses); ++i)
    printFault(output.err, from, {done.losses[i]});
  if (done.losses.size() > mostLosses)
    printFault(output.err, from,
               {"and " + std::to_string(done.losses.size() - mostLosses) + " more of these"});
  return statusDone;
}

// Archives

int listEntries(const Arguments& arguments, Output& output)
{
  Fault fault;
  Ref<FResourceArchive> archive = openArchive(arguments[0], fault);
  if (!archive)
    return report(output, arguments[0], fault);
  listArchive(output.out, *archive);
  return statusDone;
}

int extract(const Arguments& arguments, Output& output)
{
  return report(output, arguments[0],
                extractTo(arguments[0], arguments.size() > 1 ? arguments[1] : "."));
}

int create(const Arguments& arguments, Output& output)
{
  return report(output, arguments[0], createFrom(arguments[0], arguments[1]));
}

constexpr Command archiveCommands[] = {
    {"list", "QRF", 1, 1, listEntries, "sizes and paths of what an archive holds"},
    {"extract", "QRF [FOLDER]", 1, 2, extract, "writes the files into FOLDER, else here"},
    {"create", "QRF FOLDER", 2, 2, create, "makes an archive of what FOLDER holds"},
};

// Choosing

template <size_t count>
int runCommand(const Command (&commands)[count], const std::string& called,
               const Arguments& arguments, Output& output)
{
  std::string known;
  for (const Command& command : commands) {
    known += (known.empty() ? "" : ", ") + std::string(command.name);
    if (arguments.empty() || arguments[0] != command.name)
      continue;
    const Arguments own(arguments.begin() + 1, arguments.end());
    if (own.size() >= command.fewest && own.size() <= command.most)
      return command.run(own, output);
    return wrongUsage(output,
                      "usage: " + called + ' ' + std::string(command.name) + ' ' + command.takes);
  }
  return wrongUsage(output, arguments.empty() ? "usage: " + called + " COMMAND, one of " + known
                                              : "unknown command: " + arguments[0] +
                                                    " (there are: " + known + ")");
}

int runArchiveCommand(const Arguments& arguments, Output& output)
{
  return runCommand(archiveCommands, "orbitool archive", arguments, output);
}

constexpr Command commands[] = {
    {"show", "FILE", 1, 1, show, "prints a file as an indented tree"},
    {"convert", "IN OUT", 2, 2, convert, "object file from .xml to .bin or back"},
    {"archive", "list|extract|create QRF [FOLDER]", 0, SIZE_MAX, runArchiveCommand, ""},
    {"check", "FILE...", 1, SIZE_MAX, check, "says what is wrong with files; status 1 when it is"},
};

template <size_t count>
void printUsage(const Command (&of)[count], const std::string& called, std::ostream& out)
{
  constexpr size_t column = 42;
  for (const Command& command : of) {
    if (command.run == runArchiveCommand) {
      printUsage(archiveCommands, called + " archive", out);
      continue;
    }
    std::string line = "  " + called + ' ' + std::string(command.name) + ' ' + command.takes;
    line.resize(std::max(column, line.size() + 1), ' ');
    out << line << command.does << '\n';
  }
}

} // namespace

int runTool(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
  Output output{out, err};
  Arguments plain;
  bool optionsEnded = false;
  for (const std::string& argument : arguments) {
    if (!optionsEnded && argument == "--help") {
      out << "Reads, checks and converts the system's files.\n\n";
      printUsage(commands, "orbitool", out);
      return statusDone;
    }
    if (!optionsEnded && argument.size() > 1 && argument[0] == '-' && argument != "--")
      return wrongUsage(output, "unknown option: " + argument);
    if (optionsEnded || argument != "--")
      plain.push_back(argument);
    optionsEnded = optionsEnded || argument == "--";
  }
  const auto files = make<FNFileSystem>();
  return runCommand(commands, "orbitool", plain, output);
}

} // namespace orbi
