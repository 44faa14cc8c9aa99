#pragma once

#include <new>
#include <stdexcept>
#include <string>

// Exceptions are raised only for programming errors. Each kind carries the exact message as
// what() and answers name() with the kind's platform name, which hosts show beside the message.

class QNInvalidArgumentException : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
  const char* name() const noexcept { return "NSInvalidArgumentException"; }
};

class QNRangeException : public std::out_of_range {
 public:
  using std::out_of_range::out_of_range;
  const char* name() const noexcept { return "NSRangeException"; }
};

class QNInternalInconsistencyException : public std::logic_error {
 public:
  using std::logic_error::logic_error;
  const char* name() const noexcept { return "NSInternalInconsistencyException"; }
};

class QNMallocException : public std::bad_alloc {
 public:
  explicit QNMallocException(std::string message) : _message(std::move(message)) {}
  const char* what() const noexcept override { return _message.c_str(); }
  const char* name() const noexcept { return "NSMallocException"; }

 private:
  std::string _message;
};
