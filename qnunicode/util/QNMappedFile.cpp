#include "qnunicode/util/QNMappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace qnunicode::detail {

namespace {

// An open descriptor of a regular file and the file's size; -1 for anything else. A FIFO or
// device is never opened: opening one could block the reader.
int openRegularFile(const std::string& path, size_t* size) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return -1;
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(descriptor);
    return -1;
  }
  *size = static_cast<size_t>(status.st_size);
  return descriptor;
}

}  // namespace

MappedFile::MappedFile(const std::string& path) {
  size_t size = 0;
  const int descriptor = openRegularFile(path, &size);
  if (descriptor < 0) return;
  if (size == 0) {
    _isMapped = true;
  } else {
    void* address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (address != MAP_FAILED) {
      _address = address;
      _size = size;
      _isMapped = true;
    }
  }
  ::close(descriptor);
}

FileHead::FileHead(const std::string& path, size_t limit) {
  size_t size = 0;
  const int descriptor = openRegularFile(path, &size);
  if (descriptor < 0) return;
  _bytes.resize(std::min(size, limit));
  size_t read = 0;
  while (read < _bytes.size()) {
    const ssize_t count =
        ::pread(descriptor, _bytes.data() + read, _bytes.size() - read, static_cast<off_t>(read));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    read += static_cast<size_t>(count);
  }
  ::close(descriptor);
  _bytes.resize(read);
  _isRead = true;
  _isWholeFile = read == size;
}

MappedFile::~MappedFile() {
  if (_address) ::munmap(_address, _size);
}

}  // namespace qnunicode::detail
