#pragma once

// The floor of the Unihan read: a bare parse of the same files into a hash map, with nothing
// the library does besides (no merging of repeated keys, no numbers, no UTF-8 check, no
// progress). Each file is read whole into memory, its data lines split at their tabs, and each
// key and value appended to its codepoint's list.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qnunicode::bench {

using BareUnihan = std::unordered_map<uint32_t, std::vector<std::pair<std::string, std::string>>>;

inline BareUnihan bareParseUnihan(const std::string& directory) {
  BareUnihan entries;
  for (const auto& file : std::filesystem::directory_iterator(directory)) {
    if (file.path().extension() != ".txt") continue;
    std::string bytes(static_cast<size_t>(file.file_size()), '\0');
    FILE* stream = std::fopen(file.path().c_str(), "rb");
    if (!stream) continue;
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), stream));
    std::fclose(stream);
    for (size_t start = 0; start < bytes.size();) {
      size_t end = bytes.find('\n', start);
      if (end == std::string::npos) end = bytes.size();
      if (bytes[start] == 'U') {
        const size_t tab = bytes.find('\t', start);
        const size_t second = tab < end ? bytes.find('\t', tab + 1) : std::string::npos;
        if (second < end) {
          const auto codepoint =
              static_cast<uint32_t>(std::strtoul(bytes.c_str() + start + 2, nullptr, 16));
          entries[codepoint].emplace_back(bytes.substr(tab + 1, second - tab - 1),
                                          bytes.substr(second + 1, end - second - 1));
        }
      }
      start = end + 1;
    }
  }
  return entries;
}

}  // namespace qnunicode::bench
