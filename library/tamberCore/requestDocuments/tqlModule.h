#ifndef TQL_MODULE_H
#define TQL_MODULE_H

#include "tamberJson/tamberJson.h"
#include "tamberTypes/tamberString.h"

class TQLModuleResponseBase;

// Base of the module bodies of requests.
class TQLModuleRequestBase : public tql_jsonGen {
public:
    virtual ~TQLModuleRequestBase() {}
    virtual void clear() {}
};

// One module: the body of a request, and the envelope record of a reply,
// which points to the typed response the reply's handler built.
class TQLModule : public tql_jsonGen {
public:
    TQLModule()
        : m_moduleRequest(nullptr), m_moduleResponse(nullptr), moduleArea(""), moduleType(""), moduleGUID(""),
          moduleSubType("")
    {
    }
    virtual ~TQLModule() {}

    TQLModuleRequestBase* m_moduleRequest;
    TQLModuleResponseBase* m_moduleResponse;
    tql_string moduleArea;
    tql_string moduleType;
    tql_string moduleGUID;
    tql_string moduleSubType;
};

#endif
