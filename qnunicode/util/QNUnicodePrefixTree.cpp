#include "qnunicode/util/QNUnicodePrefixTree.h"

#include <cstdlib>

#include "qnunicode/util/QNLog.h"

// Three words a node: a leaf has no children array and its value answers for every key below it.
struct QNUnicodePrefixTree::Node {
  Node* parent;
  Node** children;
  int64_t value;
};

namespace {

[[noreturn]] void assertionFailure(const char* method, int line, const char* condition) {
  QNLogFormat("*** Assertion failure in %s, %s:%d: %s", method, __FILE__, line, condition);
  std::abort();
}

// The text is given as the assertion reads in the report, whatever the source's spacing.
#define QN_TREE_ASSERT(condition, text) \
  ((condition) ? (void)0 : assertionFailure(__PRETTY_FUNCTION__, __LINE__, text))

}  // namespace

void QNUnicodePrefixTree::releaseNode(Node* node, unsigned childCount) {
  // Children before their parent.
  if (node->children) {
    for (unsigned i = 0; i < childCount; ++i) {
      if (node->children[i]) releaseNode(node->children[i], childCount);
    }
    delete[] node->children;
  }
  delete node;
}

void QNUnicodePrefixTree::countNodes(const Node* node, unsigned childCount, size_t* leaves,
                                     size_t* nodes) {
  ++*nodes;
  if (!node->children) {
    ++*leaves;
    return;
  }
  for (unsigned i = 0; i < childCount; ++i) {
    if (node->children[i]) countNodes(node->children[i], childCount, leaves, nodes);
  }
}

QNUnicodePrefixTree::QNUnicodePrefixTree(unsigned countLog2, uint64_t maxKey) {
  QN_TREE_ASSERT(countLog2 > 0, "countLog2>0");
  QN_TREE_ASSERT(countLog2 < 6, "countLog2<6");
  _root = new Node{nullptr, nullptr, NotFound};
  _childCountLog2 = countLog2;
  _childCount = 1u << countLog2;
  _maxLevel = 64 / countLog2;
  // The root stands for the most significant non-zero digit of maxKey. A maxKey without one
  // leaves a tree of no levels, whose root alone holds the value.
  _levelOffset = 0;
  while (_levelOffset < _maxLevel && digit(maxKey, _levelOffset) == 0) ++_levelOffset;
}

QNUnicodePrefixTree::~QNUnicodePrefixTree() {
  releaseNode(_root, _childCount);
}

void QNUnicodePrefixTree::setValue(int64_t value, uint64_t forUnsignedIntegerKey) {
  Node* node = _root;
  for (unsigned level = _levelOffset; level < _maxLevel; ++level) {
    const uint64_t d = digit(forUnsignedIntegerKey, level);
    if (!node->children) {
      // A collapsed node gets a fresh array holding only the new child; it is not re-expanded.
      node->children = new Node*[_childCount]();
    }
    Node*& slot = node->children[d];
    if (!slot) slot = new Node{node, nullptr, NotFound};
    node = slot;
  }
  node->value = value;

  // Collapse upward while every slot of a node holds a node of one value.
  for (; node; node = node->parent) {
    Node** children = node->children;
    if (!children) continue;
    if (!children[0]) return;
    const int64_t v = children[0]->value;
    for (unsigned i = 1; i < _childCount; ++i) {
      if (!children[i] || children[i]->value != v) return;
    }
    for (unsigned i = 0; i < _childCount; ++i) releaseNode(children[i], _childCount);
    delete[] children;
    node->children = nullptr;
    node->value = v;
  }
}

int64_t QNUnicodePrefixTree::valueForUnsignedIntegerKey(uint64_t key) const {
  const Node* node = _root;
  unsigned shift = _childCountLog2 * (_maxLevel - 1 - _levelOffset);
  const uint64_t mask = _childCount - 1;
  // Nodes exist only down to the last level, so the descent ends at a leaf at the latest there.
  while (node->children) {
    node = node->children[(key >> shift) & mask];
    if (!node) return NotFound;
    shift -= _childCountLog2;
  }
  return node->value;
}

size_t QNUnicodePrefixTree::leafCount() const {
  size_t leaves = 0, nodes = 0;
  countNodes(_root, _childCount, &leaves, &nodes);
  return leaves;
}

size_t QNUnicodePrefixTree::nodeCount() const {
  size_t leaves = 0, nodes = 0;
  countNodes(_root, _childCount, &leaves, &nodes);
  return nodes;
}

size_t QNUnicodePrefixTree::memorySize() const {
  size_t leaves = 0, nodes = 0;
  countNodes(_root, _childCount, &leaves, &nodes);
  return nodes * 24 + (nodes - leaves) * _childCount * 8;
}

std::string QNUnicodePrefixTree::description() const {
  std::string text;
  appendNode(_root, _levelOffset, text);
  return text;
}

void QNUnicodePrefixTree::appendNode(const Node* node, unsigned atLevel,
                                     std::string& toString) const {
  toString += QNFormat("%lu\n", static_cast<unsigned long>(node->value));
  if (!node->children) return;
  for (unsigned i = 0; i < _childCount; ++i) {
    const Node* child = node->children[i];
    if (!child) continue;
    // The indentation counts absolute levels, those above the root included.
    for (unsigned k = 0; k < atLevel; ++k) toString += "   ";
    toString += QNFormat("%2lu: ", static_cast<unsigned long>(i));
    appendNode(child, atLevel + 1, toString);
  }
}
