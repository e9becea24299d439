// TessarineSimControl.exe: the laptop controller's hand inside the laptop's
// Wine session. scripts/laptop.sh starts it once, at up, with its standard
// input and output on two FIFOs of the laptop's run state; each request is
// one line "ID VERB ARGS...", each answer one line "ID ...", so that the
// controller, a shell script, writes the simulation state in well under a
// millisecond where a `reg` program takes most of a second.
//
//   ID wire            raises WireChange (the controller has finished a
//                      change of the wires), then waits, within kSeenBound,
//                      for the network list to act on it:
//                      "ID wire N seen DELIVERED HANDLED" or "ID wire N unseen"
//                      (no network list runs, or it did not answer)
//   ID idle MS         waits, within MS milliseconds, until every network
//                      event delivered to the service has been handled:
//                      "ID idle yes DELIVERED HANDLED" or "ID idle no DELIVERED HANDLED"
//   ID ping            "ID pong"
//
// Anything else gets "ID error ...". It ends when its input ends.
#include "sim/SimulationState.h"

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

namespace {

constexpr std::chrono::milliseconds kSeenBound{5000};
// The longest wait a request may ask for.
constexpr unsigned long kLongestIdleWait = 600000;

// The counters of the process whose network list wrote them. A network
// list whose process has ended (or none at all) handles nothing more and
// keeps nobody waiting.
struct Counts {
    DWORD delivered = 0;
    DWORD handled = 0;
    bool live = false;
    // The delivered count read the same before and after the handled one.
    bool steady = true;

    bool Idle() const { return !live || (steady && handled == delivered); }
};

bool ProcessRuns(DWORD id)
{
    HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, id);
    if (process == nullptr)
        return false;
    const bool runs = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return runs;
}

Counts ReadCounts()
{
    Counts counts;
    const std::optional<DWORD> process = sim::ReadCounter(sim::kNetworkListProcessValue, sim::kNetworkListKey);
    counts.live = process && ProcessRuns(*process);
    // The delivered count around the handled one: deliveries that start
    // and end between the reads cannot make the pair look idle.
    const wchar_t* const key = sim::kNetworkListKey;
    const std::optional<DWORD> delivered = sim::ReadCounter(sim::kNetworkEventsDeliveredValue, key);
    counts.handled = sim::ReadCounter(sim::kNetworkEventsHandledValue, key).value_or(0);
    const std::optional<DWORD> deliveredAgain = sim::ReadCounter(sim::kNetworkEventsDeliveredValue, key);
    counts.delivered = deliveredAgain.value_or(0);
    counts.steady = delivered == deliveredAgain;
    return counts;
}

std::string CountText(const Counts& counts)
{
    return std::to_string(counts.delivered) + " " + std::to_string(counts.handled);
}

std::string Wire()
{
    const DWORD next = sim::ReadCounter(sim::kWireChangeValue).value_or(0) + 1;
    if (!sim::WriteCounter(sim::kWireChangeValue, next))
        return "error could not write WireChange";
    // A network list whose process has ended takes no word; one that has
    // not said which process it is in (its key deleted by hand) may.
    const std::optional<DWORD> process = sim::ReadCounter(sim::kNetworkListProcessValue, sim::kNetworkListKey);
    const bool seen =
        (!process || ProcessRuns(*process)) &&
        sim::WaitForState([next] { return sim::ReadCounter(sim::kWireChangeSeenValue, sim::kNetworkListKey) == next; },
                          kSeenBound, sim::kNetworkListKey);
    if (!seen)
        return "wire " + std::to_string(next) + " unseen";
    return "wire " + std::to_string(next) + " seen " + CountText(ReadCounts());
}

std::string Idle(unsigned long bound)
{
    Counts counts;
    const bool idle = sim::WaitForState(
        [&counts] {
            counts = ReadCounts();
            return counts.Idle();
        },
        std::chrono::milliseconds(bound), sim::kNetworkListKey);
    return std::string("idle ") + (idle ? "yes " : "no ") + CountText(counts);
}

std::string Answer(const std::string& line)
{
    std::istringstream words(line);
    std::string id;
    std::string verb;
    words >> id >> verb;
    if (id.empty())
        return "";
    std::string answer;
    if (verb == "wire") {
        answer = Wire();
    } else if (verb == "idle") {
        std::string bound;
        words >> bound;
        char* end = nullptr;
        const unsigned long milliseconds = std::strtoul(bound.c_str(), &end, 10);
        if (bound.empty() || *end != '\0' || milliseconds > kLongestIdleWait)
            answer = "error idle takes milliseconds (0 to " + std::to_string(kLongestIdleWait) + ")";
        else
            answer = Idle(milliseconds);
    } else if (verb == "ping") {
        answer = "pong";
    } else {
        answer = "error unknown request '" + verb + "'";
    }
    return id + " " + answer + "\n";
}

bool WriteAll(HANDLE output, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        DWORD written = 0;
        if (!WriteFile(output, text.data() + done, static_cast<DWORD>(text.size() - done), &written, nullptr) ||
            written == 0)
            return false;
        done += written;
    }
    return true;
}

}  // namespace

int main()
{
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    std::string pending;
    char chunk[512];
    DWORD got = 0;
    while (ReadFile(input, chunk, sizeof chunk, &got, nullptr) && got > 0) {
        pending.append(chunk, got);
        for (size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            const std::string answer = Answer(line);
            if (!answer.empty() && !WriteAll(output, answer))
                return 1;
        }
    }
    return 0;
}
