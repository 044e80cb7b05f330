#include "commands/command_table.h"

#include <QHash>

#include "commands/command_line.h"

namespace vireo2 {
namespace {

// One row per command: the lower-case word Execute accepts (a two-word
// form such as "clock get" is its words glued: "clockget"), the words it
// needs (command word included), its handler (null: the line goes to the
// instrument as it stands) and its flags.
constexpr Command kCommands[] = {
    {"test",                      1, nullptr,                   0},
    {"getsignature",              1, getSignature,              0},
    {"setnetadjustermode",        1, setNetAdjusterMode,        0},
    {"enablenetadjuster",         2, enableNetAdjuster,         0},
    {"storeprofile",              2, storeProfile,              0},
    {"libraryclear",              2, libraryClear,              0},
    {"addlibrary",                2, addLibrary,                0},
    {"getlibrary",                1, getLibrary,                kLongOperation},
    {"getlibraryjson",            2, getLibraryJson,            0},
    {"backup",                    2, backupOrRestore,           kLongOperation | kNeedsFile},
    {"restore",                   2, backupOrRestore,           kLongOperation | kNeedsFile},
    {"userprofileget",            2, userProfileGet,            0},
    {"screenbitmap",              1, screenBitmap,              0},
    {"start",                     2, startLongOperation,        0},
    {"getprogress",               1, getProgress,               0},
    {"abort",                     1, abortLongOperation,        0},
    {"scanset",                   1, nullptr,                   0},
    {"scanconfig",                1, scanConfig,                0},
    {"scanstart",                 1, scanStart,                 0},
    {"scangetstatus",             1, scanGetStatus,             0},
    {"scanabort",                 1, scanAbort,                 0},
    {"scangetcount",              1, scanGetCount,              0},
    {"scangetdata",               3, scanGetData,               0},
    {"scanposition",              2, scanPosition,              0},
    {"scanfile",                  1, scanFile,                  0},
    {"multistripconfig",          4, multiStripConfig,          0},
    {"scanissupported",           1, scanIsSupported,           0},
    {"retrieveprofile",           1, retrieveProfile,           0},
    {"autoscanpaper",             4, autoScanPaper,             0},
    {"autoscanconfig",            1, autoScanConfig,            0},
    {"autoscanunusedpatches",     2, autoScanUnusedPatches,     0},
    {"autoscanstart",             1, autoScanStart,             0},
    {"autoscansheetlength",       1, autoScanSheetLength,       0},
    {"autoscanpatchoffset",       1, autoScanPatchOffset,       0},
    {"autoscansheetedge",         1, autoScanSheetEdge,         0},
    {"batterystate",              1, batteryState,              0},
    {"editlibrary",               3, editLibrary,               0},
    {"userprofileset",            2, userProfileSet,            0},
    {"tetherconfigure",           2, tetherConfigure,           0},
    {"toolgoto",                  3, toolGoto,                  0},
    {"getbuttonstriggered",       1, getButtonsTriggered,       0},
    {"systemupdate",              2, systemUpdate,              0},
    {"gohome",                    1, goHome,                    0},
    {"tr3",                       2, tr3Command,                0},
    {"charging",                  2, charging,                  0},
    {"sendcommand",               2, sendCommand,               0},
    {"addjobtemplate",            2, addJobTemplate,            0},
    {"editjobtemplate",           3, editJobTemplate,           0},
    {"getjobtemplate",            2, getJobTemplate,            0},
    {"removejobtemplate",         2, removeJobTemplate,         0},
    {"getjobtemplatelist",        1, getJobTemplateList,        0},
    {"addtool",                   3, addTool,                   0},
    {"gettool",                   3, getTool,                   0},
    {"removetool",                3, removeTool,                0},
    {"gettoollist",               2, getToolList,               0},
    {"addchromexpalette",         2, addChromexPalette,         0},
    {"removepalettechromex",      2, removePaletteChromex,      0},
    {"addchromexpalettelist",     2, addChromexPaletteList,     0},
    {"getchromexpalettelist",     1, getChromexPaletteList,     0},
    {"getlog",                    1, getLog,                    0},
    {"digitalloupelist",          1, digitalLoupeList,          0},
    {"setspotmeasurementconfig",  1, setSpotMeasurementConfig,  0},
    {"addwificonfiguration",      3, addWifiConfiguration,      0},
    {"removewificonfiguration",   2, removeWifiConfiguration,   0},
    {"getwifiaddress",            2, getWifiAddress,            0},
    {"getconfiglist",             1, getConfigList,             0},
    {"calstatusget",              2, calStatusGet,              0},
    {"clockget",                  1, clockGet,                  0},
    {"clockset",                  8, clockSet,                  0},
    {"instrumentget",             3, instrumentGet,             0},
    {"instrumentset",             4, instrumentSet,             0},
    {"ism0m1compliant",           1, isM0M1Compliant,           0},
    {"serialnumget",              3, serialNumGet,              0},
    {"menugo",                    3, menuGo,                    0},
    {"userprofileselect",         2, userProfileSelect,         0},
    {"measget",                   3, measGet,                   0},
    {"scanget",                   3, scanGet,                   0},
    {"tasklistpaper",             3, taskListPaper,             0},
};

QHash<QString, const Command*> indexByWord()
{
    QHash<QString, const Command*> index;
    for (const Command& command : kCommands)
        index.insert(QString::fromLatin1(command.word), &command);
    return index;
}

const Command* find(const QString& word)
{
    static const QHash<QString, const Command*> index = indexByWord();
    return index.value(word, nullptr);
}

} // namespace

const Command* findCommand(const CommandLine& line)
{
    if (line.size() >= 2) {
        if (const Command* glued = find(line.gluedKey()))
            return glued;
    }
    return find(line.commandWord());
}

const Command* findLongOperation(const QString& word)
{
    const Command* command = find(word.toLower());
    return command && (command->flags & kLongOperation) ? command : nullptr;
}

} // namespace vireo2
