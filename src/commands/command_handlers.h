#pragma once

#include <QString>

namespace vireo2 {

class CommandContext;
class CommandHost;

// A command handler reads its arguments from the context's line (the
// dispatcher has checked the required words) and returns the answer:
// "<00>", a value, or empty text for a failure it has recorded.
using CommandHandler = QString (*)(CommandContext&);

// long_operations.cpp: "start", "getprogress", "abort" and the lock-free
// queries about the long operation.
QString startLongOperation(CommandContext& context);
QString getProgress(CommandContext& context);
QString abortLongOperation(CommandContext& context);
// "GetProgress" anywhere in a line: the progress as text, empty when there
// is none or the operation failed.
QString progressAnswer(CommandHost& host);
// "Abort" anywhere in a line: asks the operation to stop and waits up to 2 s.
QString abortAnswer(CommandHost& host);
// Waits up to 250 ms for a running long operation; false when it still runs.
bool longOperationSettles(CommandHost& host);

// instrument_commands.cpp: small commands that ask or tell the instrument.
QString getSignature(CommandContext& context);
QString backupOrRestore(CommandContext& context);
QString sendCommand(CommandContext& context);
QString batteryState(CommandContext& context);
QString getButtonsTriggered(CommandContext& context);
QString toolGoto(CommandContext& context);
QString calStatusGet(CommandContext& context);
QString isM0M1Compliant(CommandContext& context);

// housekeeping_commands.cpp: clock, name, serial numbers, menus and the
// driver's own answers.
QString clockGet(CommandContext& context);
QString clockSet(CommandContext& context);
QString instrumentGet(CommandContext& context);
QString instrumentSet(CommandContext& context);
QString serialNumGet(CommandContext& context);
QString menuGo(CommandContext& context);
QString userProfileSelect(CommandContext& context);
QString measGet(CommandContext& context);
QString scanGet(CommandContext& context);
QString taskListPaper(CommandContext& context);

// tethered_commands.cpp: the tethered screen and the correction profile.
QString setNetAdjusterMode(CommandContext& context);
QString enableNetAdjuster(CommandContext& context);
QString tetherConfigure(CommandContext& context);
QString setSpotMeasurementConfig(CommandContext& context);

// wifi_configurations.cpp: named network configurations kept by the driver.
QString addWifiConfiguration(CommandContext& context);
QString removeWifiConfiguration(CommandContext& context);
QString getWifiAddress(CommandContext& context);
QString getConfigList(CommandContext& context);

// scan_commands.cpp: the scan exports as commands.
QString scanConfig(CommandContext& context);
QString scanGetStatus(CommandContext& context);
QString scanAbort(CommandContext& context);
QString scanGetCount(CommandContext& context);
QString scanGetData(CommandContext& context);
QString scanIsSupported(CommandContext& context);
QString scanStart(CommandContext& context);

// object_commands.cpp: object transfers and long texts.
QString addLibrary(CommandContext& context);
QString addJobTemplate(CommandContext& context);
QString addTool(CommandContext& context);
QString addChromexPalette(CommandContext& context);
QString addChromexPaletteList(CommandContext& context);
QString editLibrary(CommandContext& context);
QString editJobTemplate(CommandContext& context);
QString libraryClear(CommandContext& context);
QString removeJobTemplate(CommandContext& context);
QString removeTool(CommandContext& context);
QString removePaletteChromex(CommandContext& context);
QString getLibraryJson(CommandContext& context);
QString getJobTemplate(CommandContext& context);
QString getTool(CommandContext& context);
QString getLog(CommandContext& context);
QString digitalLoupeList(CommandContext& context);
QString screenBitmap(CommandContext& context);
QString getLibrary(CommandContext& context);
QString getJobTemplateList(CommandContext& context);
QString getToolList(CommandContext& context);
QString getChromexPaletteList(CommandContext& context);

// file_transfers.cpp: clones and the firmware update.
QString userProfileGet(CommandContext& context);
QString userProfileSet(CommandContext& context);
QString systemUpdate(CommandContext& context);

// profile_commands.cpp: correction profiles.
QString storeProfile(CommandContext& context);
QString retrieveProfile(CommandContext& context);

// track_commands.cpp: track scans.
QString autoScanConfig(CommandContext& context);
QString autoScanStart(CommandContext& context);
QString goHome(CommandContext& context);
QString multiStripConfig(CommandContext& context);
QString tr3Command(CommandContext& context);
QString charging(CommandContext& context);
QString autoScanPaper(CommandContext& context);
QString autoScanUnusedPatches(CommandContext& context);
QString scanPosition(CommandContext& context);
QString scanFile(CommandContext& context);
QString autoScanSheetLength(CommandContext& context);
QString autoScanPatchOffset(CommandContext& context);
QString autoScanSheetEdge(CommandContext& context);

} // namespace vireo2
