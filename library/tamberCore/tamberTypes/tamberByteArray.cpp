#include "tamberByteArray.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tamberDebug.h"
#include "tamberTypeUtils.h"
#include "tqllib.h"

static const char kHexUpper[] = "0123456789ABCDEF";
static const char kHexLower[] = "0123456789abcdef";
static const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

tql_bytearray::tql_bytearray() : m_data(nullptr), m_capacity(0), m_size(0) {}

tql_bytearray::tql_bytearray(const char* data, int length) : tql_bytearray()
{
    append(data, length);
}

tql_bytearray::tql_bytearray(const tql_bytearray& other) : tql_bytearray()
{
    append(other);
}

tql_bytearray::~tql_bytearray()
{
    clear();
}

tql_bytearray& tql_bytearray::operator=(const tql_bytearray& other)
{
    if (this != &other) {
        m_size = 0;
        append(other);
    }
    return *this;
}

tql_bytearray& tql_bytearray::operator=(const tql_string& text)
{
    m_size = 0;
    return append(text);
}

void tql_bytearray::reallocateTo(int n)
{
    if (m_capacity >= n)
        return;
    int capacity = (n & ~63) + 64;
    if (!m_data) {
        m_data = static_cast<char*>(tql_malloc(static_cast<size_t>(capacity)));
    } else {
        m_data = static_cast<char*>(tql_realloc(m_data, static_cast<size_t>(capacity)));
        memset(m_data + m_size, 0, static_cast<size_t>(capacity - m_size));
    }
    m_capacity = capacity;
}

tql_bytearray& tql_bytearray::append(const char* text, int length)
{
    if (!text || length < 1)
        return *this;
    reallocateTo(m_size + length);
    memmove(m_data + m_size, text, static_cast<size_t>(length));
    m_size += length;
    return *this;
}

tql_bytearray& tql_bytearray::append(const tql_string& text)
{
    return append(text.data(), text.length());
}

tql_bytearray& tql_bytearray::append(char c)
{
    return append(&c, 1);
}

tql_bytearray& tql_bytearray::append(const tql_bytearray& other)
{
    return append(other.m_data, other.m_size);
}

void tql_bytearray::clear()
{
    if (m_data)
        tql_free(m_data);
    m_data = nullptr;
    m_capacity = 0;
    m_size = 0;
}

const char* tql_bytearray::constData() const
{
    return m_size == 0 ? nullptr : m_data;
}

char* tql_bytearray::data()
{
    return m_size == 0 ? nullptr : m_data;
}

char tql_bytearray::at(int pos) const
{
    return (pos < 0 || pos >= m_size) ? 0 : m_data[pos];
}

char& tql_bytearray::operator[](int pos)
{
    static char outside;
    if (pos < 0 || pos >= m_size) {
        outside = 0;
        return outside;
    }
    return m_data[pos];
}

int tql_bytearray::indexOf(char c, int from) const
{
    if (from > m_size)
        return -1;
    if (from < 0)
        from = 0;
    for (int i = from; i < m_size; ++i)
        if (m_data[i] == c)
            return i - from;
    return -1;
}

tql_bytearray& tql_bytearray::remove(int pos, int n)
{
    if (pos < 1 || pos >= m_size || n < 1)
        return *this;
    if (n > m_size - pos)
        n = m_size - pos;
    memmove(m_data + pos, m_data + pos + n, static_cast<size_t>(m_size - pos - n));
    m_size -= n;
    return *this;
}

tql_string tql_bytearray::str() const
{
    return tql_string(m_data, m_size);
}

tql_bytearray tql_bytearray::toUpper() const
{
    tql_bytearray out(*this);
    for (int i = 0; i < out.m_size; ++i)
        out.m_data[i] = static_cast<char>(toupper(static_cast<unsigned char>(out.m_data[i])));
    return out;
}

tql_bytearray tql_bytearray::toLower() const
{
    tql_bytearray out(*this);
    for (int i = 0; i < out.m_size; ++i)
        out.m_data[i] = static_cast<char>(tolower(static_cast<unsigned char>(out.m_data[i])));
    return out;
}

void tql_bytearray::resize(int n)
{
    if (n < 0)
        n = 0;
    reallocateTo(n);
    m_size = n;
    if (m_data)
        memset(m_data + n, 0, static_cast<size_t>(m_capacity - n));
}

tql_bytearray& tql_bytearray::chop(int n)
{
    if (n >= 1 && n < m_size)
        m_size -= n;
    return *this;
}

tql_bytearray& tql_bytearray::fill(char c, int n)
{
    if (n >= 0)
        resize(n);
    if (m_size > 0)
        memset(m_data, c, static_cast<size_t>(m_size));
    return *this;
}

tql_bytearray& tql_bytearray::truncate(int n)
{
    if (n >= 0 && n < m_size)
        m_size = n;
    return *this;
}

tql_bytearray& tql_bytearray::insert(int pos, const char* text, int n)
{
    if (!text || n < 1 || pos < 0)
        return *this;
    int oldEnd = m_size;
    if (pos >= m_size) {
        reallocateTo(pos + n);
        m_size = pos + n;
    } else {
        reallocateTo(oldEnd + n); // room for the write at the old end, size unchanged
    }
    memmove(m_data + oldEnd, text, static_cast<size_t>(n));
    return *this;
}

tql_bytearray tql_bytearray::mid(int pos, int n) const
{
    if (pos < 0)
        pos = 0;
    if (pos >= m_size)
        return tql_bytearray();
    if (n < 0 || pos + n >= m_size)
        n = m_size - pos;
    return tql_bytearray(m_data + pos, n);
}

