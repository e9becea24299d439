// The sentences of the story, in one place: each effect's and each event's
// text, from the facts the story builder gathered.
#pragma once

#include "explain/Story.h"

#include <string>

namespace diag {

// How an outside change of a radio came about, as far as the log tells.
enum class OutsideCause { AirplaneMode, Switch, Unknown };

std::string SwitchedByService(Radio radio, State to, Millis after, const std::string& basis);
std::string SwitchedOutside(Radio radio, State to, OutsideCause cause);
std::string Kept(Radio radio, State state, const std::string& reason, const std::string& stored);
std::string Stored(Radio radio, const std::string& value, const std::string& reason);
std::string Ignored(const std::string& reason);
std::string FirmwareSentence(const Effect& firmware, const std::vector<std::string>& problems, bool displaySeen);
std::string Connection(const std::string& connection, const std::string& adapter);

// The stored choice's words: "True" and "False" as the registry holds them.
std::string StoredChoiceBasis(const std::string& value);

}  // namespace diag
