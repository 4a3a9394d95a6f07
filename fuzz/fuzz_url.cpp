// Arbitrary text through the URL parser and both text forms. Besides not
// crashing, percent-encoding must always decode back to the input.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tamberTypes/tamberUrl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    bool lowerCase = data[0] & 1;
    tql_string text(reinterpret_cast<const char*>(data) + 1, static_cast<int>(size - 1));

    tql_url url(text, lowerCase);
    tql_string plain = url.toString(tql_url::None);
    tql_bytearray encoded = url.toEncoded(tql_url::None);
    url.toString(tql_url::RemoveAuthority | tql_url::StripTrailingSlash);
    url.queryItemValue(tql_string("a"));
    url.encodedQueryItems();
    url.authority();
    url.isEmpty();

    // Re-parsing the printed form must not fail either.
    tql_url again(plain, lowerCase);
    again.toEncoded(tql_url::RemoveQuery);
    tql_url fromBytes;
    fromBytes = encoded;

    if (tql_url::uriDecode(tql_url::uriEncode(text)) != text)
        abort();
    tql_url::uriDecode(text);
    return 0;
}
