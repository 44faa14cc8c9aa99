// Peak resident memory of the whole Unihan read against the floor's, each in a process of its
// own that holds nothing else: the library's read of a new database, and the bare parse of the
// same files into a hash map.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "QNUnihanBareParse.h"
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"

namespace {

// VmHWM: the peak resident set size of this process, in kiB.
long peakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}

// Runs the work in a child process and answers the growth of its peak resident set, in kiB;
// -1 when the work fails.
template <typename Work>
long peakGrowthKiB(Work work) {
  int pipe[2];
  if (::pipe(pipe) != 0) return -1;
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(pipe[0]);
    const long before = peakResidentKiB();
    const bool done = work();
    const long growth = done ? peakResidentKiB() - before : -1;
    (void)!::write(pipe[1], &growth, sizeof growth);
    ::_exit(0);
  }
  ::close(pipe[1]);
  long growth = -1;
  if (::read(pipe[0], &growth, sizeof growth) != sizeof growth) growth = -1;
  ::close(pipe[0]);
  ::waitpid(child, nullptr, 0);
  return growth;
}

}  // namespace

int main() {
  const std::string directory = QNUNICODE_BENCH_UCD_DIR;
  const long ours = peakGrowthKiB([&] {
    QNUnicodeDatabase database({directory}, {});
    const auto table = database.unihan();
    return table && table->size() == 98060;
  });
  const long floor = peakGrowthKiB(
      [&] { return qnunicode::bench::bareParseUnihan(directory + "/Unihan").size() == 98060; });
  if (ours < 0 || floor < 0) {
    std::fprintf(stderr, "a Unihan read failed\n");
    return 1;
  }
  std::printf("%-52s %8.1f MiB\n", "peak resident growth, Unihan read", ours / 1024.0);
  std::printf("%-52s %8.1f MiB\n", "peak resident growth, bare parse (floor)", floor / 1024.0);
  std::printf("%-52s %8.2f\n", "ratio", static_cast<double>(ours) / static_cast<double>(floor));
  return 0;
}
