#ifndef TAMBER_STRING_H
#define TAMBER_STRING_H

#include <string>

#include "tamberList.h"

class tql_bytearray;

// Text of the library. Apart from the standard string it knows whether it was
// ever set: a default-constructed string is null, one set to "" is not. Callers
// use that to tell a key absent from a document from a key with an empty value.
class tql_string {
public:
    enum SplitBehavior { KeepEmptyParts = 0, SkipEmptyParts = 1, TrimAndSkipEmptyParts = 2 };
    static const tql_string WHITESPACE;

    tql_string();
    tql_string(const char* s);
    tql_string(const char* s, int length);
    tql_string(char c, int count);
    tql_string(const tql_string& other, int pos, int length = -1);
    tql_string(const std::string& s);
    tql_string(const tql_string& other);
    // A move hands the text's block over and keeps isNull() as a copy would;
    // the source is left empty, as after clear. Lists of records move, not copy.
    tql_string(tql_string&& other) noexcept;
    virtual ~tql_string();

    tql_string& operator=(const tql_string& other);
    tql_string& operator=(tql_string&& other) noexcept;
    tql_string& operator=(const char* s);
    tql_string& operator+=(const tql_string& other);
    tql_string& operator+=(const char* s);
    tql_string& operator+=(char c);
    tql_string& append(const tql_string& other) { return *this += other; }
    tql_string& append(const char* s, int length);

    bool isNull() const { return m_str.empty() && m_isNull; }
    int flag() const { return m_flag; } // always 0
    bool isEmpty() const { return m_str.empty(); }
    int length() const { return static_cast<int>(m_str.size()); }
    int size() const { return length(); }
    const char* c_str() const { return m_str.c_str(); }
    const char* data() const { return m_str.data(); }
    const std::string& toStdString() const { return m_str; }
    char at(int pos) const { return m_str.at(static_cast<size_t>(pos)); }
    char operator[](int pos) const { return m_str[static_cast<size_t>(pos)]; }
    void clear();

    bool contains(const tql_string& text) const { return m_str.find(text.m_str) != std::string::npos; }
    bool contains(char c) const { return m_str.find(c) != std::string::npos; }
    int indexOf(char c, int from = 0) const;
    int indexOf(const tql_string& text, int from = 0) const;
    int lastIndexOf(char c, int from = -1) const;
    // Finds the last of any of the characters of text, as find_last_of does.
    int lastIndexOf(const tql_string& text, int from = -1) const;
    bool startsWith(const tql_string& text) const;
    bool endsWith(const tql_string& text) const;

    tql_string substr(int pos, int n = -1) const;
    tql_string mid(int pos, int n = -1) const { return substr(pos, n); }
    tql_string left(int n) const { return substr(0, n); }
    tql_string right(int n) const;
    tql_string reverse() const;
    tql_string toUpper() const;
    tql_string toLower() const;
    tql_string trimmedLeft() const;
    tql_string trimmedRight() const;
    tql_string trimmed() const;
    tql_string leftJustified(int width, char fill = ' ', bool truncate = false) const;
    tql_string rightJustified(int width, char fill = ' ', bool truncate = false) const;
    tql_bytearray toUtf8() const;

    tql_string& truncate(int n);
    tql_string& replace(const tql_string& from, const tql_string& to);
    tql_string& replace(int pos, int n, const tql_string& text);
    tql_string& remove(int pos, int n);
    tql_string& remove(const tql_string& text) { return replace(text, tql_string("")); }
    tql_string& remove(char c) { return replace(tql_string(c, 1), tql_string("")); }
    // chopLeft cuts at the end and chopRight at the start; the names are
    // reversed and stay so, callers depend on them.
    tql_string& chopLeft(int n);
    tql_string& chopRight(int n);
    tql_string& chop(int n) { return chopLeft(n); }
    tql_string& resizeLeft(int n, char c = ' ');
    tql_string& resizeRight(int n, char c = ' ');
    tql_string& fillLeft(char c, int from = 0, int count = 0);
    tql_string& fillRight(char c, int from = 0, int count = 0);
    tql_string& fill(char c, int n = -1);

    // ok is only ever cleared (nothing parsed, or outside 32 bits): callers preset it.
    int toInt(int* ok = nullptr, int base = 10) const;
    long long toInt64(int* ok = nullptr, int base = 10) const;
    bool isNum() const;

    static tql_string formatString(const char* format, ...) __attribute__((format(printf, 1, 2)));

    void split(const tql_string& separator, tql_list<tql_string>& out, int behavior = KeepEmptyParts) const;
    void split(char separator, tql_list<tql_string>& out, int behavior = KeepEmptyParts) const;
    tql_list<tql_string> split(const tql_string& separator, int behavior = KeepEmptyParts) const;
    tql_list<tql_string> split(char separator, int behavior = KeepEmptyParts) const;

    bool operator==(const tql_string& o) const { return m_str == o.m_str; }
    bool operator!=(const tql_string& o) const { return m_str != o.m_str; }
    bool operator==(const char* o) const { return o && m_str == o; }
    bool operator!=(const char* o) const { return !(*this == o); }
    bool operator<(const tql_string& o) const { return m_str < o.m_str; }

private:
    void setText(std::string text);
    void pushPart(tql_list<tql_string>& out, const std::string& part, int behavior) const;

    std::string m_str;
    int m_flag = 0;
    int m_isNull = 0;
};

tql_string operator+(const tql_string& a, const tql_string& b);
tql_string operator+(const tql_string& a, const char* b);
tql_string operator+(const char* a, const tql_string& b);

#endif
