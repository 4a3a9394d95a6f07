#ifndef TAMBER_BYTE_ARRAY_H
#define TAMBER_BYTE_ARRAY_H

#include "tamberString.h"

// Binary block in port memory (tql_malloc), so that a block can be handed to
// the host. Grows in steps of 64 bytes and never shrinks except by clear().
// Never assumes a terminator. Several edges are deliberately not what the
// names suggest; they are noted below and callers rely on them.
class tql_bytearray {
public:
    tql_bytearray();
    tql_bytearray(const char* data, int length);
    tql_bytearray(const tql_bytearray& other);
    virtual ~tql_bytearray();

    // Both keep the block: size goes to 0, then the source is appended.
    tql_bytearray& operator=(const tql_bytearray& other);
    tql_bytearray& operator=(const tql_string& text);

    // Does nothing for a NULL text or length < 1.
    tql_bytearray& append(const char* text, int length);
    tql_bytearray& append(const tql_string& text);
    tql_bytearray& append(char c);
    tql_bytearray& append(const tql_bytearray& other);

    void clear(); // frees the block
    // NULL when size is 0, even with a block.
    const char* constData() const;
    char* data();
    int size() const { return m_size; }
    int length() const { return m_size; }
    int capacity() const { return m_capacity; }
    bool isEmpty() const { return m_size == 0; }
    char at(int pos) const; // 0 past the end
    // Past the end a static byte is returned, so a stray write lands harmlessly.
    char& operator[](int pos);
    // Result is relative to from; from past size gives -1.
    int indexOf(char c, int from = 0) const;
    bool contains(char c) const { return indexOf(c, 0) >= 0; }
    // Position 0 cannot be removed, deliberately.
    tql_bytearray& remove(int pos, int n);
    tql_string str() const;
    tql_bytearray toUpper() const;
    tql_bytearray toLower() const;
    void putZeroEnd() {}
    void resize(int n);
    // Cannot chop a block empty.
    tql_bytearray& chop(int n);
    tql_bytearray& fill(char c, int n = -1);
    tql_bytearray& truncate(int n);
    // Writes at the old end; grows to pos + n only when pos is at or past the end.
    tql_bytearray& insert(int pos, const char* text, int n);
    tql_bytearray mid(int pos, int n = -1) const;
    tql_bytearray left(int n) const { return mid(0, n); }
    tql_bytearray right(int n) const;
    static tql_bytearray number(long n, int base = 10);
    tql_bytearray& setNum(long n, int base = 10);
    tql_bytearray toHex() const;
    static tql_bytearray fromHex(const char* text, int n);
    static tql_bytearray fromHex(const tql_bytearray& hex) { return fromHex(hex.constData(), hex.size()); }
    // Writes 1 to ok whatever the text held.
    int toInt(int* ok = nullptr) const;
    unsigned long toULong(int* ok = nullptr) const;
    // Copies one line from cursor into buffer (at most limit - 1 characters),
    // leaves cursor behind its newline, and cuts trailing white space.
    // Returns the number of characters copied.
    static int getTrimmedLine(const char*& cursor, char* buffer, int limit);
    tql_bytearray decode64Based() const;
    tql_string dump() const;
    void dumpRawData() const;
    static tql_bytearray fromUTf8String(const tql_string& text);
    tql_bytearray& setRawData(const char* text, int n);

    // The growth policy: the next multiple of 64 above n.
    void reallocateTo(int n);

private:
    char* m_data;
    int m_capacity;
    int m_size;
};

#endif
