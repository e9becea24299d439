// What a meaningful line of the service's log says: one value for each of
// the texts the recogniser knows (ServiceTexts.cpp). Several texts may say
// the same thing (an exception of any radio operation is one failure), and
// one text may say different things in different operations; the story
// builder reads a signal together with the operation that is running on the
// line's thread.
#pragma once

#include <cstdint>

namespace diag {

enum class Signal : uint8_t {
    // The service process.
    ServiceStart,  // %s: the version
    ServiceStop,

    // The start-up worker.
    WorkerEntry,
    WorkerExit,
    WorkerStopping,
    FirmwareDone,
    CheckingEthernet,
    WireAtStartWlan,
    WireAtStartWwan,
    NoWireAtStartWwan,
    WwanStep,  // the worker or the resume handler turns to mobile broadband
    WwanDeviceFound,
    NoWwanDevice,
    WorkerEndedEarly,  // the text says what failed
    WorkerNoMbnManager,
    WlanFirmwareOff,  // worker and resume handler: the stored Wi-Fi choice decides
    WwanFirmwareOff,

    // The firmware settings.
    FirmwareDisplayStart,
    FirmwareSetting,  // %s name, %s value
    FirmwareFlags,    // %d Wi-Fi, %d mobile broadband
    FirmwareProblem,  // the text says what failed

    // The connections at start and their adapters.
    PrintedConnectionId,  // %s
    PrintedEthernet,
    AdapterDescription,  // %s

    // The network event sink.
    NlmStart,
    NlmConnectionId,  // %s
    NlmConnecting,    // %d connectivity
    NlmDisconnecting,
    NlmSleeping,
    NlmTypeUnknown,
    NlmEthernetState,  // %d
    NlmAddingToSet,
    NlmStopWlan,
    NlmStopWwan,
    NlmNotInList,
    NlmStartWlan,
    NlmStartWwan,
    NlmEnd,
    NlmFailure,  // the text says what failed

    // Shared by several operations.
    AddressTry,          // %d: the try, from 0
    EthernetConnected,   // "Ethernet is connected"
    EthernetStatus,      // %d: the machine-wide test's answer
    EthernetTestFailed,  // the machine-wide test failed

    // Wi-Fi radio operations.
    WlanObserved,  // %d: the radio, read
    WlanQueryTimeout,
    WlanNoInterface,
    WlanSwitchBegin,  // %d current, %d wanted
    WlanNoChange,
    WlanAirplaneRefused,  // %d wanted
    WlanCheckFailed,
    WlanSetFailed,
    WlanNewState,     // %d
    WlanSwitchEnd,    // %d result
    WlanFailure,      // the text says what failed
    StopWlanCurrent,  // %d
    StopWlanStoring,
    StartWlanStored,  // %s
    StartWlanKept,    // %s
    WlanStored,       // %s
    WlanRestoreDefault,
    WlanRestore,  // %d wanted

    // Mobile-broadband radio operations.
    WwanObserved,  // %s: ON or OFF
    WwanNoDevice,
    WwanSwitchBegin,  // %d current, %d wanted
    WwanNoChange,
    WwanAirplaneRefused,  // %d wanted
    WwanGot,              // %d state, %d wanted
    WwanSet,
    WwanRetry,        // %d attempt
    WwanSwitchEnd,    // %d result
    WwanFailure,      // the text says what failed
    StopWwanCurrent,  // %d
    StartWwanStored,  // %s
    WwanStored,       // %s
    WwanRestoreDefault,
    WwanRestore,  // %d wanted
    StoreFailed,

    // Wi-Fi notifications.
    MsmNotification,
    AcmNotification,
    HandlerSkipped,     // %d msm_Notification_flag, %d ResumeFlag
    HandlerWlanStatus,  // %d
    HandlerStoring,     // the handler stores the user's Wi-Fi state
    HandlerCheckFailed,
    HandlerSwitchFailed,
    HandlerEnd,

    // The airplane-mode watcher.
    AirplaneKeyChanged,
    AirplaneOnSwitching,
    AirplaneOffNoWire,
    WatcherWifiOn,
    WatcherStored,  // %s
    WatcherRestoring,
    WatcherStop,
    WatcherError,
    AirplaneStatus,  // %u

    // The mobile-broadband event sink.
    MbnEntry,
    MbnOwnFlag,     // %d
    MbnResumeFlag,  // %d
    MbnSleepOrFailed,
    MbnEthernet,  // %d
    MbnNotProcessing,
    MbnWwanStatus,  // %d
    MbnSwitchOff,
    MbnStoring,  // %d
    MbnReceived,
    MbnFailure,
    MbnEnd,

    // Sleep and resume.
    Suspending,
    ResumeEntry,
    ResumeAddressTry,  // %d: the try, from 0
    ResumeEthernet,    // %d
    ResumeWlanStep,
    ResumeWwanStep,
    ResumeWlanFailed,
    ResumeWwanFailed,
    ResumeDone,
    ResumeFailure,
};

}  // namespace diag
