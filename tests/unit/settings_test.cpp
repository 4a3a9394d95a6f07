// Settings access through the port: the account record's slots, null versus
// empty fields, and the five fixed-size text getters.
#include <array>
#include <string>

#include "PortTest.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberSettings.h"
#include "tqllib.h"

namespace {

class SettingsIntTest : public PortTest {};

// Each internal field and the port slot that carries it.
const struct { tql_string TamberAccount::*field; size_t slot; } kSlots[] = {
    {&TamberAccount::username, 0},      {&TamberAccount::password, 1},      {&TamberAccount::accountField6, 6},
    {&TamberAccount::accountField3, 3}, {&TamberAccount::accountField2, 2}, {&TamberAccount::accountField4, 4},
    {&TamberAccount::accountField5, 5}, {&TamberAccount::accountField7, 7},
};

std::string text(const tql_bytearray& bytes)
{
    return bytes.size() ? std::string(bytes.constData(), static_cast<size_t>(bytes.size())) : std::string();
}

TEST_F(SettingsIntTest, GetAccountMapsSlotsAndKeepsNullApartFromEmpty)
{
    // No account: every field null, and the port still gets its free call.
    TamberAccount account = tamberSettingsInt().getAccount();
    for (const auto& s : kSlots)
        EXPECT_TRUE((account.*s.field).isNull()) << "slot " << s.slot;
    EXPECT_EQ(port().freeAccountCalls, 1);

    port().hasAccount = true;
    for (size_t i = 0; i < 8; ++i) {
        port().account[i] = "slot" + std::to_string(i);
        port().accountSlotSet[i] = true;
    }
    account = tamberSettingsInt().getAccount();
    for (const auto& s : kSlots)
        EXPECT_EQ((account.*s.field).toStdString(), "slot" + std::to_string(s.slot)) << "slot " << s.slot;

    // Only slot 3 empty and slot 6 set: the rest was never given and stays null.
    port().accountSlotSet = {};
    port().accountSlotSet[3] = port().accountSlotSet[6] = true;
    port().account[3] = "";
    account = tamberSettingsInt().getAccount();
    for (const auto& s : kSlots) {
        EXPECT_EQ((account.*s.field).isNull(), s.slot != 3 && s.slot != 6) << "slot " << s.slot;
        EXPECT_EQ((account.*s.field).toStdString(), s.slot == 6 ? "slot6" : "") << "slot " << s.slot;
    }
    EXPECT_EQ(port().getAccountCalls, 3);
    EXPECT_EQ(port().freeAccountCalls, 3);
}

TEST_F(SettingsIntTest, SetAccountWritesEveryFieldToItsSlot)
{
    TamberAccount account;
    for (const auto& s : kSlots)
        account.*s.field = tql_string("value" + std::to_string(s.slot));
    EXPECT_TRUE(tamberSettingsInt().setAccount(account));
    EXPECT_EQ(port().setAccountCalls, 1);
    for (const auto& s : kSlots)
        EXPECT_EQ(port().account[s.slot], "value" + std::to_string(s.slot));
    TamberAccount back = tamberSettingsInt().getAccount();
    for (const auto& s : kSlots)
        EXPECT_EQ((back.*s.field).toStdString(), "value" + std::to_string(s.slot));

    // Fields never set still reach the port as texts, empty ones, in all eight slots.
    TamberAccount sparse;
    sparse.username = "user";
    EXPECT_TRUE(tamberSettingsInt().setAccount(sparse));
    EXPECT_EQ(port().account, (std::array<std::string, 8>{"user", "", "", "", "", "", "", ""}));
    EXPECT_EQ(port().accountSlotSet, (std::array<bool, 8>{true, true, true, true, true, true, true, true}));
    port().setAccountResult = 0;
    EXPECT_FALSE(tamberSettingsInt().setAccount(account));
}

using testport::ScriptedPort;
const struct {
    tql_bytearray (tamberSettingsInt::*read)();
    std::string ScriptedPort::*value;
    const char* overrideKey;
} kGetters[] = {
    {&tamberSettingsInt::getMAC, &ScriptedPort::mac, "mac"},
    {&tamberSettingsInt::getConfigUrl, &ScriptedPort::configUrl, "configUrl"},
    {&tamberSettingsInt::getDeviceMake, &ScriptedPort::deviceMake, "make"},
    {&tamberSettingsInt::getDeviceModel, &ScriptedPort::deviceModel, "model"},
    {&tamberSettingsInt::getFixedKey, &ScriptedPort::fixedKey, "fixedKey"},
};

TEST_F(SettingsIntTest, GettersReturnWhatThePortGaveUpTo254Bytes)
{
    std::string longText;
    for (int i = 0; i < 300; ++i)
        longText += static_cast<char>('A' + i % 26);
    for (const auto& g : kGetters) {
        SCOPED_TRACE(g.overrideKey);
        tamberSettingsInt settings;
        long before = port().liveAllocations();
        for (const std::string& given : {std::string("text of ") + g.overrideKey, longText.substr(0, 254), longText}) {
            port().*g.value = given;
            EXPECT_EQ(text((settings.*g.read)()), given.substr(0, 254));
        }
        {
            tql_bytearray bytes = (settings.*g.read)();
            EXPECT_EQ(port().liveAllocations(), before + 1); // the result's block; the read buffer went back
        }
        EXPECT_EQ(port().liveAllocations(), before);
    }
}

TEST_F(SettingsIntTest, GettersGiveEmptyForNoCountOrNoMemoryAndReadACleanedBuffer)
{
    for (const auto& g : kGetters) {
        SCOPED_TRACE(g.overrideKey);
        tamberSettingsInt settings;
        long before = port().liveAllocations();
        for (int count : {0, -1, -254}) {
            port().getterResultOverride[g.overrideKey] = count;
            EXPECT_TRUE((settings.*g.read)().isEmpty()) << count;
        }
        // A port that claims bytes it never wrote hands back the cleared buffer, not old memory.
        port().getterResultOverride[g.overrideKey] = 12;
        EXPECT_EQ(text((settings.*g.read)()), std::string(12, '\0'));
        port().getterResultOverride.clear();
        port().failMallocAfter = 0;
        EXPECT_TRUE((settings.*g.read)().isEmpty());
        port().failMallocAfter = -1;
        EXPECT_EQ(port().liveAllocations(), before);
    }
}

} // namespace
