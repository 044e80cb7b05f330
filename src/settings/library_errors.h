#pragma once

#include <QString>
#include <QtGlobal>

namespace vireo2 {

// One error the library records: its code and its text. Where the record
// carries details (a file name, a count), the text here is the fixed part
// and the recording site adds the rest. Converts to the bare code wherever a
// code is expected (a status, a comparison, a case label).
struct LibraryError {
    qint32 code;
    const char* text;

    constexpr operator qint32() const { return code; }
    QString message() const { return QString::fromLatin1(text); }
};

// Every error code the library records, each named once with its text.
// Codes that several situations share keep one row per situation, so a
// reader sees at once which is which. (Statuses passed on from the
// instrument, and the codes of the operating system and of Qt's sockets, are
// recorded as they come and are not listed here.)
namespace errors {

// Connection and transport.
inline constexpr LibraryError kNoConnection{0x5000, "No connection to the instrument"};
inline constexpr LibraryError kConnectFailed{0x5000, "Unable to connect to Vireo2 - "};
inline constexpr LibraryError kWakeFailed{0x5000, "FAILED: Instrument did not wake up"};
inline constexpr LibraryError kSendNotConnected{0x5001, "FAILED Send: NOT Connected"};
inline constexpr LibraryError kReceiveNotConnected{0x5004, "FAILED Receive: NOT Connected"};
inline constexpr LibraryError kReceiveTimeout{0x5005, "Receive: TIMEOUT"};
inline constexpr LibraryError kPacketLength{0x5006, "RecvPacket: Incorrect Packet length"};
inline constexpr LibraryError kUsbPacketLength{0x5006, "FAILED RecvPacket: Invalid packet length"};
inline constexpr LibraryError kInvalidPacket{0x5007, "Receive: Invalid BCP Packet"};
inline constexpr LibraryError kUsbInvalidPacket{0x5007, "FAILED RecvPacket: Invalid BCP"};
inline constexpr LibraryError kExchangeInProgress{0x501E, "Operation in progress."};

// Measurement and calibration.
inline constexpr LibraryError kNeedsCalibration{0x5009, "FAILED Measure:  Needs Calibration"};
inline constexpr LibraryError kTrackNeedsCalibration{0x5009, "Instrument requires calibration."};
inline constexpr LibraryError kCalibrateNotConnected{0x500C, "FAILED calibrate: NOT Connected"};
inline constexpr LibraryError kCalibrateStepNotConnected{0x500C, "FAILED calibrateStep: NOT Connected"};
inline constexpr LibraryError kInvalidCalibrationStep{0x500E, "FAILED calibrateStep: Invalid Step"};
inline constexpr LibraryError kInsufficientData{0x5012, "Insufficient spectral data"};
inline constexpr LibraryError kInvalidCalibrationData{0x501A, "Cal Query Status returned invalid data"};

// Settings and the operation lock.
inline constexpr LibraryError kInvalidSetting{0x500F, "Invalid Setting"};
inline constexpr LibraryError kLockFailed{0x5011, "FAILED LockPort"};
inline constexpr LibraryError kSettingLockFailed{0x5011, "FAILED settingOption: Unable to lock commnications port"};
inline constexpr LibraryError kLongOperationRunning{0x501E, "FAILED Execute: Operation in Progress"};
inline constexpr LibraryError kStatusThreadFailed{0x501F, "FAILED initCommunications: Unable to start status thread"};
inline constexpr LibraryError kSettingsNotWritten{0x5020, "FAILED setSettingOption: Unable to write "};

// The command interface (Execute) and argument checks.
inline constexpr LibraryError kInvalidPath{0x5014, "FAILED storeProfile: Invalid path"};
inline constexpr LibraryError kNoOperation{0x5015, "FAILED Abort: No operation in progress"};
inline constexpr LibraryError kMissingArguments{0x5016, "FAILED execute: Missing Arguments"};
inline constexpr LibraryError kInvalidArgument{0x5017, "FAILED execute: Invalid Argument"};
inline constexpr LibraryError kInvalidCommand{0x5018, "FAILED execute: Invalid Command"};
inline constexpr LibraryError kUnknownError{0x5019, "FAILED execute: UNKNOWN Error"};
inline constexpr LibraryError kInvalidData{0x501A, "Invalid data"};
inline constexpr LibraryError kProfileDataMissing{0x501A, "FAILED retrieveProfile: insufficient data"};
inline constexpr LibraryError kInstrumentStatus{0x501B, "Instrument Status Code"};
inline constexpr LibraryError kInvalidProfile{0x501D, "FAILED storeProfile: Invalid NetProfile"};
inline constexpr LibraryError kExecuteInProgress{0x501E, "FAILED execute: Operation in Progress"};
inline constexpr LibraryError kStatusCheckRunning{0x501E, "FAILED systemupdate: status check still running"};

// Scanning and the TR3 track.
inline constexpr LibraryError kStripFile{0x5019, "Strip file not usable"};
inline constexpr LibraryError kScanData{0x501A, "Scan data not usable"};
inline constexpr LibraryError kInvalidPatchWidth{0x5301, "FAILED scanConfig: Invalid patch width"};
inline constexpr LibraryError kHeadPosition{0x5302, "Unable to retrieve read head position."};
inline constexpr LibraryError kTrackNotConnected{0x5302, "Incorrect Operational Mode: TR3 is not connected."};
inline constexpr LibraryError kPatchBuild{0x5303, "FAILED Scan"};
inline constexpr LibraryError kBatteryLow{0x5305, "Instrument battery charge is insufficient."};
// The number of the scan state it leaves (head not home).
inline constexpr LibraryError kHeadNotHome{7, "Read head did not reach Home within 30 seconds."};

} // namespace errors
} // namespace vireo2
