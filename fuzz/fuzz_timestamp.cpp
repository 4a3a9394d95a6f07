// Arbitrary text through the fixed-column timestamp parser, and the parsed
// time through every formatter.
#include <cstdint>
#include <string>

#include "tamberTypes/tamberDateTime.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    tql_string text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    tamberTime base(static_cast<uint64_t>(1700000000123ULL));
    uint64_t ms = base.tamberTimeGetTimeAsMSec(text);

    tamberTime parsed(ms);
    parsed.tamberTimeGetTimeAsConsumeString();
    parsed.tamberTimeGetTimeAsString();
    parsed.tamberTimeGetTimeAsShortString();
    parsed.tamberTimeGetTimeAsDate();
    parsed.tamberTimeGetTimeAsHPDTString(static_cast<int>(size % 48));
    parsed.tamberTimeGetTimeAsRequestString();

    tql_datetime d = tql_datetime::fromMSecsSinceEpoch(ms, true);
    d.toString(static_cast<int>(size % 3));
    d.addSecs(static_cast<int64_t>(size) * 977).toMSecsSinceEpoch();
    d.addMonths(static_cast<int>(size % 30)).toString(1);
    d.weekNumber(nullptr);
    return 0;
}
