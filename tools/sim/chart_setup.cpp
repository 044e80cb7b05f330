#include "chart_setup.h"

#include "chart_track.h"
#include "default_instrument.h"

namespace vireo2::sim {
namespace {

std::optional<PrinterModel> printerFor(const SimCommandLine& options, QString* error)
{
    auto printer = PrinterModel::named(options.printer);
    if (!printer)
        *error = QStringLiteral("unknown printer \"%1\" (%2)")
                     .arg(options.printer, PrinterModel::names().join(QStringLiteral(", ")));
    return printer;
}

} // namespace

std::unique_ptr<InstrumentModel> createTrackFor(const SimCommandLine& options, std::shared_ptr<TrackRig> rig,
                                               QString* error)
{
    if (options.chartFile.isEmpty())
        return createTrack(std::move(rig));
    const auto printer = printerFor(options, error);
    if (!printer)
        return nullptr;
    auto chart = PrintedChart::fromFile(options.chartFile, *printer, error);
    if (!chart)
        return nullptr;
    auto track = std::make_unique<ChartTrack>(createTrack(rig), rig, std::move(*chart), options.autoNext);
    for (const QString& fault : options.chartFaults) {
        const QString problem = track->addFault(fault);
        if (!problem.isEmpty()) {
            *error = QStringLiteral("--chart-fault %1: %2").arg(fault, problem);
            return nullptr;
        }
    }
    return track;
}

QByteArray printerTruthFor(const SimCommandLine& options, QString* error)
{
    const auto printer = printerFor(options, error);
    if (!printer)
        return QByteArray();
    const auto table = readDeviceTable(options.truthFile, error);
    if (!table)
        return QByteArray();
    return printerTruth(*table, *printer, Condition(options.truthCondition));
}

} // namespace vireo2::sim
