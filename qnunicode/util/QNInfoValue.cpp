#include "qnunicode/util/QNInfoValue.h"

#include <plist/plist.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>

bool QNInfoValue::operator==(const QNInfoValue& other) const {
  if (isList() && other.isList()) return *list() == *other.list();
  if (isMap() && other.isMap()) return *map() == *other.map();
  return _value == other._value;
}

namespace {

std::optional<QNInfoValue> fromPlist(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      // The text by its length: a string may hold a NUL byte (which the copying accessor of
      // the plist library refuses by aborting).
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return QNInfoValue(qnunicode::fromUTF8(text ? std::string_view(text, length) : ""));
    }
    case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return QNInfoValue(flag != 0);
    }
    case PLIST_UINT: {
      uint64_t number = 0;
      plist_get_uint_val(node, &number);
      return QNInfoValue(static_cast<int64_t>(number));
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return QNInfoValue(number);
    }
    case PLIST_DATA: {
      char* bytes = nullptr;
      uint64_t length = 0;
      plist_get_data_val(node, &bytes, &length);
      QNInfoValue::Data data(bytes, bytes + length);
      std::free(bytes);
      return QNInfoValue(std::move(data));
    }
    case PLIST_ARRAY: {
      QNInfoValue::List list;
      const uint32_t size = plist_array_get_size(node);
      for (uint32_t i = 0; i < size; ++i) {
        if (auto item = fromPlist(plist_array_get_item(node, i))) list.push_back(std::move(*item));
      }
      return QNInfoValue(std::move(list));
    }
    case PLIST_DICT: {
      QNInfoValue::Map map;
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        if (!item) {
          std::free(key);
          break;
        }
        if (auto value = fromPlist(item))
          map[qnunicode::fromUTF8(key ? key : "")] = std::move(*value);
        std::free(key);
      }
      std::free(iterator);
      return QNInfoValue(std::move(map));
    }
    default:
      return std::nullopt;  // dates, keys and UIDs carry nothing the library reads
  }
}

}  // namespace

std::optional<QNInfoDictionary> QNReadPropertyListFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.empty()) return std::nullopt;
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  if (!root) return std::nullopt;
  std::optional<QNInfoDictionary> result;
  if (plist_get_node_type(root) == PLIST_DICT) {
    if (auto value = fromPlist(root)) result = *value->map();
  }
  plist_free(root);
  return result;
}
