#include <climits>
#include <cstring>
#include <string>

#include "PortTest.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberTypeUtils.h"

TEST(TqlTypeUtils, DigitsAbsoluteAndNegation)
{
    struct Digits { long n; int want; };
    for (const Digits& d : {Digits{0, 0}, Digits{7, 1}, Digits{10, 2}, Digits{99999, 5}, Digits{-1, 2},
                            Digits{-10, 3}, Digits{LONG_MAX, 19}})
        EXPECT_EQ(tql_typeutils::numDigits(d.n), d.want) << d.n;
    EXPECT_EQ(tql_typeutils::getAbs(-5), 5UL);
    EXPECT_EQ(tql_typeutils::getAbs(5), 5UL);
    struct Negation { long n; int base; unsigned long want; };
    for (const Negation& c : {Negation{5, 16, 5}, Negation{-5, 10, 5}, Negation{-5, 16, 4}, Negation{-5, 2, 4},
                              Negation{-1, 16, 0}})
        EXPECT_EQ(tql_typeutils::twosNegation(c.n, c.base), c.want) << c.n << " base " << c.base;
}

class TqlTypeUtilsPortTest : public PortTest {};

// Negative numbers outside base 10 come out as the complement with one sign
// digit in front: -2 is "FE" in hex, -3 is "101" in binary. number() gives
// the same text, cut at the digits.
TEST_F(TqlTypeUtilsPortTest, SafeitoaAndNumberFormatInAnyBaseUpTo16)
{
    const long live = port().liveAllocations();
    struct Case { long n; int base; const char* want; };
    for (const Case& c : {Case{-1, 10, "-1"}, Case{0, 10, "0"}, Case{-123, 10, "-123"}, Case{255, 16, "FF"},
                          Case{6, 2, "110"}, Case{-1, 16, "FF"}, Case{-2, 16, "FE"}, Case{-256, 16, "F00"},
                          Case{-3, 2, "101"}, Case{-1, 8, "77"}, Case{LONG_MAX, 10, "9223372036854775807"}}) {
        char buffer[32];
        memset(buffer, 'Z', sizeof buffer);
        EXPECT_EQ(tql_typeutils::safeitoa(c.n, buffer, sizeof buffer, c.base), buffer) << c.n;
        EXPECT_STREQ(buffer, c.want) << c.n << " base " << c.base;
        const tql_bytearray number = tql_bytearray::number(c.n, c.base);
        EXPECT_EQ(std::string(number.constData(), number.size()), c.want) << c.n << " base " << c.base;
    }
    char buffer[32];
    EXPECT_EQ(tql_typeutils::safeitoa(10, buffer, sizeof buffer, 17), nullptr);

    {
        tql_bytearray b("hello world", 11);
        EXPECT_EQ(&b.setNum(-7), &b);
        EXPECT_EQ(std::string(b.constData(), b.size()), "-7");
    }
    EXPECT_EQ(port().liveAllocations(), live);

    // At most size - 1 digits, lowest first: the high digits are the ones lost.
    char small[4];
    memset(small, 'Z', sizeof small);
    tql_typeutils::safeitoa(12345, small, sizeof small, 10);
    EXPECT_STREQ(small, "345");
    // The sign is dropped rather than written past a full buffer.
    char dec[8] = "321", full[3] = {'3', '2', '1'};
    EXPECT_EQ(tql_typeutils::negateBuffer(dec, sizeof dec, 3, 10), 4);
    EXPECT_EQ(std::string(dec, 4), "321-");
    EXPECT_EQ(tql_typeutils::negateBuffer(full, sizeof full, 3, 10), 3);
    EXPECT_EQ(std::string(full, 3), "321");
}
