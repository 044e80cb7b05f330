// How Execute cuts a line, finds its command and answers: glued two-word
// keys, ";" lines, lock-free queries, pass-through, raised argument faults,
// sendcommand, the instrument's own errors and the menu close.
#include "execute_fixture.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

using DispatchTest = ExecuteTest;

TEST_F(DispatchTest, SpellingsReachTheSameCommand)
{
    const QList<QPair<QString, QString>> cases{
        {"clock get", "CLOCK 0x00 "},  {"clockget", "CLOCK 0x00 "},  {"CLOCKGET", "CLOCK 0x00 "},
        {"clock;get", "CLOCK 0x00 "},  {"Clock Get", "CLOCK 0x00 "}, {"instrument get aperture", "4.0mm"},
        {"ism0m1compliant", "1"},      {"IsM0M1Compliant", "0"},     {"scan IsLaserOn?", "0"},
        {"Menu Go Home now", "<00>"},  {"scanissupported", "1"},     {"scangetstatus", "0"},
        {"scangetcount", "0"},         {"calstatus get", "1"},       {"IsScanRequested", "0"},
    };
    for (const auto& [line, answer] : cases)
        EXPECT_TRUE(exec(line).startsWith(answer)) << line.toStdString() << " -> " << exec(line).toStdString();
    // Only clock set sends the menu close; nothing answered from the
    // driver's own state reached the instrument.
    for (const QByteArray& command : sent())
        EXPECT_TRUE(command == "clock read" || command == "Cal Query Status") << command.constData();
}

TEST_F(DispatchTest, UnknownWordsAndScansetPassTheWholeLine)
{
    script("frob now", "FROB 0x00 two words");
    script("frob later", "FROB 0x31");
    const QList<QPair<QString, QString>> cases{
        {"test", "NO VALUE FOUND"},         {"scanset speed  5", "NO VALUE FOUND"},
        {"islaseron", "NO VALUE FOUND"},    {"clock set;2020", "NO VALUE FOUND"},
        {"frob now", "two words"},          {"meas get mode", "NO VALUE FOUND"},
        {"scanconfig 8 6.5", "NO VALUE FOUND"},
    };
    for (const auto& [line, answer] : cases)
        EXPECT_EQ(exec(line), answer) << line.toStdString();
    EXPECT_EQ(sent(), (QList<QByteArray>{"test", "scanset speed  5", "islaseron", "clock set;2020", "frob now",
                                         "meas get mode", "scanconfig 8 6.5"}));
    EXPECT_EQ(exec("frob later"), QString());
    EXPECT_TRUE(hasError(0x31, "FAILED: Status Error 31"));
}

TEST_F(DispatchTest, ArgumentFaultsAreRecordedAndSendNothing)
{
    struct Case {
        const char* line;
        int code;
    };
    const Case cases[] = {
        {"getsignature", 20504},        {"clock set 2024 01 02 03 04", 20502}, {"serialnum get", 20502},
        {"calstatusget", 20502},        {"clock set 2024  02 03 04 05", 20502}, {"setmodel", 20502},
        {"setmodel;", 20502},           {"start backup x", 20503},             {"start;frob;x", 20503},
        {"start;;x", 20502},            {"scangetdata 1 x", 20503},            {"addlibrary", 20502},
        {"editlibrary;a", 20502},  {"removetool;spot", 20502},               {"systemupdate", 20502},
        {"sendcommand 5000", 20502},    {"setspotmeasurementconfig;[1]", 20503},
        // Numbers no paper or sheet has: not finite, or a strip longer than
        // the track's 1,060 mm traverse, or more strips than any sheet.
        {"autoscanpaper;nan;inf;-inf", 20503},     {"autoscanpaper;95;1e999;0", 20503},
        {"multistripconfig;2147483647;8;2147483647", 20503}, {"multistripconfig;133;8;1", 20503},
        {"multistripconfig;24;nan;1", 20503},      {"multistripconfig;24;8;1001", 20503},
        // No command at all.
        {"", 20504}, {";;;;", 20504}, {" ;  ", 20504},
    };
    const char* texts[] = {"FAILED execute: Missing Arguments", "FAILED execute: Invalid Argument",
                           "FAILED execute: Invalid Command"};
    for (const Case& c : cases) {
        EXPECT_EQ(exec(QString::fromLatin1(c.line)), QString()) << c.line;
        EXPECT_TRUE(hasError(c.code, texts[c.code - 20502])) << c.line;
    }
    EXPECT_TRUE(sent().isEmpty());
    // Clones are not taken as direct commands: empty, with no error.
    for (const char* line : {"backup x", "restore;x"}) {
        EXPECT_EQ(exec(QString::fromLatin1(line)), QString());
        EXPECT_TRUE(hasError(0, "<00>"));
    }
    // The largest of each is taken.
    EXPECT_EQ(exec("multistripconfig;132;8;1000"), QString("<00>"));
    EXPECT_EQ(exec("autoscanpaper;95;-0.5;2"), QString("<00>"));
}

