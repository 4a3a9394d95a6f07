#include "tamberPrivateConstants.h"

TamberPrivateConstants::TamberPrivateConstants()
{
#define TAMBER_CONSTANT_INIT(name, text) m_##name = text;
    TAMBER_PRIVATE_CONSTANTS(TAMBER_CONSTANT_INIT)
#undef TAMBER_CONSTANT_INIT
}

TamberPrivateConstants::~TamberPrivateConstants() {}

tql_list<tql_string> TamberPrivateConstants::names() const
{
    tql_list<tql_string> out;
#define TAMBER_CONSTANT_NAME(name, text) out.push_back(m_##name);
    TAMBER_PRIVATE_CONSTANTS(TAMBER_CONSTANT_NAME)
#undef TAMBER_CONSTANT_NAME
    return out;
}

const TamberPrivateConstants g_TamberPrivate_constants;
