#pragma once

#include <gtest/gtest.h>

#include "echo_instrument.h"
#include "sim_server.h"
#include "transport/ethernet_transport.h"

namespace vireo2::test {

// A CEthernet connected to the in-process simulator playing EchoInstrument,
// with the reply of the last exchange.
class EchoTransportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sim.start());
        ASSERT_TRUE(transport.OpenPort(sim.address()));
    }

    sim::SimServer sim{EchoInstrument::create()};
    CEthernet transport;
    QByteArray reply;
};

} // namespace vireo2::test
