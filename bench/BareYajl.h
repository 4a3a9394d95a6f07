#ifndef BARE_YAJL_H
#define BARE_YAJL_H

// The ceiling of every reply benchmark: yajl alone over the same bytes, in
// the same pieces, with callbacks that do nothing.
#include <yajl/yajl_parse.h>

#include <algorithm>
#include <string>

namespace bench {

inline int ok0(void*) { return 1; }
inline int okBool(void*, int) { return 1; }
inline int okNumber(void*, const char*, size_t) { return 1; }
inline int okString(void*, const unsigned char*, size_t) { return 1; }

inline bool bareYajlParse(const std::string& body, size_t piece)
{
    static const yajl_callbacks empty = {ok0, okBool, nullptr, nullptr, okNumber, okString,
                                         ok0, okString, ok0,    ok0,     ok0};
    const unsigned char* data = reinterpret_cast<const unsigned char*>(body.data());
    yajl_handle parser = yajl_alloc(&empty, nullptr, nullptr);
    yajl_config(parser, yajl_allow_comments, 1);
    yajl_config(parser, yajl_dont_validate_strings, 1);
    bool ok = true;
    for (size_t at = 0; at < body.size() && ok; at += piece)
        ok = yajl_parse(parser, data + at, std::min(piece, body.size() - at)) == yajl_status_ok;
    ok = ok && yajl_complete_parse(parser) == yajl_status_ok;
    yajl_free(parser);
    return ok;
}

} // namespace bench

#endif
