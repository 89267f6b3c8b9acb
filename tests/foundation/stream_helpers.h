#pragma once

#include "foundation/memory_stream.h"
#include "foundation/ref.h"

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

/// A memory stream that holds the text and stands at its start.
inline orbi::Ref<orbi::FMemoryStream> memoryWith(std::string_view text)
{
  auto stream = orbi::make<orbi::FMemoryStream>();
  stream->write(text.data(), static_cast<int64_t>(text.size()));
  stream->rewind();
  return stream;
}

inline std::string textOf(const orbi::FMemoryStream& stream)
{
  return {reinterpret_cast<const char*>(stream.data()), static_cast<size_t>(stream.size())};
}

/// Up to count bytes from where the stream stands.
inline std::string take(orbi::FStream& stream, int64_t count)
{
  std::string text(static_cast<size_t>(count), '?');
  int64_t got = stream.read(text.data(), count);
  text.resize(static_cast<size_t>(got > 0 ? got : 0));
  return text;
}

inline int64_t put(orbi::FStream& stream, std::string_view text)
{
  return stream.write(text.data(), static_cast<int64_t>(text.size()));
}

/// Keeps account of what it is told; stops everything after a number of questions.
struct Monitor final : orbi::FProgressMonitor {
  bool isCancelled() override { return questionsLeft-- <= 0; }
  void advance(int64_t bytes) override { position += bytes; }
  void setPosition(int64_t bytes) override { position = bytes; }

  int questionsLeft = 1000;
  int64_t position = 0;
};

/// Reads, writes and moves at random through the stream, and compares with a text that is treated
/// likewise. Answers the first difference, empty for none.
inline std::string differenceFrom(orbi::FStream& stream, std::string& model, bool writes,
                                  unsigned seed)
{
  std::mt19937 random(seed);
  auto below = [&](size_t limit) { return static_cast<size_t>(random()) % limit; };
  size_t position = 0;
  stream.rewind();
  for (int step = 0; step < 2000; ++step) {
    const std::string where = "seed " + std::to_string(seed) + " step " + std::to_string(step);
    switch (below(writes ? 4 : 2)) {
    case 0: {
      const size_t count = below(50) + 1;
      const std::string expected =
          position < model.size() ? model.substr(position, count) : std::string();
      if (take(stream, static_cast<int64_t>(count)) != expected)
        return where + ": other bytes";
      position += expected.size();
      break;
    }
    case 1:
      position = below(model.size() + 1);
      stream.seek(static_cast<int64_t>(position) - (step % 2 ? stream.tell() : 0),
                  step % 2 ? orbi::SeekMode::current : orbi::SeekMode::start);
      break;
    case 2: {
      if (below(8) == 0) // leaves a gap
        stream.seek(static_cast<int64_t>(position = model.size() + below(40)),
                    orbi::SeekMode::start);
      const std::string bytes(below(50) + 1, static_cast<char>('a' + below(26)));
      model.resize(std::max(model.size(), position + bytes.size()));
      model.replace(position, bytes.size(), bytes);
      if (put(stream, bytes) != static_cast<int64_t>(bytes.size()))
        return where + ": short write";
      position += bytes.size();
      break;
    }
    default:
      if (!stream.flush())
        return where + ": flush failed";
    }
    if (stream.tell() != static_cast<int64_t>(position))
      return where + ": stands at " + std::to_string(stream.tell());
  }
  return {};
}
