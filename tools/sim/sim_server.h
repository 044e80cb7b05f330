#pragma once

#include <QByteArray>
#include <QList>
#include "threading/locks.h"
#include <QString>
#include <atomic>
#include <memory>

#include "sim_engine.h"

class QTcpSocket;
class QThread;

namespace vireo2::sim {

// The simulated instrument's TCP end: listens on 127.0.0.1 only, serves any
// number of clients at once (each on its own thread), reads BCP packets and
// answers each command with one BCP reply from the engine. Uses Qt's blocking
// socket calls on its own threads, so it needs no event loop and no
// QCoreApplication; threads wake every kPollMs to notice stop().
class SimServer {
public:
    static constexpr quint16 kDefaultPort = 60001;
    static constexpr int kPollMs = 50;

    // A null model means the default instrument.
    explicit SimServer(std::shared_ptr<InstrumentModel> model = nullptr);
    ~SimServer();

    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Listens on 127.0.0.1:port (0: a free port chosen by the system).
    bool start(quint16 port = 0);
    // Closes every client and the listening socket; waits for all threads.
    void stop();
    bool isRunning() const;
    QString errorString() const;

    quint16 port() const;
    // "127.0.0.1:<port>", the address CEthernet::OpenPort takes.
    QByteArray address() const;

    SimEngine& engine() { return engine_; }
    FaultScript& faults() { return engine_.faults(); }
    QList<QByteArray> commands() const { return engine_.commands(); }
    bool waitForCommand(const QByteArray& command, int timeoutMs) const
    {
        return engine_.waitForCommand(command, timeoutMs);
    }

    // Clients connected right now.
    int clientCount() const;
    // Waits until `count` clients are connected.
    bool waitForClientCount(int count, int timeoutMs) const;
    // Closes the current client connections; the server keeps listening.
    void dropClients();

private:
    struct Client;

    void acceptLoop();
    void serveClient(const std::shared_ptr<Client>& client);
    bool deliver(QTcpSocket& socket, const Client& client, const ReplyPlan& plan);
    bool pause(int ms, const Client& client) const;
    void reapFinishedClients();

    SimEngine engine_;

    mutable Mutex mutex_;
    mutable WaitCondition stateChanged_;
    std::atomic<bool> stopping_{false};
    bool listening_ = false;
    bool startFinished_ = false;
    quint16 port_ = 0;
    QString error_;
    QThread* acceptor_ = nullptr;
    QList<std::shared_ptr<Client>> clients_;
    int connectedCount_ = 0;
};

} // namespace vireo2::sim
