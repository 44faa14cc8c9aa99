#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "qnunicode/util/NotFound.h"

// A radix tree from unsigned integer keys to integer values that stores runs of equal values
// compactly: when every child slot of a node holds a leaf of one value, the children are dropped
// and the node becomes a leaf of that value. Meant to be filled in ascending key order, each key
// once; a collapsed node is not expanded again by a later key below it.
class QNUnicodePrefixTree {
 public:
  // countLog2 key bits are consumed per level (1 to 5; other values fail an assertion and abort).
  QNUnicodePrefixTree(unsigned countLog2, uint64_t maxKey);
  ~QNUnicodePrefixTree();
  QNUnicodePrefixTree(const QNUnicodePrefixTree&) = delete;
  QNUnicodePrefixTree& operator=(const QNUnicodePrefixTree&) = delete;

  void setValue(int64_t value, uint64_t forUnsignedIntegerKey);
  // The value, or NotFound.
  int64_t valueForUnsignedIntegerKey(uint64_t key) const;

  size_t leafCount() const;
  size_t nodeCount() const;
  // nodeCount x 24 + inner nodes x childCount x 8.
  size_t memorySize() const;
  std::string description() const;

 private:
  struct Node;
  void appendNode(const Node* node, unsigned atLevel, std::string& toString) const;
  // The key's digit at a level; level 0 holds the most significant digit.
  uint64_t digit(uint64_t key, unsigned level) const {
    return (key >> (_childCountLog2 * (_maxLevel - 1 - level))) & (_childCount - 1);
  }
  static void releaseNode(Node* node, unsigned childCount);
  static void countNodes(const Node* node, unsigned childCount, size_t* leaves, size_t* nodes);

  Node* _root;
  unsigned _childCountLog2;
  unsigned _childCount;
  unsigned _maxLevel;
  unsigned _levelOffset;
};
