// Arbitrary header blocks through the header parser of the transport.
#include <cstdint>

#include "tamberRequest.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static TamberRequest* request = new TamberRequest(nullptr);
    tql_bytearray raw(reinterpret_cast<const char*>(data), static_cast<int>(size));
    tql_httpHeader header;
    request->parseHttpHeader(raw, header);
    request->checkFile(header, static_cast<unsigned int>(size));
    return 0;
}
