#ifndef TAMBER_NODE_RESPONDER_H
#define TAMBER_NODE_RESPONDER_H

#include "tamberTokens.h"

class tql_core;

// The streaming engine. It keeps the request and the token of the playback,
// which a session resume reuses.
class CMTamberNodeResponder {
public:
    explicit CMTamberNodeResponder(tql_core* core) : m_core(core) {}
    virtual ~CMTamberNodeResponder() {}
    CMTamberNodeResponder(const CMTamberNodeResponder&) = delete;
    CMTamberNodeResponder& operator=(const CMTamberNodeResponder&) = delete;

    tql_core* getCore() const { return m_core; }

    tokenRequestStrT m_tokenRequest;
    tokenDataT m_tokenData;

private:
    tql_core* m_core;
};

#endif
