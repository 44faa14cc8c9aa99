#include "fuzz/QNFuzzSupport.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"
#include "qnunicode/util/QNLog.h"

namespace qnunicode::fuzz {
namespace fs = std::filesystem;

void silenceLog() {
  QNSetLogSink([](std::string_view) {});
}

std::string ucdDirectory() {
  return QNUNICODE_FUZZ_UCD_DIR;
}

std::string resourceDirectory() {
  return std::string(QNUNICODE_FUZZ_SOURCE_DIR) + "/resources";
}

QNUnicodeDatabase& realDatabase() {
  static const std::shared_ptr<QNUnicodeDatabase> database = [] {
    auto made = std::make_shared<QNUnicodeDatabase>(
        std::vector<std::string>{ucdDirectory()},
        std::vector<std::string>{resourceDirectory() + "/descriptions"});
    if (!made->readDatabase()) {
      std::fprintf(stderr, "fuzz: cannot read UnicodeData from %s\n", ucdDirectory().c_str());
      std::abort();
    }
    QNUnicodeDatabase::setSharedDatabase(made);
    return made;
  }();
  return *database;
}

const QNXHTMLDatabase& realXHTMLDatabase() {
  static const std::shared_ptr<QNXHTMLDatabase> database = [] {
    auto made = QNXHTMLDatabase::initWithDirectory(std::string(QNUNICODE_FUZZ_ENTITY_DIR));
    if (!made || !made->XHTMLEntities() || made->XHTMLEntities()->empty()) {
      std::fprintf(stderr, "fuzz: no XHTML entities in %s\n", QNUNICODE_FUZZ_ENTITY_DIR);
      std::abort();
    }
    return made;
  }();
  return *database;
}

ScratchDataDirectory::ScratchDataDirectory() {
  _path = (fs::temp_directory_path() / ("qnunicode-fuzz-" + std::to_string(::getpid()))).string();
  fs::create_directories(_path);
}

ScratchDataDirectory::~ScratchDataDirectory() {
  std::error_code ignored;
  fs::remove_all(_path, ignored);
}

ScratchDataDirectory& ScratchDataDirectory::shared() {
  static ScratchDataDirectory directory;
  return directory;
}

void ScratchDataDirectory::clear() const {
  for (const auto& entry : fs::directory_iterator(_path)) fs::remove_all(entry.path());
}

std::string ScratchDataDirectory::write(std::string_view name, std::string_view bytes) const {
  const std::string path = _path + "/" + std::string(name);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("fuzz: cannot write " + path);
  return path;
}

void ScratchDataDirectory::copy(const std::string& from, std::string_view name) const {
  fs::copy_file(from, _path + "/" + std::string(name), fs::copy_options::overwrite_existing);
}

UnicodeString unitsFromBytes(const uint8_t* data, size_t size) {
  UnicodeString units(size / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  return units;
}

}  // namespace qnunicode::fuzz
