// Runs commands at once on some of the processors and tells what they cost together. A small
// program, because the peak memory that the kernel tells of a command is at least that of what
// started it.
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

[[noreturn]] void fail(const char* text) {
  std::fprintf(stderr, "stopwatch: %s\n", text);
  std::exit(125);
}

void stayOn(const char* processors) {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (const char* at = processors; *at != '\0';) {
    char* end = nullptr;
    const unsigned long processor = std::strtoul(at, &end, 10);
    if (end == at || processor >= CPU_SETSIZE) fail("not a list of processors");
    CPU_SET(processor, &set);
    at = *end == ',' ? end + 1 : end;
  }
  if (sched_setaffinity(0, sizeof set, &set) != 0) fail("cannot use these processors");
}

pid_t start(char** command, const posix_spawn_file_actions_t& quiet) {
  pid_t child = 0;
  if (posix_spawnp(&child, command[0], &quiet, nullptr, command, environ) != 0) {
    fail("cannot start a command");
  }
  return child;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

// stopwatch 0,1 COMMAND... [++ COMMAND...]...
// prints: wall seconds, processor seconds, peak KiB of the largest process
int main(int argc, char** argv) {
  if (argc < 3) fail("usage: stopwatch PROCESSORS COMMAND... [++ COMMAND...]...");
  stayOn(argv[1]);
  std::vector<char**> commands = {argv + 2};
  for (int i = 3; i < argc; ++i) {
    if (std::string_view(argv[i]) != "++" || i + 1 == argc) continue;
    argv[i] = nullptr;
    commands.push_back(argv + i + 1);
  }
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);

  const auto begin = std::chrono::steady_clock::now();
  for (char** const command : commands) start(command, quiet);
  double processor = 0;
  long peak = 0;
  int worst = 0;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    int status = 0;
    rusage usage{};
    if (wait4(-1, &status, 0, &usage) < 0) fail("a command was lost");
    processor += seconds(usage.ru_utime) + seconds(usage.ru_stime);
    peak = std::max(peak, usage.ru_maxrss);
    if (status != 0) worst = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
  std::printf("%.6f %.6f %ld\n", wall.count(), processor, peak);
  return worst;
}
