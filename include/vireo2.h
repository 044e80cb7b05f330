/*
 * libVireo2 - driver library of the Vireo2 reflectance spectrophotometer
 * and its TR3 scanning-track accessory.
 *
 * Conventions shared by every function below:
 *  - bool is one byte (0/1), int is 32-bit signed, float is IEEE single.
 *  - Text arguments are zero-terminated UTF-8. A null text argument makes the
 *    function return its failure result; it never crashes.
 *  - Returned text (const char*) points into a buffer owned by the library,
 *    one per calling thread. The calling thread's next text-returning
 *    function overwrites it (ScanGetData keeps its own buffer): an earlier
 *    pointer then shows the newer text, cut short if it has grown. Copy it
 *    at once.
 *  - Most failures return false, -1, -1.0f or "" and record an error code
 *    and text, read with GetLastErrorCode()/GetLastErrorString(). A success
 *    does not clear the record, except where it sets the code: an exchange
 *    with the instrument (SendCommand, and the exchanges of the other
 *    functions) and Execute set code and text together, 0 and "<00>" after
 *    a success (the status and "<07>"/"<12>" for the statuses that are no
 *    error), so the two always agree. Some failures record nothing and leave the
 *    record as it was; their comments say so ("records nothing"): the data
 *    getters asked for a value that does not exist (GetSpectralData,
 *    GetSpectralSetData, ScanGetPatchRecord, ScanGetQuality, instrument-mode
 *    ScanGetData),
 *    and the queries that answer from the library's own state. Test the
 *    returned value first, and read the record only after a failure that
 *    records.
 *  - Functions marked [locked] take the library's operation lock (recursive,
 *    10 s). If it cannot be had they record 20510 "FAILED Execute: Operation in
 *    Progress" (a long operation runs) or 20497 "FAILED LockPort" (and the
 *    instrument is disconnected), then still run, except SendCommand.
 *  - Every function may be called from any thread; no function throws.
 *  - Error codes: 0x00-0xFF are instrument statuses, -1 means no usable
 *    reply, 0x5000 and up (20480+) are library codes, 0x5300 and up scanning.
 */
#ifndef VIREO2_H
#define VIREO2_H

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

#if defined(_WIN32)
#  if defined(VIREO2_BUILDING_LIBRARY)
#    define VIREO2_API __declspec(dllexport)
#  else
#    define VIREO2_API __declspec(dllimport)
#  endif
#else
#  define VIREO2_API __attribute__((visibility("default")))
#endif

/* ---- Library and errors ------------------------------------------------ */

/** Interface version, always "1.2". Does not create the device object. */
VIREO2_API const char* GetInterfaceVersion(void);
/** Code of the most recent recorded error (0 after a successful Connect). */
VIREO2_API int GetLastErrorCode(void);
/** Text of the most recent recorded error ("<00>" after a successful Connect). */
VIREO2_API const char* GetLastErrorString(void);

/* ---- Connection --------------------------------------------------------- */

/** [locked] Opens the configured link (USB, USB_TCPIP or TCP), identifies the
 *  instrument and starts status polling. false: 20480 "Unable to connect to
 *  Vireo2 - ..." or 20511 (status thread). */
VIREO2_API bool Connect(void);
/** [locked] Stops polling and closes the link. false while a Connect runs. */
VIREO2_API bool Disconnect(void);
/** true from a successful Connect until Disconnect. After the link failed
 *  underneath (the library then closes the port), it stays true and every
 *  call that needs the instrument fails with 20481 "FAILED Send: NOT
 *  Connected": Disconnect and Connect again (docs/robustness.md). */
VIREO2_API bool IsConnected(void);
/** [locked] Instrument serial number ("NA" before the first Connect). With
 *  "serialnum" non-zero in group "[Configuration]" of Vireo2Compatibility.ini
 *  only its six characters from the eighth on ("" for a shorter serial). */
VIREO2_API const char* GetSerialNum(void);

/* ---- Spectral geometry and data ---------------------------------------- */

