#include "explain/Sentences.h"

#include "explain/Texts.h"

namespace diag {

namespace {

std::string Capitalised(std::string text)
{
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

}  // namespace

std::string SwitchedByService(Radio radio, State to, Millis after, const std::string& basis)
{
    std::string text =
        Capitalised(RadioTitle(radio)) + " switched " + StateName(to) + " by the service after " + DurationText(after);
    if (!basis.empty())
        text += " (" + basis + ")";
    return text;
}

std::string SwitchedOutside(Radio radio, State to, OutsideCause cause)
{
    const std::string radioTitle = Capitalised(RadioTitle(radio));
    switch (cause) {
    case OutsideCause::AirplaneMode:
        if (to == State::Unknown)
            return radioTitle + " switched by the system with airplane mode (not read: the service leaves " +
                   RadioTitle(radio) + " alone in airplane mode)";
        return radioTitle + " went " + StateName(to) + " with airplane mode (switched by the system)";
    case OutsideCause::Switch: return radioTitle + " went " + StateName(to) + " (switched outside the service)";
    case OutsideCause::Unknown: break;
    }
    return radioTitle + " was found " + StateName(to) + ": it was switched outside the service";
}

std::string Kept(Radio radio, State state, const std::string& reason, const std::string& stored)
{
    const std::string radioTitle = Capitalised(RadioTitle(radio));
    if (reason == "already")
        return radioTitle + " already " + StateName(state) + ": nothing to switch";
    if (reason == "stored-choice")
        return radioTitle + " stays as it is" +
               (state == State::Unknown ? "" : std::string(" (") + StateName(state) + ")") +
               ": the user's stored choice is " + stored;
    if (reason == "airplane-mode")
        return radioTitle + " not switched on: airplane mode is on";
    if (reason == "firmware")
        return radioTitle + " left alone: the firmware does not allow switching it";
    if (reason == "no-device")
        return "No mobile-broadband device: the service manages Wi-Fi only";
    return radioTitle + " left as it was";
}

std::string Stored(Radio radio, const std::string& value, const std::string& reason)
{
    if (reason == "before-wire")
        return "Stored " + value + " for " + RadioTitle(radio) + ": it was on before the wire, so it comes back on " +
               "when the wire goes";
    if (reason == "user-choice")
        return "Stored as the user's choice for " + std::string(RadioTitle(radio)) + ": " + value;
    return "Stored " + value + " for " + RadioTitle(radio);
}

std::string Ignored(const std::string& reason)
{
    if (reason == "handling-connection-change")
        return "the service was handling a connection change";
    if (reason == "sleep")
        return "the laptop was going to sleep or resuming";
    if (reason == "airplane-mode")
        return "airplane mode is on";
    if (reason == "not-ethernet")
        return "not a wired connection, nothing to do";
    if (reason == "unknown-connection")
        return "not a wired connection the service knew, nothing to do";
    if (reason == "ethernet-still-up")
        return "another wired connection is still up: the radios stay as they are";
    return reason;
}

std::string FirmwareSentence(const Effect& firmware, const std::vector<std::string>& problems, bool displaySeen)
{
    if (firmware.wifiSwitching == State::Unknown && firmware.wwanSwitching == State::Unknown)
        return "The firmware's switching settings are not in the log (its levels leave them out)";
    std::string settings;
    for (const auto& setting : firmware.settings)
        settings += (settings.empty() ? "" : "; ") + setting.first + " = " + setting.second;
    const bool wifi = firmware.wifiSwitching == State::On;
    const bool wwan = firmware.wwanSwitching == State::On;
    if (firmware.settings.empty() && displaySeen) {
        std::string text = problems.empty() ? "The firmware has none of the switching settings"
                                            : "The firmware could not be read (" + problems.front() + ")";
        return text + ": switching disabled for both radios";
    }
    std::string text;
    if (wifi && wwan)
        text = "The firmware allows switching for Wi-Fi and mobile broadband";
    else if (wifi)
        text = "The firmware allows switching for Wi-Fi, not for mobile broadband";
    else if (wwan)
        text = "The firmware allows switching for mobile broadband, not for Wi-Fi";
    else
        text = "The firmware allows switching for neither radio";
    if (!settings.empty())
        text += " (" + settings + ")";
    if (!problems.empty())
        text += "; the read reported: " + problems.front();
    return text;
}

std::string Connection(const std::string& connection, const std::string& adapter)
{
    std::string text = "connection " + (connection.empty() ? std::string("(not named)") : connection);
    if (!adapter.empty())
        text += " (" + adapter + ")";
    return text;
}

std::string StoredChoiceBasis(const std::string& value) { return "the stored choice is " + value; }

}  // namespace diag
