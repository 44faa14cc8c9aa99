#include "QNUTestProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

extern char** environ;

namespace qnu::testing {

ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input, size_t lineLimit) {
  // Standard input and standard error are temporary files, so that neither can block the
  // program whatever its size; standard output is a pipe, read as it comes.
  FILE* in = std::tmpfile();
  FILE* err = std::tmpfile();
  int out[2];
  if (!in || !err || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("no temporary file");
  std::fwrite(input.data(), 1, input.size(), in);
  std::rewind(in);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(in), 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, fileno(err), 2);
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int failed = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  if (failed != 0) throw std::runtime_error("could not start " + program);

  ProcessResult result;
  char buffer[65536];
  for (ssize_t n; (lineLimit == 0 || size_t(std::ranges::count(result.out, '\n')) < lineLimit) &&
                  (n = read(out[0], buffer, sizeof buffer)) > 0;) {
    result.out.append(buffer, size_t(n));
  }
  close(out[0]);
  if (lineLimit != 0) kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::rewind(err);
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, err)) > 0;) result.err.append(buffer, n);
  std::fclose(in);
  std::fclose(err);
  return result;
}

}  // namespace qnu::testing
