#ifndef TAMBER_SETTINGS_H
#define TAMBER_SETTINGS_H

#include "tamberByteArray.h"
#include "tamberString.h"

// The stored account. Only user name and password mean anything to the
// library; the other six are kept so that what the port gave goes back
// unchanged.
class TamberAccount {
public:
    tql_string username;
    tql_string password;
    tql_string accountField6;
    tql_string accountField3;
    tql_string accountField2;
    tql_string accountField4;
    tql_string accountField5;
    tql_string accountField7;
};

// Settings access through the port; holds nothing.
class tamberSettingsInt {
public:
    // Fields the port did not give stay null.
    TamberAccount getAccount();
    bool setAccount(TamberAccount account);
    tql_bytearray getMAC();
    tql_bytearray getConfigUrl();
    tql_bytearray getDeviceMake();
    tql_bytearray getDeviceModel();
    tql_bytearray getFixedKey();
};

#endif
