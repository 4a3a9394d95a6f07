#ifndef TAMBER_TYPE_UTILS_H
#define TAMBER_TYPE_UTILS_H

// Number formatting without the runtime library's printf family.
class tql_typeutils {
public:
    // Decimal digits of n, one more when negative; 0 gives 0.
    static int numDigits(long n);
    static unsigned long getAbs(long n);
    // n when not negative; otherwise -n for base 10 and ~n for other bases.
    static unsigned long twosNegation(long n, int base);
    // Digits of n in base (2..16) into buffer, terminated; NULL for a bad base.
    // Negative numbers are "-digits" in base 10 and two's complement with a
    // sign digit in other bases.
    static char* safeitoa(long n, char* buffer, int size, int base);
    static int negateBuffer(char* buffer, int size, int count, int base);
    static void safestrrev(char* buffer, int size, int count);
};

#endif
