#include "tamberSettings.h"

#include <cstring>

#include "tqllib.h"

static void copySlot(const char* slot, tql_string& field)
{
    if (slot)
        field = tql_string(slot, static_cast<int>(strlen(slot)));
}

TamberAccount tamberSettingsInt::getAccount()
{
    TamberAccount account;
    tql_TamberAccount port;
    memset(&port, 0, sizeof port);
    if (tql_getAccount(&port)) {
        copySlot(port.username, account.username);
        copySlot(port.password, account.password);
        copySlot(port.accountField2, account.accountField2);
        copySlot(port.accountField3, account.accountField3);
        copySlot(port.accountField4, account.accountField4);
        copySlot(port.accountField5, account.accountField5);
        copySlot(port.accountField6, account.accountField6);
        copySlot(port.accountField7, account.accountField7);
    }
    // The port may hold resources for the slots whatever it answered.
    tql_freeAccount(&port);
    return account;
}

bool tamberSettingsInt::setAccount(TamberAccount account)
{
    tql_TamberAccount port;
    port.username = account.username.c_str();
    port.password = account.password.c_str();
    port.accountField2 = account.accountField2.c_str();
    port.accountField3 = account.accountField3.c_str();
    port.accountField4 = account.accountField4.c_str();
    port.accountField5 = account.accountField5.c_str();
    port.accountField6 = account.accountField6.c_str();
    port.accountField7 = account.accountField7.c_str();
    return tql_setAccount(&port) != 0;
}

// The port fills at most 254 bytes of a 255-byte buffer; nothing is terminated.
static tql_bytearray readPortText(int (*getter)(char*, int))
{
    tql_bytearray out;
    char* buffer = static_cast<char*>(tql_malloc(255));
    if (!buffer)
        return out;
    memset(buffer, 0, 255);
    int n = getter(buffer, 254);
    if (n > 0)
        out.append(buffer, n > 254 ? 254 : n);
    tql_free(buffer);
    return out;
}

tql_bytearray tamberSettingsInt::getMAC() { return readPortText(tql_GetMAC); }
tql_bytearray tamberSettingsInt::getConfigUrl() { return readPortText(tql_getConfigUrl); }
tql_bytearray tamberSettingsInt::getDeviceMake() { return readPortText(tql_getDeviceMake); }
tql_bytearray tamberSettingsInt::getDeviceModel() { return readPortText(tql_getDeviceModel); }
tql_bytearray tamberSettingsInt::getFixedKey() { return readPortText(tql_getFixedKey); }
