#include "tamberRequest.h"

#include "tamberTypes/tamberDebug.h"

TamberRequest::TamberRequest(tql_core* core) : m_core(core), m_errorResponse{0, 0} {}

TamberRequest::~TamberRequest() {}

void TamberRequest::setLibraryErrorResponse(int code, int serverCode)
{
    m_errorResponse.errorCode = code;
    m_errorResponse.responseCode = serverCode;
    TQL_LOG(4, "setLibraryErrorResponse: %d", code);
    TQL_LOG(3, "TQL Response code: %d", serverCode);
}

void TamberRequest::getErrorResponse(tql_errorNotification* out) const
{
    if (!out)
        return;
    out->errorCode = m_errorResponse.errorCode;
    out->responseCode = m_errorResponse.responseCode;
}
