#include "commands/command_table.h"

namespace vireo2 {

// Position in this table is the command identifier; the number is how many
// words (command word included) the command needs.
const std::array<CommandWord, kCommandCount>& commandTable()
{
    static const std::array<CommandWord, kCommandCount> table = {{
    {"test", 1},
    {"getsignature", 1},
    {"setnetadjustermode", 1},
    {"enablenetadjuster", 2},
    {"storeprofile", 2},
    {"libraryclear", 2},
    {"addlibrary", 2},
    {"getlibrary", 1},
    {"getlibraryjson", 2},
    {"backup", 2},
    {"restore", 2},
    {"userprofileget", 2},
    {"screenbitmap", 1},
    {"start", 2},
    {"getprogress", 1},
    {"abort", 1},
    {"scanset", 1},
    {"scanconfig", 1},
    {"scanstart", 1},
    {"scangetstatus", 1},
    {"scanabort", 1},
    {"scangetcount", 1},
    {"scangetdata", 3},
    {"scanposition", 2},
    {"scanfile", 1},
    {"multistripconfig", 4},
    {"scanissupported", 1},
    {"retrieveprofile", 1},
    {"autoscanpaper", 4},
    {"autoscanconfig", 1},
    {"autoscanunusedpatches", 2},
    {"autoscanstart", 1},
    {"autoscansheetlength", 1},
    {"autoscanpatchoffset", 1},
    {"autoscansheetedge", 1},
    {"batterystate", 1},
    {"editlibrary", 3},
    {"userprofileset", 2},
    {"tetherconfigure", 2},
    {"toolgoto", 3},
    {"getbuttonstriggered", 1},
    {"systemupdate", 2},
    {"gohome", 1},
    {"tr3", 2},
    {"charging", 2},
    {"sendcommand", 2},
    {"addjobtemplate", 2},
    {"editjobtemplate", 3},
    {"getjobtemplate", 2},
    {"removejobtemplate", 2},
    {"getjobtemplatelist", 1},
    {"addtool", 3},
    {"gettool", 3},
    {"removetool", 3},
    {"gettoollist", 2},
    {"addchromexpalette", 2},
    {"removepalettechromex", 2},
    {"addchromexpalettelist", 2},
    {"getchromexpalettelist", 1},
    {"getlog", 1},
    {"digitalloupelist", 1},
    {"setspotmeasurementconfig", 1},
    {"addwificonfiguration", 3},
    {"removewificonfiguration", 2},
    {"getwifiaddress", 2},
    {"getconfiglist", 1},
    {"calstatusget", 2},
    {"clockget", 1},
    {"clockset", 8},
    {"instrumentget", 3},
    {"instrumentset", 4},
    {"ism0m1compliant", 1},
    {"serialnumget", 3},
    {"menugo", 3},
    {"userprofileselect", 2},
    {"measget", 3},
    {"scanget", 3},
    {"tasklistpaper", 3}
    }};
    return table;
}

const std::array<const char*, 3>& longOperations()
{
    static const std::array<const char*, 3> operations = {{"getlibrary", "backup", "restore"}};
    return operations;
}

QMap<QString, qint32> commandMap()
{
    QMap<QString, qint32> map;
    const auto& table = commandTable();
    for (int id = 0; id < kCommandCount; ++id)
        map.insert(QString::fromLatin1(table[id].word), id);
    return map;
}

} // namespace vireo2
