#include "tamberTypeUtils.h"

static const char kDigits[] = "0123456789ABCDEF";
static const char kComplement[] = "FEDCBA9876543210";

int tql_typeutils::numDigits(long n)
{
    int digits = n < 0 ? 1 : 0;
    for (unsigned long v = getAbs(n); v != 0; v /= 10)
        ++digits;
    return digits;
}

unsigned long tql_typeutils::getAbs(long n)
{
    // Through unsigned, so that the most negative value has an absolute value too.
    return n < 0 ? 0UL - static_cast<unsigned long>(n) : static_cast<unsigned long>(n);
}

unsigned long tql_typeutils::twosNegation(long n, int base)
{
    if (n >= 0)
        return static_cast<unsigned long>(n);
    return base == 10 ? getAbs(n) : ~static_cast<unsigned long>(n);
}

static int digitValue(char c)
{
    for (int i = 0; i < 16; ++i)
        if (kDigits[i] == c)
            return i;
    return 0;
}

int tql_typeutils::negateBuffer(char* buffer, int size, int count, int base)
{
    if (base != 10) {
        for (int i = 0; i < count; ++i)
            buffer[i] = kComplement[digitValue(buffer[i]) + 16 - base];
    }
    if (count >= size - 1)
        return count;
    buffer[count++] = base == 10 ? '-' : kDigits[base - 1];
    buffer[count] = '\0';
    return count;
}

void tql_typeutils::safestrrev(char* buffer, int size, int count)
{
    int n = count < size ? count : size;
    for (int i = 0, j = n - 1; i < j; ++i, --j) {
        char t = buffer[i];
        buffer[i] = buffer[j];
        buffer[j] = t;
    }
}

char* tql_typeutils::safeitoa(long n, char* buffer, int size, int base)
{
    if (base > 16 || base < 2 || !buffer || size < 1)
        return nullptr;
    unsigned long v = twosNegation(n, base);
    int count = 0;
    buffer[0] = '\0';
    do {
        if (count >= size - 1)
            break;
        buffer[count++] = kDigits[v % static_cast<unsigned long>(base)];
        buffer[count] = '\0';
        v /= static_cast<unsigned long>(base);
    } while (v != 0);
    if (n < 0)
        count = negateBuffer(buffer, size, count, base);
    safestrrev(buffer, size, count);
    return buffer;
}
