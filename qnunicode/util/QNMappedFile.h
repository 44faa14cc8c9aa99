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

}  // namespace qnunicode::detail
