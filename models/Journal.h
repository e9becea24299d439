// Journal: the calls that fakes saw, one text each ("SetEvent",
// "WlanOpenHandle 2", "nlm-point Release"), in the order made. Several fakes
// may write into one journal, so a test can assert the order across them.
#pragma once

#include <string>
#include <vector>

namespace fakes {

using Journal = std::vector<std::string>;

// Appends `call` when there is a journal.
inline void Note(Journal* journal, std::string call)
{
    if (journal != nullptr)
        journal->push_back(std::move(call));
}

}  // namespace fakes
