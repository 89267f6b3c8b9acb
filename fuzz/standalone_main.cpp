// Runs a fuzz target without libFuzzer: over the files and folders named on the command line, then
// over mutations of them. The same arguments give the same inputs on every machine.
//
//   <target> [-runs=N] [-input=N] FILE_OR_FOLDER...
//
// -runs is the number of mutations, -input picks a single one. A failure prints the number before
// the report, and -input then repeats it.

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t defaultRuns = 20'000;
constexpr std::size_t maximumBytes = 64 * 1024;

/// Numbers as good as random, the same everywhere.
class Xorshift {
public:
  explicit Xorshift(std::uint64_t seed) : state_((seed + 1) * 0x9e3779b97f4a7c15u) {}
  std::uint64_t next()
  {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_ * 0x2545f4914f6cdd1du;
  }
  std::size_t below(std::size_t limit) { return limit == 0 ? 0 : (next() >> 11) % limit; }

private:
  std::uint64_t state_;
};

// Mutations. Each takes the input, the random numbers and the whole corpus.

using Corpus = std::vector<Bytes>;

void flipBit(Bytes& input, Xorshift& random, const Corpus&)
{
  if (!input.empty())
    input[random.below(input.size())] ^= static_cast<std::uint8_t>(1u << random.below(8));
}

void setByte(Bytes& input, Xorshift& random, const Corpus&)
{
  constexpr std::uint8_t telling[] = {0, 1, 0x7f, 0x80, 0xff, '\n', '<', '&', '"', '=', '#', '{'};
  if (!input.empty())
    input[random.below(input.size())] = telling[random.below(std::size(telling))];
}

/// Puts a number that is likely to be wrong where a size or an offset may stand.
void setNumber(Bytes& input, Xorshift& random, const Corpus&)
{
  constexpr std::uint32_t telling[] = {0,          1,          0x7fffffff, 0x80000000,
                                       0xffffffff, 0xfffffffe, 0x10000,    0xffff};
  std::uint32_t number = telling[random.below(std::size(telling))];
  if (input.size() < sizeof number)
    return;
  if (random.below(2) == 0)
    number = __builtin_bswap32(number);
  std::memcpy(&input[random.below(input.size() - sizeof number + 1)], &number, sizeof number);
}

void cut(Bytes& input, Xorshift& random, const Corpus&)
{
  input.resize(random.below(input.size() + 1));
}

void erasePiece(Bytes& input, Xorshift& random, const Corpus&)
{
  const std::size_t from = random.below(input.size());
  const std::size_t count = random.below(std::min<std::size_t>(input.size() - from, 64) + 1);
  const auto start = input.begin() + static_cast<std::ptrdiff_t>(from);
  input.erase(start, start + static_cast<std::ptrdiff_t>(count));
}

/// A piece of any file of the corpus, put in anywhere.
void splice(Bytes& input, Xorshift& random, const Corpus& corpus)
{
  const Bytes& donor = corpus[random.below(corpus.size())];
  const std::size_t from = random.below(donor.size());
  const std::size_t count = random.below(std::min<std::size_t>(donor.size() - from, 256) + 1);
  const auto start = donor.begin() + static_cast<std::ptrdiff_t>(from);
  input.insert(input.begin() + static_cast<std::ptrdiff_t>(random.below(input.size() + 1)), start,
               start + static_cast<std::ptrdiff_t>(count));
}

/// Many times the same piece, which is how deep nesting and long lists come about.
void repeatPiece(Bytes& input, Xorshift& random, const Corpus&)
{
  const std::size_t from = random.below(input.size());
  const std::size_t count = random.below(std::min<std::size_t>(input.size() - from, 32) + 1);
  const Bytes piece(input.begin() + static_cast<std::ptrdiff_t>(from),
                    input.begin() + static_cast<std::ptrdiff_t>(from + count));
  Bytes repeated;
  for (std::size_t times = random.below(40); times > 0; --times)
    repeated.insert(repeated.end(), piece.begin(), piece.end());
  input.insert(input.begin() + static_cast<std::ptrdiff_t>(from), repeated.begin(), repeated.end());
}

constexpr void (*mutations[])(Bytes&, Xorshift&, const Corpus&) = {
    flipBit, setByte, setNumber, cut, erasePiece, splice, repeatPiece,
};

Bytes mutated(const Corpus& corpus, std::uint64_t number)
{
  Xorshift random(number);
  Bytes input = corpus[random.below(corpus.size())];
  for (std::size_t times = 1 + random.below(6); times > 0; --times)
    mutations[random.below(std::size(mutations))](input, random, corpus);
  input.resize(std::min(input.size(), maximumBytes));
  return input;
}

// Input

Bytes readFile(const std::filesystem::path& path)
{
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

void collect(const std::filesystem::path& path, std::vector<std::filesystem::path>& files)
{
  if (!std::filesystem::is_directory(path)) {
    files.push_back(path);
    return;
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
    if (entry.is_regular_file())
      files.push_back(entry.path());
}

struct Options {
  std::uint64_t runs = defaultRuns;
  std::uint64_t first = 0;
  std::vector<std::filesystem::path> files;
};

bool readNumber(std::string_view argument, std::string_view name, std::uint64_t& number)
{
  if (!argument.starts_with(name))
    return false;
  argument.remove_prefix(name.size());
  std::from_chars(argument.data(), argument.data() + argument.size(), number);
  return true;
}

Options readOptions(int count, char** arguments)
{
  Options options;
  for (int i = 1; i < count; ++i) {
    if (readNumber(arguments[i], "-input=", options.first))
      options.runs = 1;
    else if (!readNumber(arguments[i], "-runs=", options.runs))
      collect(arguments[i], options.files);
  }
  std::sort(options.files.begin(), options.files.end()); // folders list in any order
  return options;
}

// What was running, for the report of a crash

std::string running;

void run(std::string name, const Bytes& input)
{
  running = std::move(name);
  // A copy of exactly this size, so that a step beyond the end shows.
  const Bytes exact(input);
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void report()
{
  constexpr char words[] = "\nfailed at: ";
  [[maybe_unused]] ssize_t written = write(STDERR_FILENO, words, sizeof words - 1);
  written = write(STDERR_FILENO, running.data(), running.size());
  written = write(STDERR_FILENO, "\n", 1);
}

void reportSignal(int number)
{
  report();
  signal(number, SIG_DFL);
  raise(number);
}

void reportFailures()
{
  if (__sanitizer_set_death_callback != nullptr)
    __sanitizer_set_death_callback(report);
  else
    signal(SIGSEGV, reportSignal);
  signal(SIGABRT, reportSignal);
}

} // namespace

int main(int argumentCount, char** arguments)
{
  const Options options = readOptions(argumentCount, arguments);
  reportFailures();
  Corpus corpus;
  for (const auto& file : options.files) {
    corpus.push_back(readFile(file));
    run(file.string(), corpus.back());
  }
  if (corpus.empty())
    corpus.push_back({});
  for (std::uint64_t i = 0; i < options.runs; ++i)
    run("-input=" + std::to_string(options.first + i), mutated(corpus, options.first + i));
  running.clear();
  std::printf("%zu files, %llu mutations\n", options.files.size(),
              static_cast<unsigned long long>(options.runs));
  return 0;
}
