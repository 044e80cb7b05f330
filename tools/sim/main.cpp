// vireo2-sim: the simulated instrument as a program, for the command-line
// host, scripts and manual testing.
#include <QCoreApplication>
#include <QTextStream>

#include "sim_command_line.h"
#include "sim_server.h"

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

    vireo2::sim::SimServer server(vireo2::sim::createDefaultInstrument(options.instrument));
    for (const QString& text : options.faults) {
        const auto fault = vireo2::sim::Fault::parse(text, &error);
        if (!fault) {
            err << "vireo2-sim: --fault " << text << ": " << error << Qt::endl;
            return 2;
        }
        server.faults().add(*fault);
    }
    if (!server.start(options.port)) {
        err << "vireo2-sim: cannot listen on 127.0.0.1:" << options.port << ": " << server.errorString() << Qt::endl;
        return 1;
    }
    out << "vireo2-sim listening on 127.0.0.1:" << server.port() << Qt::endl;
    return app.exec();
}
