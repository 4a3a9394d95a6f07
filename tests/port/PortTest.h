#ifndef PORT_TEST_H
#define PORT_TEST_H

#include <gtest/gtest.h>

#include "ScriptedPort.h"
#include "tqllib.h"

// Every test starts with no core and a fresh scripted port.
class PortTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        tql_deinit();
        port().reset();
    }
    void TearDown() override { tql_deinit(); }

    static testport::ScriptedPort& port() { return testport::ScriptedPort::get(); }
};

#endif
