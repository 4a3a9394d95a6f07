#ifndef TAMBER_LIST_H
#define TAMBER_LIST_H

#include <vector>

// The library's list: the standard vector under its own name.
template <class T>
using tql_list = std::vector<T>;

// Two members and a virtual destructor, so that pairs can be held by base.
template <class A, class B>
class tql_pair {
public:
    tql_pair() : first(), second() {}
    tql_pair(const A& a, const B& b) : first(a), second(b) {}
    virtual ~tql_pair() {}

    A first;
    B second;
};

#endif
