#ifndef TQLSIM_JSON_TREE_H
#define TQLSIM_JSON_TREE_H

// Request documents read as yajl trees: one way for every endpoint to refuse
// what it cannot read, and to walk what it can.
#include <yajl/yajl_tree.h>

#include <initializer_list>
#include <memory>
#include <string>

namespace tqlsim {

using Tree = std::unique_ptr<yajl_val_s, void (*)(yajl_val)>;

// Deepest nesting of arrays and objects in a JSON text. The tree parser
// frees by recursion, so deep documents are refused before they reach it.
int nestingDepth(const std::string& text);

// The document as a tree when it is an object no deeper than maxDepth;
// null otherwise (empty, a NUL inside, too deep, invalid, not an object).
Tree parseObject(const std::string& body, int maxDepth = 64);

// The node under keys, one level per key; null where one is missing.
yajl_val find(yajl_val node, std::initializer_list<const char*> keys);

} // namespace tqlsim

#endif
