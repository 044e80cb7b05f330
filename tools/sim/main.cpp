// vireo2-sim: the simulated instrument as a program, for the command-line
// host, scripts and manual testing; with --track also the TR3 track and a
// sheet on it.
#include <QCoreApplication>
#include <QTextStream>
#include <memory>

#include "chart_setup.h"
#include "sheet_model.h"
#include "sim_command_line.h"
#include "sim_server.h"
#include "track_rig.h"

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vireo2-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));

    QCommandLineParser parser;
    vireo2::sim::declareOptions(parser);
    parser.process(app);

    QTextStream out(stdout);
    QTextStream err(stderr);
    vireo2::sim::SimCommandLine options;
    QString error;
    if (!vireo2::sim::readOptions(parser, &options, &error)) {
        err << "vireo2-sim: " << error << Qt::endl;
        return 2;
    }

    if (!options.truthFile.isEmpty()) {
        const QByteArray truth = vireo2::sim::printerTruthFor(options, &error);
        if (truth.isEmpty()) {
            err << "vireo2-sim: --printer-truth: " << error << Qt::endl;
            return 2;
        }
        out << truth;
        return 0;
    }
    if (!options.chartFile.isEmpty() && !options.trackPort) {
        err << "vireo2-sim: --chart needs --track" << Qt::endl;
        return 2;
    }

    auto rig = std::make_shared<vireo2::sim::TrackRig>();
    rig->setLength(options.trackLength);
    rig->setSamplingPhase(options.samplingPhase);
    rig->setSheet(vireo2::sim::SheetModel::defaultChart());
    if (!options.sheetFile.isEmpty()) {
        const auto sheet = vireo2::sim::SheetModel::fromFile(options.sheetFile, &error);
        if (!sheet) {
            err << "vireo2-sim: --sheet " << options.sheetFile << ": " << error << Qt::endl;
            return 2;
        }
        rig->setSheet(*sheet);
    }

    vireo2::sim::SimServer server(vireo2::sim::createDefaultInstrument(options.instrument, rig));
    for (const QString& text : options.faults) {
        const auto fault = vireo2::sim::Fault::parse(text, &error);
        if (!fault) {
            err << "vireo2-sim: --fault " << text << ": " << error << Qt::endl;
            return 2;
        }
        server.faults().add(*fault);
    }
    if (options.handScan > 0)
        server.engine().model().control(QStringLiteral("scan %1").arg(options.handScan));
    if (!server.start(options.port)) {
        err << "vireo2-sim: cannot listen on 127.0.0.1:" << options.port << ": " << server.errorString() << Qt::endl;
        return 1;
    }
    std::unique_ptr<vireo2::sim::SimServer> track;
    if (options.trackPort) {
        auto model = vireo2::sim::createTrackFor(options, rig, &error);
        if (!model) {
            err << "vireo2-sim: " << error << Qt::endl;
            return 2;
        }
        track = std::make_unique<vireo2::sim::SimServer>(std::move(model));
        if (!track->start(*options.trackPort)) {
            err << "vireo2-sim: cannot listen on 127.0.0.1:" << *options.trackPort << ": " << track->errorString()
                << Qt::endl;
            return 1;
        }
    }
    out << "vireo2-sim listening on 127.0.0.1:" << server.port() << Qt::endl;
    if (track)
        out << "vireo2-sim track listening on 127.0.0.1:" << track->port() << Qt::endl;
    return app.exec();
}
