#ifndef TEST_TEXT_H
#define TEST_TEXT_H

// Records flattened into one text, so that a test compares whole results
// and a failure shows every field at once.
#include <cstdint>
#include <string>

#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberString.h"

namespace testport {

inline std::string str(const tql_string& s) { return s.toStdString(); }
inline std::string str(const tql_bytearray& b) { return std::string(b.constData(), static_cast<size_t>(b.size())); }
inline std::string str(int n) { return std::to_string(n); }
inline std::string str(int64_t n) { return std::to_string(n); }
inline std::string str(const std::string& s) { return s; }
// A text the library lends; NULL shows as such.
inline std::string str(const char* s) { return s ? s : "<null>"; }

// Every part followed by "|".
template <class... T>
std::string join(const T&... parts)
{
    std::string out;
    ((out += str(parts) + "|"), ...);
    return out;
}

} // namespace testport

#endif
