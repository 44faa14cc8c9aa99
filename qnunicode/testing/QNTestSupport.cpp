#include "qnunicode/testing/QNTestSupport.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace qnunicode::testing {

namespace {

std::string checkedDirectory(const char* path, const char* what) {
  if (!fs::is_directory(path)) {
    ADD_FAILURE() << what << " is missing at " << path << "; run the set-up script";
    std::abort();  // a test that needs data must not pass without it
  }
  return path;
}

}  // namespace

std::string ucdDirectory() {
  return checkedDirectory(QNUNICODE_TEST_UCD_DIR, "The UCD data directory");
}

std::string ucdFile(std::string_view name) {
  const std::string path = ucdDirectory() + "/" + std::string(name);
  if (!fs::exists(path)) {
    ADD_FAILURE() << "UCD file missing: " << path;
    std::abort();
  }
  return path;
}

std::string sourceDirectory() {
  return QNUNICODE_TEST_SOURCE_DIR;
}

std::string perlUnicoreDirectory() {
  return checkedDirectory(QNUNICODE_TEST_PERL_UNICORE_DIR, "Debian perl's unicore folder");
}

std::shared_ptr<QNUnicodeDatabase> realDatabase() {
  static std::shared_ptr<QNUnicodeDatabase> database = [] {
    auto made = std::make_shared<QNUnicodeDatabase>(
        std::vector<std::string>{ucdDirectory()},
        std::vector<std::string>{sourceDirectory() + "/resources/descriptions"});
    return made;
  }();
  QNUnicodeDatabase::setSharedDatabase(database);
  return database;
}

LogCapture::LogCapture() {
  _previous = QNSetLogSink([this](std::string_view line) { _lines.emplace_back(line); });
}

LogCapture::~LogCapture() {
  QNSetLogSink(std::move(_previous));
}

bool LogCapture::contains(std::string_view line) const {
  for (const std::string& l : _lines) {
    if (l == line) return true;
  }
  return false;
}

ScratchDirectory::ScratchDirectory() {
  std::random_device seed;
  std::mt19937_64 random(seed());
  for (;;) {
    const fs::path candidate =
        fs::temp_directory_path() / ("qnunicode-test-" + std::to_string(random()));
    if (fs::create_directory(candidate)) {
      _path = candidate.string();
      return;
    }
  }
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  fs::permissions(_path, fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(_path, ignored);
}

std::string ScratchDirectory::write(std::string_view name, std::string_view bytes) const {
  const fs::path path = fs::path(_path) / name;
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return path.string();
}

std::string ScratchDirectory::copy(const std::string& from, std::string_view name) const {
  const fs::path path = fs::path(_path) / name;
  fs::create_directories(path.parent_path());
  fs::copy_file(from, path, fs::copy_options::overwrite_existing);
  return path.string();
}

bool RecordingDelegate::unicodeDatabase(QNUnicodeDatabase&, std::u16string_view couldNotFindFile) {
  prefixes.emplace_back(couldNotFindFile);
  return true;
}

ScratchDatabase::ScratchDatabase(std::initializer_list<std::pair<const char*, const char*>> files) {
  for (const auto& [name, content] : files) directory.write(name, content);
  database.setDelegate(delegate);
}

double scalingRatio(const std::function<void(size_t size)>& run, size_t small, size_t large,
                    int rounds) {
  using Clock = std::chrono::steady_clock;
  // Large blocks come from the heap and stay there between rounds, so that the best round
  // reuses memory instead of timing the kernel's fresh pages (which only the large side needs).
  ::mallopt(M_MMAP_THRESHOLD, 256 << 20);
  ::mallopt(M_TRIM_THRESHOLD, 512 << 20);
  const auto best = [&](size_t size) {
    auto fastest = Clock::duration::max();
    run(size);
    for (int round = 0; round < rounds; ++round) {
      const auto start = Clock::now();
      run(size);
      fastest = std::min(fastest, Clock::now() - start);
    }
    return std::chrono::duration<double>(fastest).count();
  };
  const double smallTime = best(small);
  const double largeTime = best(large);
  return largeTime / std::max(smallTime, 1e-6);
}

}  // namespace qnunicode::testing