/** Number of measurement conditions of the last reading (3 or 4). */
VIREO2_API int GetAngles(void);
/** Same as GetAngles. */
VIREO2_API int GetSpectralSetCount(void);
/** Number of wavelengths (31). */
VIREO2_API int GetWavelengths(void);
/** Same as GetWavelengths. */
VIREO2_API int GetWavelengthCount(void);
/** Name of condition index ("M0".."M3"); "" for an unknown index. */
VIREO2_API const char* GetAngleValue(int index);
/** Same as GetAngleValue. */
VIREO2_API const char* GetSpectralSetName(int index);
/** 400 + 10*index nm; the index is not range-checked. */
VIREO2_API int GetWavelengthValue(int index);
/** true once after new data arrived (Measure or a reading taken at the
 *  instrument); the call clears the flag, as does GetSpectralData. */
VIREO2_API bool IsDataReady(void);
/** Reflectance of condition `set` at wavelength index `wavelength`, floored
 *  at 0.0001; -1.0f when there is no such value (records nothing). */
VIREO2_API float GetSpectralData(int set, int wavelength);
/** The whole spectrum of condition `set` in one call: copies its reflectance
 *  factors (1.0 = the white standard, NOT percent; floored at 0.0001) in
 *  wavelength order into values[0..capacity-1], all from the same reading.
 *  Returns the number copied (31 with capacity >= 31, fewer when capacity is
 *  smaller), or -1 for a null array, an unknown set or no reading; a failure
 *  records nothing. Clears the IsDataReady flag like GetSpectralData. */
VIREO2_API int GetSpectralSetData(int set, float* values, int capacity);
/** "Mfg=Hueron:Model=...:Serial Number=...:Mode=Reflectance:Angles=...:
 *  Calibration Status=...:Aperture=...:NetAdjuster=..." (asks the instrument
 *  for its firmware text). */
VIREO2_API const char* GetMeasAttributes(void);

/* ---- Measurement and calibration --------------------------------------- */

/** [locked] Takes one reading and reads every condition's spectrum; sleeps
 *  one second afterwards. false: 20489 "FAILED Measure:  Needs Calibration",
 *  the instrument status with "FAILED Measure:  Code 0x..", or 20498. */
VIREO2_API bool Measure(void);
/** [locked] 0 calibrated, 1 needs calibration, -1 invalid reply (20506). */
VIREO2_API int GetCalStatus(void);
/** [locked] Sends "CalWhite"; true on instrument status 0. */
VIREO2_API bool WhiteCal(void);
/** Sends "CalBlack"; true on instrument status 0. Takes no lock. */
VIREO2_API bool BlackCal(void);
/** Runs the white calibration (takes the lock itself). false: 0x500C when not
 *  connected, -1, 0x8C/0x8D (dirty standard) or the instrument status. */
VIREO2_API bool Calibrate(void);
/** Runs the named step; only names containing "White" are valid (0x500E). */
VIREO2_API bool CalibrateStep(const char* step);
/** [locked] Not supported by this instrument: false. */
VIREO2_API bool SetCalMode(void);
/** Always "White". */
VIREO2_API const char* GetCalSteps(void);
/** Always "Software". */
VIREO2_API const char* GetCalMode(void);
/** Always "HUGA". */
VIREO2_API const char* GetCalibrationStandard(void);
/** Not supported: -1. */
VIREO2_API int GetCalProgress(void);
/** [locked] Not supported: 0. */
VIREO2_API float GetCalValues(int index);
/** Not supported: false. */
VIREO2_API bool AbortCalibration(void);
/** [locked] Serial number of the calibration plaque; "" on failure. */
VIREO2_API const char* GetCalPlaqSN(void);

/* ---- Settings, configuration and options ------------------------------- */

/** Setting names, ";"-separated. */
VIREO2_API const char* GetAvailableSettings(void);
/** Accepted values of a setting, ";"-separated; "" and 20495 if unknown. */
VIREO2_API const char* GetSettingOptions(const char* name);
/** Current value of a setting; "" and 20495 if unknown. */
VIREO2_API const char* GetOption(const char* name);
/** Stores a setting (flushed at once); false and 20495 for an invalid one,
 *  false and 20503 "FAILED setSettingOption: Invalid Value" for a value of
 *  more than 255 characters, not UTF-8, with control characters, or an
 *  address whose port is outside 1..65535 (the stored value is kept),
 *  false and 20512 "FAILED setSettingOption: Unable to write PATH" when the
 *  settings file did not reach the disk. */
