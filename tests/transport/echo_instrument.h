#pragma once

#include <QByteArray>
#include <QList>
#include <memory>

#include "instrument_model.h"

namespace vireo2::test {

// A minimal instrument for transport tests, independent of the simulated
// Vireo2: "version" gives a fixed identity, every other command its first
// word in upper case and " 0x00"; the control line "ping" answers "pong".
class EchoInstrument : public sim::InstrumentModel {
public:
    static constexpr const char* kVersionReply = "VERSION 0x00 Echo 1.0";

    QByteArray reply(const QByteArray& command) override
    {
        const QByteArray text = command.trimmed();
        if (text.compare("version", Qt::CaseInsensitive) == 0)
            return kVersionReply;
        return text.split(' ').value(0).toUpper() + " 0x00";
    }

    QString control(const QString& line) override
    {
        return line == QLatin1String("ping") ? QStringLiteral("pong") : QString();
    }

    static std::shared_ptr<EchoInstrument> create() { return std::make_shared<EchoInstrument>(); }
};

} // namespace vireo2::test
