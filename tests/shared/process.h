#pragma once

#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// A program beside the test, whose words go nowhere; 0 where it isn't installed.
inline pid_t startProcess(std::initializer_list<const char*> arguments)
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

inline void endProcess(pid_t& process, int signal)
{
  if (process <= 0)
    return;
  ::kill(process, signal);
  waitpid(process, nullptr, 0);
  process = 0;
}
