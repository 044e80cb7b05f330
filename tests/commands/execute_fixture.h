#pragma once

#include <QList>
#include <QString>

#include "instrument_fixture.h"
#include "vireo2.h"

namespace vireo2::test {

// A connected instrument with the background poll stopped, and Execute
// taking and giving QString.
class ExecuteTest : public InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        ASSERT_NO_FATAL_FAILURE(connectInstrument(false));
        clearCommands();
    }

    static QString exec(const QString& line) { return QString::fromUtf8(Execute(line.toUtf8().constData())); }

    // What reached the instrument, without the background poll's questions.
    QList<QByteArray> sent() const
    {
        QList<QByteArray> result;
        for (const QByteArray& command : commands()) {
            if (command != "button triggered?" && command != "meas done?" && command != "scan done?")
                result << command;
        }
        return result;
    }
};

} // namespace vireo2::test
