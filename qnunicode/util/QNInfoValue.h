#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

// A value of a host's information dictionary or property list, kept exactly as the host wrote
// it (string, integer, real, bool, data, list or map) so that malformed entries can be reported
// rather than lost.
class QNInfoValue {
 public:
  using List = std::vector<QNInfoValue>;
  using Map = std::map<UnicodeString, QNInfoValue>;
  using Data = std::vector<uint8_t>;

  QNInfoValue() : _value(UnicodeString()) {}
  QNInfoValue(UnicodeString text) : _value(std::move(text)) {}
  QNInfoValue(const char16_t* text) : _value(UnicodeString(text)) {}
  QNInfoValue(int64_t number) : _value(number) {}
  QNInfoValue(int number) : _value(static_cast<int64_t>(number)) {}
  QNInfoValue(double number) : _value(number) {}
  QNInfoValue(bool flag) : _value(flag) {}
  QNInfoValue(Data data) : _value(std::move(data)) {}
  QNInfoValue(List list) : _value(std::make_shared<List>(std::move(list))) {}
  QNInfoValue(Map map) : _value(std::make_shared<Map>(std::move(map))) {}

  bool isString() const { return std::holds_alternative<UnicodeString>(_value); }
  bool isList() const { return std::holds_alternative<std::shared_ptr<List>>(_value); }
  bool isMap() const { return std::holds_alternative<std::shared_ptr<Map>>(_value); }

  // Each answers null when the value is of another kind.
  const UnicodeString* string() const { return std::get_if<UnicodeString>(&_value); }
  const int64_t* integer() const { return std::get_if<int64_t>(&_value); }
  const double* real() const { return std::get_if<double>(&_value); }
  const bool* boolean() const { return std::get_if<bool>(&_value); }
  const Data* data() const { return std::get_if<Data>(&_value); }
  const List* list() const {
    auto p = std::get_if<std::shared_ptr<List>>(&_value);
    return p ? p->get() : nullptr;
  }
  const Map* map() const {
    auto p = std::get_if<std::shared_ptr<Map>>(&_value);
    return p ? p->get() : nullptr;
  }

  bool operator==(const QNInfoValue& other) const;

 private:
  // Lists and maps are shared: values are immutable once built, so copies stay cheap.
  std::variant<UnicodeString, int64_t, double, bool, Data, std::shared_ptr<List>,
               std::shared_ptr<Map>>
      _value;
};

// The host's information dictionary.
using QNInfoDictionary = QNInfoValue::Map;

// Reads a property-list file (XML, binary or any other format libplist reads) whose root is a
// dictionary; none when the file cannot be read or parsed or its root is not a dictionary.
std::optional<QNInfoDictionary> QNReadPropertyListFile(const std::string& path);
