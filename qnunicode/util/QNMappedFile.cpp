#include "qnunicode/util/QNMappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qnunicode::detail {

MappedFile::MappedFile(const std::string& path) {
  struct stat status {};
  // A FIFO or device is never opened: opening one could block the reader.
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return;
  if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    const auto size = static_cast<size_t>(status.st_size);
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
  }
  ::close(descriptor);
}

MappedFile::~MappedFile() {
  if (_address) ::munmap(_address, _size);
}

}  // namespace qnunicode::detail
