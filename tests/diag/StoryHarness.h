// What the diag tests share: log lines made as the service's logging library
// writes them, a writer that keeps what the story builder tells, hand-made
// logs run through the builder, and temporary folders that go away.
#pragma once

#include "explain/LogLine.h"
#include "explain/StoryBuilder.h"
#include "explain/StoryWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace diagtest {

// The service's operations, as its log names them.
constexpr char kNlm[] = "NLMEventHandler::NetworkConnectionConnectivityChanged";
constexpr char kAdapterInfo[] = "NLMUtils::PrintAdapterInfo";
constexpr char kWorker[] = "CMainService::ServiceWorkerThread";
constexpr char kAutoSwitching[] = "NLMUtils::GetAutoSwitchingStatus";
constexpr char kInitWmi[] = "NLMUtils::InitWMIRead";
constexpr char kCheckWlan[] = "ServiceUtils::CheckWlanStatus";
constexpr char kSwitchWlan[] = "ServiceUtils::SwitchWlanStatus";
constexpr char kStopWlan[] = "ServiceUtils::StopWLANService";
constexpr char kStartWlan[] = "ServiceUtils::StartWLANService";
constexpr char kSetWlan[] = "ServiceUtils::SetWlanPowerStatusInRegistry";
constexpr char kUpdateWlan[] = "CMainService::UpdateWlanPowerStatus";
constexpr char kCheckWwan[] = "ServiceUtils::CheckWwanStatus";
constexpr char kSwitchWwan[] = "ServiceUtils::SwitchWwanStatus";
constexpr char kStopWwan[] = "ServiceUtils::StopWWANService";
constexpr char kStartWwan[] = "ServiceUtils::StartWWANService";
constexpr char kSetWwan[] = "ServiceUtils::SetWwanPowerStatusInRegistry";
constexpr char kUpdateWwan[] = "CMainService::UpdateWwanPowerStatus";
constexpr char kCallback[] = "CMainService::WlanNotificationCallback";
constexpr char kMsmHandler[] = "CMainService::HandleWlanNotificationMsmRadioStateChange";
constexpr char kWatcher[] = "CMainService::AirplaneModeWatcher";
constexpr char kAirplane[] = "ServiceUtils::CheckAirplaneMode";
constexpr char kMbn[] = "CMbnSinks::OnSetSoftwareRadioStateComplete";
constexpr char kHandlerEx[] = "CServiceBase::HandlerEx";
constexpr char kResume[] = "NLMUtils::SystemResumeHandler";
constexpr char kMsmText[] = "NotificationSource = WLAN_NOTIFICATION_SOURCE_MSM, NotificationCode= "
                            "wlan_notification_msm_radio_state_change. Processing Callback";

constexpr int kTraceIn = 0;
constexpr int kTraceOut = 1;
constexpr int kVerbose = 2;
constexpr int kInformation = 3;
constexpr int kWarning = 4;
constexpr int kError = 5;

// "2026/11/23 <clock>|<thread>|<level>|<function>|<message>"; clock is
// "HH:MM:SS.mmm".
std::string Line(const char* clock, uint32_t thread, int level, const char* function, const std::string& message);
// The same at an Information level.
std::string Info(const char* clock, uint32_t thread, const char* function, const std::string& message);

struct LaneChange {
    diag::Lane lane;
    diag::Millis at;
    diag::State state;
};

class RecordingWriter : public diag::StoryWriter {
public:
    void Begin(const diag::InputReport&) override { ++begins; }
    void Event(const diag::StoryEvent& event) override { events.push_back(event); }
    void LaneChange(diag::Lane lane, diag::Millis at, diag::State state) override
    {
        lanes.push_back({lane, at, state});
    }
    void Finish(const diag::StoryEnd& told, const diag::InputReport&) override { end = told; }

    int begins = 0;
    std::vector<diag::StoryEvent> events;
    std::vector<diagtest::LaneChange> lanes;
    diag::StoryEnd end;
};

struct Told {
    std::vector<diag::StoryEvent> events;
    std::vector<LaneChange> lanes;
    diag::StoryEnd end;
};

// The story of hand-made lines (each must parse).
Told Tell(const std::vector<std::string>& lines);

// The time of "2026/11/23 <clock>".
diag::Millis At(const char* clock);

// The effects of `kind` in an event.
std::vector<diag::Effect> EffectsOf(const diag::StoryEvent& event, diag::EffectKind kind);
// The one Switched effect of a radio in an event; fails the test if there is not exactly one.
diag::Effect SwitchOf(const diag::StoryEvent& event, diag::Radio radio);
// The last state a lane was set to at or before `at`.
diag::State LaneAt(const std::vector<LaneChange>& lanes, diag::Lane lane, diag::Millis at);

// A folder under %TEMP% that is removed, with every file in it, at the end.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::wstring& Path() const { return m_path; }
    std::wstring Write(const std::wstring& name, const std::string& bytes) const;

private:
    std::wstring m_path;
};

// Lines joined with CR LF after each, as the file listener writes them.
std::string FileBytes(const std::vector<std::string>& lines, bool byteOrderMark = true);

// The README demo's log, as the service wrote it (tests/diag/data/demo.log).
std::wstring DemoLogPath();

}  // namespace diagtest
