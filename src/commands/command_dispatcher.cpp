#include "commands/command_dispatcher.h"

#include <array>

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"
#include "commands/command_table.h"
#include "settings/log_helper.h"

namespace vireo2 {
namespace {

// Handlers by command identifier; null entries ("test", "scanset") pass the
// line to the instrument as it stands.
const std::array<CommandHandler, kCommandCount>& handlerTable()
{
    static const std::array<CommandHandler, kCommandCount> table = {{
        nullptr,                   // 0 test
        getSignature,              // 1
        setNetAdjusterMode,        // 2
        enableNetAdjuster,         // 3
        storeProfile,              // 4
        libraryClear,              // 5
        addLibrary,                // 6
        getLibrary,                // 7
        getLibraryJson,            // 8
        backupOrRestore,           // 9 backup
        backupOrRestore,           // 10 restore
        userProfileGet,            // 11
        screenBitmap,              // 12
        startLongOperation,        // 13
        getProgress,               // 14
        abortLongOperation,        // 15
        nullptr,                   // 16 scanset
        scanConfig,                // 17
        scanStart,                 // 18
        scanGetStatus,             // 19
        scanAbort,                 // 20
        scanGetCount,              // 21
        scanGetData,               // 22
        scanPosition,              // 23
        scanFile,                  // 24
        multiStripConfig,          // 25
        scanIsSupported,           // 26
        retrieveProfile,           // 27
        autoScanPaper,             // 28
        autoScanConfig,            // 29
        autoScanUnusedPatches,     // 30
        autoScanStart,             // 31
        autoScanSheetLength,       // 32
        autoScanPatchOffset,       // 33
        autoScanSheetEdge,         // 34
        batteryState,              // 35
        editLibrary,               // 36
        userProfileSet,            // 37
        tetherConfigure,           // 38
        toolGoto,                  // 39
        getButtonsTriggered,       // 40
        systemUpdate,              // 41
        goHome,                    // 42
        tr3Command,                // 43
        charging,                  // 44
        sendCommand,               // 45
        addJobTemplate,            // 46
        editJobTemplate,           // 47
        getJobTemplate,            // 48
        removeJobTemplate,         // 49
        getJobTemplateList,        // 50
        addTool,                   // 51
        getTool,                   // 52
        removeTool,                // 53
        getToolList,               // 54
        addChromexPalette,         // 55
        removePaletteChromex,      // 56
        addChromexPaletteList,     // 57
        getChromexPaletteList,     // 58
        getLog,                    // 59
        digitalLoupeList,          // 60
        setSpotMeasurementConfig,  // 61
        addWifiConfiguration,      // 62
        removeWifiConfiguration,   // 63
        getWifiAddress,            // 64
        getConfigList,             // 65
        calStatusGet,              // 66
        clockGet,                  // 67
        clockSet,                  // 68
        instrumentGet,             // 69
        instrumentSet,             // 70
        isM0M1Compliant,           // 71
        serialNumGet,              // 72
        menuGo,                    // 73
        userProfileSelect,         // 74
        measGet,                   // 75
        scanGet,                   // 76
        taskListPaper,             // 77
    }};
    return table;
}

QString faultText(qint32 code)
{
    switch (code) {
    case kMissingArguments: return QStringLiteral("FAILED execute: Missing Arguments");
    case kInvalidArgument: return QStringLiteral("FAILED execute: Invalid Argument");
    default: return QStringLiteral("FAILED execute: Invalid Command");
    }
}

} // namespace

CommandDispatcher::CommandDispatcher(CommandHost& host, const QMap<QString, qint32>& commandIds)
    : host_(host), commandIds_(commandIds)
{
}

QString CommandDispatcher::execute(const QString& text)
{
    return answer(text).text();
}

CommandAnswer CommandDispatcher::answer(const QString& text)
{
    LogHelper& log = host_.log();
    log.setErrorCode(0);
    try {
        return run(text);
    } catch (const ArgumentFault& fault) {
        log.LogErrorOnly(fault.code, faultText(fault.code));
    } catch (const CommandFailed&) {
        // The failed exchange has recorded why.
    } catch (...) {
        log.LogError(kUnknownError, QStringLiteral("FAILED execute: UNKNOWN Error"));
    }
    return QString();
}

// The queries up to the operation-in-progress test run without the lock, so
// they answer while a long operation or a locked export runs.
CommandAnswer CommandDispatcher::run(const QString& text)
{
    if (text.contains(QLatin1String("IsLaserOn")))
        return QStringLiteral("0");
    if (text.contains(QLatin1String("Menu Go Home")))
        return QStringLiteral("<00>");
    const CommandLine line(text);
    if (line.isEmpty())
        return QString();
    if (line.commandWord() == QLatin1String("setmodel"))
        return setModel(line);
    if (text.contains(QLatin1String("GetProgress")))
        return progressAnswer(host_);
    if (text.contains(QLatin1String("Abort")))
        return abortAnswer(host_);
    if (text.contains(QLatin1String("IsScanRequested")))
        return host_.takeScanRequested();
    if (text.contains(QLatin1String("IsM0M1Compliant")))
        return host_.isM0M1Compliant() ? QStringLiteral("1") : QStringLiteral("0");

    if (!longOperationSettles(host_)) {
        host_.log().LogError(kOperationInProgress, QStringLiteral("FAILED execute: Operation in Progress"));
        return QString();
    }
    CommandContext context(host_, line);
    context.port = host_.lockPort();
    if (!context.port->held())
        return QString();
    CommandAnswer result = runHandler(identifierOf(line), context);
    closeMenu(context);
    return result;
}

// "vireotr3" is the instrument on its track: both flags. "tr3" marks only
// the track. The model flag is compared with the mixed-case "Vireo2" after
// lower-casing, which never matches; that is the established behaviour.
QString CommandDispatcher::setModel(const CommandLine& line)
{
    if (line.size() < 2 || line.word(1).isEmpty())
        throw ArgumentFault{kMissingArguments};
    const QString model = line.word(1).toLower();
    const bool trackAttached = model == QLatin1String("vireotr3") || model == QLatin1String("tr3");
    const bool trackModel = model == QLatin1String("vireotr3") || model == QLatin1String("Vireo2");
    host_.setModel(trackAttached, trackModel);
    return QStringLiteral("<00>");
}

// Unknown words give 0 (pass-through); a glued two-word key wins.
qint32 CommandDispatcher::identifierOf(const CommandLine& line) const
{
    const auto glued = commandIds_.constFind(line.gluedKey());
    if (line.size() >= 2 && glued != commandIds_.constEnd())
        return *glued;
    return commandIds_.value(line.commandWord(), 0);
}

CommandAnswer CommandDispatcher::runHandler(qint32 id, CommandContext& context)
{
    if (id < 0 || id >= kCommandCount)
        id = 0;
    const CommandHandler handler = handlerTable()[id];
    if (!handler)
        return CommandAnswer::fromUtf8(context.passThroughBytes(context.line.text()));
    if (!context.line.hasRequiredWords(commandTable()[id].requiredWords))
        throw ArgumentFault{kMissingArguments};
    return handler(context);
}

// A handler that opened a menu on the instrument leaves it closed again;
// the close does not change the error record the caller reads.
void CommandDispatcher::closeMenu(CommandContext& context)
{
    if (!context.menuOpen)
        return;
    context.menuOpen = false;
    LogHelper& log = host_.log();
    const qint32 code = log.errorCode();
    context.exchange(QStringLiteral("Menu Close"), CommandContext::kShortTimeoutMs);
    log.setErrorCode(code);
}

} // namespace vireo2