tql_bytearray tql_bytearray::right(int n) const
{
    if (n <= 0)
        return tql_bytearray();
    if (n > m_size)
        n = m_size;
    return tql_bytearray(m_data + m_size - n, n);
}

tql_bytearray tql_bytearray::number(long n, int base)
{
    tql_bytearray out;
    out.resize(tql_typeutils::numDigits(n) + 64);
    out.m_data[0] = '\0';
    tql_typeutils::safeitoa(n, out.m_data, out.m_size, base);
    out.m_size = static_cast<int>(strnlen(out.m_data, static_cast<size_t>(out.m_size)));
    return out;
}

tql_bytearray& tql_bytearray::setNum(long n, int base)
{
    *this = number(n, base);
    return *this;
}

tql_bytearray tql_bytearray::toHex() const
{
    tql_bytearray out;
    out.reallocateTo(m_size * 2);
    for (int i = 0; i < m_size; ++i) {
        unsigned char b = static_cast<unsigned char>(m_data[i]);
        out.append(kHexLower[b >> 4]);
        out.append(kHexLower[b & 15]);
    }
    return out;
}

static int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

tql_bytearray tql_bytearray::fromHex(const char* text, int n)
{
    tql_bytearray out;
    if (!text || n < 1)
        return out;
    out.resize((n + 1) / 2);
    memset(out.m_data, 0, static_cast<size_t>(out.m_size));
    // Filled from the end backwards; skipped characters leave the head at zero.
    unsigned char* cursor = reinterpret_cast<unsigned char*>(out.m_data) + out.m_size;
    bool low = true;
    for (int i = n - 1; i >= 0; --i) {
        int v = hexValue(text[i]);
        if (v < 0)
            continue;
        if (low) {
            *--cursor = static_cast<unsigned char>(v);
            low = false;
        } else {
            *cursor |= static_cast<unsigned char>(v << 4);
            low = true;
        }
    }
    // Has no effect (position 0 cannot be removed); the zero head stays.
    out.remove(0, static_cast<int>(reinterpret_cast<char*>(cursor) - out.m_data));
    return out;
}

int tql_bytearray::toInt(int* ok) const
{
    std::string text(m_data ? m_data : "", static_cast<size_t>(m_size));
    if (ok)
        *ok = 1;
    return static_cast<int>(strtol(text.c_str(), nullptr, 10));
}

unsigned long tql_bytearray::toULong(int* ok) const
{
    return static_cast<unsigned long>(static_cast<long>(toInt(ok)));
}

int tql_bytearray::getTrimmedLine(const char*& cursor, char* buffer, int limit)
{
    if (!cursor || !buffer || limit < 1)
        return 0;
    while (*cursor == '\n')
        ++cursor;
    int n = 0;
    while (n < limit - 1 && *cursor != '\0' && *cursor != '\n')
        buffer[n++] = *cursor++;
    buffer[n] = '\0';
    if (*cursor == '\n')
        ++cursor;
    for (int i = n - 1; i >= 0; --i) {
        char c = buffer[i];
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r' && c != '\v')
            break;
        buffer[i] = '\0';
    }
    return n;
}

static int base64Value(char c)
{
    const char* p = c ? strchr(kBase64, c) : nullptr;
    return p ? static_cast<int>(p - kBase64) : 0;
}

tql_bytearray tql_bytearray::decode64Based() const
{
    tql_bytearray out;
    int firstPad = indexOf('=', 0);
    int tail = firstPad < 0 ? 0 : m_size - firstPad;
    int resultLength = m_size * 3 / 4 - tail;
    if (resultLength <= 0)
        return out;
    out.resize(resultLength);
    int w = 0;
    for (int i = 0; i + 3 < m_size && w < resultLength; i += 4) {
        int v[4];
        for (int k = 0; k < 4; ++k)
            v[k] = base64Value(m_data[i + k]);
        out.m_data[w++] = static_cast<char>((v[0] << 2) | (v[1] >> 4));
        if (v[2] == 64 || w >= resultLength)
            break;
        out.m_data[w++] = static_cast<char>(((v[1] & 15) << 4) | (v[2] >> 2));
        if (v[3] == 64 || w >= resultLength)
            break;
        out.m_data[w++] = static_cast<char>(((v[2] & 3) << 6) | v[3]);
    }
    return out;
}

tql_string tql_bytearray::dump() const
{
    tql_string out("");
    for (int i = 0; i < m_size; ++i) {
        unsigned char b = static_cast<unsigned char>(m_data[i]);
        out += kHexUpper[b >> 4];
        out += kHexUpper[b & 15];
        out += ' ';
    }
    return out;
}

void tql_bytearray::dumpRawData() const
{
    TQL_LOG(4, "--------------------------------------");
    TQL_LOG(4, "index\thex\tdec\tchar");
    TQL_LOG(4, "--------------------------------------");
    for (int i = 0; i < m_size; ++i) {
        unsigned char b = static_cast<unsigned char>(m_data[i]);
        TQL_LOG(4, "%d\t0x%02x\t%d\t%c", i, b, b, b);
    }
}

tql_bytearray tql_bytearray::fromUTf8String(const tql_string& text)
{
    return text.toUtf8();
}

tql_bytearray& tql_bytearray::setRawData(const char* text, int n)
{
    if (!text)
        return *this;
    clear();
    return append(text, n);
}