VIREO2_API bool SetOption(const char* name, const char* value);
/** [locked] Stored configuration code (default "C0.M0.T0.B2.N0"). */
VIREO2_API const char* GetConfiguration(void);
/** [locked] "START_POLL" / "STOP_POLL" switch status polling; else 20503. */
VIREO2_API bool SetConfiguration(const char* configuration);
/** Not supported: false. */
VIREO2_API bool Configure(void);
/** [locked] Not supported: false. */
VIREO2_API bool SetNormalMode(void);
/** [locked] Not supported: false. */
VIREO2_API bool SetOfflineMode(void);
/** Not supported: false. */
VIREO2_API bool SetLanguage(int language);

/* ---- Commands ----------------------------------------------------------- */

/** Command line in, answer out: "<00>" for success without a value, the
 *  value otherwise, "" on failure (see the error record). */
VIREO2_API const char* Execute(const char* commandLine);
/** Binary capture / raw message, while connected: sends and receives, and
 *  returns the bytes placed in `buffer` (at most `bufferSize`; what does not
 *  fit is read and dropped), 0 on failure (see the error record), 0 at once
 *  when not connected, and 0 with 20503 "FAILED ExecuteBinary: Invalid
 *  Argument" for a null message, a null buffer of some size or a negative
 *  length. A `message` starting with "CaptureImage" or
 *  "CaptureScree" (12 bytes, any case) pulls the video frame or the screen
 *  (a BMP); "digitalloupeget NAME" (two words) pulls that loupe picture (a
 *  JPEG); any other message is sent as it stands and the instrument's reply
 *  (one BCP payload, not zero-terminated) is returned. `timeoutMs` is each
 *  reply's wait, at most 30000 ms. Takes the operation lock like the
 *  [locked] functions, but returns 0 without sending when it cannot be had. */
VIREO2_API int ExecuteBinary(const unsigned char* message, int messageLength,
                             int timeoutMs, unsigned char* buffer, int bufferSize);
/** [locked] Sends one raw instrument command (timeout raised to at least
 *  3000 ms) and returns the raw reply on status 0, "" otherwise, and "" without
 *  sending when the lock could not be had. */
VIREO2_API const char* SendCommand(const char* command, int timeoutMs);

/* ---- Samples, references, tolerances and jobs --------------------------
 * The Vireo2 keeps none of these records: every call answers at once with
 * "nothing stored" and never talks to the instrument. */

/** Date and time of a stored sample; never filled by this instrument. */
typedef struct Vireo2SampleDateTime {
    int year, month, day, hour, minute, second;
} Vireo2SampleDateTime;

VIREO2_API bool ClearSamples(void);                         /* false */
VIREO2_API int GetSampleCount(void);                        /* 0 */
VIREO2_API bool SetCurrentSample(int index);                /* false */
VIREO2_API int GetSampleTagCount(void);                     /* 0 */
VIREO2_API const char* GetSampleTag(int index);             /* "" */
VIREO2_API float GetSampleData(int set, int wavelength);    /* -1.0f */
VIREO2_API const char* GetSampleReference(void);            /* "" */
VIREO2_API const Vireo2SampleDateTime* GetSampleDateTime(void); /* zeroed record */
VIREO2_API const char* GetSampleGroup(void);                /* "" */
VIREO2_API const char* GetSampleAttributes(void);           /* "" */
VIREO2_API int GetMaxReferences(void);                      /* 32000 */
VIREO2_API bool ClearReferences(void);                      /* false */
VIREO2_API int GetStoredReferences(void);                   /* 0 */
VIREO2_API bool SetCurrentReference(int index);             /* false */
VIREO2_API const char* GetRefName(void);                    /* "" */
VIREO2_API int GetRefID(void);                              /* -1 */
VIREO2_API float GetRefValue(int set, int wavelength);      /* -1.0f */
VIREO2_API int GetRefToleranceCount(void);                  /* -1 */
VIREO2_API bool SetCurrentTolerance(int index);             /* false */
VIREO2_API const char* GetTolType(void);                    /* "" */
VIREO2_API const char* GetTolAngle(void);                   /* "" */
VIREO2_API const char* GetTolPrimaryIllumObs(void);         /* "" */
VIREO2_API const char* GetTolSecondaryIllumObs(void);       /* "" */
VIREO2_API float GetTolValue(int index);                    /* -1.0f */
VIREO2_API int GetMaxJobs(void);                            /* 100 */
VIREO2_API bool ClearJobs(void);                            /* false */
VIREO2_API bool AddJob(const char* job);                    /* false */
VIREO2_API bool TransmitJobs(void);                         /* false */

/* ---- Strip scanning ------------------------------------------------------ */

