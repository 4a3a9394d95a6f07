#ifndef TAMBER_REQUEST_H
#define TAMBER_REQUEST_H

#include "tqllib.h"

class tql_core;

// The service client. Failures travel as a library error code and the last
// service code, read back with getErrorResponse.
class TamberRequest {
public:
    explicit TamberRequest(tql_core* core);
    virtual ~TamberRequest();
    TamberRequest(const TamberRequest&) = delete;
    TamberRequest& operator=(const TamberRequest&) = delete;

    void setLibraryErrorResponse(int code, int serverCode);
    // Copies the library error and the service code; the rest of out is untouched.
    void getErrorResponse(tql_errorNotification* out) const;
    tql_core* getCore() const { return m_core; }

private:
    tql_core* m_core;
    struct {
        int errorCode;
        int responseCode;
    } m_errorResponse;
};

#endif
