#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qnunicode::detail {

// A whole regular file mapped read-only into memory, for readers that look at a file's bytes
// once (version headers, digests, the names list). An empty file maps to empty bytes; anything
// that is not a regular file, or cannot be opened or mapped, is not mapped.
class MappedFile {
 public:
  explicit MappedFile(const std::string& path);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  bool isMapped() const { return _isMapped; }
  std::string_view bytes() const {
    return _address ? std::string_view(static_cast<const char*>(_address), _size)
                    : std::string_view();
  }

 private:
  void* _address = nullptr;
  size_t _size = 0;
  bool _isMapped = false;
};

// The first bytes of a regular file, read into a buffer of its own, for a look at a file's start
// (cheaper than a mapping, whose removal interrupts every core). What is read at all follows the
// rules of MappedFile.
class FileHead {
 public:
  FileHead(const std::string& path, size_t limit);

  bool isRead() const { return _isRead; }
  std::string_view bytes() const { return _bytes; }
  // Whether the bytes are all the file holds.
  bool isWholeFile() const { return _isWholeFile; }

 private:
  std::string _bytes;
  bool _isRead = false;
  bool _isWholeFile = false;
};

}  // namespace qnunicode::detail
