#include "QNUTestProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace qnu::testing {

namespace {

struct Pipe {
  int read = -1;
  int write = -1;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    read = ends[0];
    write = ends[1];
  }
};

void closeEnd(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

// Starts the program with the given ends as its standard streams (-1: inherit).
pid_t spawn(const std::string& program, const std::vector<std::string>& arguments, int in, int out,
            int err) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (in >= 0) posix_spawn_file_actions_adddup2(&actions, in, 0);
  if (out >= 0) posix_spawn_file_actions_adddup2(&actions, out, 1);
  if (err >= 0) posix_spawn_file_actions_adddup2(&actions, err, 2);
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int failed = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("could not start " + program);
  return pid;
}

int exitCodeOf(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

}  // namespace

ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input) {
  // A reader that went away must not kill the test program when the input is written.
  signal(SIGPIPE, SIG_IGN);
  Pipe in, out, err;
  const pid_t pid = spawn(program, arguments, in.read, out.write, err.write);
  closeEnd(in.read);
  closeEnd(out.write);
  closeEnd(err.write);

  ProcessResult result;
  size_t written = 0;
  if (input.empty()) closeEnd(in.write);
  while (out.read >= 0 || err.read >= 0) {
    pollfd fds[3];
    nfds_t count = 0;
    for (int fd : {out.read, err.read}) {
      if (fd >= 0) fds[count++] = {fd, POLLIN, 0};
    }
    if (in.write >= 0) fds[count++] = {in.write, POLLOUT, 0};
    if (poll(fds, count, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (nfds_t i = 0; i < count; ++i) {
      if (!fds[i].revents) continue;
      if (fds[i].fd == in.write) {
        const ssize_t n = write(in.write, input.data() + written, input.size() - written);
        if (n > 0) written += static_cast<size_t>(n);
        if (n < 0 || written == input.size()) closeEnd(in.write);
        continue;
      }
      char buffer[65536];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      std::string& into = fds[i].fd == out.read ? result.out : result.err;
      if (n > 0) {
        into.append(buffer, static_cast<size_t>(n));
      } else {
        closeEnd(fds[i].fd == out.read ? out.read : err.read);
      }
    }
  }
  closeEnd(in.write);
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = exitCodeOf(status);
  return result;
}

RunningProcess::RunningProcess(const std::string& program,
                               const std::vector<std::string>& arguments) {
  Pipe out;
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  _pid = spawn(program, arguments, null, out.write, null);
  close(null);
  close(out.write);
  _out = out.read;
}

RunningProcess::~RunningProcess() {
  closeEnd(_out);
  if (!_exited) {
    kill(_pid, SIGKILL);
    waitpid(_pid, nullptr, 0);
  }
}

std::string RunningProcess::readLine() {
  for (;;) {
    const size_t end = _buffered.find('\n');
    if (end != std::string::npos) {
      std::string line = _buffered.substr(0, end + 1);
      _buffered.erase(0, end + 1);
      return line;
    }
    char buffer[4096];
    const ssize_t n = read(_out, buffer, sizeof buffer);
    if (n <= 0) return std::exchange(_buffered, std::string());
    _buffered.append(buffer, static_cast<size_t>(n));
  }
}

bool RunningProcess::isRunning() {
  if (_exited) return false;
  int status = 0;
  _exited = waitpid(_pid, &status, WNOHANG) == _pid;
  return !_exited;
}

}  // namespace qnu::testing
