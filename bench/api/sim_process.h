#pragma once

#include <QCoreApplication>
#include <QProcess>
#include <cstdio>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

namespace vireo2::bench {

// vireo2-sim in its own process on a free port of 127.0.0.1, as a host meets
// an instrument: the library's threads and the simulator's never share a
// process or its CPU accounting.
class SimProcess {
public:
    explicit SimProcess(const QString& program) : program_(program) {}
    ~SimProcess()
    {
        process_.kill();
        process_.waitForFinished(2000);
    }

    // `extra`: further options (a track, a sheet...); with "--track" the
    // start also waits for the track's address.
    bool start(const QStringList& extra = {})
    {
        process_.start(program_, QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--calibrated")} + extra);
        if (!process_.waitForStarted(5000))
            return false;
        QByteArray out;
        while (process_.waitForReadyRead(5000)) {
            out += process_.readAllStandardOutput();
            const auto match = QRegularExpression(QStringLiteral("sim listening on 127\\.0\\.0\\.1:(\\d+)")).match(QString::fromLatin1(out));
            const auto track = QRegularExpression(QStringLiteral("track listening on 127\\.0\\.0\\.1:(\\d+)")).match(QString::fromLatin1(out));
            if (match.hasMatch() && (track.hasMatch() || !extra.contains(QStringLiteral("--track")))) {
                port_ = match.captured(1).toUShort();
                trackPort_ = track.hasMatch() ? track.captured(1).toUShort() : 0;
                return true;
            }
        }
        return false;
    }

    quint16 port() const { return port_; }
    QByteArray address() const { return "127.0.0.1:" + QByteArray::number(port_); }
    // The simulated track's "HOST:PORT" (started with "--track").
    QByteArray trackAddress() const { return "127.0.0.1:" + QByteArray::number(trackPort_); }

private:
    QString program_;
    QProcess process_;
    quint16 port_ = 0;
    quint16 trackPort_ = 0;
};

// Starts the simulator beside this program and points the library at it
// (not yet connected); false, with the reason on stderr, when it did not start.
inline bool startSimulatorFor(SimProcess& sim, bool (*setOption)(const char*, const char*))
{
    if (!sim.start()) {
        std::fprintf(stderr, "vireo2-sim did not start\n");
        return false;
    }
    setOption("connection_method", "TCP");
    setOption("device_ip_address", sim.address().constData());
    return true;
}

inline QString simulatorProgram()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/vireo2-sim");
}

} // namespace vireo2::bench
