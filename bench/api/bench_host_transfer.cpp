// Object transfers as a host gets them: a 10 MB colour library pushed with
// Execute("addlibrary;...") and pulled with Execute("getlibraryjson;..."),
// against a plain send()/recv() client sending the same chunks and receives;
// and a screen capture through ExecuteBinary. vireo2-sim runs in its own
// process and hands out pulls in 1,000,000-byte chunks; the library waits a
// fixed 200 ms before each later receive of a pull, which the output counts
// separately. Median and range of 5 alternated rounds.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdio>

#include "bench_stats.h"
#include "posix_bcp_client.h"
#include "sim_connection.h"
#include "vireo2.h"

using namespace vireo2::bench;

namespace {

constexpr int kRounds = 5;
constexpr int kLibraryBytes = 10 * 1000 * 1000;
constexpr int kPushChunk = 250000;
constexpr int kPullChunk = 1000000;

QByteArray libraryJson()
{
    QByteArray json = "{\"name\":\"Bench\",\"colours\":\"";
    json += QByteArray(kLibraryBytes - json.size() - 2, 'c');
    json += "\"}";
    return json;
}

bool rawPush(PosixBcpClient& raw, const QByteArray& json)
{
    const int chunks = json.size() / kPushChunk + 1;
    for (int i = 0; i < chunks; ++i) {
        const QByteArray header = "colorlibrary send " + QByteArray::number(chunks - i - 1) + (i == 0 ? " ! |" : " |");
        if (raw.exchange(header + json.mid(i * kPushChunk, kPushChunk)) < 0)
            return false;
    }
    return raw.exchange("colorlibrary add JSON") > 0;
}

bool rawPull(PosixBcpClient& raw)
{
    if (raw.exchange("colorlibrary get JSON Bench") < 0)
        return false;
    qint64 total = 0;
    QByteArray receive = "colorlibrary receive !";
    for (;;) {
        const qint64 size = raw.exchange(receive);
        if (size < 0)
            return false;
        total += size;
        receive = "colorlibrary receive";
        if (QByteArray(raw.payload(), 20).startsWith("COLORLIBRARY 0x00"))
            return total > kLibraryBytes;
    }
}

void line(const char* what, Series& library, Series& baseline)
{
    const double mb = kLibraryBytes / 1e6;
    std::printf("| %-28s | %7.1f MB/s (%.1f-%.1f) | %7.1f MB/s (%.1f-%.1f) | %.2f |\n", what, mb / library.median(),
                mb / library.most(), mb / library.least(), mb / baseline.median(), mb / baseline.most(),
                mb / baseline.least(), baseline.median() / library.median());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    SimProcess sim(simulatorProgram());
    if (!connectToSimulator(sim))
        return 1;
    SetConfiguration("STOP_POLL");
    PosixBcpClient raw;
    if (!raw.connectTo(sim.port()) || raw.exchange("SIM chunk " + QByteArray::number(kPullChunk)) < 0)
        return 1;

    const QByteArray json = libraryJson();
    const QByteArray pushLine = "addlibrary;" + json;
    Series push, rawPushes, pull, rawPulls, capture;
    for (int round = 0; round < kRounds; ++round) {
        push.add(timedSeconds([&] { return QByteArray(Execute(pushLine.constData())) == "COLORLIBRARY 0x00"; }));
        rawPushes.add(timedSeconds([&] { return rawPush(raw, json); }));
        pull.add(timedSeconds([&] { return qstrlen(Execute("getlibraryjson;Bench")) > size_t(kLibraryBytes); }));
        rawPulls.add(timedSeconds([&] { return rawPull(raw); }));
        QByteArray screen(1 << 20, '\0');
        capture.add(timedSeconds([&] {
            return ExecuteBinary(reinterpret_cast<const unsigned char*>("CaptureScreen"), 13, 5000,
                                 reinterpret_cast<unsigned char*>(screen.data()), screen.size()) > 0;
        }));
    }
    const int laterReceives = (kLibraryBytes + kPullChunk - 1) / kPullChunk - 1;
    std::printf("10 MB colour library through Execute, vireo2-sim in its own process; baseline: a send()/recv()\n"
                "client sending the same chunks and receives (median and range of %d alternated rounds)\n\n",
                kRounds);
    std::printf("| transfer | library | baseline | ratio |\n|---|---|---|---|\n");
    line("push (addlibrary)", push, rawPushes);
    line("pull (getlibraryjson)", pull, rawPulls);
    std::printf("\nThe pull waits 200 ms before each of its %d later receives: %.1f s of its %.2f s median.\n",
                laterReceives, laterReceives * 0.2, pull.median());
    std::printf("Screen capture (ExecuteBinary, 57,654-byte BMP): %.1f ms median (%.1f-%.1f)\n", capture.median() * 1e3,
                capture.least() * 1e3, capture.most() * 1e3);
    Disconnect();
    return 0;
}
