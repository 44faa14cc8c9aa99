#include "QNUTestProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace qnu::testing {

namespace {

// Starts the program with the given descriptors as its standard streams.
pid_t spawn(const std::string& program, const std::vector<std::string>& arguments, int in, int out,
            int err) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in, 0);
  posix_spawn_file_actions_adddup2(&actions, out, 1);
  posix_spawn_file_actions_adddup2(&actions, err, 2);
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int failed = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("could not start " + program);
  return pid;
}

// An unnamed temporary file (standard input given in full, standard error collected whole).
int temporaryFile(const std::string& content = "") {
  FILE* file = std::tmpfile();
  if (!file) throw std::runtime_error("no temporary file");
  const int fd = dup(fileno(file));
  std::fclose(file);
  if (write(fd, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
    throw std::runtime_error("could not write a temporary file");
  }
  lseek(fd, 0, SEEK_SET);
  return fd;
}

std::string readAll(int fd) {
  std::string text;
  char buffer[65536];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<size_t>(n));
  return text;
}

}  // namespace

ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  const int in = temporaryFile(input), err = temporaryFile();
  const pid_t pid = spawn(program, arguments, in, ends[1], err);
  close(ends[1]);
  close(in);
  ProcessResult result;
  result.out = readAll(ends[0]);
  close(ends[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  lseek(err, 0, SEEK_SET);
  result.err = readAll(err);
  close(err);
  return result;
}

RunningProcess::RunningProcess(const std::string& program,
                               const std::vector<std::string>& arguments) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  _pid = spawn(program, arguments, null, ends[1], null);
  close(null);
  close(ends[1]);
  _out = ends[0];
}

RunningProcess::~RunningProcess() {
  close(_out);
  if (!_exited) {
    kill(_pid, SIGKILL);
    waitpid(_pid, nullptr, 0);
  }
}

std::string RunningProcess::readLine() {
  for (size_t end; (end = _buffered.find('\n')) == std::string::npos;) {
    char buffer[4096];
    const ssize_t n = read(_out, buffer, sizeof buffer);
    if (n <= 0) return std::exchange(_buffered, std::string());
    _buffered.append(buffer, static_cast<size_t>(n));
  }
  const size_t end = _buffered.find('\n') + 1;
  std::string line = _buffered.substr(0, end);
  _buffered.erase(0, end);
  return line;
}

bool RunningProcess::isRunning() {
  if (!_exited) _exited = waitpid(_pid, nullptr, WNOHANG) == _pid;
  return !_exited;
}

}  // namespace qnu::testing