TEST_F(DispatchTest, SendcommandTakesATrailingTimeoutOfAtLeastThreeSeconds)
{
    // A reply 300 ms late still arrives: the timeout of 1 ms is raised.
    sim_.faults().add(Fault::on("version get").delayedBy(300));
    EXPECT_EQ(exec("sendcommand version get 1"), QString("VERSION 0x00 Hueron Vireo2 Plus 0.5.398"));
    EXPECT_EQ(exec("sendcommand serialnum get inst"), QString("SERIALNUM 0x00 2025VR2041217X"));
    EXPECT_EQ(exec("sendcommand serialnum get -5"), QString("SERIALNUM 0x00"));
    EXPECT_EQ(sent(), (QList<QByteArray>{"version get", "serialnum get inst", "serialnum get -5"}));

    // With ";" the fields are command and timeout, blanks belong to the
    // command, and a timeout that is no number is refused unsent.
    clearCommands();
    EXPECT_EQ(exec("sendcommand;version get"), QString("VERSION 0x00 Hueron Vireo2 Plus 0.5.398"));
    EXPECT_TRUE(exec("sendcommand;version;-5").startsWith("VERSION 0x00 Hueron Vireo2"));
    EXPECT_EQ(exec("sendcommand;serialnum get inst;4000"), QString("SERIALNUM 0x00 2025VR2041217X"));
    EXPECT_EQ(exec("sendcommand;version get;"), QString("VERSION 0x00 Hueron Vireo2 Plus 0.5.398"));
    EXPECT_EQ(sent(), (QList<QByteArray>{"version get", "version", "serialnum get inst", "version get"}));
    clearCommands();
    for (const char* line : {"sendcommand;version;soon", "sendcommand;version;5000;x", "sendcommand;;5000"}) {
        EXPECT_EQ(exec(line), QString()) << line;
        EXPECT_NE(GetLastErrorCode(), 0) << line;
    }
    EXPECT_TRUE(hasError(20502, "FAILED execute: Missing Arguments"));
    EXPECT_EQ(exec("sendcommand;version;soon"), QString());
    EXPECT_TRUE(hasError(20503, "FAILED execute: Invalid Argument"));
    EXPECT_TRUE(sent().isEmpty());
}

TEST_F(DispatchTest, AFailedExchangeKeepsItsOwnError)
{
    script("tool goto tethered", "TOOL 0x21");
    EXPECT_EQ(exec("setnetadjustermode"), QString());
    EXPECT_TRUE(hasError(0x21, "FAILED: Status Error 21"));
    EXPECT_EQ(sent(), (QList<QByteArray>{"tethered default", "tool goto tethered"}));

    EXPECT_EQ(exec("enablenetadjuster maybe"), QString());
    EXPECT_TRUE(hasError(0x500F, "FAILED setSettingOption: Invalid Option"));
    EXPECT_EQ(exec("enablenetadjuster;OFF"), QString("<00>"));
    EXPECT_TRUE(sent().contains("NetAdjuster Set Disabled"));
}

TEST_F(DispatchTest, MenuIsClosedAfterWritingTheClockWithoutTouchingTheRecord)
{
    script("menu close", "MENU 0x33");
    EXPECT_EQ(exec("clock set 2024 01 02 03 04 05"), QString("<00>"));
    EXPECT_EQ(sent(), (QList<QByteArray>{"clock write 2024 01 02 03 04 05"}));
    EXPECT_TRUE(hasError(0, "<00>"));
    EXPECT_TRUE(exec("clock get").startsWith("CLOCK 0x00 2024 01 02 03 04 0")) << exec("clock get").toStdString();

    clearCommands();
    EXPECT_EQ(exec("clock set 2024 13 02 03 04 05"), QString());
    EXPECT_EQ(sent(), (QList<QByteArray>{"clock write 2024 13 02 03 04 05"}));
    clearCommands();
    exec("clock get");
    EXPECT_EQ(sent(), QList<QByteArray>{"clock read"});
}

} // namespace
