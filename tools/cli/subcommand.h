#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>

#include "connection_choice.h"

namespace vireo2::cli {

// What every subcommand gets besides its own options.
struct Context {
    ConnectionChoice connection;
    bool quiet = false;      // no progress messages on stderr
    QString programFile;     // absolute path of this executable
};

// One run of a subcommand: its parsed options and positional arguments.
struct Invocation {
    const Context& context;
    const QCommandLineParser& parser;
    QStringList arguments;
};

struct Subcommand {
    QString name;
    QString synopsis;    // what follows "[options]" in the usage line
    QString summary;     // one line in the command list
    QString description; // the body of --help
    QList<QCommandLineOption> options;
    bool connects = false;    // talks to the instrument; accepts --tcp/--usb
    bool passThrough = false; // hands its arguments on unparsed
    int (*run)(const Invocation&) = nullptr;
};

// The subcommands, in the order the help lists them.
const QList<Subcommand>& subcommands();
const Subcommand* findSubcommand(const QString& name);

// Each subcommand's definition lives in its own file.
Subcommand simCommand();
Subcommand statusCommand();
Subcommand calibrateCommand();
Subcommand measureCommand();
Subcommand scanCommand();
Subcommand chartCommand();
Subcommand libraryCommand();
Subcommand templateCommand();
Subcommand backupCommand();
Subcommand restoreCommand();
Subcommand screenshotCommand();
Subcommand firmwareCommand();
Subcommand profileCommand();
Subcommand instrumentLogCommand();
Subcommand convertCommand();
Subcommand execCommand();
Subcommand settingsCommand();
Subcommand logCommand();

// Options shared by the whole program.
QCommandLineOption tcpOption();
QCommandLineOption usbOption();
QCommandLineOption quietOption();
QCommandLineOption verboseOption();
QCommandLineOption helpOption();

// Help texts, formatted the same way for the program and each subcommand.
QString programHelp();
QString subcommandHelp(const Subcommand& command);

} // namespace vireo2::cli
