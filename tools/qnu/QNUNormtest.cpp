#include <filesystem>

#include "QNUCommands.h"
#include "QNUOutput.h"

namespace fs = std::filesystem;

namespace qnu {

namespace {

constexpr const char* kTestFileName = "NormalizationTest.txt";

std::string testFile(const Host& host, const NormtestOptions& options) {
  if (options.file) {
    if (!fs::is_regular_file(*options.file)) {
      throw UsageError("test file '" + *options.file + "' does not exist");
    }
    return *options.file;
  }
  for (const std::string& directory : host.dataDirectories()) {
    const fs::path candidate = fs::path(directory) / kTestFileName;
    if (fs::is_regular_file(candidate)) return candidate.string();
  }
  throw UsageError(std::string("no ") + kTestFileName +
                   " in the data directories (name the file: qnu normtest FILE)");
}

}  // namespace

int runNormtest(Host& host, const NormtestOptions& options) {
  const std::string path = testFile(host, options);
  host.requireUnicodeData();
  // The run's progress and its first failure are the library's log lines on standard error.
  const bool passed = host.database().runNormalizationConformanceTestsForTestFileAtURL(path);
  if (host.json()) {
    Json report;
    report["file"] = path;
    report["passed"] = passed;
    writeOut(jsonLine(report));
  } else {
    writeOut("normalization conformance test of " + path + ": " + (passed ? "passed" : "FAILED") +
             "\n");
  }
  return passed ? kExitSuccess : kExitCheckFailed;
}

}  // namespace qnu
