#pragma once

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// A program beside the test, whose words go nowhere; 0 where it isn't installed.
inline pid_t startProcess(const std::vector<const char*>& arguments)
{
  std::vector<char*> list;
  for (const char* each : arguments)
    list.push_back(const_cast<char*>(each));
  list.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  for (const int output : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&files, output, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  if (posix_spawnp(&process, list[0], &files, nullptr, list.data(), environ) != 0)
    process = 0;
  posix_spawn_file_actions_destroy(&files);
  return process;
}

/// The line by which a program tells where it is, on the descriptor whose number it is started
/// with.
template <class Start>
std::string lineFrom(const Start& start)
{
  std::string line;
  int ends[2];
  if (pipe(ends) != 0)
    return line;
  const bool runs = start(std::to_string(ends[1])) > 0;
  close(ends[1]);
  for (char c; runs && read(ends[0], &c, 1) == 1 && c != '\n';)
    line += c;
  close(ends[0]);
  return line;
}

inline void endProcess(pid_t& process, int signal)
{
  if (process <= 0)
    return;
  ::kill(process, signal);
  waitpid(process, nullptr, 0);
  process = 0;
}
