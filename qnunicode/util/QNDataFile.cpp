#include "qnunicode/util/QNDataFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNMappedFile.h"

namespace qnunicode::detail {

bool isWellFormedUTF8(std::string_view bytes) {
  const auto* in = reinterpret_cast<const uint8_t*>(bytes.data());
  const size_t size = bytes.size();
  for (size_t i = 0; i < size;) {
    // ASCII runs 64 bytes at a time, then 8.
    if (size - i >= 64) {
      uint64_t words[8];
      std::memcpy(words, in + i, 64);
      uint64_t any = 0;
      for (uint64_t word : words) any |= word;
      if ((any & 0x8080808080808080ull) == 0) {
        i += 64;
        continue;
      }
    }
    if (size - i >= 8) {
      uint64_t word;
      std::memcpy(&word, in + i, 8);
      if ((word & 0x8080808080808080ull) == 0) {
        i += 8;
        continue;
      }
    }
    const uint8_t lead = in[i];
    if (lead < 0x80) {
      ++i;
      continue;
    }
    size_t length;
    uint8_t low = 0x80, high = 0xBF;  // bounds of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;   // no overlong forms
      if (lead == 0xED) high = 0x9F;  // no encoded surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;   // no overlong forms
      if (lead == 0xF4) high = 0x8F;  // nothing above U+10FFFF
    } else {
      return false;
    }
    if (size - i < length || in[i + 1] < low || in[i + 1] > high) return false;
    for (size_t k = 2; k < length; ++k) {
      if ((in[i + k] & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

namespace {

// Reads a file that does not map (a pipe, a device) to its end; false when it cannot be opened
// or a read fails. A directory fails here.
bool readWholeFile(const std::string& path, std::string* bytes) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  bool ok = true;
  char chunk[65536];
  for (;;) {
    const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      ok = count == 0;
      break;
    }
    bytes->append(chunk, static_cast<size_t>(count));
  }
  ::close(descriptor);
  return ok;
}

}  // namespace

DataFile::DataFile(const std::optional<std::string>& path, Check check) {
  if (!path) return;
  _mapped = std::make_unique<MappedFile>(*path);
  if (_mapped->isMapped()) {
    _bytes = _mapped->bytes();
  } else {
    _mapped.reset();
    if (!readWholeFile(*path, &_read)) return;
    _bytes = _read;
  }
  _isReadable = check == Check::None || isWellFormedUTF8(_bytes);
}

DataFile::~DataFile() = default;

DataFile::DataFile(DataFile&& other) noexcept {
  *this = std::move(other);
}

DataFile& DataFile::operator=(DataFile&& other) noexcept {
  if (this == &other) return *this;
  _mapped = std::move(other._mapped);
  // Unmapped bytes are always the read buffer, whose moved storage may be its small in-object
  // one: the view is taken anew.
  _read = std::move(other._read);
  _bytes = _mapped ? _mapped->bytes() : std::string_view(_read);
  _isReadable = other._isReadable;
  other._bytes = {};
  other._isReadable = false;
  return *this;
}

std::optional<UnicodeString> DataFile::text() const {
  if (!_isReadable) return std::nullopt;
  return decodeUTF8(_bytes);
}

void DataFile::release() {
  _mapped.reset();
  std::string().swap(_read);
  _bytes = {};
  _isReadable = false;
}

bool LineCursor::next(std::string_view* line) {
  if (_isDone) return false;
  const size_t end = _text.find('\n', _position);
  if (end == std::string_view::npos) {
    *line = _text.substr(_position);
    _position = _text.size();
    _isDone = true;
    return true;
  }
  *line = _text.substr(_position, end - _position);
  _position = end + 1;
  return true;
}

size_t lineCount(std::string_view text) {
  size_t count = 1;
  for (size_t position = 0; (position = text.find('\n', position)) != std::string_view::npos;
       ++position) {
    ++count;
  }
  return count;
}

}  // namespace qnunicode::detail