/* Track mode ("setmodel;vireotr3" through Execute, before Connect): the
 * instrument rides the TR3 track, Execute("autoscanstart") starts a traverse
 * and the patches are found in the stream of readings. Instrument mode: the
 * operator scans by hand and the instrument cuts the strip into patches.
 * docs/scanning.md walks through both. */

/** Always 1. */
VIREO2_API int ScanIsSupported(void);
/** Configures a scan of `patchCount` patches of `patchWidthMm`; 1 on success.
 *  A negative count fails with 20503 "FAILED scanConfig: Invalid patch
 *  count", a width that is not a positive finite number with 21249 "FAILED
 *  scanConfig: Invalid patch width". Track mode: the width must lie within
 *  3.0 to 20.0 mm (21249 otherwise) and sets the track speed. Instrument
 *  mode: sends the instrument's scan screen; 0 when not connected. */
VIREO2_API int ScanConfig(int patchCount, float patchWidthMm);
/** Arms a scan; 1 on success. Instrument mode: shows the tethered tool with
 *  video targeting and the configured scan screen. */
VIREO2_API int ScanStart(void);
/** Stops a scan (track: halts the head and sends it home; instrument: back to
 *  the previous tool); 1 on success. */
VIREO2_API int ScanAbort(void);
/** 0 idle, 2 scanning, 3 data ready, 5 aborted on the instrument, 6 stopped,
 *  7 head not home, -1 failed (the error record says why). Terminal values
 *  (3, 5, 6, -1) are returned once. */
VIREO2_API int ScanGetStatus(void);
/** Number of scanned patches available. */
VIREO2_API int ScanGetCount(void);
/** Values of one condition of one patch, blank-separated with a trailing
 *  blank: percent in track mode, factors in instrument mode. "" when out of
 *  range (track mode records 20503 then). The text stays valid until the
 *  next call. */
VIREO2_API const char* ScanGetData(int patchIndex, int dataSet);
/** Track mode: the nine header values of patch `patchIndex` into
 *  values[0..capacity-1]: Sync (1 when the grid re-synchronised on it, 2
 *  when the record came from the fitted grid: VIREO2_SCAN_CORRECTED),
 *  Delta (position error in patch widths), time stamp (2 ms ticks), L*, a*,
 *  b* (D50/2, condition M0), dE* (to the paper), Position (centre, mm),
 *  Ripple. Returns the number copied (9 with capacity >= 9), or -1 for a
 *  null array, an index out of range or instrument mode; a failure records
 *  nothing. */
VIREO2_API int ScanGetPatchRecord(int patchIndex, double* values, int capacity);

/* Quality flags of a scan (ScanGetQuality). A patch's record was taken from
 * the grid fitted to the whole traverse instead of the walk along the row
 * (its Sync reads 2): a correction, not a doubt by itself. */
#define VIREO2_SCAN_CORRECTED 0x01
/* No steady reading near the patch's centre: its colour may mix a neighbour's. */
#define VIREO2_SCAN_UNSTEADY 0x02
/* The patch's place is uncertain: the walk and the fitted grid disagree and
 * the fit is not clearly better; the patch may belong one place over. */
#define VIREO2_SCAN_UNCERTAIN 0x04
/* An end patch the colour of the paper, with no visible edge to the margin:
 * it may be margin, and the row may start or end a patch later. */
#define VIREO2_SCAN_LIKE_PAPER 0x08
/* Strip: fewer patches than ScanConfig asked for. */
#define VIREO2_SCAN_SHORT 0x10
/* Strip: the printed row does not fit the configured count and width. */
#define VIREO2_SCAN_WIDTH_MISMATCH 0x20
/* The flags that make a scan suspect: all but VIREO2_SCAN_CORRECTED. */
#define VIREO2_SCAN_SUSPECT 0x3E

/** How far the last scan can be trusted: with patchIndex -1 the strip's
 *  flags (every patch's flags combined with the strip's own), with a patch
 *  index that patch's flags (VIREO2_SCAN_*); 0 means nothing to doubt.
 *  Track scans judge each patch; hand scans are cut by the instrument, so
 *  only VIREO2_SCAN_SHORT can be set. Returns -1 for an index out of range
 *  (records nothing). */
VIREO2_API int ScanGetQuality(int patchIndex);

#ifdef __cplusplus
}
#endif

#endif /* VIREO2_H */
