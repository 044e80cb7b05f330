// The poll's read-ahead on CEthernet: planned commands go out right after a
// reply that allows them, their replies are handed to the exchanges that ask
// for them with the outcome and errors those exchanges would have had alone,
// and anything unplanned drops what is left.
#include <gtest/gtest.h>

#include <thread>

#include "echo_transport_test.h"
#include "transport/reply_parser.h"

using vireo2::ReadAheadStep;
using vireo2::sim::Fault;
using vireo2::test::EchoInstrument;

namespace {

constexpr qint32 kNothingNew = vireo2::kStatusNothingNew;

class ReadAheadTest : public vireo2::test::EchoTransportTest {
protected:
    void SetUp() override
    {
        EchoTransportTest::SetUp();
        // A silent instrument is given up on after the step's own timeout.
        transport.setReadBoundedByTimeout(true);
    }

    void answer(const QByteArray& command, const QByteArray& reply)
    {
        sim.faults().add(Fault::on(command).replying(reply));
    }
    void answerNothingNew()
    {
        answer("button triggered?", "BUTTON 0x07");
        answer("meas done?", "MEAS 0x07");
        answer("scan done?", "SCAN 0x07");
    }
    void planPoll()
    {
        transport.planReadAhead("button triggered?",
                                {{"meas done?", 300, kNothingNew}, {"scan done?", 300, kNothingNew}});
    }
    bool exchange(const char* command) { return transport.SendReceive(command, reply, 300, 0); }
};

const QList<QByteArray> kPoll{"button triggered?", "meas done?", "scan done?"};

TEST_F(ReadAheadTest, NothingNewLetsTheWholePollGoOutWithTheFirstExchange)
{
    answerNothingNew();
    planPoll();
    ASSERT_TRUE(exchange("button triggered?"));
    EXPECT_EQ(reply, QByteArray("BUTTON 0x07"));
    EXPECT_EQ(sim.commands(), kPoll) << "all three asked before the first answer was handed back";

    ASSERT_TRUE(exchange("meas done?"));
    EXPECT_EQ(reply, QByteArray("MEAS 0x07"));
    EXPECT_EQ(transport.lastCommand(), QStringLiteral("meas done?"));
    ASSERT_TRUE(exchange("scan done?"));
    EXPECT_EQ(reply, QByteArray("SCAN 0x07"));
    EXPECT_EQ(sim.commands(), kPoll) << "answers taken from the read-ahead, nothing sent twice";

    // The plan is used up: the same questions go out one by one again.
    ASSERT_TRUE(exchange("button triggered?"));
    EXPECT_EQ(sim.commands().size(), 4);
    EXPECT_EQ(reply, QByteArray("BUTTON 0x00"));
}

// Any other answer may change what the caller asks next (a button press, a
// reading to read out, a lost calibration, a reply to poll, a broken packet):
// the next question then waits for the caller.
TEST_F(ReadAheadTest, AnyOtherAnswerStopsTheReadAhead)
{
    // What, the fault, commands sent by the first exchange.
    const std::tuple<const char*, Fault, int> cases[] = {
        {"button pressed", Fault::on("button triggered?").replying("BUTTON 0x00 Measure"), 1},
        {"reading taken", Fault::on("meas done?").replying("MEAS 0x00"), 2},
        {"calibration lost", Fault::on("meas done?").replying("MEAS 0x85"), 2},
        // The question and its one "done?" poll, nothing ahead.
        {"in progress", Fault::on("button triggered?").withProgress(0, 1000, 1, QByteArray("BUTTON 0x07")), 2},
        {"broken packet", Fault::on("meas done?").replying("MEAS 0x07").withGarbage({}, "junk"), 2},
    };
    for (const auto& [what, fault, sent] : cases) {
        SCOPED_TRACE(what);
        sim.faults().clear();
        sim.faults().add(fault);
        answerNothingNew();
        sim.engine().clearCommands();
        planPoll();
        exchange("button triggered?");
        EXPECT_EQ(sim.commands().size(), sent) << sim.commands().join(", ").constData();
        transport.dropReadAhead();
    }
}

// A question asked ahead ends as it would have alone: the same outcome, the
// same error record, and a reply that never came is still owed.
TEST_F(ReadAheadTest, AnAnswerReadAheadFailsAsItWouldHaveAlone)
{
    auto askAlone = [this](const Fault& fault) {
        sim.faults().clear();
        sim.faults().add(fault);
        const bool ok = exchange("meas done?");
        return std::make_tuple(ok, transport.GetErrorCode(), transport.GetErrorMessage(), reply);
    };
    auto askAhead = [this](const Fault& fault) {
        sim.faults().clear();
        sim.faults().add(fault);
        answer("button triggered?", "BUTTON 0x07");
        planPoll();
        EXPECT_TRUE(exchange("button triggered?"));
        const bool ok = exchange("meas done?");
        transport.dropReadAhead();
        return std::make_tuple(ok, transport.GetErrorCode(), transport.GetErrorMessage(), reply);
    };
    const std::pair<Fault, qint32> cases[] = {
        {Fault::on("meas done?").silently(), 0x5006},
        {Fault::on("meas done?").replying("MEAS 0x07").withGarbage({}, "junk"), 0x5007},
        {Fault::on("meas done?").replying("MEAS 0x07").withLengthField(3), 0x5007},
        // The connection ends instead of the reply; each side reconnects.
        {Fault::on("meas done?").dropping(), 0x5006},
    };
    auto reconnected = [this] {
        if (!transport.IsConnected()) {
            EXPECT_TRUE(sim.waitForClientCount(0, 2000) && transport.OpenPort(sim.address()));
        }
    };
    for (const auto& [fault, code] : cases) {
        const auto alone = askAlone(fault);
        reconnected();
        const auto ahead = askAhead(fault);
        reconnected();
        EXPECT_EQ(ahead, alone) << std::get<2>(alone).toStdString();
        EXPECT_FALSE(std::get<0>(ahead));
        EXPECT_EQ(std::get<1>(ahead), code);
    }

    // The read-ahead's silent "meas done?" is owed: its late answer, arriving
    // ahead of the next reply, is dropped rather than taken for it.
    sim.faults().clear();
    sim.faults().add(Fault::on("meas done?").delayedBy(500));
    answer("button triggered?", "BUTTON 0x07");
    planPoll();
    ASSERT_TRUE(exchange("button triggered?"));
    EXPECT_FALSE(exchange("meas done?"));
    ASSERT_TRUE(transport.SendReceive("version", reply, 2000, 0));
    EXPECT_EQ(reply, QByteArray(EchoInstrument::kVersionReply));
}

TEST_F(ReadAheadTest, UnplannedCommandsAndOtherThreadsAreServedAfresh)
{
    // A different first command leaves the plan unused.
    answerNothingNew();
    planPoll();
    ASSERT_TRUE(exchange("version"));
    ASSERT_TRUE(exchange("button triggered?"));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"version", "button triggered?"}));

    // Questions asked out of the planned order drop the answers waiting.
    sim.faults().clear();
    answerNothingNew();
    sim.engine().clearCommands();
    planPoll();
    ASSERT_TRUE(exchange("button triggered?"));
    ASSERT_TRUE(exchange("scan done?"));
    EXPECT_EQ(reply, QByteArray("SCAN 0x00")) << "asked again, not taken from the read-ahead";
    ASSERT_TRUE(exchange("meas done?"));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"button triggered?", "meas done?", "scan done?", "scan done?",
                                                 "meas done?"}));

    // The plan belongs to the thread that made it.
    sim.faults().clear();
    answerNothingNew();
    sim.engine().clearCommands();
    planPoll();
    std::thread([this] { EXPECT_TRUE(exchange("button triggered?")); }).join();
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"button triggered?"}));
    answer("button triggered?", "BUTTON 0x07");
    ASSERT_TRUE(exchange("button triggered?"));
    EXPECT_EQ(sim.commands().size(), 4);
}

} // namespace
