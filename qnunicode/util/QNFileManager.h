#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// File-manager extensions used by the data-file lookup: prefix listings, alias (symbolic link)
// resolution, volume attributes and recursive directory creation.
namespace QNAdditions {

// Path helpers with the platform's path-component rules: trailing slashes are not part of the
// last component, the root's last component is "/", and a path without a slash has the empty
// parent.
std::string lastPathComponent(std::string_view path);
std::string stringByDeletingLastPathComponent(std::string_view path);
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
// The text after the last "." of the last component, or "" when it has none.
std::string pathExtension(std::string_view path);

// The full paths of the entries of a directory whose names begin with the path's last component
// (a plain, case-sensitive prefix test), in the order of the directory listing; none when the
// path cannot be split into a directory and a prefix or the directory cannot be listed.
std::optional<std::vector<std::string>> filenamesPrefixedBy(const std::string& path);

// The path with every symbolic link along it resolved, component by component from the first,
// link chains followed to the end; "" for a path without components. A link that cannot be
// resolved (dangling, looping) is kept as it stands.
std::string pathByResolvingAliasesInPath(const std::string& path);

// What the file system holding a path reports about itself. Either value may be unknown.
struct QNFileSystemAttributes {
  std::optional<uint64_t> systemSize;   // bytes
  std::optional<uint64_t> systemNodes;  // file nodes (inodes)
};

// The attributes of the file system holding the path, or of its nearest existing ancestor; none
// for an empty path or when not even the root answers.
std::optional<QNFileSystemAttributes> fileSystemAttributesAtPossiblePath(const std::string& path);

// Distinct failure answers of minimumFileSizeAtPossiblePath.
inline constexpr uint32_t QNFileSizeNoAttributes = 0xFFFFFFFF;
inline constexpr uint32_t QNFileSizeAttributeMissing = 0xFFFFFFFE;
inline constexpr uint32_t QNFileSizeAttributeNotPositive = 0xFFFFFFFD;

// The file system's size divided by its number of nodes (truncated to 32 bits), or one of the
// three failure values above.
uint32_t minimumFileSizeAtPossiblePath(const std::string& path);
// The same computation over attributes already taken.
uint32_t minimumFileSizeForAttributes(const std::optional<QNFileSystemAttributes>& attributes);

// Creates the directory and every missing ancestor (each with the given permissions when there
// are some, else with the process's defaults). True when a directory is there afterwards.
bool recursivelyCreateDirectoryAtPath(const std::string& path,
                                      std::optional<mode_t> permissions = std::nullopt);

}  // namespace QNAdditions
