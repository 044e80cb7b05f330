// A 10 MB reply through CEthernet::SendReceive against the raw-socket client.
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>

#include "raw_bcp_client.h"
#include "sim_server.h"
#include "transport/ethernet_transport.h"

namespace {

constexpr int kPayloadBytes = 10 * 1000 * 1000;
constexpr int kRounds = 10;

template <typename F>
double bestMillis(F&& exchange)
{
    double best = 1e9;
    QElapsedTimer timer;
    for (int i = 0; i < kRounds; ++i) {
        timer.start();
        if (!exchange()) {
            std::fprintf(stderr, "exchange failed\n");
            return -1;
        }
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    return best;
}

} // namespace

int main()
{
    vireo2::sim::SimServer sim;
    if (!sim.start())
        return 1;
    const QByteArray big = "BLOB 0x00 " + QByteArray(kPayloadBytes, 'b');
    sim.faults().add(vireo2::sim::Fault::on("blob").replying(big).always());

    vireo2::CEthernet transport;
    vireo2::bench::RawBcpClient raw;
    if (!transport.OpenPort(sim.address()) || !raw.connectTo(sim.port()))
        return 1;

    QByteArray reply;
    const double rawMs = bestMillis([&] { return raw.exchange("blob").size() == big.size(); });
    const double transportMs =
        bestMillis([&] { return transport.SendReceive("blob", reply, 10000, 0) && reply.size() == big.size(); });
    const double megabytes = big.size() / 1e6;
    std::printf("Transport layer only: CEthernet with the simulator in the same process. It leaves out the export frame,\n"
                "the operation lock, Transact, logging and the result buffer; bench/api measures what a host gets.\n\n");
    std::printf("10 MB reply over loopback, best of %d\n", kRounds);
    std::printf("  raw socket client   %8.1f ms  %8.0f MB/s\n", rawMs, megabytes / rawMs * 1000);
    std::printf("  CEthernet           %8.1f ms  %8.0f MB/s\n", transportMs, megabytes / transportMs * 1000);
    std::printf("  time ratio          %8.2f x   (1.00 = as fast as the raw client)\n", transportMs / rawMs);
    return 0;
}
