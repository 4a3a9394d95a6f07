#include "json_tree.h"

#include <algorithm>

namespace tqlsim {

int nestingDepth(const std::string& text)
{
    int depth = 0, deepest = 0;
    bool inString = false, escaped = false;
    for (char c : text) {
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

Tree parseObject(const std::string& body, int maxDepth)
{
    Tree none(nullptr, yajl_tree_free);
    if (body.empty() || body.find('\0') != std::string::npos || nestingDepth(body) > maxDepth)
        return none;
    Tree root(yajl_tree_parse(body.c_str(), nullptr, 0), yajl_tree_free);
    if (!root || !YAJL_IS_OBJECT(root.get()))
        return none;
    return root;
}

yajl_val find(yajl_val node, std::initializer_list<const char*> keys)
{
    for (const char* key : keys) {
        const char* path[] = {key, nullptr};
        node = node ? yajl_tree_get(node, path, yajl_t_any) : nullptr;
    }
    return node;
}

} // namespace tqlsim
